// The way to one peer: the socket in the node's message directory at which programs hand in messages for it, the queue,
// and the connection.
//
// The socket is read only as far as the queue has room: who sends too fast, or to a peer that is away for long, is told
// by the kernel (EAGAIN), and what was taken is not dropped for want of room.
#ifndef ORV_GATEWAY_PEER_H
#define ORV_GATEWAY_PEER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Outbox.h"
#include "PeerConnection.h"
#include "Reports.h"
#include "Status.h"
#include "SysComUsers.h"

namespace orv::gateway {

// What all peers of a gateway share.
struct PeerSettings {
  uint16_t ownNid = 0;
  uint64_t epoch = 0;
  std::string nodeDirectory;
  size_t queueLimit = 0;
  uint32_t deliveryTimeoutMs = 0;
};

class Peer {
 public:
  Peer(void *context, const PeerSettings &settings, uint16_t nid, const std::string &endpoint, const KeyPair *ownKeys,
       Reports &reports);
  ~Peer();
  Peer(const Peer &) = delete;
  Peer &operator=(const Peer &) = delete;

  // Makes the socket for messages to the peer.
  Status open();

  uint16_t nid() const {
    return nid_;
  }
  void setKey(const std::optional<Key> &key, uint64_t nowMs);

  // Adds what is to be polled.
  void appendTo(std::vector<zmq_pollitem_t> &items) const;
  // Does all that can be done now. To be called when something that is polled has happened, and at nextMs.
  void proceed(uint64_t nowMs);
  std::optional<uint64_t> nextMs() const;

  // True when nothing is on its way to the peer, or the peer cannot be reached.
  bool isDone() const {
    return outbox_.size() == 0 || !connection_.isUp();
  }
  // Counts what is left as undelivered.
  void giveUp();

 private:
  void proceedConnection(uint64_t nowMs);
  void takeVerdicts(uint64_t nowMs);
  void takeMessages(uint64_t nowMs);
  // The next message that a program has handed in.
  enum class Taken { NOTHING, MESSAGE, MALFORMED };
  Taken takeMessage(MessageHeader &header, std::string &payload);
  void sendMessages(uint64_t nowMs);
  void expire(uint64_t nowMs);

  PeerSettings settings_;
  uint16_t nid_;
  std::string name_;
  Reports &reports_;
  MessageSocket socket_;
  std::vector<char> buffer_;  // of the largest message
  Outbox outbox_;
  PeerConnection connection_;
  bool isBlocked_ = false;  // the connection has no room
  PeerConnection::Change lastTrouble_ = PeerConnection::Change::NONE;
};

}  // namespace orv::gateway

#endif
