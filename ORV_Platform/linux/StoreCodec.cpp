#include "StoreCodec.h"

#include <cstddef>
#include <type_traits>

namespace orv {
namespace {

// One function says the fields of a record in their order; a writer or a reader goes along with it. So the two can
// never differ.
class RecordWriter {
 public:
  template <typename Value>
  void operator()(const Value &value) {
    if constexpr (std::is_same_v<Value, std::string>) {
      (*this)(static_cast<uint32_t>(value.size()));
      bytes_ += value;
    } else if constexpr (std::is_enum_v<Value>) {
      (*this)(static_cast<std::underlying_type_t<Value>>(value));
    } else if constexpr (std::is_same_v<Value, bool>) {
      (*this)(static_cast<uint8_t>(value ? 1 : 0));
    } else {
      const auto number = static_cast<std::make_unsigned_t<Value>>(value);
      for (size_t shift = sizeof(Value) * 8; shift != 0; shift -= 8)
        bytes_ += static_cast<char>((number >> (shift - 8)) & 0xFF);
    }
  }
  std::string take() {
    return std::move(bytes_);
  }

 private:
  std::string bytes_;
};

// The last enumerator of each enumeration in the store; the first is 1 and there are no gaps.
template <typename Enumeration>
constexpr Enumeration LAST = Enumeration();
template <>
constexpr TagType LAST<TagType> = TagType::U32;
template <>
constexpr RadOrigin LAST<RadOrigin> = RadOrigin::CONFIGURATION;
template <>
constexpr EuState LAST<EuState> = EuState::SHUT_DOWN;
template <>
constexpr EventKind LAST<EventKind> = EventKind::STARTUP_COMPLETE;
template <>
constexpr RunState LAST<RunState> = RunState::DOWN;

// Once a field could not be read, everything after it is left alone.
class RecordReader {
 public:
  explicit RecordReader(std::string_view bytes) : bytes_(bytes) {}

  template <typename Value>
  void operator()(Value &value) {
    if constexpr (std::is_same_v<Value, std::string>) {
      readText(value);
    } else if constexpr (std::is_enum_v<Value>) {
      uint8_t number = 0;
      readNumber(number);
      good_ = good_ && number >= 1 && number <= static_cast<uint8_t>(LAST<Value>);
      value = static_cast<Value>(number);
    } else if constexpr (std::is_same_v<Value, bool>) {
      uint8_t number = 0;
      readNumber(number);
      good_ = good_ && number <= 1;
      value = number == 1;
    } else {
      readNumber(value);
    }
  }
  // True when every field was read and nothing is left over.
  bool isComplete() const {
    return good_ && bytes_.empty();
  }

 private:
  std::string_view next(size_t length) {
    if (!good_ || bytes_.size() < length) {
      good_ = false;
      return {};
    }
    const std::string_view part = bytes_.substr(0, length);
    bytes_.remove_prefix(length);
    return part;
  }
  template <typename Number>
  void readNumber(Number &number) {
    uint64_t value = 0;
    for (const char byte : next(sizeof(Number)))
      value = value << 8 | static_cast<uint8_t>(byte);
    number = static_cast<Number>(value);
  }
  void readText(std::string &text) {
    uint32_t length = 0;
    readNumber(length);
    text = next(length);
  }

  std::string_view bytes_;
  bool good_ = true;
};

// The fields of each record, in the order of the store.

template <typename Visitor, typename Record>
void visitTag(Visitor &visit, Record &tag) {
  visit(tag.value.type);
  visit(tag.value.number);
  visit(tag.value.text);
  visit(tag.setter.pid);
  visit(tag.setter.startTicks);
  visit(tag.setter.uid);
  visit(tag.setter.executable);
  visit(tag.setter.euName);
  visit(tag.setter.euId);
  visit(tag.setNs);
  visit(tag.run);
}

template <typename Visitor, typename Record>
void visitParameter(Visitor &visit, Record &parameter) {
  visit(parameter.value);
  visit(parameter.origin);
}

template <typename Visitor, typename Record>
void visitEu(Visitor &visit, Record &record) {
  visit(record.state);
  visit(record.finished);
  visit(record.name);
  visit(record.path);
  visit(record.args);
  visit(record.supervisionFlags);
  visit(record.pid);
  visit(record.result);
  visit(record.waitStatus);
  visit(record.createdNs);
  visit(record.startedNs);
  visit(record.endedNs);
}

template <typename Visitor, typename Record>
void visitEvent(Visitor &visit, Record &event) {
  visit(event.monotonicNs);
  visit(event.pid);
  visit(event.euId);
  visit(event.kind);
  visit(event.code);
  visit(event.text);
}

template <typename Visitor, typename Record>
void visitRun(Visitor &visit, Record &run) {
  visit(run.number);  // in front: see decodeRunNumber
  visit(run.state);
  visit(run.daemonPid);
  visit(run.startedNs);
  visit(run.startedRealtimeNs);
  visit(run.nid);
  visit(run.ceName);
  visit(run.masterNid);
}

template <typename Visitor, typename Record>
void visitLine(Visitor &visit, Record &line) {
  visit(line.monotonicNs);
  visit(line.partial);
  visit(line.text);
}

template <typename Number>
std::string encodeNumber(Number number) {
  RecordWriter writer;
  writer(number);
  return writer.take();
}

template <typename Number>
bool decodeNumber(std::string_view bytes, Number &number) {
  RecordReader reader(bytes);
  reader(number);
  return reader.isComplete();
}

}  // namespace

std::string encodeKey(uint32_t number) {
  return encodeNumber(number);
}

std::string encodeKey(uint64_t number) {
  return encodeNumber(number);
}

bool decodeKey(std::string_view key, uint32_t &number) {
  return decodeNumber(key, number);
}

bool decodeKey(std::string_view key, uint64_t &number) {
  return decodeNumber(key, number);
}

std::string encodeLineKey(uint32_t euId, uint64_t number) {
  return encodeKey(euId) + encodeKey(number);
}

bool decodeLineKey(std::string_view key, uint32_t &euId, uint64_t &number) {
  RecordReader reader(key);
  reader(euId);
  reader(number);
  return reader.isComplete();
}

std::string encode(const Tag &tag) {
  RecordWriter writer;
  visitTag(writer, tag);
  return writer.take();
}

std::string encode(const RadParameter &parameter) {
  RecordWriter writer;
  visitParameter(writer, parameter);
  return writer.take();
}

std::string encode(const EuRecord &record) {
  RecordWriter writer;
  visitEu(writer, record);
  return writer.take();
}

std::string encode(const Event &event) {
  RecordWriter writer;
  visitEvent(writer, event);
  return writer.take();
}

std::string encode(const RunInfo &run) {
  RecordWriter writer;
  visitRun(writer, run);
  return writer.take();
}

std::string encode(const OutputLine &line) {
  RecordWriter writer;
  visitLine(writer, line);
  return writer.take();
}

bool decode(std::string_view bytes, Tag &tag) {
  RecordReader reader(bytes);
  visitTag(reader, tag);
  return reader.isComplete();
}

bool decode(std::string_view bytes, RadParameter &parameter) {
  RecordReader reader(bytes);
  visitParameter(reader, parameter);
  return reader.isComplete();
}

bool decode(std::string_view bytes, EuRecord &record) {
  RecordReader reader(bytes);
  visitEu(reader, record);
  return reader.isComplete();
}

bool decode(std::string_view bytes, Event &event) {
  RecordReader reader(bytes);
  visitEvent(reader, event);
  return reader.isComplete();
}

bool decode(std::string_view bytes, RunInfo &run) {
  RecordReader reader(bytes);
  visitRun(reader, run);
  return reader.isComplete();
}

bool decode(std::string_view bytes, OutputLine &line) {
  RecordReader reader(bytes);
  visitLine(reader, line);
  return reader.isComplete();
}

bool decodeRunNumber(std::string_view bytes, uint64_t &number) {
  return decodeKey(bytes.substr(0, sizeof number), number);
}

}  // namespace orv
