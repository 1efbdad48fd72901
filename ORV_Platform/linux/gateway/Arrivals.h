// What comes from other nodes: checks who sent it and whether they may say what they say, hands it to the users of this
// node and tells the senders what has become of it.
#ifndef ORV_GATEWAY_ARRIVALS_H
#define ORV_GATEWAY_ARRIVALS_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Inbox.h"
#include "Listener.h"
#include "LocalDelivery.h"
#include "TrustedNodes.h"

namespace orv::gateway {

class Arrivals {
 public:
  // `trusted` is null where the node has no keys; messages are then taken from `peers` alone.
  Arrivals(uint16_t ownNid, std::set<uint16_t> peers, const TrustedNodes *trusted, Listener &listener,
           LocalDelivery &users, Reports &reports)
      : ownNid_(ownNid),
        peers_(std::move(peers)),
        trusted_(trusted),
        listener_(listener),
        users_(users),
        reports_(reports) {}

  // Takes what the listener has, delivers what can be delivered, and sends the verdicts.
  void proceed(uint64_t nowMs);

 private:
  struct Origin {
    Inbox inbox;
    std::string route;  // the connection that it was heard on last
    uint64_t epoch = 0;
    std::vector<SequenceVerdict> verdicts;  // that are to be sent, on messages of `epoch`
  };

  void take(const IncomingFrame &frame, uint64_t nowMs);
  // The node that the frame is from; nothing, after having counted it, where it is not what it claims.
  std::optional<uint16_t> originOf(const IncomingFrame &frame, const MessageFrame &message);
  std::optional<Verdict> deliver(const MessageFrame &message, uint16_t from, uint64_t nowMs);
  void tell(Origin &origin, uint64_t epoch, const SequenceVerdict &verdict);
  void sendVerdicts(Origin &origin);

  uint16_t ownNid_;
  std::set<uint16_t> peers_;
  const TrustedNodes *trusted_;
  Listener &listener_;
  LocalDelivery &users_;
  Reports &reports_;
  std::map<uint16_t, Origin> origins_;  // by node id
};

}  // namespace orv::gateway

#endif
