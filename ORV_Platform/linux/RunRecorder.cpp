#include "RunRecorder.h"

#include <pthread.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <utility>

#include "FlightRecorder.h"
#include "NoThrow.h"
#include "NodePaths.h"
#include "Platform.h"
#include "RunRecord.h"
#include "ServiceThread.h"

namespace orv {
namespace {

enum class Stage { NOT_BEGUN, BEGUN, COUNTED, WRITTEN };

// A thread of this module's. It is joined once its work is done: it must not be about to end while the process exits.
struct Recording {
  pthread_t thread{};
  bool runs = false;
};

// Never destroyed: with a storage that hangs the thread outlasts the process's exit.
struct RunStart {
  Recording recording;  // begun and joined by the thread that starts the CE and shuts it down
  std::mutex mutex;
  std::condition_variable changed;
  Stage stage = Stage::NOT_BEGUN;
  uint32_t ungracefulCount = 0;
  bool hangIsReported = false;

  const NodeStore *store = nullptr;
  ResetLimits limits;
};

RunStart &runStart() {
  static auto *instance = new RunStart;
  return *instance;
}

// Says what the run record makes of the last runs.
void reportRunRecord(const RunRecord &record, const ResetLimits &limits) {
  if (record.ungracefulCount != 0) {
    platformComplain(SEVERITY_WARNING, "ungraceful CE shutdowns: " + std::to_string(record.ungracefulCount) +
                                           "; a graceful shutdown clears them, and `orvctl ungraceful --clear` does");
  }
  if (record.resetsInARow != 0) {
    platformComplain(SEVERITY_WARNING, "board resets in a row that this node requested soon after its start: " +
                                           std::to_string(record.resetsInARow) + "; more than " +
                                           std::to_string(limits.resetBudget) + " count as an ungraceful shutdown");
  }
}

void reach(Stage stage, uint32_t count) {
  RunStart &start = runStart();
  const std::lock_guard lock(start.mutex);
  start.stage = stage;
  start.ungracefulCount = count;
  start.changed.notify_all();
}

void record() {
  const RunStart &start = runStart();
  if (start.store == nullptr) return;
  uint32_t count = 0;
  withoutExceptions<int>(0, [&] {
    RunRecord record;
    FlightEntry entry;
    // Without a state directory the node runs all the same; it only cannot know how its last run ended.
    const Status counted = countRunStart(*start.store, start.limits, record, entry);
    count = record.ungracefulCount;
    if (!counted.ok()) platformComplain(SEVERITY_ERROR, counted.message);
    reportRunRecord(record, start.limits);
    reach(Stage::COUNTED, count);
    // A state directory that cannot be written has just been reported.
    const Status written = writeRunStart(entry);
    if (counted.ok() && !written.ok()) platformComplain(SEVERITY_WARNING, written.message);
    return 0;
  });
  reach(Stage::WRITTEN, count);
}

void *runRecording(void *) {
  nameThisThread("orvRunStart");
  record();
  return nullptr;
}

// Whether that stage was reached within the limit.
bool awaitStage(Stage stage) {
  RunStart &start = runStart();
  std::unique_lock lock(start.mutex);
  if (start.stage == Stage::NOT_BEGUN) return true;
  if (start.changed.wait_for(lock, STORAGE_LIMIT, [&] { return start.stage >= stage; })) return true;
  if (start.hangIsReported) return false;
  start.hangIsReported = true;
  lock.unlock();
  withoutExceptions<int>(0, [] {
    platformComplain(SEVERITY_ERROR,
                     "the start of this run is not recorded after " + std::to_string(STORAGE_LIMIT.count()) +
                         " s, and is not waited for any longer: does the storage of " + stateDirectory() + " hang?");
    return 0;
  });
  return false;
}

void begin(Recording &recording, void *(*entry)(void *)) {
  recording.runs = startServiceThread(entry, nullptr, recording.thread) == 0;
}

void join(Recording &recording) {
  if (std::exchange(recording.runs, false)) pthread_join(recording.thread, nullptr);
}

void joinRunStart() {
  if (awaitStage(Stage::WRITTEN)) join(runStart().recording);
}

// What recording the end has come to.
struct RunStop {
  std::mutex mutex;
  std::condition_variable changed;
  Recording recording;  // as above
  bool done = true;
  Status recorded;
  Status entered;
};

// Never destroyed, as above.
RunStop &runStop() {
  static auto *instance = new RunStop;
  return *instance;
}

void recordStop() {
  joinRunStart();
  Status recorded = Status::failure(ENOMEM, "no memory to record the end of the run");
  Status entered;
  withoutExceptions<int>(0, [&] {
    recorded = recordGracefulShutdown(stateDirectory());
    // What has gone wrong is reported once, by whoever asks for `recorded`.
    if (!recorded.ok()) static_cast<void>(noteGracefulShutdown(stateDirectory(), nodeDirectory()));
    entered = recordRunStop();
    return 0;
  });
  RunStop &stop = runStop();
  const std::lock_guard lock(stop.mutex);
  stop.recorded = recorded;
  stop.entered = entered;
  stop.done = true;
  stop.changed.notify_all();
}

void *runRecordingStop(void *) {
  nameThisThread("orvRunStop");
  recordStop();
  return nullptr;
}

}  // namespace

void beginRunStart(const NodeStore &store, const ResetLimits &limits) {
  RunStart &start = runStart();
  {
    const std::lock_guard lock(start.mutex);
    start.stage = Stage::BEGUN;
    start.store = &store;
    start.limits = limits;
  }
  // Also where the daemon ends without a CE shutdown.
  static const bool atTheEnd = std::atexit(joinRunStart) == 0;
  static_cast<void>(atTheEnd);
  begin(start.recording, runRecording);
  if (!start.recording.runs) record();
}

uint32_t ungracefulCount() {
  if (!awaitStage(Stage::COUNTED)) return 0;
  RunStart &start = runStart();
  const std::lock_guard lock(start.mutex);
  return start.ungracefulCount;
}

void finishRunStart() {
  awaitStage(Stage::WRITTEN);
}

void beginRunStop() {
  RunStop &stop = runStop();
  {
    const std::lock_guard lock(stop.mutex);
    stop.done = false;
  }
  begin(stop.recording, runRecordingStop);
  if (!stop.recording.runs) recordStop();
}

Status finishRunStop() {
  RunStop &stop = runStop();
  std::unique_lock lock(stop.mutex);
  if (!stop.changed.wait_for(lock, STORAGE_LIMIT, [&] { return stop.done; })) {
    Status hangs = Status::failure(ETIMEDOUT, "the end of this run is not recorded after " +
                                                  std::to_string(STORAGE_LIMIT.count()) + " s: does the storage of " +
                                                  stateDirectory() + " hang?");
    platformComplain(SEVERITY_ERROR, hangs.message);
    return hangs;
  }
  lock.unlock();
  join(stop.recording);
  if (!stop.recorded.ok()) {
    platformComplain(SEVERITY_ERROR, stop.recorded.message);
  } else if (!stop.entered.ok()) {
    // Of a state directory that cannot be written one word is enough.
    platformComplain(SEVERITY_ERROR, stop.entered.message);
  }
  return stop.recorded;
}

}  // namespace orv
