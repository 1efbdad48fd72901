// What signals do to the daemon, before and after it has armed its handlers, and how a shutdown ends the programs.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;

const std::string TERMINATION = infoLine("ceInternalStartup: Daemon termination initiated");
constexpr const char *SHORT_GRACE = "<board graceTimeMs=\"200\"/>";
constexpr const char *LONG_GRACE = "<board graceTimeMs=\"60000\"/>";

class DaemonSignals : public DaemonTest {
 protected:
  // A daemon in the middle of its start-up, where it stays: it waits for a tag that nobody sets. The program's process
  // id is in `program`.
  std::unique_ptr<DaemonProcess> unarmedDaemon(pid_t &program) {
    auto daemon = node.daemon({"--startup=executable=" + node.program() + " stay#never.set"});
    program = pidIn(daemon->waitForOutputLineWith("running "), "running ");
    daemon->waitForErrorLine(infoLine("readyWait: waiting 240000 ms for never.set to be set"));
    return daemon;
  }

  // The number behind `word` in a line that a program has printed.
  static pid_t pidIn(const std::string &line, const std::string &word) {
    return std::stoi(line.substr(line.find(word) + word.size()));
  }
};

void expectDeathBySignal(DaemonProcess &daemon, pid_t program, int number) {
  daemon.signal(number);
  const int waitStatus = daemon.waitForExit();
  EXPECT_TRUE(WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == number) << "wait status " << waitStatus;
  EXPECT_EQ(countLinesWith("OrvDaemon - Got", daemon.errorLines()), 0U);
  const int programStatus = waitForEnd(program);
  EXPECT_TRUE(WIFSIGNALED(programStatus) && WTERMSIG(programStatus) == SIGKILL) << "wait status " << programStatus;
  waitForNoDescendants();
}

}  // namespace

TEST_F(DaemonSignals, InterruptAfterArmingEndsTheDaemonGracefully) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  daemon->waitForOutputLineWith("running ");
  daemon->signal(SIGINT);
  const int waitStatus = daemon->waitForExit();
  EXPECT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0) << "wait status " << waitStatus;
  EXPECT_EQ(livingDescendants(), std::vector<pid_t>());
  const Lines lines = daemon->errorLines();
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()), (Lines{"OrvDaemon - Got SIGINT", "Initiated ORV-RT CE level shutdown",
                                                        TERMINATION, "OrvDaemon: returned success"}));
}

TEST_F(DaemonSignals, TerminationAfterArmingEndsTheDaemonGracefully) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  daemon->waitForOutputLineWith("running ");
  expectGracefulEnd(*daemon);
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(Lines(lines.end() - 4, lines.end()), (Lines{"OrvDaemon - Got SIGTERM", "Initiated ORV-RT CE level shutdown",
                                                        TERMINATION, "OrvDaemon: returned success"}));
}

TEST_F(DaemonSignals, TerminationBeforeArmingKillsTheDaemonAndItsPrograms) {
  pid_t program = 0;
  const auto daemon = unarmedDaemon(program);
  expectDeathBySignal(*daemon, program, SIGTERM);
}

TEST_F(DaemonSignals, HangupBeforeArmingKillsTheDaemonAndItsPrograms) {
  pid_t program = 0;
  const auto daemon = unarmedDaemon(program);
  expectDeathBySignal(*daemon, program, SIGHUP);
}

TEST_F(DaemonSignals, HangupAfterArmingIsIgnored) {
  const auto daemon = node.startedDaemon({"-v"});
  daemon->signal(SIGHUP);
  daemon->signal(SIGHUP);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(countLinesWith("OrvDaemon - Got", daemon->errorLines()), 1U);
}

TEST_F(DaemonSignals, SecondTerminationDuringTheShutdownChangesNothing) {
  node.configure(LONG_GRACE);
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " ignore-term"});
  const pid_t program = pidIn(daemon->waitForOutputLineWith("running "), "running ");
  daemon->signal(SIGTERM);
  daemon->waitForErrorLine(TERMINATION);
  daemon->signal(SIGTERM);
  daemon->waitForErrorLine("Initiated ORV-RT CE level shutdown", 2);
  daemon->signal(SIGINT);
  daemon->waitForErrorLine("Initiated ORV-RT CE level shutdown", 3);
  EXPECT_EQ(kill(program, SIGKILL), 0);  // the shutdown has been waiting for it
  const int waitStatus = daemon->waitForExit();
  EXPECT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0) << "wait status " << waitStatus;
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(countLinesWith("OrvDaemon - Got SIGTERM", lines), 2U);
  EXPECT_EQ(countLinesWith("OrvDaemon - Got SIGINT", lines), 1U);
  EXPECT_EQ(countLinesWith(TERMINATION, lines), 1U);
  EXPECT_EQ(countLinesWith("OrvDaemon: returned success", lines), 1U);
}

TEST_F(DaemonSignals, ShutdownKillsAProgramThatIgnoresItsTermination) {
  node.configure(SHORT_GRACE);
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " ignore-term"});
  daemon->waitForOutputLineWith("running ");
  expectGracefulEnd(*daemon);
  const orv::EuRecord eu = node.waitForEu(node.program(), orv::EuState::SHUT_DOWN);
  EXPECT_EQ(eu.waitStatus, SIGKILL);
}

TEST_F(DaemonSignals, ShutdownLeavesTimeToEndByItself) {
  node.configure(LONG_GRACE);
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  daemon->waitForOutputLineWith("running ");
  expectGracefulEnd(*daemon);
  const orv::EuRecord eu = node.waitForEu(node.program(), orv::EuState::SHUT_DOWN);
  EXPECT_EQ(eu.waitStatus, SIGTERM);
}

TEST_F(DaemonSignals, ShutdownEndsTheChildrenOfAProgramWithIt) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " fork-child"});
  const pid_t child = pidIn(daemon->waitForOutputLineWith("child "), "child ");
  ASSERT_TRUE(processInfo(child).has_value());
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonSignals, ShutdownEndsTheChildrenThatAProgramLeftBehind) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " fork-child leave"});
  const pid_t child = pidIn(daemon->waitForOutputLineWith("child "), "child ");
  daemon->waitForErrorLine(infoLine("exeRun: executable '" + node.program() + "' terminated successfully"));
  const std::vector<pid_t> living = livingDescendants();
  EXPECT_NE(std::find(living.begin(), living.end(), child), living.end()) << "only the shutdown ends it";
  node.waitForFinishedEu(node.program());
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonSignals, ShutdownEndsAStoppedProgram) {
  node.configure(LONG_GRACE);
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  const pid_t program = pidIn(daemon->waitForOutputLineWith("running "), "running ");
  ASSERT_EQ(kill(program, SIGSTOP), 0);
  waitForState(program, "T");
  expectGracefulEnd(*daemon);
  EXPECT_EQ(node.waitForEu(node.program(), orv::EuState::SHUT_DOWN).waitStatus, SIGTERM);
}

TEST_F(DaemonSignals, ProgramsThatTheShutdownEndsAreNoFailures) {
  node.define({"app;" + node.program() + ";stay;0;3;"});
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay"});
  daemon->waitForOutputLineWith("running ", 2);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(node.raisedErrors(), Lines());
  EXPECT_EQ(countLinesWith("exited due to signal", daemon->errorLines()), 0U);
  EXPECT_EQ(countLinesWith("requesting system reset", daemon->errorLines()), 0U);
}

TEST_F(DaemonSignals, EndOfEveryProgramIsOnRecordWhenTheDaemonHasEnded) {
  constexpr unsigned PROGRAMS = 32;
  Lines definitions;
  for (unsigned i = 0; i < PROGRAMS; ++i)
    definitions.push_back("app" + std::to_string(i) + ";" + node.program() + ";stay;0;0;");
  node.define(definitions);
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("running ", PROGRAMS);
  expectGracefulEnd(*daemon);
  const std::vector<orv::EuRecord> eus = node.eus();
  EXPECT_EQ(std::count_if(eus.begin(), eus.end(),
                          [](const orv::EuRecord &eu) { return eu.state == orv::EuState::SHUT_DOWN; }),
            PROGRAMS);
}
