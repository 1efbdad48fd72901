// The messages on their way to one peer: a bounded queue, and a window of those that were sent and have no verdict yet.
//
// Messages leave in the order in which they came. Each stays until the peer's verdict on it arrives or its time is up.
// After a new connection everything without a verdict is sent again under its old number, which is how the peer knows
// what it has had already. Times are milliseconds of any clock that does not go back; they are handed in.
#ifndef ORV_GATEWAY_OUTBOX_H
#define ORV_GATEWAY_OUTBOX_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "SysComMessage.h"

namespace orv::gateway {

struct QueuedMessage {
  MessageHeader header{};
  std::string payload;
  uint64_t deadlineMs = 0;
};

class Outbox {
 public:
  Outbox(size_t queueLimit, uint32_t deliveryTimeoutMs)
      : queueLimit_(queueLimit), deliveryTimeoutMs_(deliveryTimeoutMs) {}

  // Messages without a verdict, sent or not.
  size_t size() const {
    return queue_.size() + open_;
  }
  bool hasRoom() const {
    return size() < queueLimit_;
  }
  // Takes a message; only where there is room.
  void push(const MessageHeader &header, std::string payload, uint64_t nowMs);

  // What is to be sent next.
  struct Sending {
    const QueuedMessage *message = nullptr;  // valid until the outbox changes
    uint64_t sequence = 0;
    uint64_t oldestOpen = 0;
  };
  // Nothing where all is sent or the window is full. Calling it again gives the same; `sent` goes on to the next.
  std::optional<Sending> next();
  void sent(uint64_t nowMs);

  // All that has no verdict is to be sent again.
  void sendAgain();

  // The peer's verdict on a message has come: takes the message out. Nothing where it has been taken out before.
  std::optional<QueuedMessage> settle(uint64_t sequence, uint64_t nowMs);

  // Takes out the messages whose time is up.
  std::vector<QueuedMessage> expire(uint64_t nowMs);
  // Takes out all.
  std::vector<QueuedMessage> takeAll();

  // When `expire` has to be called next, if nothing happens before.
  std::optional<uint64_t> nextDeadlineMs() const;
  // When messages are under way and the peer has been silent for so long that they are better sent again.
  std::optional<uint64_t> nudgeMs() const;

 private:
  struct Sent {
    QueuedMessage message;
    bool settled = false;
  };
  void dropSettledFront();

  size_t queueLimit_;
  uint32_t deliveryTimeoutMs_;
  std::deque<QueuedMessage> queue_;  // not sent yet
  std::deque<Sent> flight_;          // sent; the first is open
  uint64_t firstSequence_ = 1;       // of flight_
  size_t open_ = 0;                  // of flight_, without a verdict
  size_t openBytes_ = 0;
  size_t cursor_ = 0;        // in flight_: what is to be sent again begins here
  uint64_t progressMs_ = 0;  // when something was sent or settled last
};

}  // namespace orv::gateway

#endif
