// The border between libORV.so and the gateway library, which is loaded only where a node has a gateway port.
//
// The gateway knows nothing of the node store and the log: it gets what it has to know as plain values and says what
// happens through the calls of its host. Both sides are built from the same tree; the version keeps an installation
// apart that mixes two of them.
#ifndef ORV_GATEWAY_GATEWAYINTERFACE_H
#define ORV_GATEWAY_GATEWAYINTERFACE_H

#include <stddef.h>
#include <stdint.h>

extern "C" {

constexpr uint32_t ORV_GATEWAY_VERSION = 1;

// Another node and where its gateway listens.
struct OrvGatewayPeer {
  uint16_t nid;
  uint16_t port;
  const char *address;  // IPv4, dotted
};

// All texts belong to the caller and are copied.
struct OrvGatewaySettings {
  uint32_t version;           // ORV_GATEWAY_VERSION
  uint16_t nid;               // of this node
  uint16_t port;              // to listen on
  const char *address;        // IPv4 address to listen on; empty for all of them
  const char *nodeDirectory;  // with the message sockets of the node
  const char *keyDirectory;   // see KeyFiles.h
  uint32_t queueLimit;        // messages that wait for one peer, at most
  uint32_t deliveryTimeoutMs;
  const struct OrvGatewayPeer *peers;
  uint32_t peerCount;
};

// Called from the gateway's thread and, while it starts and stops, from the caller's. They do not throw.
struct OrvGatewayHost {
  // One line for the node's log, severity as for AaSysLogPrint.
  void (*log)(uint32_t severity, const char *text);
  // One event of kind GATEWAY.
  void (*event)(const char *text);
};

// Starts a gateway with a thread of its own. Returns 0 and sets `*gateway`, or the errno; `failure` (of `failureSize`
// bytes) then holds the sentence that says why.
int32_t orvGatewayStart(const struct OrvGatewayHost *host, const struct OrvGatewaySettings *settings, void **gateway,
                        char *failure, size_t failureSize);

// Ends the gateway: waits up to 2 s for what is on its way to connected peers, reports the rest and frees everything.
void orvGatewayStop(void *gateway);

using OrvGatewayStart = decltype(&orvGatewayStart);
using OrvGatewayStop = decltype(&orvGatewayStop);

}  // extern "C"

#endif
