// What gateway a node is to have: worked out from what the start-up record and the tags say.
//
// The own port is the tag orv.gateway.port where it is set (0: none); else the master's, in orv.demo.mastergwport,
// where the node is the master; else the one in the slave list beside the own node id. A node without a port has no
// gateway. The peers are the master and the slaves of the list, without the node itself.
#ifndef ORV_LINUX_GATEWAYPLAN_H
#define ORV_LINUX_GATEWAYPLAN_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "NodeStore.h"
#include "Status.h"

namespace orv {

constexpr const char *GATEWAY_PORT_TAG = "orv.gateway.port";        // u32: 1 to 65535; 0: no gateway
constexpr const char *GATEWAY_ADDRESS_TAG = "orv.gateway.address";  // string: IPv4 address to listen on
constexpr const char *GATEWAY_QUEUE_TAG = "orv.gateway.queue";      // u32: messages for each peer
constexpr const char *GATEWAY_DELIVERY_TIMEOUT_TAG = "orv.gateway.deliverytimeout";  // u32: seconds
constexpr const char *GATEWAY_KEYS_TAG = "orv.gateway.keys";                         // string: the key directory

constexpr uint32_t DEFAULT_GATEWAY_QUEUE = 1000;
constexpr uint32_t MAX_GATEWAY_QUEUE = 100000;
constexpr uint32_t DEFAULT_DELIVERY_TIMEOUT_S = 10;
constexpr uint32_t MAX_DELIVERY_TIMEOUT_S = 3600;

// What the start-up record says of it.
struct GatewayRecord {
  uint16_t nid = 0;
  uint16_t masterNid = 0;
  std::string masterIp;
  std::string protocol;  // empty: none was named
};

struct GatewayPeer {
  uint16_t nid = 0;
  std::string address;
  uint16_t port = 0;
};

struct GatewayPlan {
  uint16_t port = 0;  // 0: the node has no gateway
  std::string address;
  uint32_t queueLimit = DEFAULT_GATEWAY_QUEUE;
  uint32_t deliveryTimeoutS = DEFAULT_DELIVERY_TIMEOUT_S;
  std::string keyDirectory;  // empty: the usual one
  std::vector<GatewayPeer> peers;
  std::vector<std::string> problems;  // what was left out and why, a sentence each
};

using TagLookup = std::function<std::optional<TagValue>(const std::string &name)>;

// Fails with EPROTONOSUPPORT and a sentence where the record names a protocol that is none of ours.
Status checkGatewayProtocol(const std::string &protocol);

GatewayPlan planGateway(const GatewayRecord &record, const TagLookup &tag);

}  // namespace orv

#endif
