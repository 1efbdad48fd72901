// What gateway a node is to have, by its record and tags.
#include "GatewayPlan.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>

namespace {

using namespace orv;
using Problems = std::vector<std::string>;

// What the example of a master and two slaves is told on every node.
class GatewayPlanning : public testing::Test {
 protected:
  GatewayPlanning() {
    set("orv.demo.mastergwport", 15155);
    set("orv.demo.numberofslavenodes", 2);
    setSlave(1, 0x2011, "192.168.10.102", 15156);
    setSlave(2, 0x3011, "192.168.10.103", 15157);
  }

  void set(const std::string &name, uint32_t number) {
    tags[name] = {TagType::U32, number, ""};
  }
  void set(const std::string &name, const std::string &text) {
    tags[name] = {TagType::STRING, 0, text};
  }
  void setSlave(int number, uint16_t nid, const std::string &address, uint32_t port) {
    const std::string name = "orv.demo.slave" + std::to_string(number);
    tags[name + "nid"] = {TagType::U16, nid, ""};
    set(name + "ip", address);
    set(name + "gwport", port);
  }
  GatewayPlan plan(uint16_t nid, uint16_t masterNid = 0x1011) const {
    return planGateway({nid, masterNid, "192.168.10.101", ""}, [&](const std::string &name) {
      const auto found = tags.find(name);
      return found == tags.end() ? std::nullopt : std::optional(found->second);
    });
  }
  static std::string peersOf(const GatewayPlan &plan) {
    std::string text;
    for (const GatewayPeer &peer : plan.peers)
      text += std::to_string(peer.nid) + "@" + peer.address + ":" + std::to_string(peer.port) + " ";
    return text;
  }

  std::map<std::string, TagValue> tags;
};

}  // namespace

TEST_F(GatewayPlanning, MasterListensOnItsPortAndHasTheSlavesForPeers) {
  const GatewayPlan found = plan(0x1011);
  EXPECT_EQ(found.port, 15155);
  EXPECT_EQ(peersOf(found), "8209@192.168.10.102:15156 12305@192.168.10.103:15157 ");
  EXPECT_EQ(found.problems, Problems());
}

TEST_F(GatewayPlanning, SlaveListensOnItsPortOfTheListAndHasTheOthersForPeers) {
  const GatewayPlan found = plan(0x3011);
  EXPECT_EQ(found.port, 15157);
  EXPECT_EQ(peersOf(found), "4113@192.168.10.101:15155 8209@192.168.10.102:15156 ");
}

TEST_F(GatewayPlanning, ConfiguredPortWins) {
  set(GATEWAY_PORT_TAG, 1);
  EXPECT_EQ(plan(0x1011).port, 1);
  EXPECT_EQ(plan(0x2011).port, 1);
  EXPECT_EQ(plan(0x4011).port, 1);
}

TEST_F(GatewayPlanning, ConfiguredPortOfZeroMeansNone) {
  set(GATEWAY_PORT_TAG, 0);
  EXPECT_EQ(plan(0x1011).port, 0);
}

TEST_F(GatewayPlanning, NodeThatNobodyHasListedHasNoPort) {
  EXPECT_EQ(plan(0x4011).port, 0);
  EXPECT_EQ(plan(0).port, 0);
}

TEST_F(GatewayPlanning, NodeAloneHasNothing) {
  tags.clear();
  const GatewayPlan found = plan(0x1011);
  EXPECT_EQ(found.port, 0);
  EXPECT_EQ(peersOf(found), "");
  EXPECT_EQ(found.problems, Problems());
}

TEST_F(GatewayPlanning, SettingsHaveDefaultsAndLimits) {
  EXPECT_EQ(plan(0x1011).queueLimit, 1000U);
  EXPECT_EQ(plan(0x1011).deliveryTimeoutS, 10U);
  set(GATEWAY_QUEUE_TAG, 100000);
  set(GATEWAY_DELIVERY_TIMEOUT_TAG, 3600);
  set(GATEWAY_KEYS_TAG, "/etc/orv/keys");
  set(GATEWAY_ADDRESS_TAG, "192.168.10.101");
  const GatewayPlan found = plan(0x1011);
  EXPECT_EQ(found.queueLimit, 100000U);
  EXPECT_EQ(found.deliveryTimeoutS, 3600U);
  EXPECT_EQ(found.keyDirectory, "/etc/orv/keys");
  EXPECT_EQ(found.address, "192.168.10.101");
  set(GATEWAY_QUEUE_TAG, 100001);
  set(GATEWAY_DELIVERY_TIMEOUT_TAG, 0);
  EXPECT_EQ(plan(0x1011).queueLimit, 1000U);
  EXPECT_EQ(plan(0x1011).problems,
            (Problems{"the tag orv.gateway.queue is 100001, which is not from 1 to 100000: 1000 is taken",
                      "the tag orv.gateway.deliverytimeout is 0, which is not from 1 to 3600: 10 is taken"}));
}

TEST_F(GatewayPlanning, PeersThatMakeNoSenseAreLeftOutWithTheReason) {
  setSlave(1, 0x1011, "10.0.0.1", 1);
  setSlave(2, 0x2011, "10.0.0", 1);
  setSlave(3, 0x3011, "10.0.0.3", 65536);
  setSlave(4, 0x5011, "10.0.0.4", 65535);
  set("orv.demo.numberofslavenodes", 6);
  const GatewayPlan found = plan(0x4011);
  EXPECT_EQ(peersOf(found), "4113@192.168.10.101:15155 20497@10.0.0.4:65535 ");
  EXPECT_EQ(found.problems, (Problems{"node 0x1011 (slave 1) is left out: another one has its node id",
                                      "node 0x2011 (slave 2) is left out: \"10.0.0\" is no IPv4 address",
                                      "node 0x3011 (slave 3) is left out: 65536 is no port"}));
}

TEST_F(GatewayPlanning, OwnPortThatIsNoneIsAProblem) {
  set("orv.demo.mastergwport", 70000);
  EXPECT_EQ(plan(0x1011).port, 0);
  EXPECT_EQ(plan(0x1011).problems, Problems{"this node has no gateway: 70000 is no port"});
}

TEST(GatewayProtocol, TcpOrNoneIsThisGateway) {
  EXPECT_TRUE(checkGatewayProtocol("").ok());
  EXPECT_TRUE(checkGatewayProtocol("TCP").ok());
}

TEST(GatewayProtocol, AnyOtherNameIsRefusedWithWhatThereIs) {
  const Status status = checkGatewayProtocol("UDPCP");
  EXPECT_EQ(status.code, EPROTONOSUPPORT);
  EXPECT_EQ(status.message,
            "there is no SysCom gateway protocol \"UDPCP\" (there is: TCP); messages to other nodes are refused");
  EXPECT_FALSE(checkGatewayProtocol("tcp").ok());
  EXPECT_FALSE(checkGatewayProtocol("TCPX").ok());
}
