#include "GatewayWire.h"

namespace orv::gateway {
namespace {

constexpr std::string_view MAGIC = "OG";
constexpr uint8_t VERSION = 1;
constexpr size_t START_SIZE = 14;
constexpr size_t MESSAGE_START_SIZE = START_SIZE + 36;
constexpr size_t VERDICT_SIZE = 9;
static_assert(MESSAGE_START_SIZE + MAX_PAYLOAD_SIZE <= MAX_FRAME_SIZE);
static_assert(START_SIZE + 2 + WINDOW * VERDICT_SIZE <= MAX_FRAME_SIZE);

// Takes numbers off the front of a frame. What is not there reads as 0 and makes the reader fail.
class Reader {
 public:
  explicit Reader(std::string_view frame) : rest_(frame) {}

  template <typename Number>
  Number take() {
    if (rest_.size() < sizeof(Number)) {
      good_ = false;
      rest_ = {};
      return 0;
    }
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(Number); ++i)
      value = value << 8 | static_cast<uint8_t>(rest_[i]);
    rest_.remove_prefix(sizeof(Number));
    return static_cast<Number>(value);
  }
  bool good() const {
    return good_;
  }
  std::string_view rest() const {
    return rest_;
  }

 private:
  std::string_view rest_;
  bool good_ = true;
};

template <typename Number>
void put(std::string &frame, Number number) {
  for (size_t i = sizeof(Number); i > 0; --i)
    frame += static_cast<char>(static_cast<uint64_t>(number) >> (8 * (i - 1)) & 0xff);
}

void putStart(std::string &frame, FrameType type, uint16_t node, uint64_t epoch) {
  frame += MAGIC;
  put(frame, VERSION);
  put(frame, static_cast<uint8_t>(type));
  put(frame, node);
  put(frame, epoch);
}

// A reader that stands behind magic, version and type.
Reader readerOf(std::string_view frame) {
  Reader reader(frame);
  reader.take<uint32_t>();
  return reader;
}

}  // namespace

FrameType frameType(std::string_view frame) {
  if (frame.size() < START_SIZE || frame.size() > MAX_FRAME_SIZE || !frame.starts_with(MAGIC)) return FrameType::NONE;
  if (static_cast<uint8_t>(frame[2]) != VERSION) return FrameType::NONE;
  switch (static_cast<uint8_t>(frame[3])) {
    case static_cast<uint8_t>(FrameType::MESSAGE):
      return FrameType::MESSAGE;
    case static_cast<uint8_t>(FrameType::VERDICTS):
      return FrameType::VERDICTS;
    default:
      return FrameType::NONE;
  }
}

bool parseMessage(std::string_view frame, MessageFrame &parsed) {
  if (frameType(frame) != FrameType::MESSAGE) return false;
  Reader reader = readerOf(frame);
  parsed.node = reader.take<uint16_t>();
  parsed.epoch = reader.take<uint64_t>();
  parsed.sequence = reader.take<uint64_t>();
  parsed.oldestOpen = reader.take<uint64_t>();
  parsed.timeLeftMs = reader.take<uint32_t>();
  parsed.header.messageId = reader.take<uint32_t>();
  parsed.header.receiver = reader.take<uint32_t>();
  parsed.header.sender = reader.take<uint32_t>();
  parsed.header.payloadSize = reader.take<uint32_t>();
  parsed.payload = reader.rest();
  const bool isNumbered =
      parsed.oldestOpen >= 1 && parsed.sequence >= parsed.oldestOpen && parsed.sequence - parsed.oldestOpen < WINDOW;
  return reader.good() && isNumbered && parsed.payload.size() == parsed.header.payloadSize &&
         parsed.payload.size() <= MAX_PAYLOAD_SIZE;
}

bool parseVerdicts(std::string_view frame, VerdictFrame &parsed) {
  if (frameType(frame) != FrameType::VERDICTS) return false;
  Reader reader = readerOf(frame);
  parsed.node = reader.take<uint16_t>();
  parsed.epoch = reader.take<uint64_t>();
  const size_t count = reader.take<uint16_t>();
  if (!reader.good() || count > WINDOW || reader.rest().size() != count * VERDICT_SIZE) return false;
  parsed.verdicts.clear();
  for (size_t i = 0; i < count; ++i) {
    const uint64_t sequence = reader.take<uint64_t>();
    const uint8_t verdict = reader.take<uint8_t>();
    if (verdict > LAST_VERDICT) return false;
    parsed.verdicts.push_back({sequence, static_cast<Verdict>(verdict)});
  }
  return true;
}

std::string encodeMessage(const MessageFrame &frame) {
  std::string text;
  text.reserve(MESSAGE_START_SIZE + frame.payload.size());
  putStart(text, FrameType::MESSAGE, frame.node, frame.epoch);
  put(text, frame.sequence);
  put(text, frame.oldestOpen);
  put(text, frame.timeLeftMs);
  put(text, frame.header.messageId);
  put(text, frame.header.receiver);
  put(text, frame.header.sender);
  put(text, static_cast<uint32_t>(frame.payload.size()));
  text += frame.payload;
  return text;
}

std::string encodeVerdicts(const VerdictFrame &frame) {
  std::string text;
  text.reserve(START_SIZE + 2 + frame.verdicts.size() * VERDICT_SIZE);
  putStart(text, FrameType::VERDICTS, frame.node, frame.epoch);
  put(text, static_cast<uint16_t>(frame.verdicts.size()));
  for (const SequenceVerdict &each : frame.verdicts) {
    put(text, each.sequence);
    put(text, static_cast<uint8_t>(each.verdict));
  }
  return text;
}

}  // namespace orv::gateway
