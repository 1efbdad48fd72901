// What a program of the node finds when it starts: its arguments, environment, signals and descriptors.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;
using DaemonPrograms = DaemonTest;

// The values of the variable `name` among printed variables.
Lines valuesOf(const std::string &name, const Lines &lines) {
  const std::string beginning = "variable " + name + "=";
  Lines values;
  for (const std::string &line : lines) {
    if (line.starts_with(beginning)) values.push_back(line.substr(beginning.size()));
  }
  return values;
}

}  // namespace

TEST_F(DaemonPrograms, ArgumentsAreSplitAsAShellDoesWithoutExpansion) {
  node.define({"app;" + node.program() +
               ";print-args 'one two' \"three 'four'\" fi\\ ve six\"\"6 '' $HOME * ~ $(id) # | >x;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("arguments ");
  EXPECT_EQ(daemon->outputLines(),
            (Lines{"argument [one two]", "argument [three 'four']", "argument [fi ve]", "argument [six6]",
                   "argument []", "argument [$HOME]", "argument [*]", "argument [~]", "argument [$(id)]",
                   "argument [#]", "argument [|]", "argument [>x]", "arguments 12"}));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, QuotesAroundAllArgumentsBelongToTheFile) {
  node.define({"app;" + node.program() + ";\"print-args 'a b' c\";0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("arguments ");
  EXPECT_EQ(daemon->outputLines(), (Lines{"argument [a b]", "argument [c]", "arguments 2"}));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, EnvironmentNamesTheNodeAndReplacesWhatTheDaemonAloneWasTold) {
  node.define({"app;" + node.program() + ";print-environment;0;0;"});
  ProcessStart start;
  start.environment = {"NOTIFY_SOCKET=" + node.path("nobody"), "WATCHDOG_USEC=1000000", "LISTEN_FDS=1",
                       "ORV_EU_NAME=daemon", "SOME_VARIABLE=of the daemon"};
  const auto daemon = node.startedDaemon({"--startup=cename=myCe"}, start);
  daemon->waitForOutputLineWith("environment complete");
  const Lines lines = daemon->outputLines();
  EXPECT_EQ(valuesOf("ORV_CE_NAME", lines), Lines{"myCe"});
  EXPECT_EQ(valuesOf("ORV_NODE_DIR", lines), Lines{node.nodeDirectory()});
  EXPECT_EQ(valuesOf("ORV_EU_NAME", lines), Lines{"app"});
  EXPECT_EQ(valuesOf("SOME_VARIABLE", lines), Lines{"of the daemon"});
  EXPECT_EQ(valuesOf("NOTIFY_SOCKET", lines), Lines{node.nodeDirectory() + "/notify"});
  EXPECT_EQ(valuesOf("WATCHDOG_USEC", lines), Lines());
  EXPECT_EQ(valuesOf("LISTEN_FDS", lines), Lines());
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, SignalsAreResetWhateverTheDaemonInherited) {
  node.define({"app;" + node.program() + ";print-signals;0;0;"});
  ProcessStart start;
  start.blockedSignals = {SIGUSR1, SIGALRM, SIGCHLD, SIGRTMIN};
  start.ignoredSignals = {SIGPIPE, SIGUSR2, SIGQUIT, SIGHUP, SIGRTMIN, SIGRTMAX};
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(daemon->waitForOutputLineWith("SigBlk"), "SigBlk: 0000000000000000");
  EXPECT_EQ(daemon->waitForOutputLineWith("SigIgn"), "SigIgn: 0000000000000000");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, EndsAreSeenWhereTheDaemonInheritedAnIgnoredChildSignal) {
  node.define({"app;" + node.program() + ";exit 7;0;0;"});
  ProcessStart start;
  start.ignoredSignals = {SIGCHLD};
  const auto daemon = node.startedDaemon({"-v"}, start);
  daemon->waitForErrorLine(errorLine("exeRun: executable '" + node.program() + "' failed with status 7"));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, NoDescriptorButTheStandardThreeIsPassedOn) {
  node.define({"app;" + node.program() + ";print-fds;0;0;"});
  ProcessStart start;
  start.openDescriptors = {3, 9, 200};
  const auto daemon = node.startedDaemon({"-v"}, start);
  EXPECT_EQ(daemon->waitForOutputLineWith("descriptors"), "descriptors 0 1 2, input from /dev/null");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, ProgramWithoutASlashIsLookedUpInThePath) {
  node.define({"app;program;print-args found;0;0;"});
  ProcessStart start;
  start.environment = {"PATH=/nowhere:" + node.path("") + ":/bin"};
  const auto daemon = node.startedDaemon({"-v"}, start);
  daemon->waitForOutputLineWith("argument [found]");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, NameThatIsInNoFolderOfThePathIsNotTakenFromElsewhere) {
  for (const std::string path : {"/nowhere:/bin", ":/bin:", ".:/bin", "/bin"}) {
    node.define({"app;program;print-args found;0;0;"});
    ProcessStart start;
    start.environment = {"PATH=" + path};
    start.directory = node.path("");
    const auto daemon = node.startedDaemon({"-v"}, start);
    EXPECT_EQ(node.waitForFinishedEu("app").state, orv::EuState::LAUNCH_FAILED) << path;
    EXPECT_EQ(node.waitForFinishedEu("app").result, ENOENT) << path;
    expectGracefulEnd(*daemon);
  }
}

TEST_F(DaemonPrograms, FolderOfTheNameInThePathIsPassedOver) {
  ASSERT_EQ(mkdir(node.path("first").c_str(), 0755), 0);
  ASSERT_EQ(mkdir(node.path("first/program").c_str(), 0755), 0);
  node.define({"app;program;print-args found;0;0;"});
  ProcessStart start;
  start.environment = {"PATH=" + node.path("first") + ":" + node.path("")};
  const auto daemon = node.startedDaemon({"-v"}, start);
  daemon->waitForOutputLineWith("argument [found]");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, StartThatFailsSaysWhyAndWhatToDo) {
  struct Case {
    const char *name;
    std::string path;
    int result;
    std::string reason;
  };
  node.writeFile("plain", "#!/bin/sh\n");
  node.writeFile("lost", "#!/nowhere/interpreter\n");
  node.writeFile("noformat", "neither a program nor a script\n");
  for (const char *file : {"lost", "noformat"})
    ASSERT_EQ(chmod(node.path(file).c_str(), 0755), 0);
  const Case cases[] = {
      {"missing", node.path("missing"), 2,
       "No such file or directory (is the path right, and the interpreter that the file names on this machine?)"},
      {"lost", node.path("lost"), 2,
       "No such file or directory (is the path right, and the interpreter that the file names on this machine?)"},
      {"plain", node.path("plain"), 13,
       "Permission denied (a directory, or no permission to execute: chmod +x; or a file system mounted noexec)"},
      {"folder", node.path("node"), 13,
       "Permission denied (a directory, or no permission to execute: chmod +x; or a file system mounted noexec)"},
      {"noformat", node.path("noformat"), 8,
       "Exec format error (a program for another processor, or a script without a #! line)"},
      {"under", node.path("plain") + "/file", 20,
       "Not a directory (is the path right, and the interpreter that the file names on this machine?)"},
  };
  Lines definitions;
  for (const Case &each : cases)
    definitions.push_back(std::string(each.name) + ";" + each.path + ";;0;0;");
  node.define(definitions);
  const auto daemon = node.startedDaemon({"-v"});
  for (const Case &each : cases) {
    daemon->waitForErrorLine(
        errorLine("exeRun: executable '" + each.path + "' launch failed with status " + std::to_string(each.result)));
    const std::string text = "cannot start " + each.path + ": " + each.reason;
    EXPECT_EQ(node.waitForEvent(orv::EventKind::LAUNCH_FAILED, each.path + ": ").text, text);
    EXPECT_EQ(node.waitForEvent(orv::EventKind::LOG, text).code, 4U);
    EXPECT_EQ(node.waitForEu(each.name, orv::EuState::LAUNCH_FAILED).result, each.result);
  }
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonPrograms, EusOfAProgramAreNotThoseOfTheNode) {
  node.define({"app;" + node.program() + ";make-eus 5;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  const orv::Event event = node.waitForEvent(orv::EventKind::LOG, "EU 5 of a program");
  EXPECT_EQ(event.euId, 0U);
  const uint32_t pid = node.waitForEvent(orv::EventKind::PROGRAM_STARTED, "").pid;
  EXPECT_NE(event.pid, pid) << "it is the program's own line";
  for (const orv::EuRecord &eu : node.eus())
    EXPECT_NE(eu.name, "programsOwn") << eu.id;
  EXPECT_EQ(node.waitForEu("app", orv::EuState::RUNNING).path, node.program());
  expectGracefulEnd(*daemon);
}
