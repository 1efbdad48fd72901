// A gateway that says what a test wants it to say: a ZeroMQ socket and frames made by hand.
#ifndef ORV_TESTS_RAWGATEWAY_H
#define ORV_TESTS_RAWGATEWAY_H

#include <zmq.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "GatewayWire.h"
#include "KeyFiles.h"

#ifdef __SANITIZE_THREAD__
// It does not see how ZeroMQ's threads hand their messages to each other: the library is not compiled with it.
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_suppressions() {
  return "race:libzmq.so\n";
}
#endif

class RawGateway {
 public:
  RawGateway() {
    char publicText[41];
    char secretText[41];
    if (zmq_curve_keypair(publicText, secretText) != 0) throw std::runtime_error("no keys");
    zmq_z85_decode(keys_.publicKey.data(), publicText);
    zmq_z85_decode(keys_.secretKey.data(), secretText);
  }
  ~RawGateway() {
    disconnect();
    zmq_ctx_term(context_);
  }
  RawGateway(const RawGateway &) = delete;
  RawGateway &operator=(const RawGateway &) = delete;

  std::string key() const {
    return orv::hexOf(keys_.publicKey);
  }

  // `serverKey`: the public key of the gateway at `endpoint`, as orvctl prints it; empty for one without keys.
  void connect(const std::string &endpoint, const std::string &serverKey) {
    socket_ = zmq_socket(context_, ZMQ_DEALER);
    const int none = 0;
    zmq_setsockopt(socket_, ZMQ_LINGER, &none, sizeof none);
    const std::string ends = "inproc://ends-" + std::to_string(++connections_);
    ends_ = zmq_socket(context_, ZMQ_PAIR);
    if (zmq_socket_monitor(socket_, ends.c_str(), ZMQ_EVENT_DISCONNECTED) != 0 ||
        zmq_connect(ends_, ends.c_str()) != 0) {
      throw std::runtime_error("cannot watch a connection");
    }
    if (const std::optional<orv::Key> server = orv::keyOf(serverKey)) {
      zmq_setsockopt(socket_, ZMQ_CURVE_SERVERKEY, server->data(), server->size());
      zmq_setsockopt(socket_, ZMQ_CURVE_PUBLICKEY, keys_.publicKey.data(), keys_.publicKey.size());
      zmq_setsockopt(socket_, ZMQ_CURVE_SECRETKEY, keys_.secretKey.data(), keys_.secretKey.size());
    }
    if (zmq_connect(socket_, endpoint.c_str()) != 0) throw std::runtime_error("cannot connect to " + endpoint);
  }
  void disconnect() {
    if (socket_ == nullptr) return;
    zmq_socket_monitor(socket_, nullptr, 0);
    zmq_close(ends_);
    zmq_close(socket_);
    socket_ = nullptr;
  }
  // Until the other side has ended the connection. Throws after a minute.
  void waitForEndOfConnection() {
    zmq_pollitem_t item = {ends_, 0, ZMQ_POLLIN, 0};
    if (zmq_poll(&item, 1, 60000) != 1) throw std::runtime_error("the connection does not end");
  }

  void send(const std::string &frame, int flags = 0) {
    if (zmq_send(socket_, frame.data(), frame.size(), flags) < 0) throw std::runtime_error("cannot send a frame");
  }
  // The next verdicts. Throws after a minute.
  orv::gateway::VerdictFrame receive() {
    zmq_pollitem_t item = {socket_, 0, ZMQ_POLLIN, 0};
    char bytes[orv::gateway::MAX_FRAME_SIZE];
    if (zmq_poll(&item, 1, 60000) != 1) throw std::runtime_error("no verdicts");
    const int size = zmq_recv(socket_, bytes, sizeof bytes, 0);
    orv::gateway::VerdictFrame frame;
    if (size < 0 || !orv::gateway::parseVerdicts({bytes, static_cast<size_t>(size)}, frame)) {
      throw std::runtime_error("what came are no verdicts");
    }
    return frame;
  }

 private:
  void *context_ = zmq_ctx_new();
  void *socket_ = nullptr;
  void *ends_ = nullptr;
  int connections_ = 0;
  orv::KeyPair keys_;
};

#endif
