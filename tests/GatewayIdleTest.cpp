// Connected nodes that have nothing to say to each other cost nothing: no thread of a daemon wakes up.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "GatewayNodes.h"
#include "ProcessTable.h"

namespace {

// Longer than any interval at which somebody would look for something to do; twice that of the retries and reports.
constexpr auto WINDOW = std::chrono::seconds(2);

bool becomesQuiet(pid_t pid) {
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  while (std::chrono::steady_clock::now() < deadline) {
    const unsigned long before = contextSwitches(pid);
    std::this_thread::sleep_for(WINDOW);
    if (contextSwitches(pid) == before) return true;
  }
  return false;
}

}  // namespace

TEST(GatewayIdle, NoThreadWakesUpWhileTheNodesAreConnectedAndSilent) {
  GatewayPlaces places = ownPlaces();
  places.nodes.pop_back();  // a peer that is not there would be looked for
  GatewayNode master(places, MASTER);
  GatewayNode slave(places, FIRST_SLAVE);
  trustEachOther({&master, &slave});
  master.start();
  slave.start();
  master.waitForConnection(slave);
  slave.waitForConnection(master);
  const auto listener = master.receiver();
  slave.run({"try", hexText(addressOf(MASTER)), "1"});
  listener->waitForOutputLineWith("message 0x0a10");
  EXPECT_TRUE(becomesQuiet(master.daemon().pid()));
  EXPECT_TRUE(becomesQuiet(slave.daemon().pid()));
}
