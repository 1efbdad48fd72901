#include "ZmqSocket.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace orv::gateway {
namespace {

void require(bool condition, const char *what) {
  if (!condition) throw std::runtime_error(std::string("cannot ") + what + ": " + zmq_strerror(zmq_errno()));
}

class Message {
 public:
  Message() {
    zmq_msg_init(&message_);
  }
  ~Message() {
    zmq_msg_close(&message_);
  }
  Message(const Message &) = delete;
  Message &operator=(const Message &) = delete;

  bool receive(void *socket) {
    int result = 0;
    do {
      result = zmq_msg_recv(&message_, socket, ZMQ_DONTWAIT);
    } while (result < 0 && zmq_errno() == EINTR);
    return result >= 0;
  }
  bool more() const {
    return zmq_msg_more(&message_) != 0;
  }
  Part part() {
    Part part;
    part.bytes.assign(static_cast<const char *>(zmq_msg_data(&message_)), zmq_msg_size(&message_));
    part.userId = property("User-Id");
    part.peerAddress = property("Peer-Address");
    return part;
  }

 private:
  std::string property(const char *name) const {
    const char *value = zmq_msg_gets(&message_, name);
    return value == nullptr ? "" : value;
  }
  zmq_msg_t message_;
};

}  // namespace

ZmqSocket::ZmqSocket(void *context, int type) : handle_(zmq_socket(context, type)) {
  require(handle_ != nullptr, "make a ZeroMQ socket");
  set(ZMQ_LINGER, 0);
}

ZmqSocket::~ZmqSocket() {
  zmq_close(handle_);
}

void ZmqSocket::set(int option, int value) {
  setBytes(option, &value, sizeof value);
}

void ZmqSocket::set(int option, int64_t value) {
  setBytes(option, &value, sizeof value);
}

void ZmqSocket::setBytes(int option, const void *bytes, size_t size) {
  require(zmq_setsockopt(handle_, option, bytes, size) == 0, "set an option of a ZeroMQ socket");
}

int ZmqSocket::bind(const std::string &endpoint) {
  return zmq_bind(handle_, endpoint.c_str()) == 0 ? 0 : zmq_errno();
}

int ZmqSocket::connect(const std::string &endpoint) {
  return zmq_connect(handle_, endpoint.c_str()) == 0 ? 0 : zmq_errno();
}

std::optional<std::vector<Part>> ZmqSocket::receive() {
  std::vector<Part> parts;
  for (bool more = true; more;) {
    Message message;
    if (!message.receive(handle_)) return std::nullopt;
    parts.push_back(message.part());
    more = message.more();
  }
  return parts;
}

int ZmqSocket::send(const std::vector<std::string_view> &parts) {
  for (size_t i = 0; i < parts.size(); ++i) {
    const int flags = ZMQ_DONTWAIT | (i + 1 < parts.size() ? ZMQ_SNDMORE : 0);
    int result = 0;
    do {
      result = zmq_send(handle_, parts[i].data(), parts[i].size(), flags);
    } while (result < 0 && zmq_errno() == EINTR);
    if (result < 0) return zmq_errno();
  }
  return 0;
}

SocketMonitor::SocketMonitor(void *context, ZmqSocket &socket, const std::string &name)
    : socket_(socket), events_(context, ZMQ_PAIR) {
  const std::string endpoint = "inproc://" + name;
  require(zmq_socket_monitor(socket.handle(), endpoint.c_str(), ZMQ_EVENT_ALL) == 0, "watch a ZeroMQ socket");
  // Without a limit: who tells of an event would otherwise wait for us in the end.
  events_.set(ZMQ_RCVHWM, 0);
  require(events_.connect(endpoint) == 0, "watch a ZeroMQ socket");
}

SocketMonitor::~SocketMonitor() {
  zmq_socket_monitor(socket_.handle(), nullptr, 0);
}

std::optional<SocketEvent> SocketMonitor::next() {
  const auto parts = events_.receive();
  SocketEvent event;
  if (!parts || parts->front().bytes.size() < sizeof event.event + sizeof event.value) return std::nullopt;
  const char *bytes = parts->front().bytes.data();
  std::memcpy(&event.event, bytes, sizeof event.event);
  std::memcpy(&event.value, bytes + sizeof event.event, sizeof event.value);
  return event;
}

}  // namespace orv::gateway
