#include "RunningPrograms.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "Caretaker.h"
#include "Guard.h"
#include "Orphans.h"
#include "ProcessScan.h"
#include "StoreWriter.h"

namespace orv {
namespace {

using Clock = std::chrono::steady_clock;

// SIGKILL leaves nobody but who waits inside the kernel for a device.
constexpr auto KILL_TIMEOUT = std::chrono::seconds(5);

// How often processes that are no program are looked at; programs are waited for without polling.
constexpr auto LOOK_INTERVAL = std::chrono::milliseconds(5);

// How long programs have to end before what left their groups is looked for: most have left nothing, and the search
// reads about every process of the machine.
constexpr auto SEARCH_DELAY = std::chrono::milliseconds(20);

// Never destroyed: EUs may still wait on it while the process exits.
struct ProgramTable {
  std::mutex mutex;
  std::condition_variable changed;
  bool shuttingDown = false;
  bool orphansWait = false;  // an end was seen that could be a program's
  unsigned starting = 0;
  std::map<pid_t, RunningProgram> running;
};

ProgramTable &programTable() {
  static auto *table = new ProgramTable;
  return *table;
}

void startIsOver(ProgramTable &table) {
  --table.starting;
  table.changed.notify_all();
  if (std::exchange(table.orphansWait, false)) wakeForOrphans();
}

// The descendants of this process that live, but for the guard and for what shares this process's group.
std::vector<ProcessFacts> livingDescendants() {
  std::vector<ProcessFacts> all;
  const auto visit = [](const ProcessFacts &process, void *context) {
    static_cast<std::vector<ProcessFacts> *>(context)->push_back(process);
  };
  forEachProcess(visit, &all);
  std::set<pid_t> ancestors = {getpid()};
  std::vector<ProcessFacts> found;
  for (bool changed = true; changed;) {
    changed = false;
    for (const ProcessFacts &process : all) {
      if (ancestors.contains(process.pid) || !ancestors.contains(process.parent)) continue;
      if (process.group == getpgrp() || isGuard(process.pid)) continue;
      ancestors.insert(process.pid);
      if (!process.ended) found.push_back(process);
      changed = true;
    }
  }
  return found;
}

void signalDescendants(int signalNumber) {
  for (const ProcessFacts &process : livingDescendants()) {
    kill(process.pid, signalNumber);
    if (signalNumber == SIGTERM) kill(process.pid, SIGCONT);
  }
}

// Without anybody to wait for, nothing that descends from this process lives: what loses its parent becomes its child.
bool nobodyIsLeft() {
  collectOrphans();
  siginfo_t info = {};
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
}

// The steps of the shutdown. None of them keeps the table locked: the ends of programs are taken in meanwhile.

void stopStarts(ProgramTable &table) {
  std::unique_lock lock(table.mutex);
  table.shuttingDown = true;
  table.changed.wait(lock, [&] { return table.starting == 0; });
}

// The table is not kept locked meanwhile: the ends that this brings about wait for it, all at once.
void signalGroups(int signalNumber) {
  for (const RunningProgram &program : runningPrograms())
    kill(-program.pid, signalNumber);
}

bool waitForPrograms(ProgramTable &table, Clock::time_point deadline) {
  std::unique_lock lock(table.mutex);
  return table.changed.wait_until(lock, deadline, [&] { return table.running.empty(); });
}

// Waits for the programs and for everything else that they started.
bool waitForAll(ProgramTable &table, Clock::time_point deadline) {
  if (!waitForPrograms(table, deadline)) return false;
  for (;;) {
    collectOrphans();
    if (livingDescendants().empty()) return true;
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(LOOK_INTERVAL);
  }
}

}  // namespace

void blockForEver() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // Their run-times take offence at threads that are gone.
  for (;;)
    pause();
#else
  // To the kernel the thread ends here, beside the others that do. Threads that wait would all have to be ended by the
  // end of the process, which takes longer than everything else of a shutdown. Nothing of it is undone: it must hold no
  // lock.
  for (;;)
    syscall(SYS_exit, 0);
#endif
}

void beginProgramStart() {
  ProgramTable &table = programTable();
  std::unique_lock lock(table.mutex);
  if (table.shuttingDown) {
    lock.unlock();
    blockForEver();
  }
  ++table.starting;
}

void endProgramStart() {
  ProgramTable &table = programTable();
  const std::lock_guard lock(table.mutex);
  startIsOver(table);
}

void endProgramStart(const RunningProgram &program) {
  guardProcess(program.pid);
  ProgramTable &table = programTable();
  const std::lock_guard lock(table.mutex);
  table.running.insert_or_assign(program.pid, program);
  startIsOver(table);
}

bool programHasEnded(pid_t pid, const std::function<void()> &onShutdown) {
  ProgramTable &table = programTable();
  bool orphansWait = false;
  {
    std::unique_lock lock(table.mutex);
    const bool shuttingDown = table.shuttingDown;
    if (shuttingDown) {
      // First, so that the shutdown does not come to its end before.
      lock.unlock();
      onShutdown();
      lock.lock();
    }
    table.running.erase(pid);
    if (table.running.empty()) table.changed.notify_all();
    // The shutdown looks for everybody itself.
    if (shuttingDown) return true;
    orphansWait = std::exchange(table.orphansWait, false);
  }
  if (orphansWait) wakeForOrphans();
  // Its group outlives it where it left members, which the guard then knows by the group.
  if (kill(-pid, 0) != 0) unguardProcess(pid);
  return false;
}

std::vector<RunningProgram> runningPrograms() {
  ProgramTable &table = programTable();
  const std::lock_guard lock(table.mutex);
  std::vector<RunningProgram> programs;
  programs.reserve(table.running.size());
  for (const auto &[pid, program] : table.running)
    programs.push_back(program);
  return programs;
}

void awaitProgramStarts() {
  constexpr auto LONGEST = std::chrono::seconds(1);
  ProgramTable &table = programTable();
  std::unique_lock lock(table.mutex);
  table.changed.wait_for(lock, LONGEST, [&] { return table.starting == 0; });
}

bool mayBeProgram(pid_t pid) {
  ProgramTable &table = programTable();
  const std::lock_guard lock(table.mutex);
  const bool may = table.starting != 0 || table.running.contains(pid);
  table.orphansWait = table.orphansWait || may;
  return may;
}

bool programsAreEnded() {
  ProgramTable &table = programTable();
  const std::lock_guard lock(table.mutex);
  return table.shuttingDown;
}

Status endPrograms(uint32_t graceMs) {
  const Clock::time_point start = Clock::now();
  const Clock::time_point deadline = start + std::chrono::milliseconds(graceMs);
  ProgramTable &table = programTable();
  stopStarts(table);
  signalGroups(SIGTERM);
  if (waitForPrograms(table, std::min(deadline, start + SEARCH_DELAY))) {
    killGuard();
    hurryRecords();  // while the guard ends
    stopGuard();
    if (nobodyIsLeft()) return Status::success();
    static_cast<void>(startGuard());
  }
  // A stopped program sees its SIGTERM only when it goes on.
  signalGroups(SIGCONT);
  signalDescendants(SIGTERM);
  bool gone = waitForAll(table, deadline);
  for (const Clock::time_point last = Clock::now() + KILL_TIMEOUT; !gone && Clock::now() < last;) {
    // Again and again: what forks while it is being killed may be missed by one look.
    signalGroups(SIGKILL);
    signalDescendants(SIGKILL);
    gone = waitForAll(table, Clock::now() + 10 * LOOK_INTERVAL);
  }
  stopGuard();
  if (gone) return Status::success();
  return Status::failure(ETIMEDOUT, "programs survive SIGKILL, waiting inside the kernel: " +
                                        std::to_string(livingDescendants().size()) + " processes");
}

}  // namespace orv
