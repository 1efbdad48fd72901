#include "StoreWrites.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <string>

#include "Clock.h"
#include "NodeStore.h"
#include "StoreCodec.h"
#include "Utf8.h"

namespace orv {
namespace {

uint32_t ownPid() {
  return static_cast<uint32_t>(getpid());
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

uint32_t eventLimit(const WriteTransaction &transaction) {
  std::string_view record;
  uint32_t limit = 0;
  const bool isKnown = transaction.get(Table::NODE, EVENT_LIMIT_KEY, record) == 0 && decodeKey(record, limit);
  return isKnown && limit >= MIN_EVENT_LIMIT && limit <= MAX_EVENT_LIMIT ? limit : DEFAULT_EVENT_LIMIT;
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

// Appends events one after another; `finish` makes the ring as short as it is to be.
class EventAppender {
 public:
  explicit EventAppender(WriteTransaction &transaction) : transaction_(transaction) {}

  int append(const Event &event) {
    if (count_++ == 0) {
      if (const int code = lastSequence(transaction_, last_); code != 0) return code;
    }
    Event stamped = event;
    if (stamped.monotonicNs == 0) stamped.monotonicNs = monotonicNs();
    if (stamped.pid == 0) stamped.pid = ownPid();
    stamped.text = utf8Cut(event.text, MAX_EVENT_TEXT_LENGTH);
    return transaction_.put(Table::EVENTS, encodeKey(++last_), encode(stamped), MDB_APPEND);
  }
  int finish() {
    return count_ == 0 ? 0 : trimEvents(transaction_, eventLimit(transaction_));
  }

 private:
  WriteTransaction &transaction_;
  size_t count_ = 0;
  uint64_t last_ = 0;
};

// The number of the last line of output that is kept of an EU; 0 where there is none.
int lastLine(const WriteTransaction &transaction, uint32_t euId, uint64_t &number) {
  Cursor cursor(transaction.handle(), transaction.table(Table::OUTPUT));
  const std::string end = encodeLineKey(euId, std::numeric_limits<uint64_t>::max());
  MDB_val key = toValue(end);
  MDB_val record{};
  int code = cursor.move(MDB_SET_RANGE, key, record);
  // Either the one behind all of this EU, or nothing, and then the last of all; or the very last number there is.
  if (code == 0 && toBytes(key) != end) code = cursor.move(MDB_PREV, key, record);
  if (code == MDB_NOTFOUND) code = cursor.move(MDB_LAST, key, record);
  if (code == MDB_NOTFOUND) return 0;
  if (code != 0) return code;
  uint32_t owner = 0;
  uint64_t last = 0;
  if (decodeLineKey(toBytes(key), owner, last) && owner == euId) number = last;
  return 0;
}

bool isKeptLine(uint64_t number, uint64_t last) {
  return number <= FIRST_OUTPUT_LINES || last - number < LAST_OUTPUT_LINES;
}

int removeMiddleLines(const WriteTransaction &transaction, uint32_t euId, uint64_t last) {
  Cursor cursor(transaction.handle(), transaction.table(Table::OUTPUT));
  const std::string begin = encodeLineKey(euId, FIRST_OUTPUT_LINES + 1);
  MDB_val key = toValue(begin);
  MDB_val record{};
  int code = cursor.move(MDB_SET_RANGE, key, record);
  for (; code == 0; code = cursor.move(MDB_NEXT, key, record)) {
    uint32_t owner = 0;
    uint64_t number = 0;
    if (!decodeLineKey(toBytes(key), owner, number) || owner != euId || isKeptLine(number, last)) return 0;
    if (const int removed = cursor.remove(); removed != 0) return removed;
  }
  return code == MDB_NOTFOUND ? 0 : code;
}

}  // namespace

int dropOldestEvents(const WriteTransaction &transaction, size_t count) {
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
  return code == 0 && count > limit ? dropOldestEvents(transaction, count - limit) : code;
}

int putEvent(WriteTransaction &transaction, const Event &event) {
  EventAppender appender(transaction);
  const int code = appender.append(event);
  return code == 0 ? appender.finish() : code;
}

int putBatch(WriteTransaction &transaction, std::span<const StoreEntry> batch) {
  EventAppender appender(transaction);
  for (const StoreEntry &entry : batch) {
    int code = 0;
    if (entry.eu) code = transaction.put(Table::EUS, encodeKey(entry.eu->id), encode(*entry.eu));
    if (code == 0 && entry.event) code = appender.append(*entry.event);
    if (code != 0) return code;
  }
  return appender.finish();
}

int putTag(WriteTransaction &transaction, std::string_view name, const TagValue &value, const Setter &setter) {
  Tag tag;
  tag.value = normalized(value);
  tag.setter = setter;
  for (std::string *field : {&tag.setter.executable, &tag.setter.euName}) {
    if (field->size() > MAX_SETTER_TEXT_LENGTH) field->resize(MAX_SETTER_TEXT_LENGTH);
  }
  tag.setNs = monotonicNs();
  if (const int code = runNumber(transaction, tag.run); code != 0) return code;
  if (const int code = transaction.put(Table::TAGS, name, encode(tag)); code != 0) return code;
  Event event;
  event.kind = EventKind::TAG_SET;
  event.monotonicNs = tag.setNs;
  event.pid = setter.pid;
  event.euId = setter.euId;
  event.text = describe(name, value);
  return putEvent(transaction, event);
}

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

int runNumber(const WriteTransaction &transaction, uint64_t &number) {
  std::string_view record;
  number = 0;
  const int code = transaction.get(Table::NODE, RUN_KEY, record);
  // One that cannot be understood counts as none.
  if (code == 0) decodeRunNumber(record, number);
  return code == MDB_NOTFOUND ? 0 : code;
}

int putOutput(WriteTransaction &transaction, uint32_t euId, std::span<const OutputLine> lines) {
  uint64_t last = 0;
  int code = lastLine(transaction, euId, last);
  for (const OutputLine &line : lines)
    last = std::max(last, line.number);
  for (const OutputLine &line : lines) {
    if (code != 0) return code;
    if (!isKeptLine(line.number, last)) continue;
    OutputLine kept = line;
    kept.text = line.text.substr(0, MAX_OUTPUT_LINE_LENGTH);
    code = transaction.put(Table::OUTPUT, encodeLineKey(euId, line.number), encode(kept));
  }
  return code == 0 ? removeMiddleLines(transaction, euId, last) : code;
}

}  // namespace orv
