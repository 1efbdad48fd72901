#include "DaemonProcessState.h"

#include <signal.h>

#include <cerrno>
#include <limits>
#include <optional>

#include "Clock.h"
#include "ProcessTree.h"

namespace orv {

bool daemonIsAlive(const RunInfo &run) {
  if (run.daemonPid == 0 || run.daemonPid > static_cast<uint32_t>(std::numeric_limits<pid_t>::max())) return false;
  const std::optional<ProcessStat> stat = processStat(run.daemonPid);
  if (!stat) return kill(static_cast<pid_t>(run.daemonPid), 0) == 0 || errno == EPERM;
  if (stat->state == 'Z' || stat->state == 'X') return false;
  // The daemon was there when its run started. The start of a process is known to a clock tick only.
  return startedMonotonicNs(stat->startTicks) <= run.startedNs + NS_PER_S;
}

}  // namespace orv
