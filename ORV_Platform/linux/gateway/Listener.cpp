#include "Listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "Authenticator.h"
#include "GatewayWire.h"
#include "SocketOptions.h"

namespace orv::gateway {
namespace {

// The address of the other end; what may already be closed again has none.
std::string addressOf(uint32_t descriptor) {
  sockaddr_in peer{};
  socklen_t size = sizeof peer;
  char text[INET_ADDRSTRLEN] = "";
  if (getpeername(static_cast<int>(descriptor), reinterpret_cast<sockaddr *>(&peer), &size) != 0 ||
      peer.sin_family != AF_INET || inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text) == nullptr) {
    return "that is not known any more";
  }
  return text;
}

}  // namespace

Listener::Listener(void *context, const KeyPair *keys, Reports &reports)
    : socket_(context, ZMQ_ROUTER), monitor_(context, socket_, "listener"), reports_(reports) {
  setCommonOptions(socket_);
  socket_.set(ZMQ_ROUTER_MANDATORY, 1);
  socket_.set(ZMQ_SNDHWM, static_cast<int>(2 * WINDOW));
  socket_.set(ZMQ_BACKLOG, 256);
  socket_.setBytes(ZMQ_ZAP_DOMAIN, ZAP_DOMAIN, std::string_view(ZAP_DOMAIN).size());
  if (keys == nullptr) return;
  socket_.set(ZMQ_CURVE_SERVER, 1);
  socket_.setBytes(ZMQ_CURVE_SECRETKEY, keys->secretKey.data(), keys->secretKey.size());
}

Status Listener::bind(const std::string &address, uint16_t port) {
  const std::string place = address + ":" + std::to_string(port);
  const int error = socket_.bind("tcp://" + place);
  if (error == 0) return Status::success();
  return Status::failure(error, "the gateway cannot listen on " + place + ": " + zmq_strerror(error));
}

void Listener::watch() {
  while (const auto event = monitor_.next()) {
    switch (event->event) {
      case ZMQ_EVENT_ACCEPTED:
        addresses_[event->value] = addressOf(event->value);
        break;
      case ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL:
      case ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL:
        handshakeFailed_ = true;  // the end of its connection is the next event
        break;
      case ZMQ_EVENT_DISCONNECTED:
        if (handshakeFailed_) reports_.count("address " + addresses_[event->value], Cause::BAD_HANDSHAKE);
        handshakeFailed_ = false;
        addresses_.erase(event->value);
        break;
      default:
        break;
    }
  }
}

std::optional<IncomingFrame> Listener::receive() {
  auto parts = socket_.receive();
  if (!parts) return std::nullopt;
  IncomingFrame frame;
  frame.address = parts->back().peerAddress;
  if (parts->size() != 2) return frame;
  frame.route = std::move((*parts)[0].bytes);
  frame.bytes = std::move((*parts)[1].bytes);
  frame.key = keyOf((*parts)[1].userId);
  return frame;
}

void Listener::send(const std::string &route, std::string_view frame) {
  static_cast<void>(socket_.send({route, frame}));
}

}  // namespace orv::gateway
