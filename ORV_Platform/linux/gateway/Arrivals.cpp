#include "Arrivals.h"

#include "Texts.h"

namespace orv::gateway {
namespace {

constexpr size_t BATCH = 512;

std::string bytesOf(const MessageFrame &message) {
  std::string bytes(reinterpret_cast<const char *>(&message.header), sizeof message.header);
  return bytes.append(message.payload);
}

// A sender names its own node by its id or by one of the ids that mean the own node everywhere; who writes no address
// names none.
bool mayClaim(uint32_t sender, uint16_t nid) {
  const uint16_t claimed = nodeOf(sender);
  return claimed == nid || claimed == OWN_NODE || claimed == LOCAL_NODE || claimed == 0;
}

}  // namespace

void Arrivals::proceed(uint64_t nowMs) {
  for (size_t i = 0; i < BATCH; ++i) {
    const std::optional<IncomingFrame> frame = listener_.receive();
    if (!frame) break;
    take(*frame, nowMs);
  }
  std::vector<Settled> settled;
  users_.proceed(settled);
  users_.expire(nowMs, settled);
  for (const Settled &each : settled) {
    Origin &origin = origins_[each.ticket.nid];
    if (!origin.inbox.settle(each.ticket.epoch, each.ticket.sequence, each.verdict)) continue;
    tell(origin, each.ticket.epoch, {each.ticket.sequence, each.verdict});
  }
  for (auto &[nid, origin] : origins_)
    sendVerdicts(origin);
}

void Arrivals::take(const IncomingFrame &frame, uint64_t nowMs) {
  MessageFrame message;
  if (frame.route.empty() || !parseMessage(frame.bytes, message)) {
    reports_.count("address " + frame.address, Cause::MALFORMED);
    return;
  }
  const std::optional<uint16_t> from = originOf(frame, message);
  if (!from) return;
  Origin &origin = origins_[*from];
  origin.route = frame.route;
  const Inbox::Arrival arrival = origin.inbox.arrive(message.epoch, message.sequence, message.oldestOpen);
  std::optional<Verdict> verdict = arrival.verdict;
  if (arrival.answer == Inbox::Answer::TAKE) {
    verdict = deliver(message, *from, nowMs);
    if (verdict) origin.inbox.settle(message.epoch, message.sequence, *verdict);
  }
  if (verdict) tell(origin, message.epoch, {message.sequence, *verdict});
}

std::optional<uint16_t> Arrivals::originOf(const IncomingFrame &frame, const MessageFrame &message) {
  if (trusted_ == nullptr) {
    if (peers_.contains(message.node)) return message.node;
    reports_.count("address " + frame.address, Cause::FALSE_NODE, nodeText(message.node) + ", which is no peer");
    return std::nullopt;
  }
  // Asked anew for each message: a connection outlives the trust that it was made on.
  const std::optional<uint16_t> nid = frame.key ? trusted_->nodeOf(*frame.key) : std::nullopt;
  if (!nid) {
    reports_.count("address " + frame.address, Cause::NOT_TRUSTED_ANY_MORE);
    return std::nullopt;
  }
  if (message.node == *nid) return nid;
  reports_.count(nodeText(*nid), Cause::FALSE_NODE, nodeText(message.node));
  return std::nullopt;
}

std::optional<Verdict> Arrivals::deliver(const MessageFrame &message, uint16_t from, uint64_t nowMs) {
  if (!mayClaim(message.header.sender, from)) {
    reports_.count(nodeText(from), Cause::FALSE_NODE, messageText(message.header));
    return Verdict::WRONG_SENDER;
  }
  if (nodeOf(message.header.receiver) != ownNid_) return Verdict::WRONG_NODE;
  return users_.deliver(cpidOf(message.header.receiver), bytesOf(message), {from, message.epoch, message.sequence},
                        nowMs + message.timeLeftMs);
}

void Arrivals::tell(Origin &origin, uint64_t epoch, const SequenceVerdict &verdict) {
  if (origin.epoch != epoch || origin.verdicts.size() >= WINDOW) sendVerdicts(origin);
  origin.epoch = epoch;
  origin.verdicts.push_back(verdict);
}

void Arrivals::sendVerdicts(Origin &origin) {
  if (origin.verdicts.empty()) return;
  VerdictFrame frame;
  frame.node = ownNid_;
  frame.epoch = origin.epoch;
  frame.verdicts = std::move(origin.verdicts);
  origin.verdicts.clear();
  listener_.send(origin.route, encodeVerdicts(frame));
}

}  // namespace orv::gateway
