#include "check/StartupNumbers.h"

#include <arpa/inet.h>

#include <cstdint>
#include <cstdlib>

#include "HexText.h"
#include "TextFields.h"
#include "check/FieldChecks.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;

// The number itself, as far as 64 bits hold it.
long long wholeNumber(const std::string &text) {
  return std::strtoll(text.c_str(), nullptr, 0);
}

bool isBeyond(const std::string &text, StartupNumber kind) {
  const long long number = wholeNumber(text);
  switch (kind) {
    case StartupNumber::BITS_16:
      return number < 0 || number > UINT16_MAX;
    case StartupNumber::SIGNED_PORT:
      return number < INT32_MIN || number > INT32_MAX;
    default:
      return number < 0 || number > UINT32_MAX;
  }
}

// A dotted address where a number belongs.
bool tellDotted(SourceText &source, Span span, const std::string &text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return false;
  constexpr int DIGITS = 8;
  source.complain(span, {WARNING, "dotted-address", "this address is a number, not a dotted text",
                         "the daemon reads " + startupNumberText(text, StartupNumber::ADDRESS),
                         hexText(ntohl(address.s_addr), DIGITS)});
  return true;
}

}  // namespace

std::string startupNumberText(const std::string &text, StartupNumber kind) {
  switch (kind) {
    case StartupNumber::BITS_16:
      return hexText(toLow16(text.c_str()), 4);
    case StartupNumber::SIGNED_PORT:
      return std::to_string(toSigned32(text.c_str(), 0));
    case StartupNumber::ADDRESS:
      return hexText(toUnsigned32(text.c_str()), 8);
    default:
      return std::to_string(toUnsigned32(text.c_str()));
  }
}

void checkStartupNumber(SourceText &source, Span span, StartupNumber kind, const std::string &field) {
  const std::string text(source.part(span));
  if (kind == StartupNumber::ADDRESS && tellDotted(source, span, text)) return;
  const std::string asRead = startupNumberText(text, kind);
  const bool beyond = isBeyond(text, kind);
  checkNumber(source, span, {0, field, asRead, beyond});
  const bool isPort = kind == StartupNumber::PORT || kind == StartupNumber::SIGNED_PORT;
  const long long number = wholeNumber(text);
  if (!isPort || beyond || (number >= 0 && number <= UINT16_MAX)) return;
  source.complain(span, {WARNING, "no-port", quoted(text) + " is no port", "the daemon goes on with " + asRead,
                         "a number from 1 to 65535"});
}

}  // namespace orv::checking
