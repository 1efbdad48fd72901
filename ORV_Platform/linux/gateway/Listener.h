// The gateway's port: takes the frames of other gateways and sends verdicts back on the connections that they came on.
#ifndef ORV_GATEWAY_LISTENER_H
#define ORV_GATEWAY_LISTENER_H

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "KeyFiles.h"
#include "Reports.h"
#include "Status.h"
#include "ZmqSocket.h"

namespace orv::gateway {

// A frame, who sent it and the way back.
struct IncomingFrame {
  std::string route;
  std::string bytes;
  std::optional<Key> key;  // that the sender has proved to have; none where the node has no keys
  std::string address;
};

class Listener {
 public:
  // `keys` null: no encryption. Throws std::runtime_error.
  Listener(void *context, const KeyPair *keys, Reports &reports);

  // Fails with the errno and a sentence.
  Status bind(const std::string &address, uint16_t port);

  // To be polled for POLLIN.
  void *handle() const {
    return socket_.handle();
  }
  void *monitorHandle() const {
    return monitor_.handle();
  }
  // Counts the handshakes that came to nothing before anybody was asked about a key.
  void watch();

  // The next frame; nothing where none is there. What is no frame has an empty route.
  std::optional<IncomingFrame> receive();
  // Lost where the connection is gone or does not take what it asked for: the peer will ask again.
  void send(const std::string &route, std::string_view frame);

 private:
  ZmqSocket socket_;
  SocketMonitor monitor_;
  Reports &reports_;
  std::map<uint32_t, std::string> addresses_;  // of the open connections, by descriptor
  bool handshakeFailed_ = false;               // on the connection that is about to be closed
};

}  // namespace orv::gateway

#endif
