#include "GatewayPlan.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>

#include "HexText.h"

namespace orv {
namespace {

constexpr uint32_t MAX_PORT = 65535;
constexpr uint32_t MAX_SLAVES = 99;  // the names of their tags hold no greater number
constexpr const char *PROTOCOL = "TCP";

std::string nodeText(uint16_t nid) {
  return "node " + nidText(nid);
}

bool isAddress(const std::string &text) {
  in_addr address{};
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

// One run over one node's record and tags.
class Planner {
 public:
  Planner(const GatewayRecord &record, const TagLookup &tag) : record_(record), tag_(tag) {}

  GatewayPlan run() {
    readSettings();
    addMaster();
    addSlaves();
    plan_.port = ownPort();
    return plan_;
  }

 private:
  std::optional<uint32_t> number(const std::string &name) const {
    const std::optional<TagValue> value = tag_(name);
    if (!value || value->type == TagType::STRING) return std::nullopt;
    return value->number;
  }
  std::string text(const std::string &name) const {
    const std::optional<TagValue> value = tag_(name);
    return value && value->type == TagType::STRING ? value->text : "";
  }
  uint32_t limited(const char *name, uint32_t fallback, uint32_t maximum) {
    const uint32_t value = number(name).value_or(fallback);
    if (value >= 1 && value <= maximum) return value;
    plan_.problems.push_back("the tag " + std::string(name) + " is " + std::to_string(value) +
                             ", which is not from 1 to " + std::to_string(maximum) + ": " + std::to_string(fallback) +
                             " is taken");
    return fallback;
  }

  void readSettings() {
    plan_.queueLimit = limited(GATEWAY_QUEUE_TAG, DEFAULT_GATEWAY_QUEUE, MAX_GATEWAY_QUEUE);
    plan_.deliveryTimeoutS = limited(GATEWAY_DELIVERY_TIMEOUT_TAG, DEFAULT_DELIVERY_TIMEOUT_S, MAX_DELIVERY_TIMEOUT_S);
    plan_.keyDirectory = text(GATEWAY_KEYS_TAG);
    plan_.address = text(GATEWAY_ADDRESS_TAG);
  }

  void addMaster() {
    if (record_.masterNid == 0 || record_.masterNid == record_.nid) return;
    const std::optional<uint32_t> port = number("orv.demo.mastergwport");
    if (port) add(record_.masterNid, record_.masterIp, *port, "the master");
  }

  void addSlaves() {
    const uint32_t count = std::min(number("orv.demo.numberofslavenodes").value_or(0), MAX_SLAVES);
    for (uint32_t i = 1; i <= count; ++i) {
      const std::string name = "orv.demo.slave" + std::to_string(i);
      const std::optional<uint32_t> nid = number(name + "nid");
      const std::optional<uint32_t> port = number(name + "gwport");
      if (!nid || !port || *nid > MAX_PORT) continue;  // an item of the list that the daemon has refused
      const auto slave = static_cast<uint16_t>(*nid);
      if (slave == record_.nid) {
        ownListedPort_ = *port;
      } else {
        add(slave, text(name + "ip"), *port, "slave " + std::to_string(i));
      }
    }
  }

  void add(uint16_t nid, const std::string &address, uint32_t port, const std::string &who) {
    const std::string node = nodeText(nid) + " (" + who + ")";
    const auto isSame = [&](const GatewayPeer &peer) { return peer.nid == nid; };
    if (std::any_of(plan_.peers.begin(), plan_.peers.end(), isSame)) {
      plan_.problems.push_back(node + " is left out: another one has its node id");
    } else if (!isAddress(address)) {
      plan_.problems.push_back(node + " is left out: \"" + address + "\" is no IPv4 address");
    } else if (port == 0 || port > MAX_PORT) {
      plan_.problems.push_back(node + " is left out: " + std::to_string(port) + " is no port");
    } else {
      plan_.peers.push_back({nid, address, static_cast<uint16_t>(port)});
    }
  }

  uint16_t ownPort() {
    std::optional<uint32_t> port = number(GATEWAY_PORT_TAG);
    if (!port && record_.nid == record_.masterNid) port = number("orv.demo.mastergwport");
    if (!port) port = ownListedPort_;
    if (port.value_or(0) <= MAX_PORT) return static_cast<uint16_t>(port.value_or(0));
    plan_.problems.push_back("this node has no gateway: " + std::to_string(*port) + " is no port");
    return 0;
  }

  const GatewayRecord &record_;
  const TagLookup &tag_;
  GatewayPlan plan_;
  std::optional<uint32_t> ownListedPort_;
};

}  // namespace

Status checkGatewayProtocol(const std::string &protocol) {
  if (protocol.empty() || protocol == PROTOCOL) return Status::success();
  return Status::failure(EPROTONOSUPPORT, "there is no SysCom gateway protocol \"" + protocol +
                                              "\" (there is: " + PROTOCOL + "); messages to other nodes are refused");
}

GatewayPlan planGateway(const GatewayRecord &record, const TagLookup &tag) {
  if (record.nid == 0) return {};
  return Planner(record, tag).run();
}

}  // namespace orv
