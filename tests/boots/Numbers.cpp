#include "Numbers.h"

#include <algorithm>

namespace boots {
namespace {

constexpr uint64_t BEYOND = uint64_t{1} << 32;  // more than 32 bits hold

struct Digits {
  bool negative = false;
  uint64_t magnitude = 0;  // BEYOND stands for all greater ones
  size_t length = 0;
};

bool isBlank(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

uint32_t digitOf(char character) {
  if (character >= '0' && character <= '9') return static_cast<uint32_t>(character - '0');
  if (character >= 'a' && character <= 'z') return static_cast<uint32_t>(character - 'a') + 10;
  if (character >= 'A' && character <= 'Z') return static_cast<uint32_t>(character - 'A') + 10;
  return 99;
}

Digits readDigits(std::string_view text, uint32_t base) {
  Digits result;
  size_t at = 0;
  while (at < text.size() && isBlank(text[at]))
    ++at;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) result.negative = text[at++] == '-';
  if (base == 0) {
    base = 10;
    if (at < text.size() && text[at] == '0') base = 8;
    const bool prefixed = base == 8 && at + 2 < text.size() && (text[at + 1] == 'x' || text[at + 1] == 'X');
    if (prefixed && digitOf(text[at + 2]) < 16) {
      base = 16;
      at += 2;
    }
  }
  for (; at < text.size() && digitOf(text[at]) < base; ++at) {
    result.magnitude = std::min(BEYOND, result.magnitude * base + digitOf(text[at]));
    result.length = at + 1;
  }
  return result;
}

}  // namespace

SignedNumber readSigned(std::string_view text, int base) {
  const Digits digits = readDigits(text, static_cast<uint32_t>(base));
  const uint64_t greatest = digits.negative ? uint64_t{1} << 31 : (uint64_t{1} << 31) - 1;
  SignedNumber result;
  result.length = digits.length;
  result.outOfRange = digits.magnitude > greatest;
  const auto magnitude = static_cast<int64_t>(std::min(digits.magnitude, greatest));
  result.value = static_cast<int32_t>(digits.negative ? -magnitude : magnitude);
  return result;
}

uint32_t readUnsigned(std::string_view text) {
  const Digits digits = readDigits(text, 0);
  if (digits.magnitude >= BEYOND) return UINT32_MAX;
  const auto magnitude = static_cast<uint32_t>(digits.magnitude);
  return digits.negative ? 0 - magnitude : magnitude;
}

}  // namespace boots
