#include "Orphans.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "Guard.h"
#include "Platform.h"
#include "ProcessScan.h"
#include "RunningPrograms.h"

namespace orv {
namespace {

void replaceGuard() {
  if (programsAreEnded()) return;  // the shutdown has ended it
  if (guardsEndAtOnce()) {
    platformLog(SEVERITY_ERROR,
                "guards end as soon as they are started, so none is started any more (what programs have started "
                "outlives a sudden death of the daemon)");
    return;
  }
  platformLog(SEVERITY_WARNING, "the guard has ended; another one is started");
  const Status status = startGuard();
  if (!status.ok()) platformLog(SEVERITY_WARNING, status.message);
}

}  // namespace

bool collectOrphans() {
  for (bool guardedEnded = false;;) {
    siginfo_t ended = {};
    if (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid == 0) return guardedEnded;
    const pid_t group = getpgid(ended.si_pid);
    if (group == getpgrp() || mayBeProgram(ended.si_pid)) return guardedEnded;
    if (waitpid(ended.si_pid, nullptr, WNOHANG) != ended.si_pid) return guardedEnded;
    if (unguardProcess(ended.si_pid)) guardedEnded = true;
    // The last member of a group whose leader ended before it: from here on the number may be somebody else's.
    if (group > 0 && kill(-group, 0) != 0 && errno == ESRCH) unguardProcess(group);
    if (wasGuard(ended.si_pid)) replaceGuard();
  }
}

void guardOrphans() {
  const auto visit = [](const ProcessFacts &process, void *) {
    if (process.parent == getpid() && !process.ended && process.group != getpgrp()) guardProcess(process.pid);
  };
  forEachProcess(visit, nullptr);
}

}  // namespace orv
