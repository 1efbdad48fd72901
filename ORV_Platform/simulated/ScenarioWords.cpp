#include "ScenarioWords.h"

#include <csignal>
#include <cstring>
#include <limits>

#include "Trace.h"

namespace orv::sim {
namespace {

struct Unit {
  const char *name;
  uint64_t milliseconds;
};

// The greatest first.
constexpr Unit UNITS[] = {{"h", 3600000}, {"min", 60000}, {"s", 1000}, {"ms", 1}};

// An hour has 2^7 * 5^5 * 9 milliseconds: a decimal fraction with more digits than this is never whole milliseconds.
constexpr size_t MOST_FRACTION_DIGITS = 7;

// Leaves room for a time to be added.
constexpr uint64_t LONGEST = std::numeric_limits<int64_t>::max();

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// Takes the digits from the front of `text`.
std::string_view takeDigits(std::string_view &text) {
  size_t length = 0;
  while (length < text.size() && isDigit(text[length]))
    ++length;
  const std::string_view digits = text.substr(0, length);
  text.remove_prefix(length);
  return digits;
}

std::optional<uint64_t> multiplied(uint64_t left, uint64_t right) {
  if (right != 0 && left > LONGEST / right) return std::nullopt;
  return left * right;
}

std::optional<uint64_t> numberOf(std::string_view digits) {
  uint64_t number = 0;
  for (const char digit : digits) {
    const auto shifted = multiplied(number, 10);
    const auto value = static_cast<uint64_t>(digit - '0');
    if (!shifted || *shifted > LONGEST - value) return std::nullopt;
    number = *shifted + value;
  }
  return number;
}

const Unit *unitOf(std::string_view name) {
  for (const Unit &unit : UNITS) {
    if (name == unit.name) return &unit;
  }
  return nullptr;
}

// Milliseconds of the digits behind the point, nothing where they are not whole ones.
std::optional<uint64_t> fractionOf(std::string_view digits, uint64_t unitMs) {
  while (!digits.empty() && digits.back() == '0')
    digits.remove_suffix(1);
  if (digits.size() > MOST_FRACTION_DIGITS) return std::nullopt;
  uint64_t divisor = 1;
  for (size_t i = 0; i < digits.size(); ++i)
    divisor *= 10;
  const uint64_t product = numberOf(digits).value_or(0) * unitMs;
  if (product % divisor != 0) return std::nullopt;
  return product / divisor;
}

}  // namespace

std::optional<uint64_t> parseDuration(std::string_view text, std::string &reason) {
  std::string_view rest = text;
  const std::string_view whole = takeDigits(rest);
  if (whole.empty()) {
    reason = !rest.empty() && rest[0] == '-' ? "is negative (a duration counts from 0)"
                                             : R"(begins with no number (write "250ms", "1.5s", "2min" or "1h"))";
    return std::nullopt;
  }
  std::string_view fraction;
  if (rest.size() > 1 && rest[0] == '.' && isDigit(rest[1])) {
    rest.remove_prefix(1);
    fraction = takeDigits(rest);
  }
  const Unit *unit = unitOf(rest);
  if (unit == nullptr) {
    reason = rest.empty() ? "has no unit (use ms, s, min or h; an integer without quotes is milliseconds)"
                          : "has the unknown unit " + quoted(rest) + " (use ms, s, min or h)";
    return std::nullopt;
  }
  const std::optional<uint64_t> fractionMs = fractionOf(fraction, unit->milliseconds);
  if (!fractionMs) {
    reason = "is finer than a millisecond (durations are whole milliseconds)";
    return std::nullopt;
  }
  const std::optional<uint64_t> number = numberOf(whole);
  const std::optional<uint64_t> wholeMs = number ? multiplied(*number, unit->milliseconds) : std::nullopt;
  if (!wholeMs || *wholeMs > LONGEST - *fractionMs) {
    reason = "is too long (the longest is " + std::to_string(LONGEST) + "ms)";
    return std::nullopt;
  }
  return *wholeMs + *fractionMs;
}

std::string durationText(uint64_t milliseconds) {
  for (const Unit &unit : UNITS) {
    if (milliseconds != 0 && milliseconds % unit.milliseconds == 0) {
      return std::to_string(milliseconds / unit.milliseconds) + unit.name;
    }
  }
  return "0ms";
}

const std::vector<std::string> &signalNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> result;
    for (int number = 1; number <= LAST_SIGNAL; ++number) {
      if (std::string name = signalText(number); !name.empty()) result.push_back(std::move(name));
    }
    return result;
  }();
  return names;
}

int signalNumber(std::string_view name) {
  for (int number = 1; number <= LAST_SIGNAL; ++number) {
    if (!name.empty() && name == signalText(number)) return number;
  }
  return 0;
}

std::string signalText(int number) {
  const char *name = sigabbrev_np(number);
  return name == nullptr ? "" : std::string("SIG") + name;
}

}  // namespace orv::sim
