// Whole boots with applications: what happens around their start, their failures and the resets that these ask for.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

constexpr const char *WATCHDOG_TAG = "orv.service.aapro.watchdog_enabled";

Scenario nodeWith(const std::string &applications) {
  Scenario scenario;
  scenario.files["/rom/AppDef.txt"] = applications;
  return scenario;
}

ProgramBehaviour programThatEnds(const std::string &path, uint64_t afterMs, int32_t waitStatus) {
  ProgramBehaviour program;
  program.path = path;
  program.runsForMs = afterMs;
  program.waitStatus = waitStatus;
  return program;
}

}  // namespace

TEST(ApplicationBootConformance, SentinelsGetCopiesOfTheirRecordsAndOutliveTheStartUp) {
  Scenario scenario = nodeWith("a;/a;\"-x 1\";7;0;\nb;/b;-y;;2;\nc;/c;;;1;\n");
  scenario.programs = {programThatEnds("/a", 3000, 0), programThatEnds("/b", 1000, 0),
                       programThatEnds("/c", 2000, 512)};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(linesOf(result.trace, "2:a"), R"(
      0.000 2:a AaProEuCurrent() = 2
      0.000 2:a Info: exeRun: executable '/a'(-x 1) starting under sentinel EU 0x2 with supervision flags 0
      0.000 2:a AaProCmdExec("/a", "-x 1", 0x0)
      3.000 2:a AaProCmdExec("/a") = 0, status 0
      3.000 2:a Info: exeRun: executable '/a' terminated successfully
      3.000 2:a ends)"));
  EXPECT_TRUE(isTrace(linesOf(result.trace, "3:b"), R"(
      0.000 3:b AaProEuCurrent() = 3
      0.000 3:b Info: exeRun: executable '/b'(-y) starting under sentinel EU 0x3 with supervision flags 0x2
      0.000 3:b AaProCmdExec("/b", "-y", 0x2)
      1.000 3:b AaProCmdExec("/b") = 0, status 0
      1.000 3:b Info: exeRun: executable '/b' terminated successfully
      1.000 3:b ends)"));
  EXPECT_TRUE(isTrace(linesOf(result.trace, "4:c"), R"(
      0.000 4:c AaProEuCurrent() = 4
      0.000 4:c Info: exeRun: executable '/c'() starting under sentinel EU 0x4 with supervision flags 0x1
      0.000 4:c AaProCmdExec("/c", "", 0x1)
      2.000 4:c AaProCmdExec("/c") = 5, status 512
      2.000 4:c Error: exeRun: executable '/c' failed with status 2
      2.000 4:c AaErrorExceptionRaise(0, 0x12345678, 0, 0, "failure of application c", "ORV_Daemon/src/OrvDaemon", 900)
      2.000 4:c ends)"));
  EXPECT_TRUE(isTrace(linesWith(result.trace, "start-up complete\""), R"(
      0.000 1:ceInternalStartupEu AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, appStart: application start-up complete"
      0.000 1:ceInternalStartupEu AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, ceInternalStartup: CE start-up complete")"));
}

// The first comes online, the second never does: the third is not started, since the board goes down before.
TEST(ApplicationBootConformance, ApplicationThatDoesNotComeOnlineResetsTheBoard) {
  Scenario scenario = nodeWith("a;/a;;;;a.up\nb;/b;;;;b.up\nc;/c;;;;c.up\n");
  scenario.tags[WATCHDOG_TAG] = {};
  scenario.programs.resize(1);
  scenario.programs[0].path = "/a";
  scenario.programs[0].sets = {{"a.up", {}, 25}};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.end, End::RESET);
  EXPECT_EQ(result.outcome.atMs, 270050u);
  EXPECT_TRUE(isTrace(linesWith(result.trace, "AaProEuCreateAndStart("), R"(
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 2
      0.050 1:ceInternalStartupEu AaProEuCreateAndStart("b", 4132, 31, context + 808 bytes) = 0, EU 3)"));
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "readyWait: b.up tag not set in time\"", "node end: board reset"), R"(
      240.050 1:ceInternalStartupEu AaSysLogPrint(4, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, readyWait: b.up tag not set in time"
      240.050 1:ceInternalStartupEu Error: appStartAll: timed out waiting for application b to go online, resetting
      240.050 1:ceInternalStartupEu AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
      240.050 1:ceInternalStartupEu AaConfigRadGetValue(0x10077) = 0
      240.050 1:ceInternalStartupEu Info: boardReset: adding 30 s delay before reset
      240.050 1:ceInternalStartupEu AaSysTimeSleep(30, 4) = 0
      270.050 1:ceInternalStartupEu Info: boardReset: doing hardware reset
      270.050 1:ceInternalStartupEu ddal_watchdog_reboot() = 0
      270.050 node end: board reset)"));
}

// The sentinel acts on the failure at once, the start-up on the missing tag when its time is over: two resets, each
// with a delay of its own.
TEST(ApplicationBootConformance, ApplicationThatFailsBeforeItsTagIsActedOnTwice) {
  Scenario scenario = nodeWith("radio;/radio;-c;0;3;radio.up\n");
  scenario.tags[WATCHDOG_TAG] = {};
  scenario.reset = {0, false};
  scenario.programs = {programThatEnds("/radio", 5000, 9)};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(linesOf(result.trace, "2:radio"), R"(
      0.000 2:radio AaProEuCurrent() = 2
      0.000 2:radio Info: exeRun: executable '/radio'(-c) starting under sentinel EU 0x2 with supervision flags 0x3
      0.000 2:radio AaProCmdExec("/radio", "-c", 0x3)
      5.000 2:radio AaProCmdExec("/radio") = 5, status 9
      5.000 2:radio Error: exeRun: executable '/radio' exited due to signal 9
      5.000 2:radio AaErrorExceptionRaise(0, 0x12345678, 0, 0, "failure of application radio", "ORV_Daemon/src/OrvDaemon", 900)
      5.000 2:radio Info: appSentinel: supervised application radio failed, requesting system reset
      5.000 2:radio AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
      5.000 2:radio AaConfigRadGetValue(0x10077) = 0
      5.000 2:radio Info: boardReset: adding 30 s delay before reset
      5.000 2:radio AaSysTimeSleep(30, 4) = 0
      35.000 2:radio Info: boardReset: doing hardware reset
      35.000 2:radio ddal_watchdog_reboot() = 0
      35.000 2:radio ends)"));
  EXPECT_TRUE(
      isTrace(linesBetween(result.trace, "radio.up tag not set in time\"", "sem_init(semaphore 1, 0, 0) = 0"), R"(
      240.000 1:ceInternalStartupEu AaSysLogPrint(4, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, readyWait: radio.up tag not set in time"
      240.000 1:ceInternalStartupEu Error: appStartAll: timed out waiting for application radio to go online, resetting
      240.000 1:ceInternalStartupEu AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
      240.000 1:ceInternalStartupEu AaConfigRadGetValue(0x10077) = 0
      240.000 1:ceInternalStartupEu Info: boardReset: adding 30 s delay before reset
      240.000 1:ceInternalStartupEu AaSysTimeSleep(30, 4) = 0
      270.000 1:ceInternalStartupEu Info: boardReset: doing hardware reset
      270.000 1:ceInternalStartupEu ddal_watchdog_reboot() = 0
      270.000 1:ceInternalStartupEu Info: appStart: application start-up complete
      270.000 1:ceInternalStartupEu AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
      270.000 1:ceInternalStartupEu AaSysComGetOwnNid() = 0x0
      270.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0xfffe, payload 4 bytes) = 0
      270.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0)"));
}

// A reset that one application asks for while another is still waited for ends the boot in the middle of that wait.
TEST(ApplicationBootConformance, FailureResetsTheBoardDuringTheStartOfAnother) {
  Scenario scenario = nodeWith("a;/a;;;2;\nb;/b;;;0;b.up\n");
  scenario.tags[WATCHDOG_TAG] = {};
  scenario.programs = {programThatEnds("/a", 1020, 256)};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.end, End::RESET);
  EXPECT_EQ(result.outcome.atMs, 31020u);
  EXPECT_TRUE(
      isTrace(linesBetween(linesOf(result.trace, "2:a"), "AaProCmdExec(\"/a\") = 5, status 256", "reboot() = 0"), R"(
      1.020 2:a AaProCmdExec("/a") = 5, status 256
      1.020 2:a Error: exeRun: executable '/a' failed with status 1
      1.020 2:a Info: appSentinel: supervised application a failed, requesting system reset
      1.020 2:a AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
      1.020 2:a AaConfigRadGetValue(0x10077) = 0
      1.020 2:a Info: boardReset: adding 30 s delay before reset
      1.020 2:a AaSysTimeSleep(30, 4) = 0
      31.020 2:a Info: boardReset: doing hardware reset
      31.020 2:a ddal_watchdog_reboot() = 0)"));
  EXPECT_TRUE(linesWith(result.trace, "start-up complete").empty());
}

TEST(ApplicationBootConformance, TwoFailuresAskForTwoResets) {
  Scenario scenario = nodeWith("a;/a;;;2;\nb;/b;;;2;\n");
  scenario.tags[WATCHDOG_TAG] = {};
  scenario.reset = {-5, true};
  scenario.programs = {programThatEnds("/a", 1000, 256), programThatEnds("/b", 11000, 9)};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.end, End::EXIT);
  TraceLines resets = linesWith(result.trace, "boardReset: ");
  std::erase_if(resets, [](const std::string &line) { return line.find("AaSysLogPrint") != line.npos; });
  EXPECT_TRUE(isTrace(resets, R"(
      1.000 2:a err: Info/ORV/OrvDaemon, boardReset: adding 30 s delay before reset
      11.000 3:b err: Info/ORV/OrvDaemon, boardReset: adding 30 s delay before reset
      31.000 2:a err: Info/ORV/OrvDaemon, boardReset: doing hardware reset
      31.000 2:a err: Info/ORV/OrvDaemon, boardReset: reset failed (-5)
      41.000 3:b err: Info/ORV/OrvDaemon, boardReset: doing hardware reset
      41.000 3:b err: Info/ORV/OrvDaemon, boardReset: reset failed (-5))"));
}

TEST(ApplicationBootConformance, ApplicationsAreNeverRestarted) {
  for (const int32_t waitStatus : {0, 256, 9}) {
    SCOPED_TRACE(waitStatus);
    Scenario scenario = nodeWith("a;/a;;;3;\n");
    scenario.programs = {programThatEnds("/a", 10, waitStatus)};
    EXPECT_EQ(linesWith(boot(scenario, {"-v"}).trace, "AaProCmdExec(\"/a\", ").size(), 1u);
  }
}

TEST(ApplicationBootConformance, FileOf70DefinitionsStartsTheFirst64) {
  std::string content;
  for (int i = 0; i < 70; ++i)
    content += "a" + std::to_string(i) + ";/a" + std::to_string(i) + ";;;;\n";
  const TraceLines creations = linesWith(boot(nodeWith(content), {"-v"}).trace, "AaProEuCreateAndStart(");
  ASSERT_EQ(creations.size(), 64u);
  EXPECT_TRUE(isTrace({creations.front(), creations.back()}, R"(
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("a0", 4132, 31, context + 808 bytes) = 0, EU 2
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("a63", 4132, 31, context + 808 bytes) = 0, EU 65)"));
}
