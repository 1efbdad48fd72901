// Everything that a program has started ends with the daemon: at its shutdown, and when it dies.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"
#include "WaitUntil.h"

namespace {

class DaemonTree : public DaemonTest {
 protected:
  // The definition of an application that is a shell script.
  std::string script(const std::string &name, const std::string &text, const std::string &flags = "0") const {
    node.writeFile(name + ".sh", text);
    return name + ";/bin/sh;" + node.path(name + ".sh") + ";0;" + flags + ";";
  }

  // The process whose number a script has printed behind "child ".
  static pid_t childOf(const DaemonProcess &daemon, unsigned count = 1) {
    const std::string line = daemon.waitForOutputLineWith("child ", count);
    return std::stoi(line.substr(line.find("child ") + 6));
  }

  static std::string nameOf(pid_t pid) {
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(pid) + "/comm"), name);
    return name;
  }

  // The guard of a daemon, once it is there.
  static pid_t guardOf(const DaemonProcess &daemon) {
    pid_t guard = 0;
    const bool isThere = comesTrue([&] {
      for (const pid_t pid : livingDescendants()) {
        const auto info = processInfo(pid);
        if (info && info->parent == daemon.pid() && nameOf(pid) == "orv-guard") guard = pid;
      }
      return guard != 0;
    });
    if (!isThere) throw std::runtime_error("the daemon has no guard");
    return guard;
  }

  // Whether a process is on a guard's list, which the guard has as its descriptor 4.
  static bool isGuarded(pid_t guard, pid_t process) {
    std::ifstream list("/proc/" + std::to_string(guard) + "/fd/4", std::ios::binary);
    for (pid_t listed = 0; list.read(reinterpret_cast<char *>(&listed), sizeof listed);) {
      if (listed == process) return true;
    }
    return false;
  }

  static void waitUntilGuarded(pid_t guard, pid_t process) {
    if (comesTrue([&] { return isGuarded(guard, process); })) return;
    throw std::runtime_error("process " + std::to_string(process) + " does not come on the guard's list");
  }

  void crash(DaemonProcess &daemon) const {
    daemon.signal(SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(daemon.waitForExit()));
    waitForNoDescendants();
  }
};

// In a session of its own, its parent gone, its environment empty: what a daemonising program leaves.
constexpr const char *DAEMONISE = "setsid env -i /bin/sh -c 'echo child $$; exec sleep 1000' &\nsleep 0.01\n";

}  // namespace

TEST_F(DaemonTree, ShutdownEndsAChildInASessionOfItsOwn) {
  node.define({script("app", "setsid sh -c 'echo child $$; exec sleep 1000' &\nwait\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t child = childOf(*daemon);
  EXPECT_NE(processInfo(child)->group, static_cast<pid_t>(node.waitForEu("app", orv::EuState::RUNNING).pid));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, ShutdownEndsWhatADaemonisingProgramHasLeft) {
  node.define({script("app", DAEMONISE)});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t child = childOf(*daemon);
  node.waitForFinishedEu("app");
  EXPECT_EQ(processInfo(child)->parent, daemon->pid()) << "the daemon has adopted it";
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, ShutdownKillsALeftProcessThatIgnoresItsTermination) {
  node.configure("<board graceTimeMs=\"100\"/>");
  node.define({script("app", "setsid sh -c 'trap \"\" TERM; echo child $$; while :; do sleep 1000; done' &\nwait\n")});
  const auto daemon = node.startedDaemon({"-v"});
  childOf(*daemon);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, DeathOfTheDaemonEndsTheChildrenOfAProgram) {
  node.define({script("app", "sleep 1000 &\necho child $!\nwait\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t child = childOf(*daemon);
  guardOf(*daemon);
  ASSERT_TRUE(processInfo(child).has_value());
  crash(*daemon);
}

TEST_F(DaemonTree, DeathOfTheDaemonEndsAChildInASessionOfItsOwn) {
  node.define({script("app", "setsid sh -c 'echo child $$; exec sleep 1000' &\nwait\n")});
  const auto daemon = node.startedDaemon({"-v"});
  childOf(*daemon);
  guardOf(*daemon);
  crash(*daemon);
}

TEST_F(DaemonTree, DeathOfTheDaemonEndsWhatADaemonisingProgramHasLeft) {
  node.define({script("app", DAEMONISE)});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t child = childOf(*daemon);
  const pid_t guard = guardOf(*daemon);
  waitUntilGuarded(guard, child);
  crash(*daemon);
}

TEST_F(DaemonTree, DeathOfOneDaemonLeavesTheProgramsOfAnotherAlone) {
  TestNode neighbour;
  neighbour.define({"neighbour;" + neighbour.program() + ";stay;0;0;"});
  const auto other = neighbour.startedDaemon({"-v"});
  const auto spared = static_cast<pid_t>(neighbour.waitForEu("neighbour", orv::EuState::RUNNING).pid);
  node.define({"app;" + node.program() + ";fork-child;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t child = childOf(*daemon);
  const pid_t guard = guardOf(*daemon);
  daemon->signal(SIGKILL);
  EXPECT_TRUE(WIFSIGNALED(daemon->waitForExit()));
  waitForEnd(guard);  // it has done its work
  EXPECT_FALSE(processInfo(child) && processInfo(child)->state != 'Z');
  EXPECT_TRUE(processInfo(spared) && processInfo(spared)->state != 'Z');
  expectGracefulEnd(*other);
}

TEST_F(DaemonTree, GuardThatDiesIsReplaced) {
  node.define({"app;" + node.program() + ";fork-child;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  childOf(*daemon);
  const pid_t first = guardOf(*daemon);
  kill(first, SIGKILL);
  node.waitForEvent(orv::EventKind::LOG, "the guard has ended; another one is started");
  EXPECT_NE(guardOf(*daemon), first);
  crash(*daemon);
}

TEST_F(DaemonTree, GuardThatCannotLiveIsNotStartedForEver) {
  // The guard lies beside the library. This one says that it was started, and ends.
  namespace fs = std::filesystem;
  fs::create_directories(node.path("lib/orv"));
  for (const char *name : {"/libORV.so", "/libTARNDDAL.so"})
    fs::create_symlink(std::string(ORV_LINUX_DIR) + name, node.path("lib") + name);
  node.writeFile("lib/orv/orv-guard", "#!/bin/sh\necho started >>'" + node.path("starts") + "'\n");
  fs::permissions(node.path("lib/orv/orv-guard"), fs::perms(0755));
  ProcessStart start;
  start.environment = {"LD_LIBRARY_PATH=" + node.path("lib")};
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(node.waitForEvent(orv::EventKind::LOG, "guards end").text,
            "guards end as soon as they are started, so none is started any more (what programs have started outlives "
            "a sudden death of the daemon)");
  expectGracefulEnd(*daemon);
  std::ifstream file(node.path("starts"));
  // Five at once; where the machine lets one live for longer it begins to count again.
  EXPECT_GE(std::count(std::istreambuf_iterator<char>(file), {}, '\n'), 5);
}

TEST_F(DaemonTree, GroupThatIsGoneIsNoLongerGuarded) {
  // Its number may be another process's by the time the daemon dies.
  node.define({script("app", "(until [ -e '" + node.path("go") + "' ]; do sleep 0.01; done) &\necho child $!\n")});
  const auto daemon = node.startedDaemon({"-v"});
  childOf(*daemon);
  const pid_t guard = guardOf(*daemon);
  const auto leader = static_cast<pid_t>(node.waitForFinishedEu("app").pid);
  EXPECT_TRUE(isGuarded(guard, leader)) << "the group has a member";
  node.writeFile("go", "");
  EXPECT_TRUE(comesTrue([&] { return !isGuarded(guard, leader); }));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, WhatALeftProcessLeavesInTurnIsGuarded) {
  // The first one's end is long after its program's, and tells the daemon that there may be a second.
  const std::string first = "echo child $$; until [ -e " + node.path("go") +
                            " ]; do sleep 0.01; done; setsid sh -c \"echo child \\$\\$; exec sleep 1000\" & sleep 0.01";
  node.define({script("app", "setsid env -i /bin/sh -c '" + first + "' &\nsleep 0.01\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t guard = guardOf(*daemon);
  waitUntilGuarded(guard, childOf(*daemon));
  node.writeFile("go", "");
  waitUntilGuarded(guard, childOf(*daemon, 2));
  crash(*daemon);
}

TEST_F(DaemonTree, GuardIsDeafToSignalsAndEndsWithTheShutdown) {
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t guard = guardOf(*daemon);
  waitForState(guard, "S");
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT})
    kill(guard, number);
  EXPECT_EQ(guardOf(*daemon), guard);
  EXPECT_NE(processInfo(guard)->group, processInfo(daemon->pid())->group);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, EndsOfLeftProcessesAreCollected) {
  node.define({script("app", "setsid sh -c 'echo child $$; sleep 0.05' &\nsleep 0.01\n")});
  const auto daemon = node.startedDaemon({"-v"});
  const pid_t child = childOf(*daemon);
  EXPECT_TRUE(comesTrue([&] { return !processInfo(child).has_value(); }))
      << "it is still there, state " << processInfo(child)->state;
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, ChildThatTheDaemonHadBeforeIsInNobodysWay) {
  node.define(
      {script("app", "until [ -e '" + node.path("go") +
                         "' ]; do sleep 0.01; done\nsetsid sh -c 'echo child $$; sleep 0.05' &\nsleep 0.01\n")});
  ProcessStart start;
  start.arguments = {"/bin/sh", "-c", "sleep 0.01 & echo before $!; exec \"$@\"", "sh"};
  const auto daemon = node.startedDaemon({"-v"}, start);
  const pid_t before = std::stoi(daemon->waitForOutputLineWith("before ").substr(std::strlen("before ")));
  waitForState(before, "Z");
  node.writeFile("go", "");
  const pid_t child = childOf(*daemon);
  EXPECT_TRUE(comesTrue([&] { return !processInfo(child).has_value(); }))
      << "it is still there, state " << processInfo(child)->state;
  EXPECT_TRUE(processInfo(before).has_value()) << "it is not the platform's to wait for";
  const pid_t guard = guardOf(*daemon);
  kill(guard, SIGKILL);
  node.waitForEvent(orv::EventKind::LOG, "the guard has ended; another one is started");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonTree, StoppedProgramHasNotEnded) {
  node.define({"app;" + node.program() + ";stay;0;3;"});
  const auto daemon = node.startedDaemon({"-v"});
  const auto program = static_cast<pid_t>(node.waitForEu("app", orv::EuState::RUNNING).pid);
  ASSERT_EQ(kill(program, SIGSTOP), 0);
  waitForState(program, "T");
  ASSERT_EQ(kill(program, SIGCONT), 0);
  waitForState(program, "S");
  EXPECT_EQ(node.waitForEu("app", orv::EuState::RUNNING).pid, static_cast<uint32_t>(program));
  expectGracefulEnd(*daemon);
  EXPECT_EQ(countLinesWith("exited", daemon->errorLines()), 0U);
  EXPECT_EQ(countLinesWith("requesting system reset", daemon->errorLines()), 0U);
}

TEST_F(DaemonTree, SentinelIsThereForAsLongAsItsProgramRuns) {
  // To the kernel the parent of a program is the thread that started it, and the end of the parent is the program's.
  node.define({"app;" + node.program() + ";stay;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForEu("app", orv::EuState::RUNNING);
  const auto sentinelLives = [&] {
    for (const auto &thread : std::filesystem::directory_iterator("/proc/" + std::to_string(daemon->pid()) + "/task")) {
      std::string name;
      std::getline(std::ifstream(thread.path() / "comm"), name);
      if (name == "app") return true;
    }
    return false;
  };
  EXPECT_TRUE(sentinelLives());
  EXPECT_EQ(node.waitForEu("app", orv::EuState::RUNNING).endedNs, 0U);
  expectGracefulEnd(*daemon);
}
