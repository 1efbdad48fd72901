// Applications of the definition file: which are started, what their failures lead to, and which files are taken.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;

class DaemonApplications : public DaemonTest {
 protected:
  // Runs one application with exit code 1 and the flags given, to its sentinel's end.
  Lines linesOfAFailure(int flags) {
    node.define({"app;" + node.program() + ";exit 1;0;" + std::to_string(flags) + ";"});
    const auto daemon = node.startedDaemon({"-v"});
    node.waitForFinishedEu("app");
    expectGracefulEnd(*daemon);
    EXPECT_EQ(countLinesWith(errorLine("exeRun: executable '" + node.program() + "' failed with status 1"),
                             daemon->errorLines()),
              1U);
    return daemon->errorLines();
  }
  // Starts a daemon whose definition file `name` is not taken.
  void expectInaccessible(const std::string &name) {
    const auto daemon = node.startedDaemon({"-c", "app.hwapi.appcfg.filename=" + name});
    EXPECT_EQ(withoutLinesOf({"shutdown", "systemdNotify", "fullStartup", "exeStart"}, daemon->errorLines()).size(),
              5U);
    EXPECT_EQ(
        countLinesWith(errorLine("parseAppExeDefFile: application definition file inaccessible"), daemon->errorLines()),
        1U);
    EXPECT_EQ(countLinesWith(infoLine("appStart: application start-up complete"), daemon->errorLines()), 1U);
    expectGracefulEnd(*daemon);
  }
};

const std::string RESET_ASKED = infoLine("appSentinel: supervised application app failed, requesting system reset");
const std::string RESET_DISABLED = infoLine("boardReset: hardware reset requested, but disabled");
const std::string ERROR_OF_APP = "kind 0, code 0x12345678: failure of application app [ORV_Daemon/src/OrvDaemon:900]";

}  // namespace

TEST_F(DaemonApplications, FailureWithFlagsZeroIsLoggedOnly) {
  const Lines lines = linesOfAFailure(0);
  EXPECT_EQ(countLinesWith(RESET_ASKED, lines), 0U);
  EXPECT_EQ(node.raisedErrors(), Lines());
}

TEST_F(DaemonApplications, FailureWithFlagsOneRaisesAnError) {
  const Lines lines = linesOfAFailure(1);
  EXPECT_EQ(countLinesWith(RESET_ASKED, lines), 0U);
  EXPECT_EQ(node.raisedErrors(1), Lines{ERROR_OF_APP});
}

TEST_F(DaemonApplications, FailureWithFlagsTwoAsksForAReset) {
  const Lines lines = linesOfAFailure(2);
  EXPECT_EQ(countLinesWith(RESET_ASKED, lines), 1U);
  EXPECT_EQ(countLinesWith(RESET_DISABLED, lines), 1U);
  EXPECT_EQ(node.raisedErrors(), Lines());
}

TEST_F(DaemonApplications, FailureWithFlagsThreeRaisesAnErrorAndAsksForAReset) {
  const Lines lines = linesOfAFailure(3);
  EXPECT_EQ(countLinesWith(RESET_ASKED, lines), 1U);
  EXPECT_EQ(countLinesWith(RESET_DISABLED, lines), 1U);
  EXPECT_EQ(node.raisedErrors(1), Lines{ERROR_OF_APP});
}

TEST_F(DaemonApplications, ResetIsDisabledByTheDevelopmentParameterToo) {
  node.configure(
      "<tags><tag name=\"orv.service.aapro.watchdog_enabled\">yes</tag></tags>"
      "<rad><parameter number=\"0x10077\" value=\"1\"/></rad>");
  const Lines lines = linesOfAFailure(2);
  EXPECT_EQ(countLinesWith(RESET_DISABLED, lines), 1U);
  EXPECT_EQ(countLinesWith("boardReset: ", lines), 1U);
}

TEST_F(DaemonApplications, SuccessIsNoReasonForAnything) {
  node.define({"app;" + node.program() + ";exit 0;0;3;"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForFinishedEu("app");
  expectGracefulEnd(*daemon);
  EXPECT_EQ(countLinesWith(infoLine("exeRun: executable '" + node.program() + "' terminated successfully"),
                           daemon->errorLines()),
            1U);
  EXPECT_EQ(countLinesWith("exeRun: ", daemon->errorLines()), 2U) << "it is not started again";
  EXPECT_EQ(countLinesWith(RESET_ASKED, daemon->errorLines()), 0U);
  EXPECT_EQ(node.raisedErrors(), Lines());
}

TEST_F(DaemonApplications, MissingProgramIsAFailureLikeAnyOther) {
  node.define({"app;" + node.path("none") + ";;0;3;"});
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForFinishedEu("app");
  expectGracefulEnd(*daemon);
  EXPECT_EQ(countLinesWith(errorLine("exeRun: executable '" + node.path("none") + "' launch failed with status 2"),
                           daemon->errorLines()),
            1U);
  EXPECT_EQ(countLinesWith(RESET_ASKED, daemon->errorLines()), 1U);
  EXPECT_EQ(node.raisedErrors(1), Lines{ERROR_OF_APP});
}

TEST_F(DaemonApplications, NextIsStartedOnlyWhenTheOneBeforeIsOnline) {
  node.define({"first;" + node.program() + ";stay;0;0;first.online", "second;" + node.program() + ";stay;0;0;"});
  const auto daemon = node.daemon({"-v"});
  daemon->waitForOutputLineWith("running ");
  daemon->waitForErrorLine(infoLine("readyWait: waiting 240000 ms for first.online to be set"));
  for (const orv::EuRecord &eu : node.eus())
    EXPECT_NE(eu.name, "second");
  EXPECT_EQ(node.orvctl({"tag", "set", "first.online", "1"}).waitStatus, 0);
  daemon->waitForErrorLine(infoLine("readyWait: first.online tag set in time"));
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  daemon->waitForOutputLineWith("running ", 2);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonApplications, SixtyFourRun) {
  Lines definitions;
  for (int i = 1; i <= 64; ++i) {
    definitions.push_back("app" + std::to_string(i) + ";" + node.program() + ";stay;0;0;");
  }
  node.define(definitions);
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("running ", 64);
  for (int i = 1; i <= 64; ++i)
    node.waitForEu("app" + std::to_string(i), orv::EuState::RUNNING);
  EXPECT_EQ(livingPrograms().size(), 65U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonApplications, DefinitionsBeyondTheSixtyFourthAreIgnored) {
  Lines definitions;
  for (int i = 1; i <= 70; ++i) {
    definitions.push_back("app" + std::to_string(i) + ";" + node.program() + ";exit 0;0;0;");
  }
  node.define(definitions);
  const auto daemon = node.startedDaemon({"-v"});
  for (int i = 1; i <= 64; ++i)
    node.waitForFinishedEu("app" + std::to_string(i));
  expectGracefulEnd(*daemon);
  EXPECT_EQ(node.eus().size(), 65U) << "the internal start-up and 64 sentinels";
  EXPECT_EQ(countLinesWith("starting under sentinel EU", daemon->errorLines()), 64U);
  EXPECT_EQ(countLinesWith("terminated successfully", daemon->errorLines()), 64U);
}

TEST_F(DaemonApplications, MalformedLinesAreNoHindranceToTheOthers) {
  const std::string program = node.program();
  node.writeFile("AppDef.txt", "#" + program +
                                   ";comment\r\n\r\nbad line without separators\r\nno path;;;;;never.set\r\n" +
                                   "short;" + program + ";exit 0;7;2\r\n" + std::string(900, 'x') + "\r\n" + "a name " +
                                   std::string(300, 'n') + ";" + program + ";\"exit 0\";;;\r\n" +
                                   std::string("a\0b", 3) + "\nlast;" + program + ";exit 0;x;y;");
  const auto daemon = node.startedDaemon({"-v"});
  node.waitForFinishedEu("short");
  node.waitForFinishedEu("last");
  const std::string cut = ("a name " + std::string(300, 'n')).substr(0, 31);
  node.waitForFinishedEu(cut);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(node.eus().size(), 4U);
  EXPECT_EQ(countLinesWith("'(exit 0) starting under sentinel EU 0x2 with supervision flags 0", daemon->errorLines()),
            1U);
  EXPECT_EQ(countLinesWith("readyWait: ", daemon->errorLines()), 0U);
}

TEST_F(DaemonApplications, MissingFileIsAnErrorAndTheStartupGoesOn) {
  expectInaccessible(node.path("none.txt"));
}

TEST_F(DaemonApplications, MissingFileIsAWarningWhereItIsOptional) {
  node.configure("<rad><parameter number=\"0x10063\" value=\"1\"/></rad>");
  const auto daemon = node.startedDaemon({"-c", "app.hwapi.appcfg.filename=" + node.path("none.txt")});
  EXPECT_EQ(countLinesWith(warningLine("parseAppExeDefFile: application definition file inaccessible, but not required "
                                       "due to RAD tag 0x10063"),
                           daemon->errorLines()),
            1U);
  EXPECT_EQ(countLinesWith(infoLine("appStart: application start-up complete"), daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonApplications, DirectoryIsNoDefinitionFile) {
  expectInaccessible(node.path("node"));
}

TEST_F(DaemonApplications, DeviceIsNoDefinitionFile) {
  expectInaccessible("/dev/zero");
}

TEST_F(DaemonApplications, FifoIsNoDefinitionFile) {
  ASSERT_EQ(mkfifo(node.path("fifo").c_str(), 0600), 0);
  expectInaccessible(node.path("fifo"));
}

TEST_F(DaemonApplications, FileNameComesFromTheCommandLineBeforeTheConfiguration) {
  node.define({"configured;" + node.program() + ";stay;0;0;"});
  node.writeFile("Other.txt", "named;" + node.program() + ";stay;0;0;\n");
  const auto daemon = node.startedDaemon({"-c", "app.hwapi.appcfg.filename=" + node.path("Other.txt")});
  EXPECT_NE(daemon->waitForOutputLineWith("running ").find(" named"), std::string::npos);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(node.eus().size(), 2U);
}

TEST_F(DaemonApplications, RepairAndResetTagsDisableThem) {
  node.define({"app;" + node.program() + ";stay;0;0;"});
  for (const char *tags : {"sys.repair.center.reset=1", "sys.configuration.reset=0",
                           "sys.repair.center.reset=1,sys.configuration.reset=1"}) {
    const auto daemon = node.startedDaemon({"-c", tags});
    EXPECT_EQ(countLinesWith("appStart: ", daemon->errorLines()), 1U);
    EXPECT_EQ(
        countLinesWith(infoLine("appStart: repair/reset tag set, application start-up disabled"), daemon->errorLines()),
        1U);
    EXPECT_EQ(livingPrograms(), std::vector<pid_t>{daemon->pid()});
    expectGracefulEnd(*daemon);
  }
}
