#include "Guard.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "Clock.h"
#include "Descriptor.h"
#include "GuardTable.h"
#include "NodePaths.h"
#include "Spawn.h"

namespace orv {
namespace {

// A guard of a shorter life than this ended at once, and so many of them in a row are enough.
constexpr uint64_t SHORT_LIFE_NS = 1'000'000'000;
constexpr unsigned MAX_SHORT_LIVES = 5;

struct GuardState {
  std::mutex mutex;
  pid_t pid = 0;
  uint64_t startedNs = 0;
  unsigned shortLives = 0;
  int lifeLine = -1;  // never written to: its end is the message
  int tableFile = -1;
  std::atomic<GuardTable *> table{nullptr};  // once made it stays; used without the lock, which a slow start may hold
};

// Never destroyed: programs may end while the process exits.
GuardState &guardState() {
  static auto *state = new GuardState;
  return *state;
}

// The guard lies beside this library.
std::string guardFile() {
  Dl_info library = {};
  if (dladdr(reinterpret_cast<const void *>(&startGuard), &library) == 0 || library.dli_fname == nullptr) return "";
  const std::string path = library.dli_fname;
  return path.substr(0, path.rfind('/') + 1) + "orv/orv-guard";
}

Status failure(const std::string &what) {
  const int error = errno;
  return Status::failure(error, "no guard: " + what + ": " + std::strerror(error) +
                                    " (what programs have started outlives a sudden death of the daemon)");
}

// The table is made once; a guard that is started again finds in it what the first one had.
Status makeTable(GuardState &state) {
  if (state.table.load() != nullptr) return Status::success();
  const Descriptor file(memfd_create("orv-guard-table", MFD_CLOEXEC));
  if (file.get() < 0 || ftruncate(file.get(), sizeof(GuardTable)) != 0) return failure("no shared memory");
  void *memory = mmap(nullptr, sizeof(GuardTable), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (memory == MAP_FAILED) return failure("no shared memory");
  state.tableFile = fcntl(file.get(), F_DUPFD_CLOEXEC, 0);
  state.table = new (memory) GuardTable;
  return Status::success();
}

Status launchGuard(GuardState &state) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return failure("no pipe");
  const Descriptor life(ends[0]);
  Descriptor held(ends[1]);
  const std::string file = guardFile();
  std::string node = "ORV_NODE_DIR=" + nodeDirectory();
  std::string name = "orv-guard";
  char *const arguments[] = {name.data(), node.data(), nullptr};
  char *const environment[] = {nullptr};
  SpawnRequest request;
  request.file = file.c_str();
  request.arguments = arguments;
  request.environment = environment;
  request.passedOn = {life.get(), state.tableFile};
  request.outlivesParent = true;
  pid_t pid = 0;
  const int error = spawnProgram(request, pid);
  if (error != 0) {
    errno = error;
    return failure("cannot start " + file);
  }
  state.pid = pid;
  state.startedNs = monotonicNs();
  if (state.lifeLine >= 0) close(state.lifeLine);
  state.lifeLine = held.release();
  return Status::success();
}

}  // namespace

Status prepareGuard() {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  return makeTable(state);
}

Status startGuard() {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  if (state.pid != 0 || state.table.load() == nullptr) return Status::success();
  return launchGuard(state);
}

void killGuard() {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  if (state.pid != 0) kill(state.pid, SIGKILL);
}

void stopGuard() {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  if (state.pid == 0) return;
  kill(state.pid, SIGKILL);
  while (waitpid(state.pid, nullptr, 0) < 0 && errno == EINTR) {
  }
  state.pid = 0;
  close(state.lifeLine);
  state.lifeLine = -1;
}

bool isGuard(pid_t pid) {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  return pid == state.pid;
}

bool wasGuard(pid_t pid) {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  if (pid != state.pid) return false;
  state.pid = 0;
  state.shortLives = monotonicNs() - state.startedNs < SHORT_LIFE_NS ? state.shortLives + 1 : 0;
  return true;
}

bool guardsEndAtOnce() {
  GuardState &state = guardState();
  const std::lock_guard lock(state.mutex);
  return state.shortLives >= MAX_SHORT_LIVES;
}

void guardProcess(pid_t pid) {
  GuardTable *table = guardState().table.load();
  if (table == nullptr) return;
  for (auto &entry : table->pids) {
    pid_t none = 0;
    if (entry.load() == pid || entry.compare_exchange_strong(none, pid)) return;
  }
}

bool unguardProcess(pid_t pid) {
  GuardTable *table = guardState().table.load();
  if (table == nullptr) return false;
  bool wasListed = false;
  for (auto &entry : table->pids) {
    pid_t listed = pid;
    if (entry.compare_exchange_strong(listed, 0)) wasListed = true;
  }
  return wasListed;
}

}  // namespace orv
