// A hundred thousand messages between two nodes: none lost, none doubled, in their order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "GatewayNodes.h"

namespace {

using Lines = std::vector<std::string>;

// ThreadSanitizer makes each message ten times as dear, and so does an emulator.
#if defined(__SANITIZE_THREAD__) || defined(ORV_EMULATED)
constexpr int COUNT = 10000;
#else
constexpr int COUNT = 100000;
#endif

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
  const std::string count = std::to_string(COUNT);
  const auto listener = master.receiver({"count", count});
  const auto sender = slave.program({"send", hexText(addressOf(MASTER)), count});
  // Each wait has a limit of its own; on a slow machine the whole takes longer than one.
  for (int tenths = 1; tenths <= 10; ++tenths)
    sender->waitForOutputLineWith(std::to_string(tenths) + " tenths sent");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received " + count + ": 0 lost, 0 doubled, 0 out of order");
}

TEST_F(GatewayManyMessages, ArriveOnceEachThoughTheReceiversNodeIsCutOffInBetween) {
  const auto listener = master.receiver({"count", "10000"});
  const auto sender = slave.program({"send", hexText(addressOf(MASTER)), "10000"});
  sender->waitForOutputLineWith("3 tenths sent");
  // The slave ends its connections and makes them anew, with messages under way on them.
  EXPECT_EQ(slave.files().orvctl({"keys", "untrust", hexText(MASTER)}).waitStatus, 0);
  slave.waitForLine("gateway: node 0x1011: connection lost");
  slave.trust(master);
  for (int tenths = 4; tenths <= 10; ++tenths)
    sender->waitForOutputLineWith(std::to_string(tenths) + " tenths sent");
  EXPECT_EQ(listener->waitForOutputLineWith("received"), "received 10000: 0 lost, 0 doubled, 0 out of order");
}
