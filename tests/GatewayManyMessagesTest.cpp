// A hundred thousand messages between two nodes: none lost, none doubled, in their order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "GatewayNodes.h"

namespace {

using Lines = std::vector<std::string>;

class GatewayManyMessages : public testing::Test {
 protected:
  GatewayManyMessages() {
    trustEachOther({&master, &slave});
    master.start();
    slave.start();
    master.waitForConnection(slave);
    slave.waitForConnection(master);
  }

  GatewayPlaces places = ownPlaces();
  GatewayNode master{places, MASTER, " deliveryTimeoutS=\"600\""};
  GatewayNode slave{places, FIRST_SLAVE, " deliveryTimeoutS=\"600\""};
};

}  // namespace

TEST_F(GatewayManyMessages, ArriveOnceEachAndInTheirOrder) {
  const auto listener = master.receiver({"count", "100000"});
  const auto sender = slave.program({"send", hexText(addressOf(MASTER)), "100000"});
  // Each wait has a limit of its own; on a slow machine the whole takes longer than one.
  sender->waitForOutputLineWith("half sent");
  sender->waitForOutputLineWith("sent 100000");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 100000: 0 lost, 0 doubled, 0 out of order");
}

TEST_F(GatewayManyMessages, ArriveOnceEachThoughTheReceiversNodeIsCutOffInBetween) {
  const auto listener = master.receiver({"count", "20000"});
  const auto sender = slave.program({"send", hexText(addressOf(MASTER)), "20000"});
  sender->waitForOutputLineWith("half sent");
  // The slave ends its connections and makes them anew, with messages under way on them.
  EXPECT_EQ(slave.files().orvctl({"keys", "untrust", hexText(MASTER)}).waitStatus, 0);
  slave.waitForLine("gateway: node 0x1011: connection lost");
  slave.trust(master);
  sender->waitForOutputLineWith("sent 20000");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 20000: 0 lost, 0 doubled, 0 out of order");
}
