#include "TextFields.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

int32_t toSigned32(const char *text, int base, const char **end) {
  char *stop = nullptr;
  const long long value = std::strtoll(text, &stop, base);
  if (end != nullptr) *end = stop;
  if (value > INT32_MAX) {
    errno = ERANGE;
    return INT32_MAX;
  }
  if (value < INT32_MIN) {
    errno = ERANGE;
    return INT32_MIN;
  }
  return static_cast<int32_t>(value);
}

uint32_t toUnsigned32(const char *text) {
  const long long value = std::strtoll(text, nullptr, 0);
  constexpr long long LIMIT = UINT32_MAX;
  if (value > LIMIT || value < -LIMIT) {
    errno = ERANGE;
    return UINT32_MAX;
  }
  return static_cast<uint32_t>(value);
}

uint16_t toLow16(const char *text) {
  return static_cast<uint16_t>(toSigned32(text, 0));
}

void copyCut(char *field, size_t fieldSize, const char *text, size_t length) {
  const size_t kept = std::min(length, fieldSize - 1);
  std::memcpy(field, text, kept);
  std::memset(field + kept, 0, fieldSize - kept);
}

void copyCut(char *field, size_t fieldSize, const char *text) {
  copyCut(field, fieldSize, text, std::strlen(text));
}
