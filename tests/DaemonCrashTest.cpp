// Deaths that nobody planned: of the daemon, of programs that use the node's store, and a second daemon in the way.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;

const std::string DISABLED = infoLine("ceInternalStartup: ungraceful shutdown, application start-up disabled");

class DaemonCrash : public DaemonTest {
 protected:
  // The count of ungraceful shutdowns, as the operator's tool tells it.
  std::string ungracefulCount() const {
    const CommandResult result = node.orvctl({"ungraceful"});
    EXPECT_EQ(result.waitStatus, 0);
    return result.output.empty() ? "none" : result.output[0];
  }

  static pid_t pidIn(const std::string &line) {
    return std::stoi(line.substr(line.find(' ')));
  }
};

// Kills the daemon and waits for the end of `programs`, which the kernel is to kill with it.
void crash(DaemonProcess &daemon, const std::vector<pid_t> &programs) {
  daemon.signal(SIGKILL);
  EXPECT_TRUE(WIFSIGNALED(daemon.waitForExit()));
  for (const pid_t program : programs) {
    const int waitStatus = waitForEnd(program);
    EXPECT_TRUE(WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == SIGKILL) << "wait status " << waitStatus;
  }
  waitForNoDescendants();
}

}  // namespace

TEST_F(DaemonCrash, NoProgramSurvivesTheDaemon) {
  node.define({"one;" + node.program() + ";stay;0;0;", "two;" + node.program() + ";ignore-term;0;0;"});
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " online exe#exe"});
  std::vector<pid_t> programs;
  for (const std::string &name : {node.program(), std::string("one"), std::string("two")}) {
    programs.push_back(static_cast<pid_t>(node.waitForEu(name, orv::EuState::RUNNING).pid));
  }
  daemon->waitForOutputLineWith("running ", 2);
  crash(*daemon, programs);
}

TEST_F(DaemonCrash, NextStartCountsItAndStartsNoApplication) {
  node.define({"app;" + node.program() + ";online app;0;0;app"});
  const std::vector<std::string> arguments = {"--startup=executable=" + node.program() + " stay#exe.tag", "-c",
                                              "exe.tag=1"};
  {
    const auto daemon = node.startedDaemon(arguments);
    EXPECT_EQ(countLinesWith("application start-up complete", daemon->errorLines()), 1U);
    daemon->waitForOutputLineWith("running ");
    crash(*daemon, {});
  }
  {
    const auto daemon = node.startedDaemon(arguments);
    const Lines lines = daemon->errorLines();
    EXPECT_EQ(countLinesWith(infoLine("exeStart: ungraceful shutdown, not waiting for any online tags"), lines), 1U);
    EXPECT_EQ(countLinesWith(DISABLED, lines), 1U);
    EXPECT_EQ(countLinesWith("appStart: ", lines), 0U);
    EXPECT_EQ(countLinesWith("readyWait: ", lines), 0U);
    EXPECT_EQ(ungracefulCount(), "1");
    daemon->waitForOutputLineWith("running ");  // the executable is started all the same
    expectGracefulEnd(*daemon);
  }
  EXPECT_EQ(ungracefulCount(), "0");
  const auto daemon = node.startedDaemon(arguments);
  EXPECT_EQ(countLinesWith("application start-up complete", daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonCrash, EachCounts) {
  for (const char *count : {"0", "1", "2"}) {
    const auto daemon = node.startedDaemon({"-v"});
    EXPECT_EQ(ungracefulCount(), count);
    EXPECT_EQ(countLinesWith(DISABLED, daemon->errorLines()), count[0] == '0' ? 0U : 1U);
    crash(*daemon, {});
  }
}

TEST_F(DaemonCrash, TerminationBeforeArmingCountsToo) {
  {
    const auto daemon = node.daemon({"--startup=executable=" + node.program() + " stay#never.set"});
    daemon->waitForErrorLineWith("ms for never.set to be set");
    daemon->signal(SIGTERM);
    EXPECT_TRUE(WIFSIGNALED(daemon->waitForExit()));
  }
  const auto daemon = node.startedDaemon({"-v"});
  EXPECT_EQ(countLinesWith(DISABLED, daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonCrash, ClearingForgivesADeathThatTheNextStartWouldCount) {
  {
    const auto daemon = node.startedDaemon({"-v"});
    crash(*daemon, {});
  }
  EXPECT_EQ(node.orvctl({"ungraceful"}).output, (Lines{"0", "the daemon died: the next start counts one more"}));
  EXPECT_EQ(node.orvctl({"ungraceful", "--clear"}).waitStatus, 0);
  EXPECT_EQ(node.orvctl({"ungraceful"}).output, Lines{"0"});
  const auto daemon = node.startedDaemon({"-v"});
  EXPECT_EQ(ungracefulCount(), "0");
  EXPECT_EQ(countLinesWith(DISABLED, daemon->errorLines()), 0U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonCrash, ClearedCountStartsTheApplicationsAgain) {
  {
    const auto daemon = node.startedDaemon({"-v"});
    crash(*daemon, {});
  }
  {
    const auto daemon = node.startedDaemon({"-v"});
    crash(*daemon, {});
  }
  {
    const auto daemon = node.startedDaemon({"-v"});
    EXPECT_EQ(ungracefulCount(), "2");
    EXPECT_EQ(node.orvctl({"ungraceful", "--clear"}).waitStatus, 0);
    EXPECT_EQ(ungracefulCount(), "0");
    expectGracefulEnd(*daemon);
  }
  const auto daemon = node.startedDaemon({"-v"});
  EXPECT_EQ(countLinesWith(DISABLED, daemon->errorLines()), 0U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonCrash, SecondDaemonOnTheNodeFailsAndDisturbsNothing) {
  node.define({"app;" + node.program() + ";stay;0;0;"});
  const auto first = node.startedDaemon({"-c", "mine=1"});
  const pid_t program = pidIn(first->waitForOutputLineWith("running "));
  // The sentinel's line may be the last of the start, behind the one that says it complete.
  first->waitForErrorLineWith("exeRun: executable ");
  const size_t linesBefore = first->errorLines().size();
  const auto second = node.daemon({"-c", "mine=2,other=2"});
  const int waitStatus = second->waitForExit();
  EXPECT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 1) << "wait status " << waitStatus;
  EXPECT_EQ(countLinesWith("another daemon runs the node", second->errorLines()), 1U);
  EXPECT_EQ(countLinesWith(errorLine("fullStartup: CE AaStartup failed"), second->errorLines()), 1U);
  EXPECT_EQ(countLinesWith("OrvDaemon: returned success", second->errorLines()), 0U);
  EXPECT_EQ(node.tagText("mine"), "u32 1");
  EXPECT_EQ(node.tagText("other"), "not set");
  EXPECT_TRUE(processInfo(program).has_value());
  EXPECT_EQ(first->errorLines().size(), linesBefore);
  EXPECT_EQ(ungracefulCount(), "0");
  expectGracefulEnd(*first);
  EXPECT_EQ(ungracefulCount(), "0");
}

TEST_F(DaemonCrash, StoreStaysUsableWhenProgramsAreKilledWhileTheyWriteTags) {
  constexpr int WRITERS = 12;
  Lines definitions;
  for (int i = 0; i < WRITERS; ++i) {
    definitions.push_back("writer" + std::to_string(i) + ";" + node.program() + ";write-tags w" + std::to_string(i) +
                          ";0;0;");
  }
  node.define(definitions);
  const auto daemon = node.startedDaemon({"-v"});
  for (int i = 0; i < WRITERS; ++i) {
    const std::string tag = "w" + std::to_string(i);
    const auto record = node.waitForEu("writer" + std::to_string(i), orv::EuState::RUNNING);
    node.waitForTag(tag + ".text");
    ASSERT_EQ(kill(static_cast<pid_t>(record.pid), SIGKILL), 0);
    node.waitForEu("writer" + std::to_string(i), orv::EuState::PROGRAM_ENDED);
    const std::string probe = "probe" + std::to_string(i);
    EXPECT_EQ(node.orvctl({"tag", "set", probe, "string"}).waitStatus, 0);
    EXPECT_EQ(node.tagText(probe), "string string");
    EXPECT_TRUE(node.tag(tag).has_value());
  }
  expectGracefulEnd(*daemon);
  EXPECT_EQ(countLinesWith("exited due to signal 9", daemon->errorLines()), static_cast<unsigned>(WRITERS));
}

TEST_F(DaemonCrash, StoreStaysUsableWhenTheDaemonDiesAmongWriters) {
  node.define({"writer;" + node.program() + ";write-tags w;0;0;"});
  for (int round = 0; round < 3; ++round) {
    {
      const auto daemon = node.startedDaemon({"-v"});
      node.waitForTag("w.text");
      crash(*daemon, {});
    }
    const auto daemon = node.startedDaemon({"-c", "after=1"});  // it starts no application
    EXPECT_EQ(node.tagText("after"), "u32 1");
    EXPECT_EQ(node.tagText("w"), "not set");
    expectGracefulEnd(*daemon);
  }
}
