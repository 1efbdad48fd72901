// The daemon's main path, from the banner to the success line, with real programs.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;
using DaemonEndToEnd = DaemonTest;

// The first line without the build that it names.
std::string cutBanner(const std::string &line) {
  const std::string beginning = "RT-ORV build @(#) OrvDaemon ";
  return line.substr(0, beginning.size());
}

}  // namespace

TEST_F(DaemonEndToEnd, EmptyNodeWritesItsLinesInOrder) {
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011"});
  expectGracefulEnd(*daemon);

  Lines lines = daemon->errorLines();
  lines[0] = cutBanner(lines[0]);
  EXPECT_EQ(withoutLinesOf({"shutdown"}, lines), (Lines{
                                                     "RT-ORV build @(#) OrvDaemon ",
                                                     infoLine("systemdNotify: sending notification to systemd"),
                                                     "NID set to 0x1011",
                                                     "Master NID value in RT startup 0x0000",
                                                     infoLine("fullStartup: CE start-up"),
                                                     infoLine("exeStart: no executable configured, skipping"),
                                                     infoLine("appStart: application start-up"),
                                                     infoLine("appStart: application start-up complete"),
                                                     infoLine("ceInternalStartup: CE start-up complete"),
                                                     "OrvDaemon - Got SIGTERM",
                                                     "Initiated ORV-RT CE level shutdown",
                                                     infoLine("ceInternalStartup: Daemon termination initiated"),
                                                     "OrvDaemon: returned success",
                                                 }));
  EXPECT_EQ(countLinesWith(infoLine("shutdown: Initiated CE level shutdown"), lines), 1U);
  EXPECT_EQ(daemon->outputLines(), Lines());
}

TEST_F(DaemonEndToEnd, NodeWithAnExecutableAndApplicationsWritesItsLinesInOrder) {
  node.define({
      "# name;path;arguments;reserved;flags;online tag",
      "radio;" + node.program() + ";\"online app.radio.online\";0;3;app.radio.online",
      "logger;" + node.program() + ";stay;0;0;",
  });
  const std::string exe = node.program();
  const auto daemon =
      node.startedDaemon({"--startup=nid=0x1011,cename=myCe,executable=" + exe + " online exe.online#exe.online"});
  node.waitForEu("logger", orv::EuState::RUNNING);
  expectGracefulEnd(*daemon);

  Lines lines = daemon->errorLines();
  lines[0] = cutBanner(lines[0]);
  EXPECT_EQ(withoutLinesOf({"shutdown", "exeRun"}, lines),
            (Lines{
                "RT-ORV build @(#) OrvDaemon ",
                infoLine("systemdNotify: sending notification to systemd"),
                "NID set to 0x1011",
                "CE name set to myCe",
                "Start executable '" + exe + " online exe.online#exe.online'",
                "Master NID value in RT startup 0x0000",
                infoLine("fullStartup: CE start-up"),
                infoLine("parseExeDefs: Executables: " + exe + " online exe.online#exe.online"),
                infoLine("parseExeDefs: Executable '" + exe + "' has arguments '" + exe +
                         "' and online tag to wait 'exe.online'"),
                infoLine("exeStartAll: Executable '" + exe + "' starting"),
                infoLine("readyWait: waiting 240000 ms for exe.online to be set"),
                infoLine("readyWait: exe.online tag set in time"),
                infoLine("appStart: application start-up"),
                infoLine("readyWait: waiting 240000 ms for app.radio.online to be set"),
                infoLine("readyWait: app.radio.online tag set in time"),
                infoLine("appStart: application start-up complete"),
                infoLine("ceInternalStartup: CE start-up complete"),
                "OrvDaemon - Got SIGTERM",
                "Initiated ORV-RT CE level shutdown",
                infoLine("ceInternalStartup: Daemon termination initiated"),
                "OrvDaemon: returned success",
            }));
  // The EUs are numbered as they are created; the internal start-up has the first number.
  for (const std::string &started : {
           exe + "'(online exe.online) starting under sentinel EU 0x2 with supervision flags 0x2",
           exe + "'(online app.radio.online) starting under sentinel EU 0x3 with supervision flags 0x3",
           exe + "'(stay) starting under sentinel EU 0x4 with supervision flags 0",
       }) {
    EXPECT_EQ(countLinesWith(infoLine("exeRun: executable '" + started), lines), 1U) << started;
  }
  EXPECT_EQ(countLinesWith("exeRun: ", lines), 3U) << "a shutdown is no failure of the programs";
  EXPECT_EQ(node.raisedErrors(), Lines());
}

TEST_F(DaemonEndToEnd, OutputOfTheProgramsGoesWhereTheDaemonsGoes) {
  node.define({"teller;" + node.program() + ";print-args one two;0;0;"});
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("arguments 2");
  EXPECT_EQ(daemon->outputLines(), (Lines{"argument [one]", "argument [two]", "arguments 2"}));
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonEndToEnd, RunsOfOneNodeFollowEachOther) {
  node.define({"app;" + node.program() + ";online app.online;0;0;app.online"});
  for (int run = 0; run < 3; ++run) {
    // The tag of the run before has to be forgotten, else the wait would be over before the program has set it.
    const auto daemon = node.startedDaemon({"-c", "run=" + std::to_string(run)});
    daemon->waitForOutputLineWith("online app.online");
    EXPECT_EQ(node.tagText("run"), "u32 " + std::to_string(run));
    EXPECT_EQ(countLinesWith("application start-up complete", daemon->errorLines()), 1U);
    expectGracefulEnd(*daemon);
  }
}

TEST_F(DaemonEndToEnd, EverySystemLogLineIsAmongTheEvents) {
  const auto daemon = node.startedDaemon({"-v"});
  expectGracefulEnd(*daemon);
  Lines logged;
  for (const orv::Event &event : node.events()) {
    if (event.kind == orv::EventKind::LOG && event.text.starts_with("ORV/OrvDaemon, ")) logged.push_back(event.text);
  }
  Lines written;
  for (const std::string &line : daemon->errorLines()) {
    const size_t slash = line.find("/ORV/OrvDaemon, ");
    if (slash != std::string::npos) written.push_back(line.substr(slash + 1));
  }
  std::sort(logged.begin(), logged.end());
  std::sort(written.begin(), written.end());
  EXPECT_EQ(logged, written);
}
