#include "DaemonProcessState.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

namespace orv {
namespace {

constexpr uint64_t NS_PER_S = 1'000'000'000;

uint64_t boottimeNs() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * NS_PER_S + static_cast<uint64_t>(now.tv_nsec);
}

// What the kernel tells of a process; false where it tells nothing.
bool readProcess(uint32_t pid, char &state, uint64_t &startedNs) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(file, line)) return false;
  // The second field is the name, in parentheses, and may itself have blanks and parentheses.
  const size_t nameEnd = line.rfind(')');
  if (nameEnd == std::string::npos) return false;
  std::istringstream fields(line.substr(nameEnd + 1));
  constexpr int FIELDS_BETWEEN = 18;  // from the third, the state, to the 22nd, the start in clock ticks since the boot
  std::string skipped;
  fields >> state;
  for (int field = 0; field < FIELDS_BETWEEN; ++field)
    fields >> skipped;
  uint64_t ticks = 0;
  if (!(fields >> ticks)) return false;
  startedNs = ticks * (NS_PER_S / static_cast<uint64_t>(sysconf(_SC_CLK_TCK)));
  return true;
}

}  // namespace

bool daemonIsAlive(const RunInfo &run) {
  if (run.daemonPid == 0 || run.daemonPid > static_cast<uint32_t>(std::numeric_limits<pid_t>::max())) return false;
  char state = '?';
  uint64_t processStartNs = 0;
  if (!readProcess(run.daemonPid, state, processStartNs)) {
    return kill(static_cast<pid_t>(run.daemonPid), 0) == 0 || errno == EPERM;
  }
  if (state == 'Z' || state == 'X') return false;
  // The daemon was there when its run started. The run's clock stands still while the machine is suspended and the
  // kernel's figure does not, so the difference as it is now is the most that there was then.
  const uint64_t suspendedNs = boottimeNs() - monotonicNs();
  return processStartNs <= run.startedNs + suspendedNs + NS_PER_S;
}

}  // namespace orv
