#include "DaemonLog.h"

#include <iostream>
#include <string_view>

#include "AaSysLog.h"
#include "OrvDaemon.h"

uint8_t gEarlyStartupDone = 0;

namespace {

// Built in one piece of memory: an EU that logs a line and then waits for days keeps what it has freed for itself.
std::string consoleLine(const std::string &label, const std::string &message) {
  constexpr std::string_view SOURCE = "/ORV/OrvDaemon, ";
  std::string line;
  line.reserve(label.size() + SOURCE.size() + message.size() + 1);
  line.append(label).append(SOURCE).append(message).append(1, '\n');
  return line;
}

}  // namespace

void daemonLog(uint32_t severity, const std::string &label, int mode, const std::string &message) {
  const bool systemLogAvailable = gEarlyStartupDone == 1;
  if (mode != LOG_CONSOLE_UNTIL_SYSTEM_LOG || !systemLogAvailable) {
    // One insertion for the whole line: the stream is unbuffered, so that each insertion is a write of its own, and the
    // lines of two EUs are less torn the fewer there are.
    const std::string line = consoleLine(label, message);
    std::cerr << line << std::flush;
  }
  if (mode == LOG_CONSOLE_ONLY) return;
  if (systemLogAvailable) AaSysLogPrint(severity, "ORV/OrvDaemon, %s", message.c_str());
}
