// What the service manager is told of a node's life, notice by notice.
#include <gtest/gtest.h>
#include <filesystem>

#include "DatagramReceiver.h"
#include "TestNode.h"

namespace {

class SystemdNotify : public DaemonTest {
 protected:
  std::unique_ptr<DaemonProcess> start(const std::vector<std::string> &arguments = {"-v"}) const {
    ProcessStart start;
    start.environment = {"NOTIFY_SOCKET=" + node.path("notify")};
    return node.daemon(arguments, start);
  }

  DatagramReceiver manager{node.path("notify")};
};

}  // namespace

TEST_F(SystemdNotify, LifeOfANodeWithoutApplications) {
  const auto daemon = start();
  EXPECT_EQ(manager.next(), "READY=1");
  EXPECT_EQ(manager.next(), "STATUS=starting");
  EXPECT_EQ(manager.next(), "STATUS=running");
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  EXPECT_TRUE(manager.isEmpty());
  expectGracefulEnd(*daemon);
  EXPECT_EQ(manager.next(), "STOPPING=1");
  EXPECT_TRUE(manager.isEmpty());
}

TEST_F(SystemdNotify, ApplicationThatIsAwaitedIsNamedWithItsTag) {
  // The third is the one that is started last when the second is waited for: none is waited for twice.
  node.define({"tank;" + node.program() + ";stay;0;0;", "pump;" + node.program() + ";stay;0;0;pump.online",
               "valve;" + node.program() + ";stay;0;0;", "radio;" + node.program() + ";stay;0;0;radio.online"});
  const auto daemon = start();
  EXPECT_EQ(manager.next(), "READY=1");
  EXPECT_EQ(manager.next(), "STATUS=starting");
  EXPECT_EQ(manager.next(), "STATUS=waiting for pump (tag pump.online)");
  EXPECT_EQ(node.orvctl({"tag", "set", "pump.online"}).waitStatus, 0);
  EXPECT_EQ(manager.next(), "STATUS=waiting for radio (tag radio.online)");
  EXPECT_EQ(node.orvctl({"tag", "set", "radio.online"}).waitStatus, 0);
  EXPECT_EQ(manager.next(), "STATUS=running");
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  expectGracefulEnd(*daemon);
  EXPECT_EQ(manager.next(), "STOPPING=1");
}

TEST_F(SystemdNotify, ExecutablesThatAreAwaitedAreNamedThoughAllWereStartedBefore) {
  const std::string program = node.program();
  std::filesystem::create_symlink(program, node.path("one"));
  std::filesystem::create_symlink(program, node.path("two"));
  const auto daemon =
      start({"--startup=executable=" + node.path("one") + " stay#one|" + node.path("two") + " stay#one.two"});
  EXPECT_EQ(manager.next(), "READY=1");
  EXPECT_EQ(manager.next(), "STATUS=starting");
  EXPECT_EQ(manager.next(), "STATUS=waiting for " + node.path("one") + " (tag one)");
  EXPECT_EQ(node.orvctl({"tag", "set", "one"}).waitStatus, 0);
  EXPECT_EQ(manager.next(), "STATUS=waiting for " + node.path("two") + " (tag one.two)");
  EXPECT_EQ(node.orvctl({"tag", "set", "one.two"}).waitStatus, 0);
  EXPECT_EQ(manager.next(), "STATUS=running");
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  expectGracefulEnd(*daemon);
}

TEST_F(SystemdNotify, AbstractAddressIsToldAsWell) {
  const DatagramReceiver abstractManager("@" + node.path("notify"));
  ProcessStart start;
  start.environment = {"NOTIFY_SOCKET=@" + node.path("notify")};
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(abstractManager.next(), "READY=1");
  EXPECT_EQ(abstractManager.next(), "STATUS=starting");
  EXPECT_EQ(abstractManager.next(), "STATUS=running");
  expectGracefulEnd(*daemon);
}

TEST_F(SystemdNotify, ManagerThatDoesNotReadHoldsNothingUp) {
  // As much unread as the kernel lets him have: who waited for room would wait for ever. The daemon's READY=1 waits,
  // since the library that sends it does, so that it is let through first.
  node.define({"pump;" + node.program() + ";stay;0;0;pump.online"});
  const auto daemon = start();
  EXPECT_EQ(manager.next(), "READY=1");
  node.waitForEu("pump", orv::EuState::RUNNING);
  manager.fill(node.path("notify"));
  EXPECT_EQ(node.orvctl({"tag", "set", "pump.online"}).waitStatus, 0);
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  expectGracefulEnd(*daemon);
}

TEST_F(SystemdNotify, ManagerThatIsGoneIsNoHindrance) {
  ProcessStart start;
  start.environment = {"NOTIFY_SOCKET=" + node.path("nobody")};
  expectGracefulEnd(*node.startedDaemon({"-v"}, start));
}
