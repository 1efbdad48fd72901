// What orvctl why-reset tells of every way in which a run can end, over real starts of the daemon on a board whose
// watchdog resets it in the middle of the request: what is told was on the disk by then.
#include <gtest/gtest.h>

#include <filesystem>

#include "FakeBoard.h"
#include "RunRecord.h"
#include "TextLines.h"

namespace {

using WhyReset = FakeBoard;
using Lines = std::vector<std::string>;

TEST_F(WhyReset, FirstStartKnowsOfNothing) {
  startAndStop();
  const Lines lines = story();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0], "the last run    nothing is known of it");
  EXPECT_EQ(lines[1], "who asked       nobody of this node");
  EXPECT_EQ(lines[2], "last words      none recorded");
  EXPECT_EQ(lines[3], "the board says  nothing");
  EXPECT_EQ(lines[4], "this run        started at TIME");
}

TEST_F(WhyReset, ResetOfAFailedApplicationIsToldWithItsExitStatus) {
  const std::string program = failingProgram({"starting", "no water"}, 3);
  node.define({"pump;" + program + ";-v;0;2;"});
  // With the machine's own boot id the test can see when the last words have arrived; the delay before the reset gives
  // them the time.
  node.writeFile("boot-id", orv::currentBootId() + "\n");
  ASSERT_EQ(mkfifo(node.path("gate").c_str(), 0600), 0);
  const auto daemon = start({"FAKE_BOARD_GATE=" + node.path("gate")});
  daemon->waitForErrorLine(infoLine("boardReset: adding 30 s delay before reset"));
  node.waitForEvent(orv::EventKind::LAST_WORDS, "no water");
  std::ofstream(node.path("gate")).close();
  EXPECT_EQ(daemon->waitForExit(), SIGKILL);
  waitForNoDescendants();
  boot(2);
  bootStatus("32");
  node.define({});
  startAndStop();
  const Lines lines = story();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0],
            "the last run    the board was reset, as the node had requested (TIME, AGE after the CE start-up)");
  EXPECT_EQ(lines[1],
            "who asked       pump (" + program + " -v), which exited with 3; reset by " + node.path("watchdog"));
  // Before them there may be the loader's complaint, where the board that the test stands in with is of another word
  // size than the shell.
  EXPECT_TRUE(lines[2].starts_with("last words      ") && lines[2].ends_with("starting | no water")) << lines[2];
  EXPECT_EQ(lines[3], "the board says  watchdog0 (Board Dog): the watchdog reset the board");
  EXPECT_EQ(lines[4], "this run        started at TIME, 1 requested reset in a row");
}

TEST_F(WhyReset, ResetOfAnApplicationThatNeverCameOnlineNamesItsTag) {
  node.define({"tank;" + node.program() + ";stay;0;0;", "pump;" + node.program() + ";stay;0;0;pump.online",
               "radio;" + node.program() + ";stay;0;0;"});
  startUntilReset({"FAKE_BOARD_HURRIES=1"});
  boot(2);
  node.define({});
  startAndStop();
  const Lines lines = story();
  EXPECT_EQ(lines[0],
            "the last run    the board was reset, as the node had requested (TIME, AGE after the CE start-up, "
            "waiting for pump (tag pump.online))");
  // The four minutes last so short that the program need not have been started by their end.
  const std::string program = " (" + node.program() + " stay)";
  const std::string who = "who asked       pump" + (contains(lines[1], program) ? program : "");
  EXPECT_EQ(lines[1], who + ", which did not set its tag pump.online in time; reset by " + node.path("watchdog"));
}

TEST_F(WhyReset, DaemonThatDiedIsTold) {
  startAndKill();
  startAndStop();
  const Lines lines = story();
  EXPECT_EQ(lines[0],
            "the last run    its daemon ended without a shutdown, and the machine stayed up (it had begun at TIME)");
  EXPECT_EQ(lines[1], "who asked       nobody of this node");
}

TEST_F(WhyReset, CleanStopIsTold) {
  startAndStop();
  startAndStop();
  EXPECT_EQ(story()[0], "the last run    it was shut down (it had begun at TIME)");
}

TEST_F(WhyReset, PowerCutIsTold) {
  startAndKill();
  boot(2);
  startAndStop();
  EXPECT_EQ(story()[0],
            "the last run    the power was cut, or the board was reset from outside (it had begun at TIME)");
}

TEST_F(WhyReset, WatchdogThatNobodyAskedIsTold) {
  startAndKill();
  boot(2);
  bootStatus("0x20");
  startAndStop();
  EXPECT_EQ(story()[0],
            "the last run    a watchdog reset the board, and not at the node's request (it had begun at TIME)");
}

TEST_F(WhyReset, PanicIsToldWhereItLeftARecordThatIsNew) {
  node.writeFile("pstore/dmesg-ramoops-0", "Panic#1 Part1\n<0>gone\n");
  startAndKill();
  boot(2);
  startAndKill();
  EXPECT_EQ(story()[3], "the board says  nothing") << "a record that was there at the start before is no news";
  boot(3);
  node.writeFile("pstore/dmesg-ramoops-1", "Panic#1 Part1\n<0>gone\n");
  node.writeFile("pstore/console-ramoops-0", "there after every reset\n");
  startAndStop();
  EXPECT_EQ(story()[0], "the last run    the kernel panicked (it had begun at TIME)");
  EXPECT_EQ(story()[3], "the board says  pstore has dmesg-ramoops-1 (Panic#1 Part1)");
}

TEST_F(WhyReset, DeviceIsAskedWhereTheKernelShowsNoBootStatusAndTheConfigurationAllowsIt) {
  std::filesystem::remove_all(node.path("watchdogs"));
  startAndKill();
  boot(2);
  startAndKill();
  EXPECT_EQ(fileText("watchdog"), "") << "a device is not to be opened unasked";
  EXPECT_EQ(story()[3], "the board says  nothing");
  setUp("", "<tag name=\"orv.board.bootstatus\">device</tag>");
  boot(3);
  startAndStop({"FAKE_BOARD_BOOT_STATUS=16"});
  EXPECT_EQ(story()[3], "the board says  " + node.path("watchdog") + ": power failed");
  EXPECT_EQ(fileText("watchdog"), "V") << "the letter that stops a watchdog again";
}

TEST_F(WhyReset, ResetThatNeverCameIsTold) {
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  startUntilReset();
  node.define({});
  startAndStop();  // in the same boot
  EXPECT_EQ(story()[0],
            "the last run    the node requested a board reset that never came, and its daemon ended without a shutdown "
            "(TIME, AGE after the CE start-up)");
}

TEST_F(WhyReset, WatchdogThatRefusesIsToldWithItsErrno) {
  const std::string program = failingProgram({}, 1);
  node.define({"pump;" + program + ";;0;2;"});
  const auto daemon = start({"FAKE_BOARD_ERRNO=5"});
  daemon->waitForErrorLine(infoLine("boardReset: reset failed (-5)"));
  EXPECT_EQ(story()[4], "this run        started at TIME, 1 reset failed");
  expectGracefulEnd(*daemon);
  node.define({});
  startAndStop();
  const Lines lines = story();
  EXPECT_EQ(lines[0], "the last run    it was shut down (TIME, AGE after the CE start-up)");
  EXPECT_EQ(lines[1], "who asked       pump (" + program + "), which exited with 1; board reset failed: " +
                          node.path("watchdog") + " is no watchdog: Input/output error");
}

TEST_F(WhyReset, DamagedEntryIsSkippedAndCounted) {
  startAndStop();
  const std::string file = node.path("state") + "/flight-record";
  const auto size = std::filesystem::file_size(file);
  EXPECT_EQ(size, orv::FLIGHT_SLOT_COUNT * orv::FLIGHT_SLOT_SIZE);
  // The last entry, the stop, is torn: its sequence number is 2.
  std::FILE *record = std::fopen(file.c_str(), "r+");
  ASSERT_NE(record, nullptr);
  std::fseek(record, 2 * orv::FLIGHT_SLOT_SIZE + 40, SEEK_SET);
  std::fputs("torn", record);
  std::fclose(record);
  startAndStop();
  EXPECT_EQ(story()[4], "this run        started at TIME, 1 damaged entry skipped");
}

TEST_F(WhyReset, WithoutAStartThereIsNothingToTell) {
  const CommandResult result = orvctl({"why-reset"});
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), 1);
  EXPECT_EQ(result.errors, Lines{"orvctl: no start is recorded in " + node.path("state") +
                                 " (name the state directory with --state-dir)"});
}

TEST_F(WhyReset, JsonHasTheEvents) {
  node.define({"pump;" + failingProgram({"no water"}, 3) + ";;0;2;"});
  startUntilReset();
  boot(2);
  node.define({});
  startAndStop();
  const CommandResult result = orvctl({"why-reset", "--json"});
  ASSERT_EQ(result.output.size(), 1U);
  const std::string &json = result.output[0];
  EXPECT_TRUE(
      json.starts_with("{\"last_run\": \"reset_made\", \"text\": \"the board was reset, as the node had requested\""))
      << json;
  EXPECT_NE(json.find("\"cause\": \"program_ended\", \"eu\": \"pump\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"wait_status\": 768"), std::string::npos) << json;
  EXPECT_NE(json.find("\"kind\": \"program_ended\""), std::string::npos) << json;
  EXPECT_TRUE(json.ends_with("\"damaged_entries\": 0}")) << json;
}

// The budget of resets, over starts of the real daemon.

class ResetBudget : public FakeBoard {
 protected:
  void expectApplicationsAreStarted(unsigned bootNumber) {
    boot(bootNumber);
    startUntilReset();
  }
  // The next start starts no application any more.
  Lines expectEndOfTheLoop(unsigned bootNumber) {
    boot(bootNumber);
    const Lines lines = startAndStop();
    EXPECT_EQ(countLinesWith(infoLine("ceInternalStartup: ungraceful shutdown, application start-up disabled"), lines),
              1U);
    return lines;
  }
};

TEST_F(ResetBudget, FourthRequestedResetInARowEndsTheLoop) {
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  for (unsigned number = 1; number <= 4; ++number)
    expectApplicationsAreStarted(number);
  expectEndOfTheLoop(5);
  EXPECT_EQ(story()[4], "this run        started at TIME, 4 requested resets in a row");
}

TEST_F(ResetBudget, GracefulShutdownGivesTheBudgetBack) {
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  for (unsigned number = 1; number <= 4; ++number)
    expectApplicationsAreStarted(number);
  expectEndOfTheLoop(5);
  expectApplicationsAreStarted(5);
}

TEST_F(ResetBudget, BudgetOfTheConfigurationCounts) {
  setUp("resetBudget=\"0\"");
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  expectApplicationsAreStarted(1);
  expectEndOfTheLoop(2);
}

TEST_F(ResetBudget, RequestsOutsideTheWindowOfTheConfigurationDoNotCount) {
  // A window of 0 s is over before any application can fail.
  setUp("resetBudget=\"0\" resetWindowS=\"0\"");
  node.define({"pump;" + failingProgram({}, 1) + ";;0;2;"});
  for (unsigned number = 1; number <= 3; ++number)
    expectApplicationsAreStarted(number);
}

TEST_F(ResetBudget, PowerCutInBetweenBreaksTheRow) {
  setUp("resetBudget=\"1\"");
  const std::string pump = "pump;" + failingProgram({}, 1) + ";;0;2;";
  node.define({pump});
  expectApplicationsAreStarted(1);
  node.define({});
  boot(2);
  startAndKill();
  node.define({pump});
  expectApplicationsAreStarted(3);
  expectApplicationsAreStarted(4);
  expectEndOfTheLoop(5);
}

TEST_F(ResetBudget, DaemonThatDiesInOneBootCountsAtOnce) {
  startAndKill();
  expectEndOfTheLoop(1);
}

}  // namespace
