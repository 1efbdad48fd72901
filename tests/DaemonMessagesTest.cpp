// The two messages that the daemon sends: that the applications have been started, and that initialisation has
// finished.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"
#include "WaitUntil.h"

namespace {

using orv::EventKind;
using Lines = std::vector<std::string>;

constexpr uint32_t INIT_FINISH = 0x1b9d;
constexpr uint32_t APP_STARTUP_DONE = 0xfd28;

class DaemonMessages : public DaemonTest {
 protected:
  // The texts of the message events with an id, delivered or not; waits until there are `count` of them.
  Lines messages(uint32_t id, size_t count) const {
    Lines texts;
    comesTrue([&] {
      texts.clear();
      for (const orv::Event &event : node.events()) {
        const bool isMessage = event.kind == EventKind::MESSAGE_SENT || event.kind == EventKind::MESSAGE_UNDELIVERED;
        if (isMessage && event.code == id) texts.push_back(event.text);
      }
      return texts.size() >= count;
    });
    return texts;
  }
  // The first with `part`, once it is there, and all others.
  Lines warningsWith(const std::string &part) const {
    node.waitForEvent(EventKind::LOG, part);
    Lines texts;
    for (const orv::Event &event : node.events()) {
      if (event.kind == EventKind::LOG && event.code == 3) texts.push_back(event.text);
    }
    return texts;
  }
};

}  // namespace

TEST_F(DaemonMessages, ReceiverOnTheOwnNodeIsToldThatInitialisationHasFinished) {
  // The first user of a node has CPID 0x1000, the daemon that comes after it 0x1001.
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011,notifreceiver=0x10111000,executable=" + node.program() +
                                          " receive receiver.cpid#receiver.cpid"});
  EXPECT_EQ(node.tagText("receiver.cpid"), "u32 4096");
  EXPECT_EQ(
      daemon->waitForOutputLineWith("message "),
      "message 0x1b9d to 0x10111000 from 0xf011001, payload 0 bytes, by process " + std::to_string(daemon->pid()));
  expectGracefulEnd(*daemon);
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(countLinesWith("Notify receiver set to 0x10111000", lines), 1U);
  EXPECT_EQ(countLinesWith(infoLine("initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0x10111000"), lines),
            1U);
  EXPECT_EQ(messages(INIT_FINISH, 1), Lines{"message 0x1b9d from 0x0f011001 to 0x10111000"});
  EXPECT_EQ(countLinesWith("message ", daemon->outputLines()), 1U);
}

TEST_F(DaemonMessages, ApplicationWithAFixedCpidIsToldOfBoth) {
  node.define({"listener;" + node.program() + ";receive receiver.cpid 0x04E7;0;0;receiver.cpid"});
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011,notifreceiver=0x101104E7"});
  const std::string end = " bytes, by process " + std::to_string(daemon->pid());
  EXPECT_EQ(daemon->waitForOutputLineWith("message 0xfd28"),
            "message 0xfd28 to 0xff004e7 from 0x1011fffe, payload 4" + end);
  EXPECT_EQ(daemon->waitForOutputLineWith("message 0x1b9d"),
            "message 0x1b9d to 0x101104e7 from 0xf011000, payload 0" + end);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonMessages, ReceiverIsNamedWithoutLeadingZeros) {
  const auto daemon = node.startedDaemon({"--startup=notifreceiver=0x0f011315"});
  EXPECT_EQ(countLinesWith(infoLine("initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315"),
                           daemon->errorLines()),
            1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonMessages, MissingReceiverIsAWarningAmongTheEvents) {
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011,notifreceiver=0x10110123"});
  EXPECT_EQ(countLinesWith("sent to 0x10110123", daemon->errorLines()), 1U);
  EXPECT_EQ(countLinesWith("message 0x1b9d to 0x10110123 not delivered: ",
                           warningsWith("message 0x1b9d to 0x10110123 not delivered: ")),
            1U);
  EXPECT_EQ(messages(INIT_FINISH, 1).size(), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonMessages, ReceiverOnAnotherNodeIsRefusedWithAWarning) {
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011,notifreceiver=0x20110123"});
  EXPECT_EQ(countLinesWith("sent to 0x20110123", daemon->errorLines()), 1U);
  EXPECT_EQ(countLinesWith("message 0x1b9d to 0x20110123 refused: node 0x2011 is another node",
                           warningsWith("message 0x1b9d to 0x20110123 refused: node 0x2011 is another node")),
            1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonMessages, NoReceiverMeansNoMessage) {
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011"});
  EXPECT_EQ(countLinesWith("initFinishNotify", daemon->errorLines()), 0U);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(messages(INIT_FINISH, 0), Lines()) << "by now all is on record";
}

TEST_F(DaemonMessages, FailedExecutablesDoNotHoldTheNoticeBack) {
  const auto daemon = node.startedDaemon({"--startup=notifreceiver=0xf011315,executable=a|b|c|d"});
  EXPECT_EQ(countLinesWith("application start-up skipped", daemon->errorLines()), 1U);
  EXPECT_EQ(countLinesWith("ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315", daemon->errorLines()), 1U);
  EXPECT_EQ(messages(INIT_FINISH, 1).size(), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonMessages, StartOfTheApplicationsIsToldOnce) {
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011"});
  EXPECT_EQ(messages(APP_STARTUP_DONE, 1), Lines{"message 0xfd28 from 0x1011fffe to 0x0ff004e7"});
  expectGracefulEnd(*daemon);
  EXPECT_EQ(messages(APP_STARTUP_DONE, 1).size(), 1U);
}

TEST_F(DaemonMessages, StartOfTheApplicationsIsToldWithoutADefinitionFileToo) {
  const auto daemon = node.startedDaemon({"-c", "app.hwapi.appcfg.filename=" + node.path("none.txt")});
  EXPECT_EQ(messages(APP_STARTUP_DONE, 1).size(), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonMessages, DisabledApplicationsAreNotToldAsStarted) {
  const auto daemon = node.startedDaemon({"-c", "sys.repair.center.reset=1"});
  expectGracefulEnd(*daemon);
  EXPECT_EQ(messages(APP_STARTUP_DONE, 0), Lines()) << "by now all is on record";
}
