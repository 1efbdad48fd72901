// The connection to one peer's gateway, made by this node: messages go out on it and verdicts come back.
//
// It connects by itself whenever it is down: at once after a connection was lost, then after 0.1 s, and each time after
// twice as long, up to 5 s. While it is up no timer runs: that the peer's machine has gone is found out by the kernel.
#ifndef ORV_GATEWAY_PEERCONNECTION_H
#define ORV_GATEWAY_PEERCONNECTION_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KeyFiles.h"
#include "ZmqSocket.h"

namespace orv::gateway {

class PeerConnection {
 public:
  // `endpoint` is a ZeroMQ endpoint; `ownKeys` null for a node without keys; `name` tells the connection from the
  // context's others.
  PeerConnection(void *context, std::string name, std::string endpoint, const KeyPair *ownKeys)
      : context_(context), name_(std::move(name)), endpoint_(std::move(endpoint)), ownKeys_(ownKeys) {}

  // The key that the peer has to prove; none: there is no connection until there is one. Ends a connection that was
  // made with another one.
  void setPeerKey(const std::optional<Key> &key, uint64_t nowMs);

  enum class Change {
    NONE,
    UP,
    LOST,         // it was up
    NOT_REACHED,  // an attempt has failed
    KEY_REFUSED,  // the peer does not trust this node's key
  };
  // Does what is to be done by now, and takes what has happened. To be called until it says NONE.
  Change proceed(uint64_t nowMs);
  std::optional<uint64_t> nextMs() const;

  bool isUp() const {
    return state_ == State::UP;
  }
  // Null where there is nothing to poll.
  void *socketHandle() const {
    return socket_ ? socket_->handle() : nullptr;
  }
  void *monitorHandle() const {
    return monitor_ ? monitor_->handle() : nullptr;
  }

  // False where there is no room.
  bool send(std::string_view frame);
  std::optional<std::string> receive();

 private:
  enum class State { NO_KEY, WAITING, CONNECTING, UP };
  bool needsKey() const {
    return ownKeys_ != nullptr;
  }
  bool open();
  void close();
  Change fail(Change change, uint64_t nowMs);
  Change take(const SocketEvent &event, uint64_t nowMs);

  void *context_;
  std::string name_;
  std::string endpoint_;
  const KeyPair *ownKeys_;
  std::optional<Key> peerKey_;
  State state_ = State::WAITING;
  uint64_t whenMs_ = 0;  // WAITING: the next attempt; CONNECTING: the end of this one
  uint64_t backoffMs_ = 0;
  uint64_t attempts_ = 0;
  std::unique_ptr<ZmqSocket> socket_;
  std::unique_ptr<SocketMonitor> monitor_;
};

}  // namespace orv::gateway

#endif
