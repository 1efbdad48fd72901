// Frames from another node, and what becomes of them behind the parser: order, repetition, verdicts.
//
// An input is a sequence of frames, each behind its length, for one inbox and one outbox.
#include <memory>
#include <string_view>

#include "GatewayWire.h"
#include "Inbox.h"
#include "Outbox.h"
#include "Require.h"

using namespace orv::gateway;

namespace {

using orvfuzz::require;

void checkMessage(std::string_view frame, Inbox &inbox) {
  MessageFrame parsed;
  if (!parseMessage(frame, parsed)) return;
  require(parsed.payload.size() == parsed.header.payloadSize);
  require(parsed.payload.data() + parsed.payload.size() == frame.data() + frame.size());
  require(encodeMessage(parsed) == frame);
  const Inbox::Arrival arrival = inbox.arrive(parsed.epoch, parsed.sequence, parsed.oldestOpen);
  if (arrival.answer != Inbox::Answer::TAKE) return;
  // What was taken is not taken again, and its verdict is kept.
  require(inbox.settle(parsed.epoch, parsed.sequence, Verdict::NO_USER));
  const Inbox::Arrival again = inbox.arrive(parsed.epoch, parsed.sequence, parsed.oldestOpen);
  require(again.answer == Inbox::Answer::REPEATED && again.verdict == Verdict::NO_USER);
}

void checkVerdicts(std::string_view frame, Outbox &outbox) {
  VerdictFrame parsed;
  if (!parseVerdicts(frame, parsed)) return;
  require(parsed.verdicts.size() <= WINDOW);
  require(encodeVerdicts(parsed) == frame);
  for (const SequenceVerdict &each : parsed.verdicts) {
    const size_t before = outbox.size();
    const bool wasOpen = outbox.settle(each.sequence, 0).has_value();
    require(outbox.size() == before - (wasOpen ? 1 : 0));
    require(!outbox.settle(each.sequence, 0).has_value());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const auto inbox = std::make_unique<Inbox>();
  Outbox outbox(100, 1000);
  for (int i = 0; i < 50; ++i)
    outbox.push({}, "", 0);
  while (outbox.next())
    outbox.sent(0);
  // Each frame behind its length in two bytes; the last one takes what is left.
  std::string_view rest(reinterpret_cast<const char *>(data), size);
  while (rest.size() > 2) {
    const size_t wanted = size_t{static_cast<uint8_t>(rest[0])} << 8 | static_cast<uint8_t>(rest[1]);
    rest.remove_prefix(2);
    const std::string_view frame = rest.substr(0, wanted);
    rest.remove_prefix(frame.size());
    checkMessage(frame, *inbox);
    checkVerdicts(frame, outbox);
  }
  return 0;
}
