#include "HexText.h"

#include <cinttypes>
#include <cstdio>

namespace orv {

std::string hexTextOf(uint64_t number, int digits) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%0*" PRIx64, digits, number);
  return text;
}

std::string nidText(uint16_t nid) {
  constexpr int NID_DIGITS = 4;
  return hexText(nid, NID_DIGITS);
}

}  // namespace orv
