#include "DaemonLog.h"

#include <array>
#include <cstddef>
#include <iostream>
#include <memory_resource>
#include <string>
#include <string_view>

#include "AaSysLog.h"
#include "OrvDaemon.h"

uint8_t gEarlyStartupDone = 0;

namespace {

// Room for the usual console line, in bytes; a longer one takes memory of the heap.
constexpr size_t LINE_BYTES = 512;

std::pmr::string consoleLine(const std::string &label, const std::string &message, std::pmr::memory_resource *memory) {
  constexpr std::string_view SOURCE = "/ORV/OrvDaemon, ";
  std::pmr::string line(memory);
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
    // In the stack: an EU that logs a line and then waits for days keeps what it has freed of the heap for itself.
    std::array<std::byte, LINE_BYTES> buffer;
    std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
    std::cerr << consoleLine(label, message, &memory) << std::flush;
  }
  if (mode == LOG_CONSOLE_ONLY) return;
  if (systemLogAvailable) AaSysLogPrint(severity, "ORV/OrvDaemon, %s", message.c_str());
}
