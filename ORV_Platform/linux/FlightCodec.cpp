#include "FlightCodec.h"

#include <algorithm>
#include <array>
#include <type_traits>

#include "Utf8.h"

namespace orv {
namespace {

constexpr std::string_view MAGIC = "ORVF";
constexpr uint16_t VERSION = 1;
// Mark, version, two bytes of nothing, length of the entry, checksum of all of the head before it and of the entry.
constexpr size_t CHECKSUM_OFFSET = 12;
constexpr size_t HEAD_SIZE = 16;
constexpr size_t MAX_ENTRY_SIZE = FLIGHT_SLOT_SIZE - HEAD_SIZE;

constexpr size_t MAX_EVENT_TEXT = 80;  // bytes, as all below
constexpr size_t MAX_LINE = 120;       // of last words and the board's words
constexpr size_t MAX_NAME = 255;       // of everything else
constexpr size_t MAX_LIST = 16;        // lines of a list of a start

class Writer {
 public:
  template <typename Value>
  void operator()(const Value &value) {
    if constexpr (std::is_enum_v<Value>) {
      (*this)(static_cast<std::underlying_type_t<Value>>(value));
    } else {
      const auto number = static_cast<std::make_unsigned_t<Value>>(value);
      for (size_t shift = sizeof(Value) * 8; shift != 0; shift -= 8)
        bytes_ += static_cast<char>((number >> (shift - 8)) & 0xFF);
    }
  }
  void operator()(const std::string &text) {
    (*this)(static_cast<uint16_t>(text.size()));
    bytes_ += text;
  }
  template <typename Item>
  void operator()(const std::vector<Item> &items);

  const std::string &bytes() const {
    return bytes_;
  }

 private:
  std::string bytes_;
};

// Once a field could not be read, everything after it is left alone.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  template <typename Value>
  void operator()(Value &value) {
    if constexpr (std::is_enum_v<Value>) {
      std::underlying_type_t<Value> number{};
      (*this)(number);
      value = static_cast<Value>(number);
    } else {
      std::make_unsigned_t<Value> number = 0;
      for (const char byte : next(sizeof(Value)))
        number = static_cast<std::make_unsigned_t<Value>>(uint64_t{number} << 8 | static_cast<uint8_t>(byte));
      value = static_cast<Value>(number);
    }
  }
  void operator()(std::string &text) {
    uint16_t length = 0;
    (*this)(length);
    text = next(length);
  }
  template <typename Item>
  void operator()(std::vector<Item> &items);

  bool good() const {
    return good_;
  }
  // True when every field was read and nothing is left over.
  bool isComplete() const {
    return good_ && bytes_.empty();
  }

 private:
  std::string_view next(size_t length) {
    if (bytes_.size() < length) good_ = false;
    if (!good_) return {};
    const std::string_view part = bytes_.substr(0, length);
    bytes_.remove_prefix(length);
    return part;
  }

  std::string_view bytes_;
  bool good_ = true;
};

template <typename Visitor>
void visit(Visitor &visitor, std::string &line) {
  visitor(line);
}
template <typename Visitor>
void visit(Visitor &visitor, const std::string &line) {
  visitor(line);
}

template <typename Visitor, typename Event>
requires std::is_same_v<std::remove_const_t<Event>, FlightEvent>
void visit(Visitor &visitor, Event &event) {
  visitor(event.monotonicNs);
  visitor(event.euId);
  visitor(event.kind);
  visitor(event.code);
  visitor(event.text);
}

template <typename Item>
void Writer::operator()(const std::vector<Item> &items) {
  (*this)(static_cast<uint8_t>(items.size()));
  for (const Item &item : items)
    visit(*this, item);
}

template <typename Item>
void Reader::operator()(std::vector<Item> &items) {
  uint8_t count = 0;
  (*this)(count);
  items.clear();
  for (size_t i = 0; i < count && good_; ++i) {
    Item item;
    visit(*this, item);
    items.push_back(std::move(item));
  }
}

// The fields of an entry, in the order of the file.
template <typename Visitor, typename Entry>
void visitEntry(Visitor &visitor, Entry &entry) {
  visitor(entry.sequence);
  visitor(entry.kind);
  visitor(entry.bootId);
  visitor(entry.realtimeNs);
  visitor(entry.boottimeNs);
  visitor(entry.stage);
  visitor(entry.means);
  visitor(entry.cause);
  visitor(entry.euName);
  visitor(entry.path);
  visitor(entry.args);
  visitor(entry.tag);
  visitor(entry.result);
  visitor(entry.waitStatus);
  visitor(entry.lastEnd);
  visitor(entry.resetsInARow);
  visitor(entry.ungracefulCount);
  visitor(entry.damagedEntries);
  visitor(entry.boardWords);
  visitor(entry.kernelRecords);
  visitor(entry.lastWords);
  visitor(entry.events);
}

template <typename Item>
void keepLast(std::vector<Item> &items, size_t count) {
  if (items.size() > count) items.erase(items.begin(), items.end() - static_cast<std::ptrdiff_t>(count));
}

FlightEntry shortened(FlightEntry entry) {
  for (std::string *text :
       {&entry.bootId, &entry.stage, &entry.means, &entry.euName, &entry.path, &entry.args, &entry.tag})
    *text = utf8Cut(*text, MAX_NAME);
  keepLast(entry.events, MAX_FLIGHT_EVENTS);
  keepLast(entry.lastWords, MAX_FLIGHT_LAST_WORDS);
  for (std::vector<std::string> *list : {&entry.boardWords, &entry.kernelRecords, &entry.lastWords}) {
    if (list->size() > MAX_LIST) list->resize(MAX_LIST);
    for (std::string &line : *list)
      line = utf8Cut(line, MAX_LINE);
  }
  for (FlightEvent &event : entry.events)
    event.text = utf8Cut(event.text, MAX_EVENT_TEXT);
  return entry;
}

// All but the events always fits, and so do MAX_FLIGHT_EVENTS of them where the lists of a start are empty.
static_assert(7 * MAX_NAME + (2 * MAX_LIST + MAX_FLIGHT_LAST_WORDS) * (MAX_LINE + 2) + 128 < MAX_ENTRY_SIZE);

std::string encodeEntry(FlightEntry entry) {
  entry = shortened(std::move(entry));
  for (;;) {
    Writer writer;
    visitEntry(writer, entry);
    if (writer.bytes().size() <= MAX_ENTRY_SIZE) return writer.bytes();
    entry.events.erase(entry.events.begin());
  }
}

std::array<uint32_t, 256> makeCrcTable() {
  constexpr uint32_t POLYNOMIAL = 0xEDB88320;
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) {
    uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit)
      value = (value & 1) == 0 ? value >> 1 : value >> 1 ^ POLYNOMIAL;
    table[byte] = value;
  }
  return table;
}

bool isValid(const FlightEntry &entry) {
  const auto within = [](auto value, auto last) { return static_cast<uint8_t>(value) >= 1 && value <= last; };
  return within(entry.kind, FlightKind::STOPPED) && within(entry.cause, ResetCause::NOT_ONLINE) &&
         within(entry.lastEnd, LastEnd::OUTSIDE);
}

}  // namespace

uint32_t crc32(std::string_view bytes) {
  static const std::array<uint32_t, 256> table = makeCrcTable();
  uint32_t value = 0xFFFFFFFF;
  for (const char byte : bytes)
    value = value >> 8 ^ table[(value ^ static_cast<uint8_t>(byte)) & 0xFF];
  return ~value;
}

std::string encodeFlightSlot(const FlightEntry &entry) {
  const std::string bytes = encodeEntry(entry);
  Writer head;
  head(VERSION);
  head(uint16_t{0});
  head(static_cast<uint32_t>(bytes.size()));
  const std::string counted = std::string(MAGIC) + head.bytes();
  Writer checksum;
  checksum(crc32(counted + bytes));
  std::string slot = counted + checksum.bytes() + bytes;
  slot.resize(FLIGHT_SLOT_SIZE);
  return slot;
}

SlotState decodeFlightSlot(std::string_view slot, FlightEntry &entry) {
  if (std::all_of(slot.begin(), slot.end(), [](char byte) { return byte == '\0'; })) return SlotState::EMPTY;
  if (slot.size() != FLIGHT_SLOT_SIZE || !slot.starts_with(MAGIC)) return SlotState::DAMAGED;
  Reader head(slot.substr(MAGIC.size()));
  uint16_t version = 0;
  uint16_t nothing = 0;
  uint32_t length = 0;
  uint32_t checksum = 0;
  head(version);
  head(nothing);
  head(length);
  head(checksum);
  if (version != VERSION || length > MAX_ENTRY_SIZE) return SlotState::DAMAGED;
  const std::string_view bytes = slot.substr(HEAD_SIZE, length);
  if (crc32(std::string(slot.substr(0, CHECKSUM_OFFSET)) + std::string(bytes)) != checksum) return SlotState::DAMAGED;
  FlightEntry found;
  Reader reader(bytes);
  visitEntry(reader, found);
  if (!reader.isComplete() || !isValid(found)) return SlotState::DAMAGED;
  entry = std::move(found);
  return SlotState::GOOD;
}

}  // namespace orv
