// Numbers as messages, logs and listings write those that are bit patterns: node ids, CPIDs, message and error codes.
#ifndef ORV_COMMON_HEXTEXT_H
#define ORV_COMMON_HEXTEXT_H

#include <concepts>
#include <cstdint>
#include <string>

namespace orv {

// hexText as a function.
std::string hexTextOf(uint64_t number, int digits);

// "0x4e7"; with zeros in front of it up to `digits` digits: hexText(0x4e7U, 4) is "0x04e7". A signed number is refused:
// what it looks like would depend on how wide it is.
template <std::unsigned_integral Number>
std::string hexText(Number number, int digits = 1) {
  return hexTextOf(number, digits);
}

// A node id, which has four digits everywhere: "0x0f01".
std::string nidText(uint16_t nid);

}  // namespace orv

#endif
