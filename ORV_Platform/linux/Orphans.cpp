#include "Orphans.h"

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "Guard.h"
#include "Platform.h"
#include "ProcessScan.h"
#include "RunningPrograms.h"

namespace orv {
namespace {

void replaceGuard() {
  if (programsAreEnded()) return;  // the shutdown has ended it
  platformLog(SEVERITY_WARNING, "the guard has ended; another one is started");
  const Status status = startGuard();
  if (!status.ok()) platformLog(SEVERITY_WARNING, status.message);
}

}  // namespace

void collectOrphans() {
  for (;;) {
    siginfo_t ended = {};
    if (waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) != 0 || ended.si_pid == 0) return;
    if (getpgid(ended.si_pid) == getpgrp() || mayBeProgram(ended.si_pid)) return;
    if (waitpid(ended.si_pid, nullptr, WNOHANG) != ended.si_pid) return;
    unguardProcess(ended.si_pid);
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
