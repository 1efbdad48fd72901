#include "Peer.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "GatewayWire.h"
#include "HexText.h"
#include "Texts.h"

namespace orv::gateway {
namespace {

// So many messages are taken at once before others have their turn.
constexpr size_t BATCH = 256;

Cause causeOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::NO_USER:
      return Cause::NO_USER;
    case Verdict::USER_BUSY:
      return Cause::USER_BUSY;
    case Verdict::WRONG_SENDER:
      return Cause::WRONG_SENDER;
    case Verdict::WRONG_NODE:
      return Cause::WRONG_NODE;
    case Verdict::DELIVERED:
    case Verdict::FAILED:
      break;
  }
  return Cause::FAILED;
}

}  // namespace

Peer::Peer(void *context, const PeerSettings &settings, uint16_t nid, const std::string &endpoint,
           const KeyPair *ownKeys, Reports &reports)
    : settings_(settings),
      nid_(nid),
      name_(nodeText(nid)),
      reports_(reports),
      buffer_(MAX_MESSAGE_SIZE),
      outbox_(settings.queueLimit, settings.deliveryTimeoutMs),
      connection_(context, "peer-" + nidText(nid), endpoint, ownKeys) {}

Peer::~Peer() {
  if (socket_.descriptor >= 0) removeMessageSocket(socket_);
}

Status Peer::open() {
  MessageDirectory directory;
  if (Status status = directory.makeAndLock(settings_.nodeDirectory); !status.ok()) return status;
  return directory.bind(gatewaySocketName(nid_), socket_);
}

void Peer::setKey(const std::optional<Key> &key, uint64_t nowMs) {
  const bool wasUp = connection_.isUp();
  connection_.setPeerKey(key, nowMs);
  if (wasUp && !connection_.isUp()) reports_.count(name_, Cause::CONNECTION_LOST);
}

void Peer::appendTo(std::vector<zmq_pollitem_t> &items) const {
  if (outbox_.hasRoom()) items.push_back({nullptr, socket_.descriptor, ZMQ_POLLIN, 0});
  if (connection_.socketHandle() != nullptr) {
    const auto wanted = static_cast<short>(isBlocked_ ? ZMQ_POLLIN | ZMQ_POLLOUT : ZMQ_POLLIN);
    items.push_back({connection_.socketHandle(), 0, wanted, 0});
  }
  if (connection_.monitorHandle() != nullptr) items.push_back({connection_.monitorHandle(), 0, ZMQ_POLLIN, 0});
}

void Peer::proceed(uint64_t nowMs) {
  takeVerdicts(nowMs);
  proceedConnection(nowMs);
  expire(nowMs);
  takeMessages(nowMs);
  sendMessages(nowMs);
}

void Peer::proceedConnection(uint64_t nowMs) {
  for (;;) {
    const PeerConnection::Change change = connection_.proceed(nowMs);
    switch (change) {
      case PeerConnection::Change::NONE:
        return;
      case PeerConnection::Change::UP:
        outbox_.sendAgain();
        isBlocked_ = false;
        reports_.count(name_, Cause::CONNECTED);
        break;
      case PeerConnection::Change::LOST:
        reports_.count(name_, Cause::CONNECTION_LOST);
        break;
      case PeerConnection::Change::NOT_REACHED:
        if (lastTrouble_ == PeerConnection::Change::NONE) reports_.count(name_, Cause::NOT_REACHED);
        break;
      case PeerConnection::Change::KEY_REFUSED:
        // Each attempt ends in the same way until somebody does something about it.
        if (lastTrouble_ != change) reports_.count(name_, Cause::KEY_REFUSED);
        break;
    }
    lastTrouble_ = change == PeerConnection::Change::UP ? PeerConnection::Change::NONE : change;
  }
}

void Peer::takeVerdicts(uint64_t nowMs) {
  while (const auto bytes = connection_.receive()) {
    VerdictFrame frame;
    if (!parseVerdicts(*bytes, frame) || frame.node != nid_) {
      reports_.count(name_, Cause::MALFORMED);
      continue;
    }
    if (frame.epoch != settings_.epoch) continue;
    for (const SequenceVerdict &each : frame.verdicts) {
      const std::optional<QueuedMessage> message = outbox_.settle(each.sequence, nowMs);
      if (!message || each.verdict == Verdict::DELIVERED) continue;
      reports_.count(name_, causeOf(each.verdict), messageText(message->header));
    }
  }
}

void Peer::takeMessages(uint64_t nowMs) {
  MessageHeader header{};
  std::string payload;
  for (size_t i = 0; i < BATCH && outbox_.hasRoom(); ++i) {
    const Taken taken = takeMessage(header, payload);
    if (taken == Taken::NOTHING) return;
    if (taken == Taken::MESSAGE) outbox_.push(header, payload, nowMs);
  }
}

Peer::Taken Peer::takeMessage(MessageHeader &header, std::string &payload) {
  const ssize_t received = recv(socket_.descriptor, buffer_.data(), buffer_.size(), MSG_DONTWAIT | MSG_TRUNC);
  if (received < 0) return Taken::NOTHING;
  const auto size = static_cast<size_t>(received);
  if (size >= sizeof header && size <= buffer_.size()) {
    std::memcpy(&header, buffer_.data(), sizeof header);
    if (header.payloadSize == size - sizeof header && nodeOf(header.receiver) == nid_) {
      payload.assign(buffer_.data() + sizeof header, header.payloadSize);
      return Taken::MESSAGE;
    }
  }
  reports_.count(name_, Cause::MALFORMED, "one of " + std::to_string(size) + " bytes");
  return Taken::MALFORMED;
}

void Peer::sendMessages(uint64_t nowMs) {
  if (!connection_.isUp()) return;
  if (const auto nudge = outbox_.nudgeMs(); nudge && nowMs >= *nudge) outbox_.sendAgain();
  isBlocked_ = false;
  while (const auto next = outbox_.next()) {
    MessageFrame frame;
    frame.node = settings_.ownNid;
    frame.epoch = settings_.epoch;
    frame.sequence = next->sequence;
    frame.oldestOpen = next->oldestOpen;
    frame.header = next->message->header;
    frame.payload = next->message->payload;
    const uint64_t deadlineMs = next->message->deadlineMs;
    frame.timeLeftMs = static_cast<uint32_t>(deadlineMs > nowMs ? deadlineMs - nowMs : 0);
    isBlocked_ = !connection_.send(encodeMessage(frame));
    if (isBlocked_) return;
    outbox_.sent(nowMs);
  }
}

void Peer::expire(uint64_t nowMs) {
  for (const QueuedMessage &message : outbox_.expire(nowMs))
    reports_.count(name_, Cause::TIMED_OUT, messageText(message.header));
}

std::optional<uint64_t> Peer::nextMs() const {
  std::optional<uint64_t> next = outbox_.nextDeadlineMs();
  const auto consider = [&](std::optional<uint64_t> time) {
    if (time) next = std::min(next.value_or(UINT64_MAX), *time);
  };
  consider(connection_.nextMs());
  if (connection_.isUp()) consider(outbox_.nudgeMs());
  return next;
}

void Peer::giveUp() {
  for (const QueuedMessage &message : outbox_.takeAll())
    reports_.count(name_, Cause::ENDED, messageText(message.header));
  // And what there was no room for yet.
  MessageHeader header{};
  std::string payload;
  for (Taken taken = takeMessage(header, payload); taken != Taken::NOTHING; taken = takeMessage(header, payload)) {
    if (taken == Taken::MESSAGE) reports_.count(name_, Cause::ENDED, messageText(header));
  }
}

}  // namespace orv::gateway
