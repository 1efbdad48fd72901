// Who may connect: answers libzmq's questions during the handshakes (RFC 27, ZAP).
//
// With keys, whoever proves to have a trusted one may, and the connection is known by it from then on. Without keys,
// whoever connects from this machine may. Everybody else is refused and counted.
#ifndef ORV_GATEWAY_AUTHENTICATOR_H
#define ORV_GATEWAY_AUTHENTICATOR_H

#include "Reports.h"
#include "TrustedNodes.h"
#include "ZmqSocket.h"

namespace orv::gateway {

// What the listening socket is to be given as ZMQ_ZAP_DOMAIN.
constexpr const char *ZAP_DOMAIN = "orv";

class Authenticator {
 public:
  // `trusted` is null where the node has no keys. There is one authenticator for a context, made before the sockets
  // that ask it. Throws std::runtime_error.
  Authenticator(void *context, const TrustedNodes *trusted, Reports &reports);

  // To be polled for POLLIN.
  void *handle() const {
    return questions_.handle();
  }
  void answer();

 private:
  // The user id of whoever asks to be let in, or nothing.
  std::optional<std::string> admit(const std::string &address, const std::string &mechanism,
                                   const std::vector<Part> &question);

  ZmqSocket questions_;
  const TrustedNodes *trusted_;
  Reports &reports_;
};

}  // namespace orv::gateway

#endif
