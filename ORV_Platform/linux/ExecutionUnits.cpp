#include "ExecutionUnits.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Clock.h"
#include "Platform.h"
#include "ServiceManager.h"
#include "StartupStage.h"
#include "StoreWriter.h"

namespace orv {
namespace {

// The largest user is the daemon's start-up, whose table of 64 definitions alone has 52 KB; sanitizers multiply that.
// Stack that is never touched costs address space only.
constexpr size_t MIN_STACK_BYTES = 256 * 1024;

constexpr size_t KERNEL_NAME_LENGTH = 15;

struct ExecutionUnit {
  EuRecord record;
  AaProEuEntry entry = nullptr;
  std::unique_ptr<std::byte[]> argument;
  bool isStartup = false;  // see StartupStage.h
};

// How much of the stack below its frame a thread gives back. Deeper it seldom gets, and what starts it off lies above:
// the start-up's table with its calls, thread-local data. All of it together is well within MIN_STACK_BYTES.
constexpr size_t RELEASED_STACK_BYTES = 128UL * 1024;
constexpr size_t PAGE_BYTES = 4096;

// What lies above an EU's first frame in its stack: thread-local data and the C library's own.
constexpr size_t ABOVE_FIRST_FRAME_BYTES = 64UL * 1024;

thread_local ExecutionUnit *gCurrentUnit = nullptr;
thread_local uintptr_t gStackLimit = 0;  // below it may be another's memory

std::atomic<uint32_t> gLastId{0};

// Never destroyed: an EU may be created while the process exits.
struct JoinableThreads {
  std::mutex mutex;
  std::vector<pthread_t> threads;
};

JoinableThreads &joinableThreads() {
  static auto *threads = new JoinableThreads;
  return *threads;
}

void reportUnlessOk(const Status &status) {
  if (!status.ok()) platformLog(SEVERITY_WARNING, status.message);
}

void *runUnit(void *argument) {
  std::unique_ptr<ExecutionUnit> unit(static_cast<ExecutionUnit *>(argument));
  gCurrentUnit = unit.get();
  markStack(MIN_STACK_BYTES);
  pthread_setname_np(pthread_self(), unit->record.name.substr(0, KERNEL_NAME_LENGTH).c_str());
  if (unit->isStartup) enterStartupEu();
  void *result = unit->entry(unit->argument.get());
  if (unit->isStartup) {
    leaveStartupEu();
    stopFeeding();
  }
  unit->record.finished = true;
  recordEu(unit->record, EventKind::EU_FINISHED, unit->record.name);
  gCurrentUnit = nullptr;
  return result;
}

class ThreadAttributes {
 public:
  ThreadAttributes(size_t stackBytes, bool joinable) {
    pthread_attr_init(&attributes_);
    pthread_attr_setstacksize(&attributes_, std::max(stackBytes, MIN_STACK_BYTES));
    pthread_attr_setdetachstate(&attributes_, joinable ? PTHREAD_CREATE_JOINABLE : PTHREAD_CREATE_DETACHED);
  }
  ~ThreadAttributes() {
    pthread_attr_destroy(&attributes_);
  }
  ThreadAttributes(const ThreadAttributes &) = delete;
  ThreadAttributes &operator=(const ThreadAttributes &) = delete;
  const pthread_attr_t *get() const {
    return &attributes_;
  }

 private:
  pthread_attr_t attributes_;
};

}  // namespace

int32_t createEu(const EuRequest &request, uint32_t &id) {
  auto unit = std::make_unique<ExecutionUnit>();
  unit->entry = request.entry;
  if (request.argumentBytes != 0) {
    // operator new[] of bytes aligns for any type.
    unit->argument = std::make_unique<std::byte[]>(request.argumentBytes);
    std::memcpy(unit->argument.get(), request.argument, request.argumentBytes);
  }
  id = gLastId.fetch_add(1) + 1;
  unit->record.id = id;
  unit->record.name = request.name;
  unit->record.createdNs = monotonicNs();
  // Written before the EU runs, so that its own records come after it.
  recordEu(unit->record, EventKind::EU_CREATED, request.name);

  unit->isStartup = isStartupToBe(request.joinable);
  if (unit->isStartup) reportUnlessOk(startFeeding());
  noteEuCreated(id, request.name, {static_cast<const char *>(request.argument), request.argumentBytes});

  const ThreadAttributes attributes(request.stackBytes, request.joinable);
  JoinableThreads &joinable = joinableThreads();
  const std::lock_guard lock(joinable.mutex);
  pthread_t thread;
  const int error = pthread_create(&thread, attributes.get(), runUnit, unit.get());
  if (error != 0) {
    if (unit->isStartup) stopFeeding();
    unit->record.finished = true;
    unit->record.state = EuState::LAUNCH_FAILED;
    unit->record.result = error;
    recordEu(unit->record, EventKind::LAUNCH_FAILED, request.name + ": no thread: " + std::strerror(error));
    return error;
  }
  static_cast<void>(unit.release());  // the EU's own from here on
  if (request.joinable) joinable.threads.push_back(thread);
  return 0;
}

uint32_t currentEu() {
  return gCurrentUnit == nullptr ? 0 : gCurrentUnit->record.id;
}

std::string currentEuName() {
  return gCurrentUnit == nullptr ? std::string() : gCurrentUnit->record.name;
}

EuRecord *currentEuRecord() {
  return gCurrentUnit == nullptr ? nullptr : &gCurrentUnit->record;
}

void markStack(size_t stackBytes) {
  gStackLimit = reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) - (stackBytes - ABOVE_FIRST_FRAME_BYTES);
}

__attribute__((noinline)) void releaseUnusedStack() {
  // The call that does it needs some room below this frame. Larger pages than assumed make the request fail, which does
  // no harm.
  constexpr uintptr_t ROOM_BYTES = 256;
  if (gStackLimit == 0) return;
  auto *end = static_cast<std::byte *>(__builtin_frame_address(0)) - ROOM_BYTES;
  end -= reinterpret_cast<uintptr_t>(end) % PAGE_BYTES;
  const uintptr_t lowest = gStackLimit / PAGE_BYTES * PAGE_BYTES + PAGE_BYTES;
  const uintptr_t highest = reinterpret_cast<uintptr_t>(end);
  if (highest <= lowest) return;
  const size_t length = std::min<size_t>(highest - lowest, RELEASED_STACK_BYTES);
  madvise(end - length, length, MADV_DONTNEED);
}

__attribute__((noinline)) void releaseReturnedStack() {
  thread_local uintptr_t frameBefore = UINTPTR_MAX;
  const auto frame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  if (frame > std::exchange(frameBefore, frame)) releaseUnusedStack();
}

void joinEus() {
  JoinableThreads &joinable = joinableThreads();
  for (;;) {
    pthread_t thread;
    {
      const std::lock_guard lock(joinable.mutex);
      if (joinable.threads.empty()) return;
      thread = joinable.threads.front();
      joinable.threads.erase(joinable.threads.begin());
    }
    pthread_join(thread, nullptr);
  }
}

}  // namespace orv
