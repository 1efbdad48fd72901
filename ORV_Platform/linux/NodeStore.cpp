#include "NodeStore.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <utility>

#include "StoreCodec.h"
#include "StoreEnvironment.h"

namespace orv {
namespace {

constexpr const char *FILE_NAME = "/node.mdb";

// In the table `node`, beside those of StoreEnvironment.cpp.
constexpr const char *RUN_KEY = "run";
constexpr const char *EVENT_LIMIT_KEY = "eventLimit";

constexpr uint32_t MIN_EVENT_LIMIT = 100;
constexpr uint32_t MAX_EVENT_LIMIT = 100000;

// Events that one transaction drops from a full store. A transaction that frees much needs space to say so, and a full
// store has little.
constexpr size_t DROP_STEP = 256;

uint32_t ownPid() {
  return static_cast<uint32_t>(getpid());
}

// At most `limit` bytes of `text`, whole characters where it is UTF-8.
std::string_view cut(std::string_view text, size_t limit) {
  if (text.size() <= limit) return text;
  const auto isContinuation = [](char byte) { return (static_cast<uint8_t>(byte) & 0xC0) == 0x80; };
  size_t length = limit;
  constexpr size_t LONGEST_CHARACTER = 4;
  while (length > limit - LONGEST_CHARACTER && isContinuation(text[length]))
    --length;
  return text.substr(0, isContinuation(text[length]) ? limit : length);
}

std::string describe(std::string_view name, const TagValue &value) {
  const std::string head(name);
  if (value.type == TagType::STRING) return head + " = \"" + value.text + "\"";
  return head + " = " + std::to_string(value.number) + (value.type == TagType::U16 ? " (u16)" : " (u32)");
}

// Only what belongs to the type is stored, so that two tags of equal value are equal.
TagValue normalized(const TagValue &value) {
  if (value.type == TagType::STRING) return {TagType::STRING, 0, value.text};
  return {value.type, value.number, {}};
}

Status checkTag(std::string_view name, const TagValue &value) {
  if (name.empty()) return Status::failure(EINVAL, "a tag without a name cannot be set (give it one)");
  if (name.size() > MAX_TAG_NAME_LENGTH) {
    return Status::failure(EINVAL, "a tag name of " + std::to_string(name.size()) + " bytes is too long (at most " +
                                       std::to_string(MAX_TAG_NAME_LENGTH) + ")");
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

// --- Parts of a write; each returns LMDB's code ---------------------------------------------------------------------

uint32_t eventLimit(const WriteTransaction &transaction) {
  std::string_view record;
  uint32_t limit = 0;
  const bool isKnown = transaction.get(Table::NODE, EVENT_LIMIT_KEY, record) == 0 && decodeKey(record, limit);
  return isKnown && limit >= MIN_EVENT_LIMIT && limit <= MAX_EVENT_LIMIT ? limit : DEFAULT_EVENT_LIMIT;
}

int dropOldest(const WriteTransaction &transaction, size_t count) {
  Cursor cursor(transaction.handle(), transaction.table(Table::EVENTS));
  MDB_val key{};
  MDB_val record{};
  for (; count != 0; --count) {
    int code = cursor.move(MDB_FIRST, key, record);
    if (code == 0) code = cursor.remove();
    if (code != 0) return code;
  }
  return 0;
}

int trimEvents(const WriteTransaction &transaction, uint32_t limit) {
  size_t count = 0;
  const int code = transaction.count(Table::EVENTS, count);
  return code == 0 && count > limit ? dropOldest(transaction, count - limit) : code;
}

int lastSequence(const WriteTransaction &transaction, uint64_t &sequence) {
  Cursor cursor(transaction.handle(), transaction.table(Table::EVENTS));
  MDB_val key{};
  MDB_val record{};
  const int code = cursor.move(MDB_LAST, key, record);
  if (code == MDB_NOTFOUND) return 0;
  if (code != 0) return code;
  return decodeKey(toBytes(key), sequence) ? 0 : MDB_CORRUPTED;
}

int append(WriteTransaction &transaction, const Event &event) {
  uint64_t last = 0;
  int code = lastSequence(transaction, last);
  if (code != 0) return code;
  Event stamped = event;
  stamped.monotonicNs = monotonicNs();
  stamped.pid = ownPid();
  stamped.text = cut(event.text, MAX_EVENT_TEXT_LENGTH);
  code = transaction.put(Table::EVENTS, encodeKey(last + 1), encode(stamped), MDB_APPEND);
  return code == 0 ? trimEvents(transaction, eventLimit(transaction)) : code;
}

int putTag(WriteTransaction &transaction, std::string_view name, const TagValue &value) {
  Tag tag;
  tag.value = normalized(value);
  tag.setterPid = ownPid();
  tag.setNs = monotonicNs();
  if (const int code = transaction.put(Table::TAGS, name, encode(tag)); code != 0) return code;
  Event event;
  event.kind = EventKind::TAG_SET;
  event.text = describe(name, value);
  return append(transaction, event);
}

// A configuration never replaces what an operator set.
int putRad(WriteTransaction &transaction, const RadParameter &parameter) {
  const std::string key = encodeKey(parameter.number);
  if (parameter.origin == RadOrigin::CONFIGURATION) {
    std::string_view record;
    RadParameter present;
    const int code = transaction.get(Table::RAD, key, record);
    if (code != 0 && code != MDB_NOTFOUND) return code;
    if (code == 0 && decode(record, present) && present.origin == RadOrigin::OPERATOR) return 0;
  }
  return transaction.put(Table::RAD, key, encode(parameter));
}

// What cannot be understood goes as well.
int removeConfiguredRads(const WriteTransaction &transaction) {
  Cursor cursor(transaction.handle(), transaction.table(Table::RAD));
  MDB_val key{};
  MDB_val record{};
  int code = cursor.move(MDB_FIRST, key, record);
  for (; code == 0; code = cursor.move(MDB_NEXT, key, record)) {
    RadParameter parameter;
    if (decode(toBytes(record), parameter) && parameter.origin == RadOrigin::OPERATOR) continue;
    if (const int removed = cursor.remove(); removed != 0) return removed;
  }
  return code == MDB_NOTFOUND ? 0 : code;
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

uint64_t monotonicNs() {
  constexpr uint64_t NS_PER_S = 1'000'000'000;
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * NS_PER_S + static_cast<uint64_t>(now.tv_nsec);
}

struct NodeStore::Impl {
  std::unique_ptr<StoreEnvironment> environment;

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
      if (transact([&](WriteTransaction &transaction) { return dropOldest(transaction, step); }) != 0) return;
      left -= step;
    }
  }

  // Runs `body` as one transaction, as far as the reserve of space is left alone.
  template <typename Body>
  int transactKeepingReserve(Body body) {
    return environment->hasSpace() ? transact(body) : MDB_MAP_FULL;
  }

  // Runs `body`, which adds something, as one transaction; makes space and tries once more where the store is full. The
  // sentence of a failure is "cannot <action> <object> in the node store ...".
  template <typename Body>
  Status add(std::string_view action, std::string_view object, Body body) {
    return report(action, object, [&] {
      const int code = transactKeepingReserve(body);
      if (code != MDB_MAP_FULL) return code;
      makeSpace();
      return transactKeepingReserve(body);
    });
  }

  // The same for a `body` that takes something away and may use the reserve for it.
  template <typename Body>
  Status remove(std::string_view action, std::string_view object, Body body) {
    return report(action, object, [&] { return transact(body); });
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

  // In the two below, takeKey(key, record) puts into the record what stands in its key. What it or the decoding refuses
  // counts as not there.

  template <typename Record, typename TakeKey>
  std::optional<Record> read(Table table, std::string_view key, TakeKey takeKey) const {
    try {
      const ReadTransaction transaction(*environment);
      std::string_view bytes;
      Record record;
      if (transaction.get(table, key, bytes) != 0 || !takeKey(key, record) || !decode(bytes, record)) {
        return std::nullopt;
      }
      return record;
    } catch (const std::bad_alloc &) {
      return std::nullopt;
    }
  }

  // All records from `firstKey` on.
  template <typename Record, typename TakeKey>
  std::vector<Record> list(Table table, std::string_view firstKey, TakeKey takeKey) const {
    std::vector<Record> records;
    try {
      const ReadTransaction transaction(*environment);
      // Result not examined: what could be read is worth more than nothing.
      transaction.forEach(table, firstKey, [&](std::string_view key, std::string_view bytes) {
        Record record;
        if (takeKey(key, record) && decode(bytes, record)) records.push_back(std::move(record));
      });
    } catch (const std::bad_alloc &) {
      records.clear();
    }
    return records;
  }
};

NodeStore::NodeStore(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

NodeStore::~NodeStore() = default;

Status NodeStore::open(const std::string &directory, Access access, std::unique_ptr<NodeStore> &store,
                       std::string *setAside) {
  try {
    auto impl = std::make_unique<Impl>();
    std::string report;
    Status status = StoreEnvironment::open(directory + FILE_NAME, access == Access::CREATE, impl->environment, report);
    if (setAside != nullptr && !report.empty()) *setAside = std::move(report);
    if (status.ok()) store.reset(new NodeStore(std::move(impl)));
    return status;
  } catch (const std::bad_alloc &) {
    return Status::failure(ENOMEM, "no memory left");
  }
}

Status NodeStore::beginRun(const RunInfo &run) {
  return impl_->remove("begin", "a run", [&](WriteTransaction &transaction) {
    int code = transaction.clear(Table::TAGS);
    if (code == 0) code = transaction.clear(Table::EUS);
    if (code == 0) code = removeConfiguredRads(transaction);
    if (code == 0) code = transaction.put(Table::NODE, RUN_KEY, encode(run));
    Event event;
    event.kind = EventKind::RUN_STARTED;
    event.text = "pid " + std::to_string(run.daemonPid);
    return code == 0 ? append(transaction, event) : code;
  });
}

Status NodeStore::updateRun(const RunInfo &run) {
  return impl_->add("record", "the run",
                    [&](WriteTransaction &transaction) { return transaction.put(Table::NODE, RUN_KEY, encode(run)); });
}

std::optional<RunInfo> NodeStore::run() const {
  return impl_->read<RunInfo>(Table::NODE, RUN_KEY, takeNothing);
}

Status NodeStore::setTag(std::string_view name, const TagValue &value) {
  if (Status status = checkTag(name, value); !status.ok()) return status;
  return impl_->add("set tag", name, [&](WriteTransaction &transaction) { return putTag(transaction, name, value); });
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
  const ReadTransaction transaction(*impl_->environment);
  std::string_view record;
  return transaction.get(Table::TAGS, name, record) == 0;
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
  return impl_->add("apply", "a configuration", [&](WriteTransaction &transaction) {
    for (const auto &[name, value] : settings.tags) {
      if (const int code = putTag(transaction, name, value); code != 0) return code;
    }
    for (const RadParameter &parameter : settings.rads) {
      if (const int code = putRad(transaction, parameter); code != 0) return code;
    }
    return 0;
  });
}

Status NodeStore::putEu(const EuRecord &record, const Event *event) {
  return impl_->add("record EU", record.name, [&](WriteTransaction &transaction) {
    const int code = transaction.put(Table::EUS, encodeKey(record.id), encode(record));
    return code == 0 && event != nullptr ? append(transaction, *event) : code;
  });
}

std::vector<EuRecord> NodeStore::eus() const {
  return impl_->list<EuRecord>(Table::EUS, {}, takeEuId);
}

Status NodeStore::appendEvent(const Event &event) {
  return impl_->add("append", "an event", [&](WriteTransaction &transaction) { return append(transaction, event); });
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
