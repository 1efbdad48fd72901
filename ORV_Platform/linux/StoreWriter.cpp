#include "StoreWriter.h"

#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "Clock.h"
#include "ExecutionUnits.h"
#include "Platform.h"
#include "ServiceThread.h"
#include "StoreWrites.h"
#include "SystemLog.h"
#include "Utf8.h"

namespace orv {
namespace {

// A burst is written when no record has come for so long, and after the limit at the latest: writing while it goes on
// would take processors from what it is about, the programs that are being started above all.
constexpr auto GATHERING_TIME = std::chrono::milliseconds(2);
constexpr auto GATHERING_LIMIT = std::chrono::milliseconds(20);

// The same during the CE shutdown, which in the end waits for everything to be written.
constexpr auto SHUTDOWN_GATHERING_TIME = std::chrono::microseconds(500);

// After so long without a record a burst is over, and the memory it took goes back to the system.
constexpr auto QUIET_TIME = std::chrono::milliseconds(100);

// What the store did not take is tried again after so long, or when somebody waits for it.
constexpr auto RETRY_TIME = std::chrono::milliseconds(100);

constexpr auto FLUSH_LIMIT = std::chrono::seconds(1);

struct Waiting {
  std::vector<Event> events;
  std::vector<LogLine> logLines;     // each is an event as well
  std::map<uint32_t, EuRecord> eus;  // the latest state alone is of interest
  std::map<uint32_t, std::vector<OutputLine>> outputs;
  std::map<uint32_t, std::string> statuses;
  std::map<std::string, Setter> tags;  // the latest setter, as above
  uint64_t droppedEvents = 0;

  bool empty() const {
    return events.empty() && eus.empty() && outputs.empty() && statuses.empty() && tags.empty() && droppedEvents == 0;
  }
};

// Never destroyed: EUs may still record while the process exits.
struct Writer {
  std::mutex mutex;
  std::condition_variable somethingToDo;
  std::condition_variable written;
  bool running = false;
  bool ending = false;
  bool shuttingDown = false;
  unsigned flushesWanted = 0;
  uint64_t batchesTaken = 0;
  uint64_t batchesWritten = 0;
  uint64_t recordsQueued = 0;
  Waiting waiting;
  pthread_t thread{};
};

Writer &writer() {
  static auto *instance = new Writer;
  return *instance;
}

// Not through the node's log, whose events come this way, and each failure once: the next batch may well fail too.
void reportUnlessOk(const Status &status) {
  if (status.ok()) return;
  static std::mutex mutex;
  static auto *lastMessage = new std::string;
  const std::lock_guard lock(mutex);
  if (*lastMessage == status.message) return;
  *lastMessage = status.message;
  std::fprintf(stderr, "Warning/ORV/platform, %s\n", status.message.c_str());
}

// Which kinds of records the store has been said to refuse, since it last took everything.
struct Told {
  bool entries = false;
  bool tags = false;
  bool outputs = false;
  bool statuses = false;
};

// What the store refuses is tried again, but not told again.
void reportOnce(const Status &status, bool &told) {
  if (status.ok() || std::exchange(told, true)) return;
  reportUnlessOk(status);
}

void stamp(Event &event) {
  if (event.monotonicNs == 0) event.monotonicNs = monotonicNs();
  event.pid = static_cast<uint32_t>(getpid());
}

Event droppedNotice(uint64_t count) {
  Event event;
  stamp(event);
  event.kind = EventKind::LOG;
  event.code = SEVERITY_WARNING;
  event.text = std::to_string(count) + " events were not recorded: they came faster than the store takes them";
  return event;
}

// Entries on their way to the store, so many a transaction: a transaction keeps a copy of each page that it changes,
// and LMDB keeps the memory for the next one.
class Batch {
 public:
  Batch(NodeStore &store, size_t limit, bool &told) : store_(store), limit_(limit), told_(told) {}

  void add(StoreEntry &&entry) {
    entries_.push_back(std::move(entry));
    if (entries_.size() == limit_) write();
  }

  void write() {
    if (entries_.empty()) return;
    const Status written = store_.write(entries_);
    reportOnce(written, told_);
    if (!written.ok()) std::move(entries_.begin(), entries_.end(), std::back_inserter(refused_));
    entries_.clear();
  }

  // What the store did not take: full for the moment, perhaps.
  std::vector<StoreEntry> &refused() {
    return refused_;
  }

 private:
  NodeStore &store_;
  size_t limit_;
  bool &told_;
  std::vector<StoreEntry> entries_;
  std::vector<StoreEntry> refused_;
};

Status setReadyTag(NodeStore &store, const std::string &name, const Setter &setter) {
  TagValue value;
  value.text = "1";
  return store.setTag(name, value, setter);
}

// Takes those off `records` that `write` stores, and those that the store will never take.
template <typename Records, typename Write>
void writeEach(Records &records, bool &told, Write write) {
  std::erase_if(records, [&](auto &record) {
    const Status written = write(record.first, record.second);
    const bool isForGood = written.ok() || written.code == EINVAL;
    if (isForGood) {
      reportUnlessOk(written);
    } else {
      reportOnce(written, told);
    }
    return isForGood;
  });
}

// `hurried`: somebody waits for it. Returns the entries that the store did not take; what else it did not take stays in
// `waiting`.
std::vector<StoreEntry> writeWaiting(Waiting &waiting, bool hurried, Told &told) {
  constexpr size_t USUAL_ENTRIES = 32;
  constexpr size_t HURRIED_ENTRIES = 1024;
  for (const LogLine &line : waiting.logLines)
    writeToLogSinks(line);
  NodeStore *open = openNodeStore();
  if (open == nullptr) {
    waiting = {};
    return {};
  }
  NodeStore &store = *open;
  Batch batch(store, hurried ? HURRIED_ENTRIES : USUAL_ENTRIES, told.entries);
  for (auto &[id, record] : waiting.eus)
    batch.add({std::move(record), std::nullopt});
  for (Event &event : waiting.events)
    batch.add({std::nullopt, std::move(event)});
  if (waiting.droppedEvents != 0) batch.add({std::nullopt, droppedNotice(waiting.droppedEvents)});
  batch.write();
  writeEach(waiting.tags, told.tags,
            [&](const std::string &name, const Setter &setter) { return setReadyTag(store, name, setter); });
  writeEach(waiting.outputs, told.outputs,
            [&](uint32_t id, const std::vector<OutputLine> &lines) { return store.appendOutput(id, lines); });
  writeEach(waiting.statuses, told.statuses,
            [&](uint32_t id, const std::string &text) { return store.setEuStatus(id, text); });
  return std::move(batch.refused());
}

// Drops what is too much of one program's output.
void limitOutput(std::vector<OutputLine> &lines) {
  // The first lines of a program are kept for good, so they go last.
  const auto keep = static_cast<size_t>(std::count_if(
      lines.begin(), lines.end(), [](const OutputLine &line) { return line.number <= FIRST_OUTPUT_LINES; }));
  if (lines.size() <= MAX_WAITING_OUTPUT_LINES + keep) return;
  const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(keep);
  lines.erase(begin, begin + static_cast<std::ptrdiff_t>(lines.size() - keep - MAX_WAITING_OUTPUT_LINES));
}

// Puts what the store did not take, `refused` and what is left in `batch`, before what has come since.
void waitAgain(Waiting &waiting, std::vector<StoreEntry> &&refused, Waiting &&batch) {
  waiting.tags.merge(batch.tags);
  waiting.statuses.merge(batch.statuses);
  for (auto &[id, lines] : batch.outputs) {
    std::vector<OutputLine> &all = waiting.outputs[id];
    all.insert(all.begin(), std::make_move_iterator(lines.begin()), std::make_move_iterator(lines.end()));
    limitOutput(all);
  }
  std::vector<Event> events;
  for (StoreEntry &entry : refused) {
    if (entry.eu) waiting.eus.try_emplace(entry.eu->id, std::move(*entry.eu));
    if (entry.event) events.push_back(std::move(*entry.event));
  }
  const size_t room = 2 * MAX_WAITING_EVENTS - std::min(2 * MAX_WAITING_EVENTS, waiting.events.size());
  if (events.size() > room) {
    waiting.droppedEvents += events.size() - room;
    events.resize(room);
  }
  waiting.events.insert(waiting.events.begin(), std::make_move_iterator(events.begin()),
                        std::make_move_iterator(events.end()));
}

// Until a burst is over, or somebody is in a hurry.
template <typename Hurry>
void gather(Writer &all, std::unique_lock<std::mutex> &lock, Hurry hurry) {
  if (all.shuttingDown) {
    all.somethingToDo.wait_for(lock, SHUTDOWN_GATHERING_TIME, hurry);
    return;
  }
  const auto limit = std::chrono::steady_clock::now() + GATHERING_LIMIT;
  uint64_t before = 0;
  do {
    before = all.recordsQueued;
    if (all.somethingToDo.wait_for(lock, GATHERING_TIME, hurry)) return;
  } while (all.recordsQueued != before && std::chrono::steady_clock::now() < limit);
}

void *runWriter(void *) {
  nameThisThread("orvStoreWriter");
  markStack(SERVICE_STACK_BYTES);
  Writer &all = writer();
  std::unique_lock lock(all.mutex);
  const auto hurry = [&] { return all.ending || all.flushesWanted != 0; };
  const auto hasWork = [&] { return hurry() || !all.waiting.empty(); };
  bool wasRefused = false;
  Told told;
  for (bool trimmed = true;; trimmed = false) {
    if (!trimmed && !all.somethingToDo.wait_for(lock, QUIET_TIME, hasWork)) {
      lock.unlock();
      malloc_trim(0);
      releaseUnusedStack();
      lock.lock();
    }
    all.somethingToDo.wait(lock, hasWork);
    if (wasRefused) {
      all.somethingToDo.wait_for(lock, RETRY_TIME, hurry);
    } else {
      gather(all, lock, hurry);
    }
    Waiting batch = std::exchange(all.waiting, {});
    const uint64_t number = ++all.batchesTaken;
    const bool hurried = hurry();
    all.flushesWanted = 0;
    lock.unlock();
    std::vector<StoreEntry> refused = writeWaiting(batch, hurried, told);
    lock.lock();
    wasRefused = !refused.empty() || !batch.tags.empty() || !batch.outputs.empty() || !batch.statuses.empty();
    if (!wasRefused) told = {};
    if (wasRefused && !all.ending) waitAgain(all.waiting, std::move(refused), std::move(batch));
    all.batchesWritten = number;
    all.written.notify_all();
    if (all.ending && all.waiting.empty()) return nullptr;
  }
}

// Calls `queue` with what waits, under the lock, where the thread runs; else returns false.
template <typename Queue>
bool queued(Queue queue) {
  Writer &all = writer();
  const std::lock_guard lock(all.mutex);
  if (!all.running) return false;
  const bool first = all.waiting.empty();
  ++all.recordsQueued;
  queue(all.waiting);
  if (first) all.somethingToDo.notify_one();
  return true;
}

// Whether there was room.
bool queueEvent(Waiting &waiting, Event &&event) {
  const size_t room = event.kind == EventKind::LOG ? MAX_WAITING_EVENTS : 2 * MAX_WAITING_EVENTS;
  if (waiting.events.size() >= room) {
    ++waiting.droppedEvents;
    return false;
  }
  event.text.resize(utf8Cut(event.text, MAX_EVENT_TEXT_LENGTH).size());
  waiting.events.push_back(std::move(event));
  return true;
}

// The EUs that a program has made for itself are its own business: the node's have the same numbers.
void writeEvent(Event &event) {
  if (!runsNode()) event.euId = 0;
  if (NodeStore *store = openNodeStore()) reportUnlessOk(store->appendEvent(event));
}

Event logEvent(const LogLine &line, uint32_t euId) {
  Event event;
  stamp(event);
  event.kind = EventKind::LOG;
  event.code = line.severity;
  event.euId = euId;
  event.text = line.text;
  return event;
}

}  // namespace

int startStoreWriter() {
  Writer &all = writer();
  const std::lock_guard lock(all.mutex);
  if (all.running) return 0;
  all.ending = false;
  all.shuttingDown = false;
  // Also where the daemon ends without a CE shutdown.
  static const bool atTheEnd = std::atexit(stopStoreWriter) == 0;
  static_cast<void>(atTheEnd);
  const int error = startServiceThread(runWriter, nullptr, all.thread);
  all.running = error == 0;
  return error;
}

void storeWriterIsToEnd() {
  const std::lock_guard lock(writer().mutex);
  writer().shuttingDown = true;
}

void stopStoreWriter() {
  Writer &all = writer();
  {
    const std::lock_guard lock(all.mutex);
    if (!all.running) return;
    // From here on others write themselves, at worst a moment before what the thread still has.
    all.running = false;
    all.ending = true;
    all.somethingToDo.notify_one();
  }
  pthread_join(all.thread, nullptr);
}

void flushRecords() {
  Writer &all = writer();
  std::unique_lock lock(all.mutex);
  if (!all.running) return;
  // What waits goes with the batch after those that have been taken.
  const uint64_t target = all.batchesTaken + (all.waiting.empty() ? 0 : 1);
  if (!all.waiting.empty()) {
    ++all.flushesWanted;
    all.somethingToDo.notify_one();
  }
  all.written.wait_for(lock, FLUSH_LIMIT, [&] { return all.batchesWritten >= target; });
}

void hurryRecords() {
  Writer &all = writer();
  const std::lock_guard lock(all.mutex);
  if (!all.running || all.waiting.empty()) return;
  ++all.flushesWanted;
  all.somethingToDo.notify_one();
}

void recordEvent(Event event) {
  stamp(event);
  if (queued([&](Waiting &waiting) { queueEvent(waiting, std::move(event)); })) return;
  writeEvent(event);
}

void recordEvent(EventKind kind, std::string text) {
  Event event;
  event.kind = kind;
  event.euId = currentEu();
  event.text = std::move(text);
  recordEvent(std::move(event));
}

void recordLogLine(LogLine line, uint32_t euId) {
  Event event = logEvent(line, euId);
  const auto queue = [&](Waiting &waiting) {
    if (queueEvent(waiting, std::move(event))) waiting.logLines.push_back(std::move(line));
  };
  if (queued(queue)) return;
  writeToLogSinks(line);
  writeEvent(event);
}

void recordEu(const EuRecord &record, EventKind kind, std::string text) {
  Event event;
  stamp(event);
  event.kind = kind;
  event.euId = record.id;
  event.text = std::move(text);
  const auto queue = [&](Waiting &waiting) {
    waiting.eus.insert_or_assign(record.id, record);
    queueEvent(waiting, std::move(event));
  };
  if (queued(queue)) return;
  if (!runsNode()) return writeEvent(event);
  if (NodeStore *store = openNodeStore()) reportUnlessOk(store->putEu(record, &event));
}

void recordOutput(uint32_t euId, std::vector<OutputLine> lines) {
  const auto queue = [&](Waiting &waiting) {
    std::vector<OutputLine> &all = waiting.outputs[euId];
    if (all.empty()) {
      all = std::move(lines);
    } else {
      all.insert(all.end(), std::make_move_iterator(lines.begin()), std::make_move_iterator(lines.end()));
    }
    limitOutput(all);
  };
  if (queued(queue)) return;
  if (NodeStore *store = openNodeStore()) reportUnlessOk(store->appendOutput(euId, lines));
}

void recordTag(const std::string &name, const Setter &setter) {
  Writer &all = writer();
  {
    const std::lock_guard lock(all.mutex);
    if (all.running) {
      all.waiting.tags.insert_or_assign(name, setter);
      ++all.flushesWanted;
      all.somethingToDo.notify_one();
      return;
    }
  }
  if (NodeStore *store = openNodeStore()) reportUnlessOk(setReadyTag(*store, name, setter));
}

void recordEuStatus(uint32_t euId, const std::string &text) {
  if (queued([&](Waiting &waiting) { waiting.statuses[euId] = text; })) return;
  if (NodeStore *store = openNodeStore()) reportUnlessOk(store->setEuStatus(euId, text));
}

}  // namespace orv
