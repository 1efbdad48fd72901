// The daemon's log: which of its outputs a line reaches, and how it reads there.
#include "DaemonLog.h"

#include <cstdint>
#include <iomanip>
#include <string>

#include "NodeFixture.h"

using orvtest::Lines;

namespace {

// The platform's early start-up has been made in any case: what counts is that the daemon knows of it.
class DaemonLog : public orvtest::NodeTest {
 protected:
  // Writes one line. Returns what the console gets of it.
  static std::string log(uint32_t severity, const std::string &label, int mode, const std::string &message) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    daemonLog(severity, label, mode, message);
    const std::string console = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return console;
  }
};

class DaemonLogBeforeEarlyStartup : public DaemonLog {};

class DaemonLogAfterEarlyStartup : public DaemonLog {
 protected:
  void SetUp() override {
    gEarlyStartupDone = 1;
  }
};

}  // namespace

TEST_F(DaemonLogBeforeEarlyStartup, Mode0WritesTheConsole) {
  EXPECT_EQ(log(2, "Info", 0, "main: text"), "Info/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(systemLog(), Lines{});
}

TEST_F(DaemonLogBeforeEarlyStartup, Mode1WritesTheConsole) {
  EXPECT_EQ(log(3, "Warning", 1, "main: text"), "Warning/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(systemLog(), Lines{});
}

TEST_F(DaemonLogBeforeEarlyStartup, Mode2WritesTheConsole) {
  EXPECT_EQ(log(4, "Error", 2, "main: text"), "Error/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(systemLog(), Lines{});
}

TEST_F(DaemonLogBeforeEarlyStartup, AnyOtherModeWritesTheConsole) {
  EXPECT_EQ(log(2, "Info", 3, "main: text"), "Info/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(log(2, "Info", -1, "main: text"), "Info/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(systemLog(), Lines{});
}

TEST_F(DaemonLogAfterEarlyStartup, Mode0WritesTheSystemLogAlone) {
  EXPECT_EQ(log(2, "Info", 0, "main: text"), "");
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, main: text"}));
}

TEST_F(DaemonLogAfterEarlyStartup, Mode1WritesTheConsoleAlone) {
  EXPECT_EQ(log(3, "Warning", 1, "main: text"), "Warning/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(systemLog(), Lines{});
}

TEST_F(DaemonLogAfterEarlyStartup, Mode2WritesBoth) {
  EXPECT_EQ(log(4, "Error", 2, "main: text"), "Error/ORV/OrvDaemon, main: text\n");
  EXPECT_EQ(systemLog(), (Lines{"4 ORV/OrvDaemon, main: text"}));
}

TEST_F(DaemonLogAfterEarlyStartup, AnyOtherModeWritesBoth) {
  EXPECT_EQ(log(2, "Info", 3, "main: three"), "Info/ORV/OrvDaemon, main: three\n");
  EXPECT_EQ(log(2, "Info", -1, "main: minus one"), "Info/ORV/OrvDaemon, main: minus one\n");
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, main: three", "2 ORV/OrvDaemon, main: minus one"}));
}

TEST_F(DaemonLogAfterEarlyStartup, SeverityAndLabelGoTheirOwnWays) {
  EXPECT_EQ(log(7, "Whatever", 2, "text"), "Whatever/ORV/OrvDaemon, text\n");
  EXPECT_EQ(systemLog(), (Lines{"7 ORV/OrvDaemon, text"}));
}

TEST_F(DaemonLogAfterEarlyStartup, EmptyMessageIsALine) {
  EXPECT_EQ(log(2, "Info", 2, ""), "Info/ORV/OrvDaemon, \n");
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, "}));
}

TEST_F(DaemonLogAfterEarlyStartup, PercentSignIsNoFormat) {
  const std::string message = "100% %s %n %d %%";
  EXPECT_EQ(log(2, "Info", 2, message), "Info/ORV/OrvDaemon, " + message + "\n");
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, " + message}));
}

TEST_F(DaemonLogAfterEarlyStartup, FlagIsReadAtEachCall) {
  gEarlyStartupDone = 0;
  EXPECT_EQ(log(2, "Info", 0, "before"), "Info/ORV/OrvDaemon, before\n");
  gEarlyStartupDone = 1;
  EXPECT_EQ(log(2, "Info", 0, "after"), "");
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, after"}));
}

TEST_F(DaemonLogAfterEarlyStartup, LogInfoWarningAndErrorPairSeverityAndLabel) {
  testing::internal::CaptureStderr();
  logInfo("function", "progress");
  logWarning("function", "degraded");
  logError("function", "failure");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Info/ORV/OrvDaemon, function: progress\nWarning/ORV/OrvDaemon, function: degraded\n"
            "Error/ORV/OrvDaemon, function: failure\n");
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, function: progress", "3 ORV/OrvDaemon, function: degraded",
                                "4 ORV/OrvDaemon, function: failure"}));
}

TEST(LogMessage, JoinsThePiecesBehindTheFunctionsName) {
  EXPECT_EQ(logMessage("boardReset", "reset failed (", -5, ")"), "boardReset: reset failed (-5)");
  EXPECT_EQ(logMessage("main", ""), "main: ");
}

TEST(LogMessage, ManipulatorsActOnThePiecesBehindThem) {
  EXPECT_EQ(logMessage("f", 16, " ", std::hex, std::showbase, 16, " ", 0), "f: 16 0x10 0");
}
