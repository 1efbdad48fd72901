// Holding requested resets off: the file, the tool, and the daemon that would have reset the board.
#include "ResetHold.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "Clock.h"
#include "FakeBoard.h"
#include "FreshDirectory.h"
#include "RunRecord.h"

namespace {

using Lines = std::vector<std::string>;

class ResetHoldFile : public testing::Test {
 protected:
  uint64_t left() const {
    uint64_t leftNs = 1;
    EXPECT_TRUE(orv::resetHoldLeft(directory_.path(), leftNs).ok());
    return leftNs;
  }
  void write(const std::string &bootId, uint64_t endNs) const {
    directory_.write("reset-hold", bootId + " " + std::to_string(endNs) + "\n");
  }

  FreshDirectory directory_;
};

TEST_F(ResetHoldFile, NothingIsHeldWhereThereIsNoFile) {
  EXPECT_EQ(left(), 0U);
}

TEST_F(ResetHoldFile, HoldLastsForItsMinutes) {
  ASSERT_TRUE(orv::holdResets(directory_.path(), 2).ok());
  EXPECT_GT(left(), orv::NS_PER_MIN);
  EXPECT_LE(left(), 2 * orv::NS_PER_MIN);
}

TEST_F(ResetHoldFile, LaterHoldReplacesTheEarlierOne) {
  ASSERT_TRUE(orv::holdResets(directory_.path(), 60).ok());
  ASSERT_TRUE(orv::holdResets(directory_.path(), 1).ok());
  EXPECT_LE(left(), orv::NS_PER_MIN);
}

TEST_F(ResetHoldFile, HoldIsOverAtItsEnd) {
  write(orv::currentBootId(), 1);
  EXPECT_EQ(left(), 0U);
}

TEST_F(ResetHoldFile, HoldOfAnotherBootHoldsNothing) {
  write("00000000-0000-0000-0000-000000000000", ~uint64_t{0});
  EXPECT_EQ(left(), 0U);
}

TEST_F(ResetHoldFile, WhatCannotBeUnderstoodHoldsNothing) {
  for (const std::string &text : {std::string(), orv::currentBootId(), orv::currentBootId() + " 12x\n",
                                  orv::currentBootId() + " 99999999999999999999\n", std::string(1000, 'x')}) {
    directory_.write("reset-hold", text);
    EXPECT_EQ(left(), 0U) << text;
  }
}

TEST_F(ResetHoldFile, MinutesHaveTheirLimits) {
  EXPECT_EQ(orv::holdResets(directory_.path(), 0).code, EINVAL);
  EXPECT_EQ(orv::holdResets(directory_.path(), 1441).message,
            "resets cannot be held for 1441 minutes (choose from 1 to 1440)");
  EXPECT_TRUE(orv::holdResets(directory_.path(), 1440).ok());
}

TEST_F(ResetHoldFile, ReleaseSaysWhetherItWasHeld) {
  bool wasHeld = true;
  EXPECT_TRUE(orv::releaseResets(directory_.path(), wasHeld).ok());
  EXPECT_FALSE(wasHeld);
  ASSERT_TRUE(orv::holdResets(directory_.path(), 5).ok());
  EXPECT_TRUE(orv::releaseResets(directory_.path(), wasHeld).ok());
  EXPECT_TRUE(wasHeld);
  EXPECT_EQ(left(), 0U);
}

class ResetHold : public FakeBoard {
 protected:
  void expect(int exitCode, const Lines &arguments, const Lines &output, const Lines &errors = {}) const {
    const CommandResult result = orvctl(arguments);
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode);
    EXPECT_EQ(result.output, output);
    EXPECT_EQ(result.errors, errors);
  }
  const Lines HELD_30 = {
      "resets are held for 30 min 0 s; orvctl reset hold --off lets them through, and so does a restart of the board"};
};

TEST_F(ResetHold, ToolHoldsTellsAndReleases) {
  expect(1, {"reset", "status"}, {"resets are not held"});
  expect(0, {"reset", "hold"}, HELD_30);
  const CommandResult status = orvctl({"reset", "status"});
  EXPECT_EQ(WEXITSTATUS(status.waitStatus), 0);
  ASSERT_EQ(status.output.size(), 1U);
  EXPECT_TRUE(status.output[0].starts_with("resets are held for another ")) << status.output[0];
  expect(0, {"reset", "hold", "--off"}, {});
  expect(1, {"reset", "hold", "--off"}, {}, {"orvctl: resets were not held"});
  expect(1, {"reset", "status"}, {"resets are not held"});
}

TEST_F(ResetHold, MinutesThatMakeNoSenseAreRefused) {
  for (const char *minutes : {"0", "1441", "ten", "5m"}) {
    expect(2, {"reset", "hold", minutes}, {},
           {"orvctl: MINUTES: \"" + std::string(minutes) +
            "\" is not a number from 1 to 1440 (see orvctl reset hold --help)"});
  }
  EXPECT_EQ(WEXITSTATUS(orvctl({"reset", "hold", "5", "--off"}).waitStatus), 2);
}

TEST_F(ResetHold, DaemonReportsTheResetThatWouldHaveBeen) {
  const std::string program = failingProgram({}, 1);
  node.define({"pump;" + program + ";;0;2;"});
  expect(0, {"reset", "hold", "30"}, HELD_30);
  const auto daemon = start();
  daemon->waitForErrorLine(infoLine("boardReset: reset failed (-16)"));
  expectGracefulEnd(*daemon);
  const orv::FlightRecord record = flight();
  ASSERT_EQ(record.entries.size(), 3U);  // start, hold, stop
  const orv::FlightEntry &held = record.entries[1];
  EXPECT_EQ(held.kind, orv::FlightKind::RESET_HELD);
  EXPECT_EQ(held.means, node.path("watchdog"));
  ASSERT_FALSE(held.events.empty());
  startAndStop();
  EXPECT_EQ(story()[1], "who asked       pump (" + program + "), which exited with 1; the reset by " +
                            node.path("watchdog") + " was held off");
}

TEST_F(ResetHold, EventAndLogSayWhatWouldHaveBeen) {
  // With the machine's own boot id the test can read the node's store.
  node.writeFile("boot-id", orv::currentBootId() + "\n");
  const std::string program = failingProgram({}, 1);
  node.define({"pump;" + program + ";;0;2;"});
  expect(0, {"reset", "hold"}, HELD_30);
  const auto daemon = start();
  daemon->waitForErrorLine(infoLine("boardReset: reset failed (-16)"));
  const std::string text = "would have reset the board by " + node.path("watchdog") + ", as asked for by pump (" +
                           program +
                           "), which exited with 1: resets are held (orvctl reset hold --off lets them through)";
  EXPECT_EQ(node.waitForEvent(orv::EventKind::RESET_HELD, "would").text, text);
  EXPECT_EQ(node.waitForEvent(orv::EventKind::LOG, "would").text, text);
  expectGracefulEnd(*daemon);
}

TEST_F(ResetHold, HeldResetDoesNotCountAndSurvivesTheDaemon) {
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  expect(0, {"reset", "hold"}, HELD_30);
  for (int run = 0; run < 2; ++run) {
    const auto daemon = start();
    daemon->waitForErrorLine(infoLine("boardReset: reset failed (-16)"));
    EXPECT_EQ(countLinesWith("resets in a row", daemon->errorLines()), 0U);
    expectGracefulEnd(*daemon);
  }
}

TEST_F(ResetHold, HoldEndsWithTheBootOfTheBoard) {
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  expect(0, {"reset", "hold"}, HELD_30);
  boot(2);
  startUntilReset();
}

TEST_F(ResetHold, ReleasedResetIsMade) {
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  expect(0, {"reset", "hold"}, HELD_30);
  expect(0, {"reset", "hold", "--off"}, {});
  startUntilReset();
}

}  // namespace
