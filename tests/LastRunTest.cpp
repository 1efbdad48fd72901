// How the last run ended, joined of the node's own records and the board's word; and the board's word itself.
#include "LastRun.h"

#include <gtest/gtest.h>
#include <linux/watchdog.h>

#include <filesystem>

#include "FreshDirectory.h"

namespace {

using orv::FlightEntry;
using orv::FlightKind;
using orv::LastEnd;
using orv::StartFindings;

constexpr const char *THIS_BOOT = "this";
constexpr const char *OTHER_BOOT = "other";

FlightEntry entryOf(FlightKind kind, const std::string &bootId) {
  FlightEntry entry;
  entry.kind = kind;
  entry.bootId = bootId;
  return entry;
}

// A run that was up in `bootId`, with `kinds` behind its start in the flight record.
StartFindings runThatWasUp(const std::string &bootId, const std::vector<FlightKind> &kinds = {}) {
  StartFindings findings;
  findings.bootId = THIS_BOOT;
  findings.before.bootId = bootId;
  findings.before.up = true;
  findings.flight.entries.push_back(entryOf(FlightKind::STARTED, bootId));
  for (const FlightKind kind : kinds)
    findings.flight.entries.push_back(entryOf(kind, bootId));
  return findings;
}

LastEnd endOf(const StartFindings &findings) {
  return orv::judgeLastRun(findings).lastEnd;
}

class BoardWordTest : public testing::Test {
 protected:
  BoardWordTest() {
    sources_.watchdogClass = directory_.path("watchdog");
    sources_.pstoreDirectory = directory_.path("pstore");
  }
  void watchdog(const std::string &name, const std::string &status, const std::string &identity) const {
    std::filesystem::create_directories(directory_.path("watchdog/" + name));
    directory_.write("watchdog/" + name + "/bootstatus", status);
    if (!identity.empty()) directory_.write("watchdog/" + name + "/identity", identity);
  }

  FreshDirectory directory_;
  orv::BoardWordSources sources_;
};

}  // namespace

TEST(LastRun, FirstStartKnowsNothing) {
  StartFindings findings;
  findings.bootId = THIS_BOOT;
  EXPECT_EQ(endOf(findings), LastEnd::UNKNOWN);
}

TEST(LastRun, RecordThatCannotBeReadTellsNothing) {
  StartFindings findings = runThatWasUp(OTHER_BOOT);
  findings.runKnown = false;
  EXPECT_EQ(endOf(findings), LastEnd::UNKNOWN);
}

TEST(LastRun, RunThatWasShutDownStopped) {
  StartFindings findings = runThatWasUp(OTHER_BOOT, {FlightKind::RESET_REQUESTED, FlightKind::RESET_FAILED});
  findings.before.up = false;
  EXPECT_EQ(endOf(findings), LastEnd::STOPPED);
}

TEST(LastRun, UpInThisBootMeansThatTheDaemonDied) {
  EXPECT_EQ(endOf(runThatWasUp(THIS_BOOT)), LastEnd::DAEMON_DIED);
}

TEST(LastRun, RequestAndAnotherBootIsAResetThatWasMade) {
  EXPECT_EQ(endOf(runThatWasUp(OTHER_BOOT, {FlightKind::RESET_REQUESTED})), LastEnd::RESET_MADE);
}

TEST(LastRun, RequestThatWasHeldOffAfterOneThatWasMadeChangesNothing) {
  EXPECT_EQ(endOf(runThatWasUp(OTHER_BOOT, {FlightKind::RESET_REQUESTED, FlightKind::RESET_HELD})),
            LastEnd::RESET_MADE);
}

TEST(LastRun, RequestAndTheSameBootIsAResetThatNeverCame) {
  EXPECT_EQ(endOf(runThatWasUp(THIS_BOOT, {FlightKind::RESET_REQUESTED})), LastEnd::RESET_NOT_MADE);
}

TEST(LastRun, RequestThatFailedIsNone) {
  const std::vector<FlightKind> failed = {FlightKind::RESET_REQUESTED, FlightKind::RESET_FAILED};
  EXPECT_EQ(endOf(runThatWasUp(OTHER_BOOT, failed)), LastEnd::OUTSIDE);
  EXPECT_EQ(endOf(runThatWasUp(THIS_BOOT, failed)), LastEnd::DAEMON_DIED);
}

TEST(LastRun, RequestOfAnEarlierRunIsNone) {
  StartFindings findings = runThatWasUp(OTHER_BOOT);
  findings.flight.entries.insert(findings.flight.entries.begin(), entryOf(FlightKind::RESET_REQUESTED, "older"));
  EXPECT_EQ(endOf(findings), LastEnd::OUTSIDE);
  // Nor where the record of the start between them is damaged.
  findings.flight.entries.pop_back();
  EXPECT_EQ(endOf(findings), LastEnd::OUTSIDE);
}

TEST(LastRun, AnotherBootAloneIsAPowerCut) {
  EXPECT_EQ(endOf(runThatWasUp(OTHER_BOOT)), LastEnd::OUTSIDE);
}

TEST(LastRun, WatchdogsWordTellsItsResetFromAPowerCut) {
  StartFindings findings = runThatWasUp(OTHER_BOOT);
  findings.word.watchdogReset = true;
  findings.word.watchdogs = {"watchdog0: the watchdog reset the board"};
  EXPECT_EQ(endOf(findings), LastEnd::WATCHDOG);
  EXPECT_EQ(orv::judgeLastRun(findings).boardWords, findings.word.watchdogs);
}

TEST(LastRun, WatchdogsWordIsToldOnceInABoot) {
  StartFindings findings = runThatWasUp(THIS_BOOT);
  findings.word.watchdogs = {"watchdog0: the watchdog reset the board"};
  EXPECT_TRUE(orv::judgeLastRun(findings).boardWords.empty());
}

TEST(LastRun, NewPanicRecordIsAPanic) {
  StartFindings findings = runThatWasUp(OTHER_BOOT);
  findings.word.kernelRecords = {{"dmesg-0@1", "dmesg-0", "Panic#1 Part1"}};
  EXPECT_EQ(endOf(findings), LastEnd::PANIC);
  const FlightEntry entry = orv::judgeLastRun(findings);
  EXPECT_EQ(entry.boardWords, std::vector<std::string>{"pstore has dmesg-0 (Panic#1 Part1)"});
  EXPECT_EQ(entry.kernelRecords, std::vector<std::string>{"dmesg-0@1"});
}

TEST(LastRun, PanicRecordOfAnEarlierRunIsNoNews) {
  StartFindings findings = runThatWasUp(OTHER_BOOT);
  findings.flight.entries[0].kernelRecords = {"dmesg-0@1"};
  findings.word.kernelRecords = {{"dmesg-0@1", "dmesg-0", "Panic#1 Part1"}};
  EXPECT_EQ(endOf(findings), LastEnd::OUTSIDE);
  EXPECT_TRUE(orv::judgeLastRun(findings).boardWords.empty());
  // The same name at another time is another record.
  findings.word.kernelRecords[0].identity = "dmesg-0@2";
  EXPECT_EQ(endOf(findings), LastEnd::PANIC);
}

TEST(LastRun, OopsIsToldAndIsNoPanic) {
  StartFindings findings = runThatWasUp(OTHER_BOOT);
  findings.word.kernelRecords = {{"dmesg-0@1", "dmesg-0", "Oops#1 Part1"}};
  EXPECT_EQ(endOf(findings), LastEnd::OUTSIDE);
  EXPECT_EQ(orv::judgeLastRun(findings).boardWords, std::vector<std::string>{"pstore has dmesg-0 (Oops#1 Part1)"});
}

TEST(LastRun, RequesterIsToldWithTheReason) {
  FlightEntry entry;
  EXPECT_EQ(orv::requesterText(entry), "somebody unknown");
  entry.euName = "pump";
  entry.path = "/opt/pump";
  entry.args = "-v";
  entry.cause = orv::ResetCause::PROGRAM_ENDED;
  entry.waitStatus = 3 << 8;
  EXPECT_EQ(orv::requesterText(entry), "pump (/opt/pump -v), which exited with 3");
  entry.waitStatus = 11;
  EXPECT_EQ(orv::requesterText(entry), "pump (/opt/pump -v), which was killed by signal 11 (SIGSEGV)");
  entry.cause = orv::ResetCause::LAUNCH_FAILED;
  entry.result = 2;
  EXPECT_EQ(orv::requesterText(entry), "pump (/opt/pump -v), which could not be started: No such file or directory");
  entry.cause = orv::ResetCause::NOT_ONLINE;
  entry.tag = "pump.online";
  entry.args = "";
  EXPECT_EQ(orv::requesterText(entry), "pump (/opt/pump), which did not set its tag pump.online in time");
  entry.euName = "/opt/pump";
  EXPECT_EQ(orv::requesterText(entry), "/opt/pump, which did not set its tag pump.online in time");
}

TEST_F(BoardWordTest, WithoutAnythingToReadTheBoardSaysNothing) {
  const orv::BoardWord word = orv::askBoard(sources_);
  EXPECT_TRUE(word.watchdogs.empty());
  EXPECT_TRUE(word.kernelRecords.empty());
  EXPECT_FALSE(word.watchdogReset);
}

TEST_F(BoardWordTest, WatchdogsAreReadInTheirOrder) {
  watchdog("watchdog1", "0x30\n", "");
  watchdog("watchdog0", "1\n", "Board Dog\n");
  watchdog("watchdog2", "0\n", "Quiet\n");
  watchdog("watchdog3", "what\n", "Odd\n");
  const orv::BoardWord word = orv::askBoard(sources_);
  EXPECT_EQ(word.watchdogs, (std::vector<std::string>{"watchdog0 (Board Dog): the processor was too hot",
                                                      "watchdog1: the watchdog reset the board, power failed"}));
  EXPECT_TRUE(word.watchdogReset);
}

TEST_F(BoardWordTest, DeviceThatIsNoWatchdogSaysNothing) {
  sources_.askedDevice = "/dev/null";
  EXPECT_TRUE(orv::askBoard(sources_).watchdogs.empty());
  sources_.askedDevice = "/dev/no-such-watchdog";
  EXPECT_TRUE(orv::askBoard(sources_).watchdogs.empty());
}

TEST_F(BoardWordTest, KernelRecordsAreToldFromTheRestOfPstore) {
  std::filesystem::create_directories(sources_.pstoreDirectory);
  directory_.write("pstore/dmesg-ramoops-0", "Panic#2 Part1\n<0>text\n");
  directory_.write("pstore/console-ramoops-0", "text\n");
  const orv::BoardWord word = orv::askBoard(sources_);
  ASSERT_EQ(word.kernelRecords.size(), 1U);
  EXPECT_EQ(word.kernelRecords[0].name, "dmesg-ramoops-0");
  EXPECT_EQ(word.kernelRecords[0].headline, "Panic#2 Part1");
  EXPECT_TRUE(word.kernelRecords[0].identity.starts_with("dmesg-ramoops-0@")) << word.kernelRecords[0].identity;
}

TEST(BootStatusText, NamesEveryFlag) {
  EXPECT_EQ(orv::bootStatusText(0), "");
  EXPECT_EQ(orv::bootStatusText(WDIOF_OVERHEAT | WDIOF_FANFAULT | WDIOF_EXTERN1 | WDIOF_EXTERN2 | WDIOF_POWERUNDER |
                                WDIOF_CARDRESET | WDIOF_POWEROVER),
            "the watchdog reset the board, power failed, the voltage was too high, the processor was too hot, a fan "
            "failed, external relay 1, external relay 2");
}
