#include "Outbox.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "GatewayWire.h"

namespace orv::gateway {
namespace {

// What may be under way at once: enough to keep a fast network busy, and little memory held twice.
constexpr size_t MAX_OPEN_BYTES = size_t{1024} * 1024;
// The peer gives a message that it holds for a slow user up in its own time; its verdict needs a moment to get here.
constexpr uint64_t VERDICT_GRACE_MS = 1000;
constexpr uint64_t NUDGE_AFTER_MS = 2000;

size_t sizeOf(const QueuedMessage &message) {
  return sizeof message.header + message.payload.size();
}

}  // namespace

void Outbox::push(const MessageHeader &header, std::string payload, uint64_t nowMs) {
  assert(hasRoom());
  queue_.push_back({header, std::move(payload), nowMs + deliveryTimeoutMs_});
}

std::optional<Outbox::Sending> Outbox::next() {
  while (cursor_ < flight_.size() && flight_[cursor_].settled)
    ++cursor_;
  if (cursor_ == flight_.size()) {
    const bool isFull = flight_.size() >= WINDOW || (open_ != 0 && openBytes_ >= MAX_OPEN_BYTES);
    if (queue_.empty() || isFull) return std::nullopt;
    openBytes_ += sizeOf(queue_.front());
    ++open_;
    flight_.push_back({std::move(queue_.front())});
    queue_.pop_front();
  }
  return Sending{&flight_[cursor_].message, firstSequence_ + cursor_, firstSequence_};
}

void Outbox::sent(uint64_t nowMs) {
  ++cursor_;
  progressMs_ = nowMs;
}

void Outbox::sendAgain() {
  cursor_ = 0;
}

std::optional<QueuedMessage> Outbox::settle(uint64_t sequence, uint64_t nowMs) {
  if (sequence < firstSequence_ || sequence - firstSequence_ >= flight_.size()) return std::nullopt;
  Sent &entry = flight_[static_cast<size_t>(sequence - firstSequence_)];
  if (entry.settled) return std::nullopt;
  entry.settled = true;
  progressMs_ = nowMs;
  --open_;
  openBytes_ -= sizeOf(entry.message);
  QueuedMessage message = std::move(entry.message);
  dropSettledFront();
  return message;
}

void Outbox::dropSettledFront() {
  while (!flight_.empty() && flight_.front().settled) {
    flight_.pop_front();
    ++firstSequence_;
    if (cursor_ > 0) --cursor_;
  }
}

std::vector<QueuedMessage> Outbox::expire(uint64_t nowMs) {
  std::vector<QueuedMessage> expired;
  // All wait equally long, so the oldest are in front.
  for (size_t i = 0; i < flight_.size(); ++i) {
    Sent &entry = flight_[i];
    if (entry.settled) continue;
    if (nowMs < entry.message.deadlineMs + VERDICT_GRACE_MS) break;
    entry.settled = true;
    --open_;
    openBytes_ -= sizeOf(entry.message);
    expired.push_back(std::move(entry.message));
  }
  dropSettledFront();
  while (!queue_.empty() && nowMs >= queue_.front().deadlineMs) {
    expired.push_back(std::move(queue_.front()));
    queue_.pop_front();
  }
  return expired;
}

std::vector<QueuedMessage> Outbox::takeAll() {
  std::vector<QueuedMessage> all;
  for (Sent &entry : flight_) {
    if (!entry.settled) all.push_back(std::move(entry.message));
  }
  for (QueuedMessage &message : queue_)
    all.push_back(std::move(message));
  firstSequence_ += flight_.size();
  flight_.clear();
  queue_.clear();
  open_ = 0;
  openBytes_ = 0;
  cursor_ = 0;
  return all;
}

std::optional<uint64_t> Outbox::nextDeadlineMs() const {
  std::optional<uint64_t> next;
  if (!flight_.empty()) next = flight_.front().message.deadlineMs + VERDICT_GRACE_MS;
  if (!queue_.empty()) next = std::min(next.value_or(UINT64_MAX), queue_.front().deadlineMs);
  return next;
}

std::optional<uint64_t> Outbox::nudgeMs() const {
  if (open_ == 0 || cursor_ < flight_.size()) return std::nullopt;
  return progressMs_ + NUDGE_AFTER_MS;
}

}  // namespace orv::gateway
