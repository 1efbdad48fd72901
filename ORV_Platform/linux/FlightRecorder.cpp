#include "FlightRecorder.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "BoardSettings.h"
#include "Caretaker.h"
#include "Clock.h"
#include "ExecutionUnits.h"
#include "LastRun.h"
#include "NoThrow.h"
#include "NodePaths.h"
#include "Platform.h"
#include "ServiceThread.h"
#include "StartupStage.h"
#include "StoreWriter.h"

namespace orv {
namespace {

void complainUnlessOk(const Status &status) {
  if (!status.ok()) platformComplain(SEVERITY_WARNING, status.message);
}

void stamp(FlightEntry &entry) {
  entry.bootId = currentBootId();
  entry.realtimeNs = realtimeNs();
  entry.boottimeNs = boottimeNs();
  entry.stage = startupStage();
}

// The record of the EU of that name, the last one where there are several.
std::optional<EuRecord> euNamed(const NodeStore &store, const std::string &name) {
  const std::vector<EuRecord> eus = store.eus();
  const auto found = std::find_if(eus.rbegin(), eus.rend(), [&](const EuRecord &eu) { return eu.name == name; });
  return found == eus.rend() ? std::nullopt : std::optional(*found);
}

void takeProgram(const EuRecord &eu, FlightEntry &entry) {
  entry.euName = eu.name;
  entry.path = eu.path;
  entry.args = eu.args;
  entry.result = eu.result;
  entry.waitStatus = eu.waitStatus;
}

// Who asks: an EU whose program has ended, or the start-up, which waited for a tag in vain. Returns the EU whose
// program it is about, 0 where there is none.
uint32_t takeRequester(const NodeStore *store, FlightEntry &entry) {
  if (const EuRecord *own = currentEuRecord(); own != nullptr && !own->path.empty()) {
    takeProgram(*own, entry);
    if (own->state == EuState::PROGRAM_ENDED) entry.cause = ResetCause::PROGRAM_ENDED;
    if (own->state == EuState::LAUNCH_FAILED) entry.cause = ResetCause::LAUNCH_FAILED;
    return own->id;
  }
  const Awaited awaited = awaitedInVain();
  if (awaited.tag.empty()) {
    entry.euName = currentEuName();
    return 0;
  }
  entry.cause = ResetCause::NOT_ONLINE;
  entry.tag = awaited.tag;
  entry.euName = awaited.euName;
  const std::optional<EuRecord> eu = store == nullptr ? std::nullopt : euNamed(*store, awaited.euName);
  if (!eu) return 0;
  takeProgram(*eu, entry);
  return eu->id;
}

void takeEvents(const NodeStore &store, FlightEntry &entry) {
  const std::vector<Event> events = store.events();
  const size_t first = events.size() > MAX_FLIGHT_EVENTS ? events.size() - MAX_FLIGHT_EVENTS : 0;
  for (size_t i = first; i < events.size(); ++i) {
    const Event &event = events[i];
    entry.events.push_back({event.monotonicNs, event.euId, static_cast<uint8_t>(event.kind), event.code, event.text});
  }
}

// The last lines that the program of EU `euId` wrote.
void takeLastWords(const NodeStore &store, uint32_t euId, FlightEntry &entry) {
  const ProgramOutput output = store.output(euId);
  for (const std::vector<OutputLine> *lines : {&output.first, &output.last}) {
    for (const OutputLine &line : *lines)
      entry.lastWords.push_back(line.text);
  }
  const size_t count = entry.lastWords.size();
  if (count > MAX_FLIGHT_LAST_WORDS) {
    entry.lastWords.erase(entry.lastWords.begin(),
                          entry.lastWords.end() - static_cast<std::ptrdiff_t>(MAX_FLIGHT_LAST_WORDS));
  }
}

struct StorageJob {
  explicit StorageJob(std::function<Status()> theWork) : work(std::move(theWork)) {}
  std::function<Status()> work;
  std::mutex mutex;
  std::condition_variable done;
  std::optional<Status> result;
};

void *runStorageJob(void *argument) {
  nameThisThread("orv-storage");
  const std::unique_ptr<std::shared_ptr<StorageJob>> owner(static_cast<std::shared_ptr<StorageJob> *>(argument));
  StorageJob &job = **owner;
  Status result = withoutExceptions<Status>(Status{ENOMEM, {}}, [&] { return job.work(); });
  const std::lock_guard lock(job.mutex);
  job.result = std::move(result);
  job.done.notify_all();
  return nullptr;
}

}  // namespace

Status countRunStart(const NodeStore &store, const ResetLimits &limits, RunRecord &record, FlightEntry &entry) {
  const std::string directory = stateDirectory();
  StartFindings findings;
  // Said by recordStart below, which reads the same file.
  findings.runKnown = readRunRecord(directory, findings.before).ok();
  const bool lastWasShutDown = takeShutdownNote(nodeDirectory(), findings.before);
  if (lastWasShutDown) findings.before = asShutDown(findings.before);
  findings.bootId = currentBootId();
  complainUnlessOk(readFlightRecord(directory, findings.flight));
  findings.word = askBoard(boardWordSources(store));

  Status started = recordStart(directory, limits, record, lastWasShutDown);
  entry = judgeLastRun(findings);
  stamp(entry);
  entry.resetsInARow = record.resetsInARow;
  entry.ungracefulCount = record.ungracefulCount;
  return started;
}

Status writeRunStart(FlightEntry &entry) {
  Status written = appendFlightEntry(stateDirectory(), entry);
  if (entry.lastEnd != LastEnd::UNKNOWN && entry.lastEnd != LastEnd::STOPPED) {
    platformLog(SEVERITY_WARNING,
                "the last run: " + std::string(lastEndText(entry.lastEnd)) + " (orvctl why-reset tells more)");
  }
  return written;
}

Status recordRunStop() {
  FlightEntry entry;
  entry.kind = FlightKind::STOPPED;
  stamp(entry);
  return appendFlightEntry(stateDirectory(), entry);
}

FlightEntry resetEntry(FlightKind kind, const std::string &means) {
  FlightEntry entry;
  entry.kind = kind;
  entry.means = means;
  stamp(entry);
  // What has just happened, and the program's last words, are on their way into the store.
  waitForOutputs();
  flushRecords();
  const NodeStore *store = nodeStore();
  const uint32_t euId = takeRequester(store, entry);
  if (store != nullptr) takeEvents(*store, entry);
  if (store != nullptr && euId != 0) takeLastWords(*store, euId, entry);
  return entry;
}

Status withinStorageLimit(const std::string &what, std::function<Status()> work) {
  const auto job = std::make_shared<StorageJob>(std::move(work));
  // The thread's own reference: the work may outlast this call.
  auto threadsJob = std::make_unique<std::shared_ptr<StorageJob>>(job);
  pthread_t thread;
  if (startServiceThread(runStorageJob, threadsJob.get(), thread) != 0) return job->work();
  static_cast<void>(threadsJob.release());
  pthread_detach(thread);
  std::unique_lock lock(job->mutex);
  if (job->done.wait_for(lock, STORAGE_LIMIT, [&] { return job->result.has_value(); })) return *job->result;
  return Status::failure(ETIMEDOUT, "cannot " + what + " in " + std::to_string(STORAGE_LIMIT.count()) +
                                        " s and does not wait for it any longer: does the storage of " +
                                        stateDirectory() + " hang?");
}

}  // namespace orv
