#include "DaemonLog.h"

#include <iostream>

#include "AaSysLog.h"
#include "OrvDaemon.h"

uint8_t gEarlyStartupDone = 0;

void daemonLog(uint32_t severity, const std::string &label, int mode, const std::string &message) {
  const bool systemLogAvailable = gEarlyStartupDone == 1;
  if (mode != LOG_CONSOLE_UNTIL_SYSTEM_LOG || !systemLogAvailable) {
    // One insertion for the whole line: the stream is unbuffered, so that each insertion is a write of its own, and the
    // lines of two EUs are less torn the fewer there are.
    std::cerr << label + "/ORV/OrvDaemon, " + message + "\n" << std::flush;
  }
  if (mode == LOG_CONSOLE_ONLY) return;
  if (systemLogAvailable) AaSysLogPrint(severity, "ORV/OrvDaemon, %s", message.c_str());
}
