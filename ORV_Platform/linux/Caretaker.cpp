#include "Caretaker.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "ExecutionUnits.h"
#include "Guard.h"
#include "Orphans.h"
#include "Platform.h"
#include "ProgramOutputs.h"
#include "Readiness.h"
#include "RunningPrograms.h"
#include "ServiceThread.h"

namespace orv {
namespace {

// How long what may wait a little does: a line without an end for its rest, before it is shown as it is, and the look
// for what an ended program has left behind, which reads about every process of the machine and must not be in the way
// of whoever reports that end.
constexpr auto LATER = std::chrono::milliseconds(200);

// What woke the caretaker: one of these, or else the program whose output can be read.
constexpr uint64_t WAKE = 0;
constexpr uint64_t CHILD_SIGNAL = 1ULL << 32U;
constexpr uint64_t READINESS = 2ULL << 32U;

struct Addition {
  int pipe;
  pid_t program;
  uint32_t euId;
  std::string euName;
};

struct Ending {
  pid_t program;
  bool failed;
};

// Never destroyed: EUs may still end while the process exits.
struct Caretaker {
  std::mutex starting;  // of the whole start and end
  bool running = false;
  pthread_t thread{};
  int poller = -1;
  int wakeUp = -1;
  int childSignal = -1;
  int readiness = -1;

  std::mutex mutex;  // of the requests below
  std::vector<Addition> additions;
  std::vector<Ending> endings;
  uint64_t endingsRequested = 0;
  uint64_t endingsHandled = 0;
  std::condition_variable handled;
  bool ending = false;
};

Caretaker &caretaker() {
  static auto *instance = new Caretaker;
  return *instance;
}

void wake(const Caretaker &all) {
  const uint64_t one = 1;
  const ssize_t written = write(all.wakeUp, &one, sizeof one);
  static_cast<void>(written);  // a counter that is full wakes just as well
}

bool watch(int poller, int descriptor, uint64_t what) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.u64 = what;
  return epoll_ctl(poller, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void drain(int descriptor) {
  std::array<char, 1024> bytes;
  while (read(descriptor, bytes.data(), bytes.size()) > 0) {
  }
}

// Whether the caretaker is to end.
bool takeRequests(Caretaker &all, ProgramOutputs &outputs, bool &orphansMayLive) {
  std::vector<Addition> additions;
  std::vector<Ending> endings;
  bool ending = false;
  {
    const std::lock_guard lock(all.mutex);
    additions.swap(all.additions);
    endings.swap(all.endings);
    ending = all.ending;
  }
  for (const Addition &addition : additions)
    outputs.add(addition.pipe, addition.program, addition.euId, addition.euName);
  for (const Ending &ended : endings)
    outputs.programEnded(ended.program, ended.failed);
  if (!endings.empty()) {
    orphansMayLive = true;
    const std::lock_guard lock(all.mutex);
    all.endingsHandled += endings.size();
    all.handled.notify_all();
  }
  return ending;
}

// What is done a little later than what it follows from.
class Later {
 public:
  using Clock = std::chrono::steady_clock;

  // How long to wait at most, in ms; -1 where there is nothing to do.
  int timeoutMs(bool wanted) {
    if (!wanted) {
      due_ = NEVER;
      return -1;
    }
    if (due_ == NEVER) due_ = Clock::now() + LATER;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(due_ - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left) + 1;
  }

  bool isDue() const {
    return Clock::now() >= due_;
  }

 private:
  static constexpr Clock::time_point NEVER = Clock::time_point::max();

  Clock::time_point due_ = NEVER;
};

void *runCaretaker(void *) {
  nameThisThread("orvCaretaker");
  markStack(SERVICE_STACK_BYTES);
  Caretaker &all = caretaker();
  ProgramOutputs outputs;
  Later later;
  bool orphansMayLive = false;
  const Status guarded = startGuard();
  if (!guarded.ok()) platformLog(SEVERITY_WARNING, guarded.message);
  for (;;) {
    std::array<epoll_event, 32> events;
    const int timeoutMs = later.timeoutMs(orphansMayLive || outputs.hasUnfinishedLines());
    const int count = epoll_wait(all.poller, events.data(), static_cast<int>(events.size()), timeoutMs);
    const auto ready = std::span(events).first(static_cast<size_t>(std::max(count, 0)));
    // Before the requests are looked at: whoever makes one after that wakes the caretaker again.
    if (std::ranges::any_of(ready, [](const epoll_event &event) { return event.data.u64 == WAKE; })) drain(all.wakeUp);
    // Before the events: one of them may be of an output that has just been added.
    if (takeRequests(all, outputs, orphansMayLive)) {
      outputs.finishAll();
      return nullptr;
    }
    for (const epoll_event &event : ready) {
      const uint64_t what = event.data.u64;
      if (what == CHILD_SIGNAL || what == WAKE) {
        if (what == CHILD_SIGNAL) drain(all.childSignal);
        // The shutdown does it itself. Who was guarded may have had children, which are orphans now.
        if (!programsAreEnded() && collectOrphans()) orphansMayLive = true;
      } else if (what == READINESS) {
        takeReadinessMessages(all.readiness);
      } else {
        outputs.read(static_cast<pid_t>(what));
      }
    }
    if (!later.isDue()) continue;
    outputs.flushUnfinishedLines();
    releaseUnusedStack();
    if (std::exchange(orphansMayLive, false) && !programsAreEnded()) guardOrphans();
  }
}

// Where prepareForPrograms has not been called, SIGCHLD is thrown away before it is seen here, and orphans are
// collected when a program ends.
int childSignalDescriptor() {
  sigset_t childSignal;
  sigemptyset(&childSignal);
  sigaddset(&childSignal, SIGCHLD);
  return signalfd(-1, &childSignal, SFD_CLOEXEC | SFD_NONBLOCK);
}

Status failure(const char *what) {
  const int error = errno;
  return Status::failure(error, std::string("programs run without a caretaker: ") + what + ": " + std::strerror(error));
}

Status openDescriptors(Caretaker &all) {
  if (all.poller >= 0) return Status::success();
  Descriptor poller(epoll_create1(EPOLL_CLOEXEC));
  Descriptor wakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  Descriptor childSignal(childSignalDescriptor());
  if (!watch(poller.get(), wakeUp.get(), WAKE) || !watch(poller.get(), childSignal.get(), CHILD_SIGNAL)) {
    return failure("no descriptor");
  }
  all.poller = poller.release();
  all.wakeUp = wakeUp.release();
  all.childSignal = childSignal.release();
  return Status::success();
}

}  // namespace

Status startCaretaker() {
  Caretaker &all = caretaker();
  const std::lock_guard lock(all.starting);
  if (all.running) return Status::success();
  prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
  Status status = openDescriptors(all);
  if (!status.ok()) return status;
  if (all.readiness < 0) {
    status = openReadinessSocket(all.readiness);
    if (!status.ok()) platformLog(SEVERITY_WARNING, status.message);
    if (all.readiness >= 0) watch(all.poller, all.readiness, READINESS);
  }
  status = prepareGuard();
  if (!status.ok()) platformLog(SEVERITY_WARNING, status.message);
  all.ending = false;
  errno = startServiceThread(runCaretaker, nullptr, all.thread);
  if (errno != 0) return failure("no thread");
  all.running = true;
  return Status::success();
}

void stopCaretaker() {
  Caretaker &all = caretaker();
  const std::lock_guard lock(all.starting);
  if (!all.running) return;
  {
    const std::lock_guard requests(all.mutex);
    all.ending = true;
  }
  wake(all);
  pthread_join(all.thread, nullptr);
  all.running = false;
  removeReadinessSocket();
}

void watchOutput(Descriptor &&pipe, pid_t program, uint32_t euId, const std::string &euName) {
  Caretaker &all = caretaker();
  fcntl(pipe.get(), F_SETFL, O_NONBLOCK);
  const std::lock_guard lock(all.mutex);
  // It wakes the caretaker when there is something to read, and at once where something waits already.
  watch(all.poller, pipe.get(), static_cast<uint64_t>(program));
  all.additions.push_back({pipe.release(), program, euId, euName});
}

void outputOwnerEnded(pid_t program, bool failed) {
  Caretaker &all = caretaker();
  if (all.wakeUp < 0) return;  // without a caretaker
  {
    const std::lock_guard lock(all.mutex);
    all.endings.push_back({program, failed});
    ++all.endingsRequested;
  }
  wake(all);
}

void waitForOutputs() {
  constexpr auto LIMIT = std::chrono::seconds(1);
  Caretaker &all = caretaker();
  std::unique_lock lock(all.mutex);
  const uint64_t wanted = all.endingsRequested;
  all.handled.wait_for(lock, LIMIT, [&] { return all.endingsHandled >= wanted; });
}

void wakeForOrphans() {
  if (caretaker().wakeUp >= 0) wake(caretaker());
}

}  // namespace orv
