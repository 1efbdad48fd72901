// A ZeroMQ socket and its events, closed at the end of their scope. Nothing here waits.
//
// A failure of libzmq that is none of the outside world (no descriptors, no memory) is thrown as std::runtime_error
// where a socket is set up; what runs later reports with its result.
#ifndef ORV_GATEWAY_ZMQSOCKET_H
#define ORV_GATEWAY_ZMQSOCKET_H

#include <zmq.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::gateway {

// One part of a message, with what the connection is known for.
struct Part {
  std::string bytes;
  std::string userId;       // of the authenticator; empty where there is none
  std::string peerAddress;  // IP address
};

class ZmqSocket {
 public:
  // `type` is one of ZMQ_*. `context` outlives the socket.
  ZmqSocket(void *context, int type);
  ~ZmqSocket();
  ZmqSocket(const ZmqSocket &) = delete;
  ZmqSocket &operator=(const ZmqSocket &) = delete;

  void set(int option, int value);
  void set(int option, int64_t value);
  void setBytes(int option, const void *bytes, size_t size);
  // Return 0 or the errno.
  int bind(const std::string &endpoint);
  int connect(const std::string &endpoint);

  // A message of all its parts; nothing where none is there.
  std::optional<std::vector<Part>> receive();
  // Returns 0 or the errno; EAGAIN where there is no room. A message goes whole or not at all.
  int send(const std::vector<std::string_view> &parts);

  void *handle() const {
    return handle_;
  }

 private:
  void *handle_;
};

struct SocketEvent {
  uint16_t event = 0;  // ZMQ_EVENT_*
  uint32_t value = 0;
};

// What happens to the connections of a socket. Has to end before the socket does.
class SocketMonitor {
 public:
  SocketMonitor(void *context, ZmqSocket &socket, const std::string &name);
  ~SocketMonitor();
  SocketMonitor(const SocketMonitor &) = delete;
  SocketMonitor &operator=(const SocketMonitor &) = delete;

  std::optional<SocketEvent> next();
  void *handle() const {
    return events_.handle();
  }

 private:
  ZmqSocket &socket_;
  ZmqSocket events_;
};

}  // namespace orv::gateway

#endif
