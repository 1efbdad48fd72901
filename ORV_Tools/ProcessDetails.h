// What the kernel tells of a process and its descendants: what each does at the moment, and what that has cost so far.
//
// Everything comes from /proc and is as of the moment of asking; what the caller may not see stays empty.
#ifndef ORV_TOOLS_PROCESSDETAILS_H
#define ORV_TOOLS_PROCESSDETAILS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

struct ProcessDetails {
  uint32_t pid = 0;
  std::string name;  // as the kernel has it, up to 15 bytes
  char state = '?';  // as in /proc/PID/stat
  uint64_t ageMs = 0;
  uint64_t processorMs = 0;          // user and system time of all of its threads
  std::string waitChannel;           // the function of the kernel that it sleeps in; empty: none, or not told
  std::vector<std::string> stack;    // of functions of the kernel, innermost first; for root alone
  std::vector<std::string> listens;  // "tcp 0.0.0.0:80", "unix /run/x"
  std::vector<ProcessDetails> children;
};

// Nothing for a process that is not there.
std::optional<ProcessDetails> processDetails(uint32_t pid);

// "sleeps for a time", "waits for a child process" and the like; empty for a wait channel that says nothing to people.
std::string waitChannelText(std::string_view waitChannel);

// "running", "sleeping in do_wait (waits for a child process)", "stopped by a signal", without a name and a number.
std::string processStateText(const ProcessDetails &process);

}  // namespace orv

#endif
