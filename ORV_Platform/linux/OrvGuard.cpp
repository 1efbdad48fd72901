// The guard of a node: a small process that outlives the daemon's death and ends everything that the daemon's programs
// have started. The kernel ends the programs themselves; their children, and those that left their program's process
// group, are the guard's.
//
//   orv-guard ORV_NODE_DIR=NODE_DIRECTORY          started by the daemon alone, with the descriptors of GuardTable.h
//
// It waits in a read of the life line and needs no processor time until then. It has to be small and to work when
// nothing else does, so it is linked statically and uses no C++ library.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "GuardTable.h"
#include "GuardTargets.h"

namespace {

using orv::GuardCandidate;

// How often it looks again: what forks while it is being ended may be missed by one look, and a process that waits for
// a device inside the kernel takes its time.
constexpr int MAX_LOOKS = 500;
constexpr long LOOK_INTERVAL_NS = 10'000'000;

struct Search {
  const orv::GuardTable *table = nullptr;
  const char *nodeVariable = nullptr;
  uint64_t deathTicks = 0;  // a later start on the same node has programs of its own
  orv::Spared spared;
  GuardCandidate *candidates = nullptr;
  size_t count = 0;
  size_t capacity = 0;
};

bool isListed(const orv::GuardTable &table, const orv::ProcessFacts &process) {
  for (const auto &entry : table.pids) {
    const pid_t pid = entry.load();
    if (pid != 0 && (process.pid == pid || process.group == pid || process.session == pid)) return true;
  }
  return false;
}

bool belongsToNode(const Search &search, const orv::ProcessFacts &process) {
  return process.startTicks <= search.deathTicks && orv::startedWith(process.pid, search.nodeVariable, false) &&
         orv::startedWith(process.pid, "ORV_EU_NAME=", true);
}

void addCandidate(const orv::ProcessFacts &process, void *context) {
  Search &search = *static_cast<Search *>(context);
  if (process.ended || process.pid == search.spared.self) return;
  if (search.count == search.capacity) {
    const size_t capacity = search.capacity == 0 ? 1024 : 2 * search.capacity;
    void *grown = std::realloc(search.candidates, capacity * sizeof(GuardCandidate));
    if (grown == nullptr) return;
    search.candidates = static_cast<GuardCandidate *>(grown);
    search.capacity = capacity;
  }
  const bool target = isListed(*search.table, process) || belongsToNode(search, process);
  search.candidates[search.count++] = {process, target};
}

// One look: ends what it finds and says how many these were.
size_t endTargets(Search &search) {
  search.count = 0;
  orv::forEachProcess(addCandidate, &search);
  orv::spreadTargets(search.candidates, search.count, search.spared);
  size_t found = 0;
  for (size_t i = 0; i < search.count; ++i) {
    if (!search.candidates[i].target) continue;
    ++found;
    kill(search.candidates[i].facts.pid, SIGKILL);
  }
  return found;
}

uint64_t ticksSinceMachineStart() {
  timespec now = {};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto ticksPerSecond = static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
  return static_cast<uint64_t>(now.tv_sec) * ticksPerSecond +
         static_cast<uint64_t>(now.tv_nsec) * ticksPerSecond / 1'000'000'000U;
}

void waitForTheDaemonsDeath() {
  char byte = 0;
  for (;;) {
    const ssize_t length = read(orv::GUARD_LIFE_LINE, &byte, 1);
    if (length == 0 || (length < 0 && errno != EINTR)) return;
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fputs("orv-guard: started by the daemon alone\n", stderr);
    return 2;
  }
  void *memory = mmap(nullptr, sizeof(orv::GuardTable), PROT_READ, MAP_SHARED, orv::GUARD_TABLE, 0);
  if (memory == MAP_FAILED) {
    std::perror("orv-guard: no table (it is started by the daemon alone)");
    return 1;
  }
  Search search;
  search.table = static_cast<const orv::GuardTable *>(memory);
  search.nodeVariable = argv[1];
  search.spared = {getpid(), getpgid(getppid()), getsid(0)};

  // A group and a session of its own: what a terminal or a shell sends to the daemon's group is not meant for it.
  setsid();
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_SETMASK, &all, nullptr);
  if (chdir("/") != 0) return 1;

  waitForTheDaemonsDeath();
  search.deathTicks = ticksSinceMachineStart();
  const timespec interval = {0, LOOK_INTERVAL_NS};
  for (int look = 0; look < MAX_LOOKS && endTargets(search) != 0; ++look)
    nanosleep(&interval, nullptr);
  return 0;
}
