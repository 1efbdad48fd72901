// Numbers as the node's C library reads them from text, whose long has 32 bits.
#ifndef ORV_BOOTS_NUMBERS_H
#define ORV_BOOTS_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace boots {

struct SignedNumber {
  int32_t value = 0;
  bool outOfRange = false;
  size_t length = 0;  // characters that belong to it, blanks in front included; 0: none
};

// Base 10, or 0: hexadecimal behind 0x, octal behind 0, else decimal.
SignedNumber readSigned(std::string_view text, int base);

// Base 0.
uint32_t readUnsigned(std::string_view text);

}  // namespace boots

#endif
