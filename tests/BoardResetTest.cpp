// The board library's reset, as it is configured, and what the next start would know of it. No test here can reset the
// machine: what is no watchdog is named as one.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <string>

#include "AaConfig.h"
#include "PlatformNode.h"
#include "WaitUntil.h"
#include "ddal.h"

namespace {

using orvtest::PlatformNode;

const testing::Environment *const NODE_ENVIRONMENT = testing::AddGlobalTestEnvironment(new PlatformNode);

constexpr unsigned RESET_REQUESTED_EVENT = 14;

class BoardReset : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(AaStartupCeStartup(), 0);
  }

  static void configure(const std::string &reset, const std::string &device) {
    ASSERT_EQ(AaConfigTagSetString("orv.board.reset", reset.c_str()), 0);
    ASSERT_EQ(AaConfigTagSetString("orv.board.watchdogdevice", device.c_str()), 0);
  }

  // What the events of this test say of resets, one a line.
  static std::string resetEvents() {
    std::string text;
    for (const orvtest::NodeEvent &event : PlatformNode::events()) {
      if (event.kind == RESET_REQUESTED_EVENT) text += event.text + "\n";
    }
    return text;
  }

  static std::string runRecord() {
    std::ostringstream text;
    text << std::ifstream(std::string(getenv("ORV_STATE_DIR")) + "/run-record").rdbuf();
    return text.str();
  }
};

TEST_F(BoardReset, NoneResetsNothingAndSaysSo) {
  configure("none", "/dev/null");
  EXPECT_EQ(ddal_watchdog_reboot(), -EOPNOTSUPP);
  EXPECT_EQ(resetEvents(), "board reset requested, but the configuration has reset=\"none\": nothing is reset\n");
  // The start is put on record beside everything else.
  EXPECT_TRUE(comesTrue([] { return runRecord().find("up=1") != std::string::npos; })) << runRecord();
  EXPECT_NE(runRecord().find("resetRequested=0"), std::string::npos) << runRecord();
}

TEST_F(BoardReset, UnknownMethodResetsNothingAndIsNamed) {
  configure("explode", "/dev/null");
  EXPECT_EQ(ddal_watchdog_reboot(), -EOPNOTSUPP);
  EXPECT_EQ(
      resetEvents(),
      "board reset requested, but tag orv.board.reset is \"explode\" and not none, watchdog or reboot: nothing is "
      "reset\n");
}

TEST_F(BoardReset, MissingWatchdogIsAFailureWithItsErrno) {
  configure("watchdog", "/dev/no-such-watchdog");
  EXPECT_EQ(ddal_watchdog_reboot(), -ENOENT);
  EXPECT_EQ(resetEvents(),
            "board reset by /dev/no-such-watchdog\n"
            "board reset failed: cannot open /dev/no-such-watchdog: No such file or directory\n");
}

TEST_F(BoardReset, DeviceThatIsNoWatchdogIsAFailure) {
  configure("watchdog", "/dev/null");
  EXPECT_EQ(ddal_watchdog_reboot(), -ENOTTY);
  EXPECT_NE(resetEvents().find("board reset failed: /dev/null is no watchdog"), std::string::npos) << resetEvents();
}

TEST_F(BoardReset, ResetThatFailedIsNotCountedAtTheNextStart) {
  configure("watchdog", "/dev/no-such-watchdog");
  for (int request = 0; request < 5; ++request)
    EXPECT_EQ(ddal_watchdog_reboot(), -ENOENT);
  EXPECT_NE(runRecord().find("resetRequested=0"), std::string::npos) << runRecord();
  EXPECT_NE(runRecord().find("resetsInARow=0"), std::string::npos) << runRecord();
}

TEST(NotifyReady, NobodyToTellIsNoFailure) {
  unsetenv("NOTIFY_SOCKET");
  EXPECT_EQ(ddal_system_notify_ready(), 0);
}

TEST(NotifyReady, ServiceManagerThatIsGoneIsAFailure) {
  setenv("NOTIFY_SOCKET", "/nonexistent/notify", 1);
  EXPECT_EQ(ddal_system_notify_ready(), ENOENT);
  unsetenv("NOTIFY_SOCKET");
}

}  // namespace
