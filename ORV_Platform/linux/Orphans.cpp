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

// Waits for `pid`, a child in the process group `group` that has ended. False where a program's EU is to do so.
bool collect(pid_t pid, pid_t group, bool &guardedEnded) {
  if (mayBeProgram(pid) || waitpid(pid, nullptr, WNOHANG) != pid) return false;
  if (unguardProcess(pid)) guardedEnded = true;
  // The last member of a group whose leader ended before it: from here on the number may be somebody else's.
  if (group > 0 && kill(-group, 0) != 0 && errno == ESRCH) unguardProcess(group);
  if (wasGuard(pid)) replaceGuard();
  return true;
}

// The same for all children outside this process's group. The search reads about every process of the machine.
bool collectBehindOthers() {
  bool guardedEnded = false;
  const auto visit = [](const ProcessFacts &process, void *guarded) {
    if (process.parent != getpid() || !process.ended || process.group == getpgrp()) return;
    collect(process.pid, process.group, *static_cast<bool *>(guarded));
  };
  forEachProcess(visit, &guardedEnded);
  return guardedEnded;
}

}  // namespace

bool collectOrphans() {
  for (bool guardedEnded = false;;) {
    siginfo_t ended = {};
    if (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid == 0) return guardedEnded;
    const pid_t group = getpgid(ended.si_pid);
    // A child in this process's group is none that a program has left: whoever executed the daemon had it before, for
    // example. Nobody may ever wait for it, and the kernel shows none behind it.
    if (group == getpgrp()) return collectBehindOthers() || guardedEnded;
    if (!collect(ended.si_pid, group, guardedEnded)) return guardedEnded;
  }
}

void guardOrphans() {
  const auto visit = [](const ProcessFacts &process, void *) {
    if (process.parent == getpid() && !process.ended && process.group != getpgrp()) guardProcess(process.pid);
  };
  forEachProcess(visit, nullptr);
}

}  // namespace orv
