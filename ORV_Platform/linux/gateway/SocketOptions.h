// What the gateway's sockets of both directions have in common.
#ifndef ORV_GATEWAY_SOCKETOPTIONS_H
#define ORV_GATEWAY_SOCKETOPTIONS_H

#include "GatewayWire.h"
#include "ZmqSocket.h"

namespace orv::gateway {

// Limits on what a peer may send, and how the kernel finds out that its machine has gone: in some 10 to 15 s, without
// waking anybody here. Throws std::runtime_error.
inline void setCommonOptions(ZmqSocket &socket) {
  constexpr int64_t ENCRYPTION_SIZE = 64;  // what CURVE adds to a frame, and more
  constexpr int HANDSHAKE_MS = 5000;
  constexpr int LOST_MS = 15000;
  socket.set(ZMQ_MAXMSGSIZE, static_cast<int64_t>(MAX_FRAME_SIZE) + ENCRYPTION_SIZE);
  socket.set(ZMQ_HANDSHAKE_IVL, HANDSHAKE_MS);
  socket.set(ZMQ_RCVHWM, 256);
  socket.set(ZMQ_TCP_KEEPALIVE, 1);
  socket.set(ZMQ_TCP_KEEPALIVE_IDLE, 5);
  socket.set(ZMQ_TCP_KEEPALIVE_INTVL, 2);
  socket.set(ZMQ_TCP_KEEPALIVE_CNT, 3);
  socket.set(ZMQ_TCP_MAXRT, LOST_MS);
}

}  // namespace orv::gateway

#endif
