// The end of the EU whose life the service manager's watchdog is fed for: in libORV.so, as the daemon uses it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>

#include "AaPro.h"
#include "AaStartup.h"
#include "PlatformNode.h"
#include "WaitUntil.h"

namespace {

const testing::Environment *const NODE_ENVIRONMENT =
    testing::AddGlobalTestEnvironment(new orvtest::PlatformNode([](const std::string &) {
      setenv("NOTIFY_SOCKET", "@nobody listens here", 1);
      setenv("WATCHDOG_USEC", "20000", 1);
    }));

bool isFed() {
  return std::ranges::any_of(std::filesystem::directory_iterator("/proc/self/task"), [](const auto &task) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    return name == "orv-watchdog";
  });
}

// The end that the EU waits for.
std::promise<void> gEnd;

void *waitForTheEnd(void *) {
  gEnd.get_future().wait();
  return nullptr;
}

}  // namespace

TEST(WatchdogFeedEnd, IsThatOfTheStartUpsEuThoughTheDaemonGoesOn) {
  ASSERT_EQ(AaStartupCeStartup(), 0);
  EXPECT_FALSE(isFed());
  uint32_t id = 0;
  ASSERT_EQ(AaProEuCreateAndStartJoinable(&id, "startup", waitForTheEnd, 0, 0, nullptr, 0, 1), 0);
  EXPECT_TRUE(comesTrue(isFed));
  gEnd.set_value();
  EXPECT_TRUE(comesTrue([] { return !isFed(); }));
  EXPECT_EQ(AaStartupCeShutdown(), 0);
}
