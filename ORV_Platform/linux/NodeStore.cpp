#include "NodeStore.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "ProcessTree.h"
#include "StoreCodec.h"
#include "StoreEnvironment.h"
#include "StoreWrites.h"
#include "Utf8.h"

namespace orv {
namespace {

constexpr const char *FILE_NAME = "/node.mdb";

// Events that one transaction drops from a full store. A transaction that frees much needs space to say so, and a full
// store has little.
constexpr size_t DROP_STEP = 256;

Status checkTag(std::string_view name, const TagValue &value) {
  if (name.empty()) return Status::failure(EINVAL, "a tag without a name cannot be set (give it one)");
  if (name.size() > MAX_TAG_NAME_LENGTH) {
    constexpr size_t SHOWN = 40;  // enough to know it by
    return Status::failure(EINVAL, "a tag name of " + std::to_string(name.size()) + " bytes is too long (at most " +
                                       std::to_string(MAX_TAG_NAME_LENGTH) + "): it begins with " +
                                       std::string(utf8Cut(name, SHOWN)));
  }
  if (value.type == TagType::STRING && value.text.size() > MAX_TAG_TEXT_LENGTH) {
    return Status::failure(EINVAL, "the text of tag " + std::string(name) +
                                       " is too long: " + std::to_string(value.text.size()) + " bytes (at most " +
                                       std::to_string(MAX_TAG_TEXT_LENGTH) + ")");
  }
  if (value.type == TagType::U16 && value.number > std::numeric_limits<uint16_t>::max()) {
    return Status::failure(EINVAL, "the value of tag " + std::string(name) + " does not fit its type u16: " +
                                       std::to_string(value.number) + " (at most 65535, or use type u32)");
  }
  return Status::success();
}

// --- What stands in the key of a record -----------------------------------------------------------------------------

bool takeTagName(std::string_view key, Tag &tag) {
  tag.name = key;
  return true;
}

bool takeRadNumber(std::string_view key, RadParameter &parameter) {
  return decodeKey(key, parameter.number);
}

bool takeEuId(std::string_view key, EuRecord &record) {
  return decodeKey(key, record.id);
}

bool takeEventSequence(std::string_view key, Event &event) {
  return decodeKey(key, event.sequence);
}

bool takeNothing(std::string_view, RunInfo &) {
  return true;
}

}  // namespace

struct NodeStore::Impl {
  std::string directory;
  std::unique_ptr<StoreEnvironment> environment;
  std::once_flag setterKnown;
  Setter setter;  // this process, from its first tag on

  // This process as a setter. The kernel is asked once, and never while a change is under way.
  const Setter &ownSetter() {
    std::call_once(setterKnown, [this] {
      const uint32_t pid = static_cast<uint32_t>(getpid());
      Setter found = identify(pid);
      const RunInfo run = read<RunInfo>(Table::NODE, RUN_KEY, takeNothing).value_or(RunInfo{});
      const EuProcesses node{list<EuRecord>(Table::EUS, {}, takeEuId), run.daemonPid, directory};
      if (std::optional<EuOfProcess> eu = euOfProcess(pid, node)) {
        found.euName = utf8Cut(eu->name, MAX_SETTER_TEXT_LENGTH);
        found.euId = eu->id;
      }
      setter = std::move(found);
    });
    return setter;
  }

  // Runs `body` as one transaction, whole or not at all.
  template <typename Body>
  int transact(Body body) {
    WriteTransaction transaction(*environment);
    int code = transaction.code();
    if (code == 0) code = body(transaction);
    return code == 0 ? transaction.commit() : code;
  }

  // Makes space in a full store: from readers that died, and from the older half of the events. The newest event stays
  // in any case, since its number is the one that the next one follows.
  void makeSpace() {
    environment->forgetDeadReaders();
    size_t count = 0;
    if (transact([&](WriteTransaction &transaction) { return transaction.count(Table::EVENTS, count); }) != 0) return;
    for (size_t left = count / 2; left != 0;) {
      const size_t step = std::min(left, DROP_STEP);
      if (transact([&](WriteTransaction &transaction) { return dropOldestEvents(transaction, step); }) != 0) return;
      left -= step;
    }
  }

  // Runs `body` as one transaction, as far as the reserve of space is left alone.
  template <typename Body>
  int transactKeepingReserve(Body body) {
    return environment->hasSpace() ? transact(body) : MDB_MAP_FULL;
  }

  // Runs `attempt`, a transaction. Where pages are free but somebody still reads what was in them, waits for the
  // reader, which may have lost the processor to a crowd of writers; these wait here, so that it gets it back.
  template <typename Attempt>
  int patiently(Attempt attempt) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds PATIENCE(1);
    constexpr std::chrono::milliseconds PAUSE(10);
    int code = attempt();
    const Clock::time_point deadline = Clock::now() + PATIENCE;
    while (code == MDB_MAP_FULL) {
      // Each time, since a reader may be killed while it is waited for.
      environment->forgetDeadReaders();
      if (!environment->hasSpace() || Clock::now() >= deadline) break;
      std::this_thread::sleep_for(PAUSE);
      code = attempt();
    }
    return code;
  }

  // Runs `body`, which adds something, as one transaction; makes space and tries once more where the store is full. The
  // sentence of a failure is "cannot <action> <object> in the node store ...".
  template <typename Body>
  Status add(std::string_view action, std::string_view object, Body body) {
    return report(action, object, [&] {
      const int code = patiently([&] { return transactKeepingReserve(body); });
      if (code != MDB_MAP_FULL) return code;
      makeSpace();
      return transactKeepingReserve(body);
    });
  }

  // The same for a `body` that takes something away and may use the reserve for it.
  template <typename Body>
  Status remove(std::string_view action, std::string_view object, Body body) {
    return report(action, object, [&] { return patiently([&] { return transact(body); }); });
  }

  template <typename Operation>
  Status report(std::string_view action, std::string_view object, Operation operation) {
    try {
      const int code = operation();
      if (code == 0) return Status::success();
      const std::string what = "cannot " + std::string(action) + " " + std::string(object);
      return storeFailure(code, what + " in the node store " + environment->path());
    } catch (const std::bad_alloc &) {
      return Status::failure(ENOMEM, "no memory left");  // short enough to need none
    }
  }

  // Reads by `body`, which begins anew each time that it is called. False where memory is short, or the store changes
  // faster than this process can read it without being among its readers.
  template <typename Body>
  bool view(Body body) const {
    constexpr int MAX_ATTEMPTS = 100;
    try {
      for (int attempt = 0; attempt < MAX_ATTEMPTS; ++attempt) {
        const ReadTransaction transaction(*environment);
        body(transaction);
        if (transaction.isWhole()) return true;
      }
    } catch (const std::bad_alloc &) {
      return false;
    }
    return false;
  }

  // In the two below, takeKey(key, record) puts into the record what stands in its key. What it or the decoding refuses
  // counts as not there.

  template <typename Record, typename TakeKey>
  std::optional<Record> read(Table table, std::string_view key, TakeKey takeKey) const {
    std::optional<Record> found;
    const bool isRead = view([&](const ReadTransaction &transaction) {
      std::string_view bytes;
      found.emplace();
      if (transaction.get(table, key, bytes) != 0 || !takeKey(key, *found) || !decode(bytes, *found)) found.reset();
    });
    return isRead ? found : std::nullopt;
  }

  // All records from `firstKey` on.
  template <typename Record, typename TakeKey>
  std::vector<Record> list(Table table, std::string_view firstKey, TakeKey takeKey) const {
    std::vector<Record> records;
    const bool isRead = view([&](const ReadTransaction &transaction) {
      records.clear();
      // Result not examined: what could be read is worth more than nothing.
      transaction.forEach(table, firstKey, [&](std::string_view key, std::string_view bytes) {
        Record record;
        if (takeKey(key, record) && decode(bytes, record)) records.push_back(std::move(record));
      });
    });
    if (!isRead) records.clear();
    return records;
  }
};

NodeStore::NodeStore(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

NodeStore::~NodeStore() = default;

Status NodeStore::open(const std::string &directory, Access access, std::unique_ptr<NodeStore> &store,
                       std::string *setAside) {
  try {
    auto impl = std::make_unique<Impl>();
    impl->directory = directory;
    std::string report;
    Status status = StoreEnvironment::open(directory + FILE_NAME, access == Access::CREATE, access != Access::EXISTING,
                                           impl->environment, report);
    if (setAside != nullptr && !report.empty()) *setAside = std::move(report);
    if (status.ok()) store.reset(new NodeStore(std::move(impl)));
    return status;
  } catch (const std::bad_alloc &) {
    return Status::failure(ENOMEM, "no memory left");
  }
}

Status NodeStore::beginRun(const RunInfo &run) {
  return impl_->remove("begin", "a run", [&](WriteTransaction &transaction) {
    RunInfo numbered = run;
    int code = runNumber(transaction, numbered.number);
    ++numbered.number;
    for (const Table table : {Table::TAGS, Table::EUS, Table::EU_STATUS, Table::OUTPUT}) {
      if (code == 0) code = transaction.clear(table);
    }
    if (code == 0) code = removeConfiguredRads(transaction);
    if (code == 0) code = transaction.put(Table::NODE, RUN_KEY, encode(numbered));
    Event event;
    event.kind = EventKind::RUN_STARTED;
    event.monotonicNs = run.startedNs;
    event.text = "pid " + std::to_string(run.daemonPid);
    return code == 0 ? putEvent(transaction, event) : code;
  });
}

Status NodeStore::updateRun(const RunInfo &run) {
  return impl_->add("record", "the run", [&](WriteTransaction &transaction) {
    RunInfo numbered = run;
    const int code = runNumber(transaction, numbered.number);
    return code == 0 ? transaction.put(Table::NODE, RUN_KEY, encode(numbered)) : code;
  });
}

std::optional<RunInfo> NodeStore::run() const {
  return impl_->read<RunInfo>(Table::NODE, RUN_KEY, takeNothing);
}

Status NodeStore::setTag(std::string_view name, const TagValue &value) {
  try {
    return setTag(name, value, impl_->ownSetter());
  } catch (const std::bad_alloc &) {
    return Status::failure(ENOMEM, "no memory left");
  }
}

Status NodeStore::setTag(std::string_view name, const TagValue &value, const Setter &setter) {
  if (Status status = checkTag(name, value); !status.ok()) return status;
  return impl_->add("set tag", name,
                    [&](WriteTransaction &transaction) { return putTag(transaction, name, value, setter); });
}

Status NodeStore::unsetTag(std::string_view name, bool &wasSet) {
  wasSet = false;
  if (Status status = checkTag(name, TagValue{}); !status.ok()) return status;
  return impl_->remove("unset tag", name, [&](WriteTransaction &transaction) {
    const int code = transaction.remove(Table::TAGS, name);
    wasSet = code == 0;
    return code == MDB_NOTFOUND ? 0 : code;
  });
}

bool NodeStore::tagIsSet(std::string_view name) const {
  bool isSet = false;
  return impl_->view([&](const ReadTransaction &transaction) {
    std::string_view record;
    isSet = transaction.get(Table::TAGS, name, record) == 0;
  }) && isSet;
}

std::optional<Tag> NodeStore::tag(std::string_view name) const {
  return impl_->read<Tag>(Table::TAGS, name, takeTagName);
}

std::vector<Tag> NodeStore::tags() const {
  return impl_->list<Tag>(Table::TAGS, {}, takeTagName);
}

Status NodeStore::setRad(uint32_t number, uint32_t value, RadOrigin origin) {
  return impl_->add("set", "a RAD parameter", [&](WriteTransaction &transaction) {
    return putRad(transaction, RadParameter{number, value, origin});
  });
}

uint32_t NodeStore::rad(uint32_t number) const {
  // Short enough a key to need no memory.
  return impl_->read<RadParameter>(Table::RAD, encodeKey(number), takeRadNumber).value_or(RadParameter{}).value;
}

std::vector<RadParameter> NodeStore::rads() const {
  return impl_->list<RadParameter>(Table::RAD, {}, takeRadNumber);
}

Status NodeStore::apply(const Settings &settings) {
  for (const auto &[name, value] : settings.tags) {
    if (Status status = checkTag(name, value); !status.ok()) return status;
  }
  impl_->ownSetter();
  return impl_->add("apply", "a configuration", [&](WriteTransaction &transaction) {
    for (const auto &[name, value] : settings.tags) {
      if (const int code = putTag(transaction, name, value, impl_->setter); code != 0) return code;
    }
    for (const RadParameter &parameter : settings.rads) {
      if (const int code = putRad(transaction, parameter); code != 0) return code;
    }
    return 0;
  });
}

Status NodeStore::write(std::span<const StoreEntry> batch) {
  return impl_->add("write", "a batch of " + std::to_string(batch.size()),
                    [&](WriteTransaction &transaction) { return putBatch(transaction, batch); });
}

Status NodeStore::putEu(const EuRecord &record, const Event *event) {
  return impl_->add("record EU", record.name, [&](WriteTransaction &transaction) {
    const int code = transaction.put(Table::EUS, encodeKey(record.id), encode(record));
    return code == 0 && event != nullptr ? putEvent(transaction, *event) : code;
  });
}

std::vector<EuRecord> NodeStore::eus() const {
  return impl_->list<EuRecord>(Table::EUS, {}, takeEuId);
}

Status NodeStore::setEuStatus(uint32_t euId, std::string_view text) {
  return impl_->add("record the status of EU", std::to_string(euId), [&](WriteTransaction &transaction) {
    const std::string key = encodeKey(euId);
    if (!text.empty()) return transaction.put(Table::EU_STATUS, key, utf8Cut(text, MAX_EU_STATUS_LENGTH));
    const int code = transaction.remove(Table::EU_STATUS, key);
    return code == MDB_NOTFOUND ? 0 : code;
  });
}

std::map<uint32_t, std::string> NodeStore::euStatuses() const {
  std::map<uint32_t, std::string> statuses;
  const bool isRead = impl_->view([&](const ReadTransaction &transaction) {
    statuses.clear();
    // Result not examined, as in Impl::list.
    transaction.forEach(Table::EU_STATUS, {}, [&](std::string_view key, std::string_view text) {
      uint32_t euId = 0;
      if (decodeKey(key, euId)) statuses.emplace(euId, text);
    });
  });
  return isRead ? statuses : std::map<uint32_t, std::string>();
}

Status NodeStore::appendOutput(uint32_t euId, std::span<const OutputLine> lines) {
  return impl_->report("append output of EU", std::to_string(euId), [&] {
    return impl_->patiently([&] {
      return impl_->transactKeepingReserve(
          [&](WriteTransaction &transaction) { return putOutput(transaction, euId, lines); });
    });
  });
}

ProgramOutput NodeStore::output(uint32_t euId) const {
  ProgramOutput output;
  const bool isRead = impl_->view([&](const ReadTransaction &transaction) {
    output = ProgramOutput{};
    uint64_t last = 0;
    // Result not examined, as in Impl::list.
    transaction.forEach(Table::OUTPUT, encodeLineKey(euId, 0), [&](std::string_view key, std::string_view bytes) {
      uint32_t owner = 0;
      OutputLine line;
      if (!decodeLineKey(key, owner, line.number)) return true;
      if (owner != euId) return false;
      last = line.number;
      if (!decode(bytes, line)) return true;
      (line.number <= FIRST_OUTPUT_LINES ? output.first : output.last).push_back(std::move(line));
      return true;
    });
    output.dropped = last - (output.first.size() + output.last.size());
  });
  return isRead ? output : ProgramOutput{};
}

Status NodeStore::appendEvent(const Event &event) {
  return impl_->add("append", "an event", [&](WriteTransaction &transaction) { return putEvent(transaction, event); });
}

std::vector<Event> NodeStore::events(uint64_t afterSequence) const {
  if (afterSequence == std::numeric_limits<uint64_t>::max()) return {};
  return impl_->list<Event>(Table::EVENTS, encodeKey(afterSequence + 1), takeEventSequence);
}

Status NodeStore::setEventLimit(uint32_t limit) {
  if (limit < MIN_EVENT_LIMIT || limit > MAX_EVENT_LIMIT) {
    return Status::failure(EINVAL, "the node cannot keep " + std::to_string(limit) + " events (choose from " +
                                       std::to_string(MIN_EVENT_LIMIT) + " to " + std::to_string(MAX_EVENT_LIMIT) +
                                       ")");
  }
  return impl_->remove("set", "the event limit", [&](WriteTransaction &transaction) {
    const int code = transaction.put(Table::NODE, EVENT_LIMIT_KEY, encodeKey(limit));
    return code == 0 ? trimEvents(transaction, limit) : code;
  });
}

}  // namespace orv
