#include "TraceLines.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <system_error>

namespace orv::rehearsal {
namespace {

constexpr uint64_t MS_PER_S = 1000;
constexpr std::string_view ARGUMENTS_END = ")";

struct NamedActor {
  std::string_view name;
  TraceLine::Actor actor;
};

constexpr NamedActor NAMED_ACTORS[] = {
    {"node ", TraceLine::Actor::NODE},
    {"handler ", TraceLine::Actor::HANDLER},
    {"main ", TraceLine::Actor::MAIN},
};

template <typename Number>
bool takeDigits(std::string_view &text, Number &number, int base = 10) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

bool takeTime(std::string_view &text, uint64_t &atMs) {
  uint64_t seconds = 0;
  uint64_t milliseconds = 0;
  if (!takeDigits(text, seconds) || !take(text, ".")) return false;
  const size_t before = text.size();
  if (!takeDigits(text, milliseconds) || before - text.size() != 3 || !take(text, " ")) return false;
  if (seconds > std::numeric_limits<uint64_t>::max() / MS_PER_S - 1) return false;
  atMs = seconds * MS_PER_S + milliseconds;
  return true;
}

// "NUMBER:NAME ".
bool takeEu(std::string_view &text, TraceLine &line) {
  if (!takeDigits(text, line.eu) || !take(text, ":")) return false;
  const std::string_view rest = text;
  if (text.starts_with('"')) {
    if (!takeQuoted(text)) return false;
  } else {
    text.remove_prefix(std::min(text.find(' '), text.size()));
  }
  line.actor = TraceLine::Actor::EU;
  line.euName = rest.substr(0, rest.size() - text.size());
  return take(text, " ");
}

bool takeActor(std::string_view &text, TraceLine &line) {
  for (const NamedActor &named : NAMED_ACTORS) {
    if (!take(text, named.name)) continue;
    line.actor = named.actor;
    return true;
  }
  return takeEu(text, line);
}

bool isNameCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '_';
}

// What stands up to the next separator; nothing behind it has quotes.
std::string takePlain(std::string_view &text) {
  const size_t end = std::min(text.find_first_of(",)"), text.size());
  std::string result(text.substr(0, end));
  text.remove_prefix(end);
  return result;
}

}  // namespace

bool take(std::string_view &text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

std::optional<int64_t> takeNumber(std::string_view &text) {
  std::string_view rest = text;
  int64_t number = 0;
  const bool isHexadecimal = take(rest, "0x");
  if (!takeDigits(rest, number, isHexadecimal ? 16 : 10)) return std::nullopt;
  text = rest;
  return number;
}

std::optional<std::string> takeQuoted(std::string_view &text) {
  std::string_view rest = text;
  if (!take(rest, "\"")) return std::nullopt;
  std::string result;
  while (!rest.empty()) {
    const char character = rest[0];
    rest.remove_prefix(1);
    if (character == '"') {
      text = rest;
      return result;
    }
    if (character != '\\') {
      result += character;
    } else if (take(rest, "n")) {
      result += '\n';
    } else if (take(rest, "x")) {
      std::string_view digits = rest.substr(0, 2);
      unsigned byte = 0;
      if (!takeDigits(digits, byte, 16) || !digits.empty()) return std::nullopt;
      rest.remove_prefix(2);
      result += static_cast<char>(byte);
    } else if (!rest.empty()) {
      result += rest[0];
      rest.remove_prefix(1);
    }
  }
  return std::nullopt;
}

std::optional<TraceLine> parseTraceLine(std::string_view text) {
  TraceLine line;
  if (!takeTime(text, line.atMs) || !takeActor(text, line)) return std::nullopt;
  line.text = text;
  return line;
}

std::string_view calledFunction(std::string_view text) {
  const auto *const end = std::find_if_not(text.begin(), text.end(), isNameCharacter);
  if (end == text.end() || *end != '(') return {};
  return text.substr(0, static_cast<size_t>(std::distance(text.begin(), end)));
}

std::optional<TraceCall> parseTraceCall(std::string_view text) {
  TraceCall call;
  call.name = calledFunction(text);
  if (call.name.empty()) return std::nullopt;
  text.remove_prefix(call.name.size() + 1);
  while (!take(text, ARGUMENTS_END)) {
    const bool isQuoted = text.starts_with('"');
    std::optional<std::string> argument = isQuoted ? takeQuoted(text) : takePlain(text);
    if (!argument) return std::nullopt;
    call.arguments.push_back(std::move(*argument));
    if (!take(text, ", ") && !text.starts_with(ARGUMENTS_END)) return std::nullopt;
  }
  if (take(text, " = ")) call.outcome = text;
  return call;
}

}  // namespace orv::rehearsal
