#include "LogLine.h"

#include <syslog.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "Clock.h"
#include "HexText.h"
#include "Utf8.h"

namespace orv {
namespace {

constexpr size_t MAX_JOURNAL_TEXT = 48UL * 1024;  // bytes, as all below
constexpr size_t MAX_SYSLOG_TEXT = 8UL * 1024;
constexpr size_t MAX_PRINT_DATAGRAM = 2048;

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
void addField(std::string &datagram, const char *name, std::string_view value) {
  datagram += name;
  if (value.find('\n') == std::string::npos) {
    datagram.append("=").append(value) += '\n';
    return;
  }
  datagram += '\n';
  for (uint64_t shift = 0; shift < 64; shift += 8)
    datagram += static_cast<char>(uint64_t{value.size()} >> shift & 0xFF);
  datagram.append(value) += '\n';
}

// A name of the head: printable ASCII without blanks.
std::string headName(std::string_view name, size_t length) {
  std::string text(name.substr(0, length));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c <= ' ' || c > '~'; }, '?');
  return text.empty() ? NIL : text;
}

std::string onOneLine(std::string_view line) {
  std::string text(line);
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}

// A parameter of structured data; its value has to be UTF-8.
std::string parameter(const char *name, std::string_view value) {
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

std::string journalDatagram(const LogLine &line) {
  std::string datagram;
  addField(datagram, "MESSAGE", utf8Cut(line.text, MAX_JOURNAL_TEXT));
  addField(datagram, "PRIORITY", std::to_string(syslogSeverity(line.severity)));
  addField(datagram, "SYSLOG_IDENTIFIER", line.identifier);
  addField(datagram, "ORV_EU", line.eu);
  if (line.nid) addField(datagram, "ORV_NID", nidText(*line.nid));
  if (!line.application.empty()) addField(datagram, "ORV_APPLICATION", line.application);
  return datagram;
}

std::string syslogDatagram(const LogLine &line) {
  return priority(line) + localTime(line.realtimeNs) + " " + line.identifier + "[" + std::to_string(line.pid) +
         "]: " + std::string(utf8Cut(line.text, MAX_SYSLOG_TEXT));
}

std::string printPortDatagram(const LogLine &line, const std::string &hostName) {
  std::string datagram = priority(line) + "1 " + utcTime(line.realtimeNs) + " " + headName(hostName, MAX_HOST_NAME) +
                         " " + headName(line.identifier, MAX_APP_NAME) + " " + std::to_string(line.pid) + " log [" +
                         DATA_ID + parameter("eu", utf8Cut(line.eu, MAX_HOST_NAME));
  if (line.nid) datagram += parameter("nid", nidText(*line.nid));
  if (!line.application.empty()) datagram += parameter("application", utf8Cut(line.application, MAX_HOST_NAME));
  datagram += "] ";
  if (isUtf8(line.text)) datagram += UTF8_MARK;
  return datagram + onOneLine(utf8Cut(line.text, MAX_PRINT_DATAGRAM - datagram.size()));
}

}  // namespace orv
