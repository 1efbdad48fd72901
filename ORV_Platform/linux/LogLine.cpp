#include "LogLine.h"

#include <syslog.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace orv {
namespace {

constexpr size_t MAX_JOURNAL_TEXT = 48UL * 1024;  // bytes, as all below
constexpr size_t MAX_SYSLOG_TEXT = 8UL * 1024;
constexpr size_t MAX_PRINT_DATAGRAM = 2048;
constexpr uint64_t NS_PER_S = 1'000'000'000;
constexpr uint64_t NS_PER_US = 1000;

// The longest that RFC 5424 allows, and what stands for nothing.
constexpr size_t MAX_HOST_NAME = 255;
constexpr size_t MAX_APP_NAME = 48;
constexpr const char *NIL = "-";
// Names of structured data belong to who has the enterprise number behind them; this one is set aside for use by all.
constexpr const char *DATA_ID = "orv@32473";
constexpr const char *UTF8_MARK = "\xEF\xBB\xBF";

bool isControl(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

// A field of the journal's: "NAME=value" where the value is one line, else with its length.
void addField(std::string &datagram, const char *name, const std::string &value) {
  datagram += name;
  if (value.find('\n') == std::string::npos) {
    datagram += "=" + value + "\n";
    return;
  }
  datagram += '\n';
  for (uint64_t shift = 0; shift < 64; shift += 8)
    datagram += static_cast<char>(uint64_t{value.size()} >> shift & 0xFF);
  datagram += value + "\n";
}

// A name of the head: printable ASCII without blanks.
std::string headName(const std::string &name, size_t length) {
  std::string text = name.substr(0, length);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c <= ' ' || c > '~'; }, '?');
  return text.empty() ? NIL : text;
}

std::string onOneLine(std::string text) {
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

// How many bytes the character at the begin of `text` has; 0 where it is none of UTF-8.
size_t characterLength(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  if (first < 0x80) return 1;
  const size_t length = first >= 0xC2 && first < 0xE0   ? 2
                        : first >= 0xE0 && first < 0xF0 ? 3
                        : first >= 0xF0 && first < 0xF5 ? 4
                                                        : 0;
  if (length == 0 || text.size() < length) return 0;
  const auto isContinued = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  if (!std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), isContinued)) return 0;
  // Too long a form, a surrogate, beyond the last character.
  const auto second = static_cast<unsigned char>(text[1]);
  const bool isForbidden = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                           (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return isForbidden ? 0 : length;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = characterLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

// A parameter of structured data; its value has to be UTF-8.
std::string parameter(const char *name, const std::string &value) {
  std::string text = " " + std::string(name) + "=\"";
  for (const char c : isUtf8(value) ? onOneLine(value) : headName(value, value.size())) {
    if (c == '"' || c == '\\' || c == ']') text += '\\';
    text += c;
  }
  return text + "\"";
}

std::string utcTime(uint64_t realtimeNs) {
  const auto seconds = static_cast<time_t>(realtimeNs / NS_PER_S);
  tm parts{};
  char text[64];
  if (gmtime_r(&seconds, &parts) == nullptr || strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts) == 0)
    return NIL;
  char fraction[16];
  std::snprintf(fraction, sizeof fraction, ".%06uZ", static_cast<unsigned>(realtimeNs % NS_PER_S / NS_PER_US));
  return std::string(text) + fraction;
}

std::string localTime(uint64_t realtimeNs) {
  const auto seconds = static_cast<time_t>(realtimeNs / NS_PER_S);
  tm parts{};
  char text[64];
  if (localtime_r(&seconds, &parts) == nullptr) return "";
  // Not by strftime: the months' names are English whatever the locale.
  constexpr const char *MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::snprintf(text, sizeof text, "%s %2d %02d:%02d:%02d", MONTHS[parts.tm_mon], parts.tm_mday, parts.tm_hour,
                parts.tm_min, parts.tm_sec);
  return text;
}

std::string priority(const LogLine &line) {
  return "<" + std::to_string(LOG_DAEMON | syslogSeverity(line.severity)) + ">";
}

}  // namespace

int syslogSeverity(uint32_t severity) {
  constexpr uint32_t INFO = 2;
  constexpr uint32_t WARNING = 3;
  constexpr uint32_t ERROR = 4;
  switch (severity) {
    case INFO:
      return LOG_INFO;
    case WARNING:
      return LOG_WARNING;
    case ERROR:
      return LOG_ERR;
    default:  // the daemon uses no other; applications may
      return severity < INFO ? LOG_DEBUG : LOG_CRIT;
  }
}

std::string nidText(uint16_t nid) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04x", static_cast<unsigned>(nid));
  return text;
}

std::string cutText(const std::string &text, size_t length) {
  if (text.size() <= length) return text;
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
    --length;
  return text.substr(0, length);
}

std::string journalDatagram(const LogLine &line) {
  std::string datagram;
  addField(datagram, "MESSAGE", cutText(line.text, MAX_JOURNAL_TEXT));
  addField(datagram, "PRIORITY", std::to_string(syslogSeverity(line.severity)));
  addField(datagram, "SYSLOG_IDENTIFIER", line.identifier);
  addField(datagram, "ORV_EU", line.eu);
  if (line.nid) addField(datagram, "ORV_NID", nidText(*line.nid));
  if (!line.application.empty()) addField(datagram, "ORV_APPLICATION", line.application);
  return datagram;
}

std::string syslogDatagram(const LogLine &line) {
  return priority(line) + localTime(line.realtimeNs) + " " + line.identifier + "[" + std::to_string(line.pid) +
         "]: " + cutText(line.text, MAX_SYSLOG_TEXT);
}

std::string printPortDatagram(const LogLine &line, const std::string &hostName) {
  std::string datagram = priority(line) + "1 " + utcTime(line.realtimeNs) + " " + headName(hostName, MAX_HOST_NAME) +
                         " " + headName(line.identifier, MAX_APP_NAME) + " " + std::to_string(line.pid) + " log [" +
                         DATA_ID + parameter("eu", cutText(line.eu, MAX_HOST_NAME));
  if (line.nid) datagram += parameter("nid", nidText(*line.nid));
  if (!line.application.empty()) datagram += parameter("application", cutText(line.application, MAX_HOST_NAME));
  datagram += "] ";
  if (isUtf8(line.text)) datagram += UTF8_MARK;
  return datagram + onOneLine(cutText(line.text, MAX_PRINT_DATAGRAM - datagram.size()));
}

}  // namespace orv
