// Executables of the command line: started in parallel, waited for until online, reported when they fail.
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;

class DaemonExecutables : public DaemonTest {
 protected:
  std::string ended(const std::string &how, const std::string &path) const {
    return "exeRun: executable '" + path + "' " + how;
  }
  std::string ended(const std::string &how) const {
    return ended(how, node.program());
  }
  // Starts a daemon with one executable that fails, and checks its end's line and the raised error.
  void expectFailure(const std::string &path, const std::string &arguments, const std::string &how) {
    const auto daemon = node.startedDaemon({"--startup=executable=" + path + " " + arguments});
    daemon->waitForErrorLine(errorLine(ended(how, path)));
    node.waitForFinishedEu(path);
    EXPECT_EQ(node.raisedErrors(1),
              Lines{"kind 1, code 0x1004b: failure of executable " + path + " [ORV_Daemon/src/OrvDaemon:1186]"});
    expectGracefulEnd(*daemon);
  }
};

const std::string SKIPPED = errorLine("ceInternalStartup: executable start-up failed, application start-up skipped");

}  // namespace

TEST_F(DaemonExecutables, OneWithoutATagIsNotWaitedFor) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  daemon->waitForOutputLineWith("running ");
  EXPECT_EQ(countLinesWith("readyWait: ", daemon->errorLines()), 0U);
  EXPECT_EQ(countLinesWith("appStart: application start-up complete", daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, EmptyTagIsNotWaitedForButSetsTheFlags) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay#"});
  daemon->waitForErrorLineWith("'(stay) starting under sentinel EU 0x2 with supervision flags 0x2");
  EXPECT_EQ(countLinesWith("readyWait: ", daemon->errorLines()), 0U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, TwoAreWaitedForInTheirOrder) {
  const std::string exe = node.program();
  const auto daemon = node.startedDaemon({"--startup=executable=" + exe + " online a#a|" + exe + " online b#b"});
  EXPECT_EQ(withoutLinesOf({"shutdown", "exeRun", "systemdNotify", "fullStartup", "parseExeDefs"},
                           Lines(daemon->errorLines()))
                .size(),
            12U);
  const Lines lines = daemon->errorLines();
  const auto place = [&](const std::string &part) {
    return std::find_if(lines.begin(), lines.end(),
                        [&](const std::string &line) { return line.find(part) != std::string::npos; }) -
           lines.begin();
  };
  EXPECT_LT(place("readyWait: a tag set in time"), place(" ms for b to be set"));
  EXPECT_LT(place("readyWait: b tag set in time"), place("appStart: application start-up"));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, ThreeRunAtTheSameTimeBeforeAnyIsWaitedFor) {
  // The first names the tag that the last sets.
  const std::string exe = node.program();
  const auto daemon =
      node.startedDaemon({"--startup=executable=" + exe + " stay#last|" + exe + " stay|" + exe + " online last"});
  daemon->waitForOutputLineWith("running ", 2);
  EXPECT_EQ(countLinesWith(infoLine("exeStartAll: Executable '" + exe + "' starting"), daemon->errorLines()), 3U);
  EXPECT_EQ(countLinesWith(infoLine("readyWait: last tag set in time"), daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, FourthStartsNoneAndSkipsTheApplications) {
  node.define({"app;" + node.program() + ";stay;0;0;"});
  const std::string exe = node.program();
  const auto daemon = node.startedDaemon({"--startup=executable=" + exe + "|" + exe + "|" + exe + "| "});
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(countLinesWith(errorLine("parseExeDefs: Too many executables specified, maximum is 3"), lines), 1U);
  EXPECT_EQ(countLinesWith(SKIPPED, lines), 1U);
  EXPECT_EQ(countLinesWith("starting", lines), 0U);
  EXPECT_EQ(livingPrograms(), std::vector<pid_t>{daemon->pid()});
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, BlankDefinitionsOnlyAreASuccess) {
  const auto daemon = node.startedDaemon({"--startup=executable= | #tag"});
  EXPECT_EQ(countLinesWith("appStart: application start-up complete", daemon->errorLines()), 1U);
  EXPECT_EQ(countLinesWith("starting", daemon->errorLines()), 0U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, TagNotSetInTimeRaisesAnErrorAndSkipsTheApplications) {
  node.configure("<rad><parameter number=\"0x10070\" value=\"120\"/></rad>");
  node.define({"app;" + node.program() + ";stay;0;0;"});
  const std::string exe = node.program();
  const auto daemon = node.startedDaemon({"--startup=executable=" + exe + " stay#slow|" + exe + " online fast#fast"});
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(countLinesWith(infoLine("readyWait: waiting 120 ms for slow to be set"), lines), 1U);
  EXPECT_EQ(countLinesWith(errorLine("readyWait: slow tag not set in time"), lines), 1U);
  EXPECT_EQ(countLinesWith("for fast to be set", lines), 0U) << "the first time-out ends the wait";
  EXPECT_EQ(countLinesWith(SKIPPED, lines), 1U);
  EXPECT_EQ(countLinesWith("appStart: ", lines), 0U);
  EXPECT_EQ(node.raisedErrors(1), Lines{"kind 1, code 0x1004b: slow tag not set in time for executable " + exe +
                                        " [ORV_Daemon/src/OrvDaemon:1317]"});
  daemon->waitForOutputLineWith("running ");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, TagSetByTheOperatorEndsTheWait) {
  const auto daemon = node.daemon({"--startup=executable=" + node.program() + " stay#by.hand"});
  daemon->waitForErrorLine(infoLine("readyWait: waiting 240000 ms for by.hand to be set"));
  EXPECT_EQ(node.orvctl({"tag", "set", "by.hand", "1"}).waitStatus, 0);
  daemon->waitForErrorLine(infoLine("readyWait: by.hand tag set in time"));
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, ExitWithZeroIsASuccess) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " exit 0"});
  daemon->waitForErrorLine(infoLine(ended("terminated successfully")));
  node.waitForFinishedEu(node.program());
  EXPECT_EQ(node.raisedErrors(), Lines());
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonExecutables, ExitCodeIsReported) {
  expectFailure(node.program(), "exit 3", "failed with status 3");
}

TEST_F(DaemonExecutables, HighestExitCodeIsReported) {
  expectFailure(node.program(), "exit 255", "failed with status 255");
}

// 5 is also the platform's own word for "ran, and not with success".
TEST_F(DaemonExecutables, ExitCodeFiveIsReported) {
  expectFailure(node.program(), "exit 5", "failed with status 5");
}

TEST_F(DaemonExecutables, SignalIsReported) {
  expectFailure(node.program(), "signal 9", "exited due to signal 9");
}

TEST_F(DaemonExecutables, TerminationByTheProgramItselfIsReported) {
  expectFailure(node.program(), "signal 15", "exited due to signal 15");
}

TEST_F(DaemonExecutables, MissingProgramIsALaunchFailure) {
  expectFailure(node.path("none"), "", "launch failed with status 2");
}

TEST_F(DaemonExecutables, FileThatMayNotBeExecutedIsALaunchFailure) {
  node.writeFile("plain", "#!/bin/sh\n");
  expectFailure(node.path("plain"), "", "launch failed with status 13");
}

TEST_F(DaemonExecutables, DirectoryIsALaunchFailure) {
  expectFailure(node.path("node"), "", "launch failed with status 13");
}

TEST_F(DaemonExecutables, QuoteWithoutItsPairIsALaunchFailure) {
  expectFailure(node.program(), "print-args 'a", "launch failed with status 22");
}

TEST_F(DaemonExecutables, StopIsNoEnd) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  const std::string line = daemon->waitForOutputLineWith("running ");
  const pid_t program = std::stoi(line.substr(line.find(' ')));
  ASSERT_EQ(kill(program, SIGSTOP), 0);
  waitForState(program, "T");
  ASSERT_EQ(kill(program, SIGCONT), 0);
  waitForState(program, "SR");
  ASSERT_EQ(kill(program, SIGKILL), 0);
  daemon->waitForErrorLine(errorLine(ended("exited due to signal 9")));
  EXPECT_EQ(countLinesWith(ended("exited"), daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}
