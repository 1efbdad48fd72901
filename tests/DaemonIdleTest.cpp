// A node that has started costs nothing: no thread of the daemon wakes up before there is something to do.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using DaemonIdle = DaemonTest;

// Longer than any poll's interval that would be of use to somebody.
constexpr auto WINDOW = std::chrono::seconds(1);

}  // namespace

TEST_F(DaemonIdle, NoThreadWakesUpOnceThreeExecutablesAndSixtyFourApplicationsRun) {
  std::vector<std::string> definitions;
  for (int i = 0; i < 64; ++i) {
    definitions.push_back("app" + std::to_string(i) + ";" + node.program() + ";stay;0;3;");
  }
  node.define(definitions);
  const std::string exe = node.program();
  const auto daemon =
      node.startedDaemon({"--startup=executable=" + exe + " online a#a|" + exe + " online b#b|" + exe + " stay"});
  daemon->waitForOutputLineWith("running ", 65);

  // The last programs' starts may still be followed by their records, so that the first window need not be a quiet one;
  // a thread that wakes up at intervals leaves none.
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  bool quiet = false;
  while (!quiet && std::chrono::steady_clock::now() < deadline) {
    const unsigned long before = contextSwitches(daemon->pid());
    std::this_thread::sleep_for(WINDOW);
    quiet = contextSwitches(daemon->pid()) == before;
  }
  EXPECT_TRUE(quiet) << "the daemon's threads go on waking up";
  expectGracefulEnd(*daemon);
}
