// Numbers of a start-up string.
#ifndef ORV_TOOLS_CHECK_STARTUPNUMBERS_H
#define ORV_TOOLS_CHECK_STARTUPNUMBERS_H

#include <string>

#include "check/SourceText.h"

namespace orv::checking {

enum class StartupNumber {
  BITS_16,      // the low 16 bits of it
  UNSIGNED,     // 32 bits
  PORT,         // the same, and a port
  SIGNED_PORT,  // signed, and a port
  ADDRESS       // an IPv4 address as a number
};

// What the daemon reads, in words.
std::string startupNumberText(const std::string &text, StartupNumber kind);

void checkStartupNumber(SourceText &source, Span span, StartupNumber kind, const std::string &field);

}  // namespace orv::checking

#endif
