// The service manager's watchdog: fed while the start-up's EU lives, and only where somebody asks for it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "PromptReceiver.h"
#include "TestNode.h"

namespace {

using Clock = std::chrono::steady_clock;

class WatchdogFeed : public DaemonTest {
 protected:
  std::unique_ptr<DaemonProcess> start(const std::vector<std::string> &environment) const {
    ProcessStart start;
    start.environment = environment;
    start.environment.push_back("NOTIFY_SOCKET=" + node.path("notify"));
    return node.daemon({"-v"}, start);
  }
  // Whether the daemon has the feeding thread.
  static bool hasFeeder(const DaemonProcess &daemon) {
    const std::string tasks = "/proc/" + std::to_string(daemon.pid()) + "/task";
    return std::ranges::any_of(std::filesystem::directory_iterator(tasks), [](const auto &task) {
      std::string name;
      std::getline(std::ifstream(task.path() / "comm"), name);
      return name == "orv-watchdog";
    });
  }
  // The notices up to `last`, that one included.
  std::vector<std::string> noticesUpTo(const std::string &last) {
    const auto limit = Clock::now() + std::chrono::seconds(60);
    std::vector<std::string> notices;
    do {
      notices.push_back(manager.next());
      if (notices.back().starts_with("nothing") || Clock::now() > limit) {
        ADD_FAILURE() << "no notice " << last << "; the last one was " << notices.back();
        break;
      }
    } while (notices.back() != last);
    return notices;
  }

  // A feed every 10 ms leaves a manager no room who looks at something else meanwhile.
  PromptReceiver manager{node.path("notify")};
};

}  // namespace

TEST_F(WatchdogFeed, FedAtHalfTheIntervalUntilTheEnd) {
  const auto daemon = start({"WATCHDOG_USEC=100000"});
  noticesUpTo("STATUS=running");
  std::vector<std::chrono::microseconds> sent;
  for (int i = 0; i < 6; ++i) {
    const auto notice = manager.nextDatagram();
    EXPECT_EQ(notice.text, "WATCHDOG=1");
    sent.push_back(notice.sent);
  }
  // Five intervals lie between six of them. Longer they may be where the machine is busy, and not shorter but by what
  // the first one was late.
  EXPECT_GE(sent.back() - sent.front(), std::chrono::milliseconds(4 * 50));
  EXPECT_TRUE(hasFeeder(*daemon));
  expectGracefulEnd(*daemon);
  noticesUpTo("STOPPING=1");
  manager.say("the daemon has ended");
  EXPECT_EQ(manager.next(), "the daemon has ended") << "fed after the end of the start-up's EU";
}

TEST_F(WatchdogFeed, FedWhileTheStartUpWaits) {
  node.define({"pump;" + node.program() + ";stay;0;0;pump.online"});
  const auto daemon = start({"WATCHDOG_USEC=20000"});
  noticesUpTo("STATUS=waiting for pump (tag pump.online)");
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(manager.next(), "WATCHDOG=1");
  EXPECT_EQ(node.orvctl({"tag", "set", "pump.online"}).waitStatus, 0);
  noticesUpTo("STATUS=running");
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  expectGracefulEnd(*daemon);
}

TEST_F(WatchdogFeed, NotFedWhereNobodyAsks) {
  const auto daemon = start({});
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  EXPECT_FALSE(hasFeeder(*daemon));
  expectGracefulEnd(*daemon);
  EXPECT_EQ(noticesUpTo("STOPPING=1"),
            (std::vector<std::string>{"READY=1", "STATUS=starting", "STATUS=running", "STOPPING=1"}));
}

TEST_F(WatchdogFeed, NotFedWhereAnotherProcessIsMeant) {
  const auto daemon = start({"WATCHDOG_USEC=20000", "WATCHDOG_PID=1"});
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  EXPECT_FALSE(hasFeeder(*daemon));
  expectGracefulEnd(*daemon);
}

TEST_F(WatchdogFeed, IntervalThatCannotBeUnderstoodIsSaid) {
  const auto daemon = start({"WATCHDOG_USEC=soon"});
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  EXPECT_FALSE(hasFeeder(*daemon));
  EXPECT_EQ(node.waitForEvent(orv::EventKind::LOG, "watchdog").text,
            "the service manager's watchdog is not fed: WATCHDOG_USEC or WATCHDOG_PID cannot be understood: Invalid "
            "argument");
  expectGracefulEnd(*daemon);
}
