// Hands messages from other nodes to the users of this node.
//
// A user whose queue is full does not hold the others up: its messages are held back, in their order, until it has
// taken some or their time is up. Not safe for several threads.
#ifndef ORV_GATEWAY_LOCALDELIVERY_H
#define ORV_GATEWAY_LOCALDELIVERY_H

#include <poll.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "GatewayWire.h"

namespace orv::gateway {

// Which message it was that a verdict is about.
struct Ticket {
  uint16_t nid = 0;  // the peer that it came from
  uint64_t epoch = 0;
  uint64_t sequence = 0;
};

struct Settled {
  Ticket ticket;
  Verdict verdict = Verdict::DELIVERED;
};

class LocalDelivery {
 public:
  // `holdLimit`: how many messages of one peer are held back at most.
  LocalDelivery(std::string nodeDirectory, size_t holdLimit)
      : nodeDirectory_(std::move(nodeDirectory)), holdLimit_(holdLimit) {}
  ~LocalDelivery();
  LocalDelivery(const LocalDelivery &) = delete;
  LocalDelivery &operator=(const LocalDelivery &) = delete;

  // Hands `bytes`, header and payload, to user `cpid`. Nothing where the message is held back: `proceed` or `expire`
  // tells its verdict.
  std::optional<Verdict> deliver(uint16_t cpid, std::string bytes, const Ticket &ticket, uint64_t deadlineMs);

  // The descriptors that are to be polled for POLLOUT because something is held back.
  std::vector<int> waiting() const;
  // Tries those again whose time has come to. Appends what is settled.
  void proceed(std::vector<Settled> &settled);
  void expire(uint64_t nowMs, std::vector<Settled> &settled);
  std::optional<uint64_t> nextDeadlineMs() const;

 private:
  struct Held {
    std::string bytes;
    Ticket ticket;
    uint64_t deadlineMs = 0;
  };
  struct User {
    int descriptor = -1;
    std::deque<Held> held;
  };
  // The verdict, or nothing where the user's queue is full.
  std::optional<Verdict> send(uint16_t cpid, User &user, const std::string &bytes) const;
  std::optional<Verdict> connect(uint16_t cpid, User &user) const;
  void settle(const Held &held, Verdict verdict, std::vector<Settled> &settled);
  void forgetIdle();

  std::string nodeDirectory_;
  size_t holdLimit_;
  std::map<uint16_t, User> users_;         // by CPID
  std::map<uint16_t, size_t> heldOfPeer_;  // by node id
};

}  // namespace orv::gateway

#endif
