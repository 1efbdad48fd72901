#include "Words.h"

#include <sys/wait.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <system_error>

#include "Clock.h"
#include "Utf8.h"

namespace orv {
namespace {

std::string formatted(const char *format, unsigned value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string escaped(char byte) {
  switch (byte) {
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\r':
      return "\\r";
    default:
      return formatted("\\x%02x", static_cast<uint8_t>(byte));
  }
}

bool isControl(char byte) {
  constexpr uint8_t DELETE = 0x7F;
  return static_cast<uint8_t>(byte) < ' ' || static_cast<uint8_t>(byte) == DELETE;
}

// False for what is no character of UTF-8, and for characters that command a terminal or change the order of the
// others: U+0080 to U+009F, U+2028 to U+202E and U+2066 to U+2069.
bool isHarmless(std::string_view character) {
  if (character.size() == 1) return static_cast<uint8_t>(character[0]) < 0x80 && !isControl(character[0]);
  if (character.size() == 2) return character >= std::string_view("\xc2\xa0");
  return !(character >= std::string_view("\xe2\x80\xa8") && character <= std::string_view("\xe2\x80\xae")) &&
         !(character >= std::string_view("\xe2\x81\xa6") && character <= std::string_view("\xe2\x81\xa9"));
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const size_t length = std::max(utf8Length(text), size_t{1});
    const std::string_view character = text.substr(0, length);
    if (isHarmless(character)) {
      result += character;
    } else {
      for (const char byte : character)
        result += escaped(byte);
    }
    text.remove_prefix(length);
  }
  return result;
}

const char *typeText(TagType type) {
  switch (type) {
    case TagType::STRING:
      return "string";
    case TagType::U16:
      return "u16";
    case TagType::U32:
      return "u32";
  }
  return "?";  // not reached: the store refuses other types
}

std::string valueText(const TagValue &value) {
  return value.type == TagType::STRING ? value.text : std::to_string(value.number);
}

std::string endText(int32_t waitStatus) {
  if (WIFEXITED(waitStatus)) return "exited with " + std::to_string(WEXITSTATUS(waitStatus));
  if (!WIFSIGNALED(waitStatus)) return "ended with wait status " + std::to_string(waitStatus);
  const int signal = WTERMSIG(waitStatus);
  const char *name = sigabbrev_np(signal);
  return "killed by signal " + std::to_string(signal) + (name == nullptr ? "" : std::string(" (SIG") + name + ")") +
         (WCOREDUMP(waitStatus) ? ", core dumped" : "");
}

std::string launchFailureText(int32_t result) {
  if (result == 0) return "could not be started";
  // Below 0 for an input/output error, whose own number says something else: see AaProCmdExec.
  return "could not be started: " + std::generic_category().message(std::abs(result));
}

std::string resultText(int32_t result) {
  return std::generic_category().message(std::abs(result)) + " (" + std::to_string(result) + ")";
}

std::string euStateText(const EuRecord &record, bool daemonIsAlive) {
  switch (record.state) {
    case EuState::CREATED:
      if (record.finished) return "finished";
      return daemonIsAlive ? "has no program" : "ended with the daemon";
    case EuState::RUNNING:
      return daemonIsAlive ? "running" : "ended with the daemon";
    case EuState::PROGRAM_ENDED:
      return endText(record.waitStatus);
    case EuState::LAUNCH_FAILED:
      return launchFailureText(record.result);
    case EuState::SHUT_DOWN:
      return "ended by the shutdown";
  }
  return "?";  // not reached: the store refuses other states
}

std::string durationText(uint64_t seconds) {
  struct Unit {
    uint64_t seconds;
    const char *name;
  };
  constexpr Unit UNITS[] = {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}};
  const Unit *unit = std::find_if(std::begin(UNITS), std::end(UNITS) - 1,
                                  [seconds](const Unit &each) { return seconds >= each.seconds; });
  std::string text = std::to_string(seconds / unit->seconds) + unit->name;
  // Two units are as much as one wants to know.
  if (const Unit *next = unit + 1; next != std::end(UNITS)) {
    text += " " + std::to_string(seconds % unit->seconds / next->seconds) + next->name;
  }
  return text;
}

std::string preciseDurationText(uint64_t milliseconds) {
  constexpr uint64_t MS_PER_S = 1000;
  constexpr uint64_t MS_PER_MIN = 60 * MS_PER_S;
  constexpr uint64_t MIN_PER_H = 60;
  if (milliseconds != 0 && milliseconds < MS_PER_S) return std::to_string(milliseconds) + " ms";
  const uint64_t minutes = milliseconds / MS_PER_MIN;
  std::string text;
  if (minutes >= MIN_PER_H) text += std::to_string(minutes / MIN_PER_H) + " h ";
  if (minutes % MIN_PER_H != 0) text += std::to_string(minutes % MIN_PER_H) + " min ";
  const uint64_t rest = milliseconds % MS_PER_MIN;
  if (rest == 0 && !text.empty()) return text.substr(0, text.size() - 1);
  text += std::to_string(rest / MS_PER_S);
  if (rest % MS_PER_S != 0) {
    text += formatted(".%03u", static_cast<unsigned>(rest % MS_PER_S));
    text.erase(text.find_last_not_of('0') + 1);
  }
  return text + " s";
}

std::string timeText(uint64_t realtimeNs) {
  const auto seconds = static_cast<time_t>(realtimeNs / NS_PER_S);
  tm parts{};
  char text[64];
  if (localtime_r(&seconds, &parts) == nullptr) return "?";
  return strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &parts) == 0 ? "?" : text;
}

size_t shownWidth(std::string_view text) {
  return utf8Characters(text);
}

std::string padded(std::string_view text, size_t width) {
  const size_t shown = shownWidth(text);
  return std::string(text) + std::string(width > shown ? width - shown : 0, ' ');
}

void alignRight(std::vector<std::vector<std::string>> &rows, size_t column) {
  size_t width = 0;
  for (const auto &row : rows)
    width = std::max(width, shownWidth(row[column]));
  for (auto &row : rows)
    row[column].insert(0, width - shownWidth(row[column]), ' ');
}

std::string tableText(const std::vector<std::vector<std::string>> &rows) {
  std::vector<size_t> widths;
  for (const auto &row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], shownWidth(row[column]));
  }
  std::string text;
  for (const auto &row : rows) {
    for (size_t column = 0; column < row.size(); ++column) {
      text += column + 1 < row.size() ? padded(row[column], widths[column]) + "  " : row[column];
    }
    text += '\n';
  }
  return text;
}

}  // namespace orv
