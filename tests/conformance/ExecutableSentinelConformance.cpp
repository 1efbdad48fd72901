// The executables' sentinels and the wait for their online tags: one budget for all of them, and the errors raised.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "Executables.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;

ExeDef definitionOf(const std::string &path, const std::string &args, uint32_t supervisionFlags,
                    const std::string &onlineTag) {
  ExeDef definition = {};
  std::strcpy(definition.path, path.c_str());
  std::strcpy(definition.args, args.c_str());
  definition.supervisionFlags = supervisionFlags;
  std::strcpy(definition.onlineTag, onlineTag.c_str());
  return definition;
}

// Executables /opt/a, /opt/b and /opt/c with these tags.
ExeDefTable tableOf(const std::vector<std::string> &tags) {
  const char *const paths[] = {"/opt/a", "/opt/b", "/opt/c"};
  ExeDefTable table = {};
  for (const std::string &tag : tags) {
    table.definitions[table.count] = definitionOf(paths[table.count], "-v", tag.empty() ? 0 : 2, tag);
    ++table.count;
  }
  return table;
}

struct OnlineWait {
  int result = -1;
  TraceLines trace;
};

OnlineWait waitFor(const ExeDefTable &table, const Scenario &scenario) {
  OnlineWait outcome;
  outcome.trace = simulate(scenario, [&] { outcome.result = exeOnlineWait(CONTEXT, table); }).trace;
  return outcome;
}

ProgramBehaviour programThatEnds(const std::string &path, uint64_t afterMs, int32_t waitStatus) {
  ProgramBehaviour program;
  program.path = path;
  program.runsForMs = afterMs;
  program.waitStatus = waitStatus;
  return program;
}

}  // namespace

// Whatever its flags and whatever the node: the sentinel of an executable reports and never resets the board.
TEST(ExecutableSentinelConformance, SentinelRaisesAnErrorUnlessTheProgramExitsWithZero) {
  constexpr const char *RAISE =
      "\n0.010 main AaErrorExceptionRaise(1, 0x1004b, 0, 0, \"failure of executable /opt/x\", "
      "\"ORV_Daemon/src/OrvDaemon\", 1186)";
  const struct {
    int32_t waitStatus;
    const char *result;
    const char *line;
    const char *raise;
  } cases[] = {
      {0, "0, status 0", "Info: exeRun: executable '/opt/x' terminated successfully", ""},
      {256, "5, status 256", "Error: exeRun: executable '/opt/x' failed with status 1", RAISE},
      {0xff00, "5, status 65280", "Error: exeRun: executable '/opt/x' failed with status 255", RAISE},
      {9, "5, status 9", "Error: exeRun: executable '/opt/x' exited due to signal 9", RAISE},
      {4991, "5, status 4991", "Error: exeRun: executable '/opt/x' exited abnormally", RAISE},
  };
  const struct {
    uint32_t flags;
    const char *flagsText;
    const char *flagsPassed;
  } flagCases[] = {{0, "0", "0x0"}, {1, "0x1", "0x1"}, {2, "0x2", "0x2"}, {3, "0x3", "0x3"}};
  for (const auto &row : cases) {
    for (const auto &flagRow : flagCases) {
      SCOPED_TRACE(std::string(row.result) + ", flags " + flagRow.flagsText);
      Scenario scenario;
      scenario.tags["orv.service.aapro.watchdog_enabled"] = {};
      scenario.programs = {programThatEnds("/opt/x", 10, row.waitStatus)};
      const ExeDef definition = definitionOf("/opt/x", "-a -b", flagRow.flags, "x.up");
      const SimulatedBoot result = simulate(scenario, [&] { exeSentinel(CONTEXT, definition); });
      EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), R"(
          0.000 main AaProEuCurrent() = 0
          0.000 main Info: exeRun: executable '/opt/x'(-a -b) starting under sentinel EU 0 with supervision flags )" +
                                                             std::string(flagRow.flagsText) + R"(
          0.000 main AaProCmdExec("/opt/x", "-a -b", )" + flagRow.flagsPassed +
                                                             R"()
          0.010 main AaProCmdExec("/opt/x") = )" + row.result +
                                                             "\n0.010 main " + row.line + row.raise));
    }
  }
}

TEST(ExecutableSentinelConformance, ProgramThatCannotBeStartedIsAFailure) {
  Scenario scenario;
  scenario.calls.push_back({"AaProCmdExec", 0, "/opt/x", 2});
  const ExeDef definition = definitionOf("/opt/x", "", 0, "");
  const SimulatedBoot result = simulate(scenario, [&] { exeSentinel(CONTEXT, definition); });
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main AaProEuCurrent() = 0
      0.000 main Info: exeRun: executable '/opt/x'() starting under sentinel EU 0 with supervision flags 0
      0.000 main AaProCmdExec("/opt/x", "", 0x0) = 2
      0.000 main Error: exeRun: executable '/opt/x' launch failed with status 2
      0.000 main AaErrorExceptionRaise(1, 0x1004b, 0, 0, "failure of executable /opt/x", "ORV_Daemon/src/OrvDaemon", 1186)
      0.000 node end: exit status 0)"));
}

TEST(ExecutableSentinelConformance, WithoutTagsNothingIsWaitedFor) {
  for (const auto &tags : {std::vector<std::string>{}, {""}, {"", "", ""}}) {
    SCOPED_TRACE(tags.size());
    const OnlineWait outcome = waitFor(tableOf(tags), {});
    EXPECT_EQ(outcome.result, 1);
    EXPECT_TRUE(isTrace(outcome.trace, R"(
        0.000 main AaConfigRadGetValue(0x10070) = 0
        0.000 node end: exit status 0)"));
  }
}

TEST(ExecutableSentinelConformance, BudgetIsTheParametersOrTheDefault) {
  const struct {
    uint32_t rad;
    const char *budget;
    const char *sleeps;
    const char *end;
  } cases[] = {
      {0, "240000", "4800", "240.000"},
      {1, "1", "1", "0.050"},
      {49, "49", "1", "0.050"},
      {50, "50", "1", "0.050"},
      {51, "51", "2", "0.100"},
      {99, "99", "2", "0.100"},
      {100, "100", "2", "0.100"},
      {120, "120", "3", "0.150"},
      {1000, "1000", "20", "1.000"},
      {239999, "239999", "4800", "240.000"},
      {240001, "240001", "4801", "240.050"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.rad);
    Scenario scenario;
    scenario.rad[0x10070] = row.rad;
    const OnlineWait outcome = waitFor(tableOf({"x.up"}), scenario);
    EXPECT_EQ(outcome.result, 0);
    const std::string end = std::string("\n") + row.end;
    std::string expected = "0.000 main AaConfigRadGetValue(0x10070) = " + std::to_string(row.rad);
    expected += std::string("\n0.000 main Info: readyWait: waiting ") + row.budget + " ms for x.up to be set";
    expected += std::string("\n0.000 main polls \"x.up\" ") + row.sleeps + " times";
    expected += end + " main AaConfigTagIsSet(\"x.up\") = 0";
    expected += end + " main Error: readyWait: x.up tag not set in time";
    expected += end +
                " main AaErrorExceptionRaise(1, 0x1004b, 0, 0, \"x.up tag not set in time for executable /opt/a\", "
                "\"ORV_Daemon/src/OrvDaemon\", 1317)";
    EXPECT_TRUE(isTrace(outcome.trace, expected + end + " node end: exit status 0"));
  }
}

// Too long to be waited for here, even in virtual time: the tag is there.
TEST(ExecutableSentinelConformance, BudgetMayBeAnyNumberOf32Bits) {
  for (const char *budget : {"3600001", "2147483647", "2147483648", "4294967295"}) {
    SCOPED_TRACE(budget);
    Scenario scenario;
    scenario.rad[0x10070] = static_cast<uint32_t>(std::stoul(budget));
    scenario.tags["x.up"] = {};
    EXPECT_TRUE(isTrace(waitFor(tableOf({"x.up"}), scenario).trace,
                        std::string("0.000 main AaConfigRadGetValue(0x10070) = ") + budget +
                            "\n0.000 main Info: readyWait: waiting " + budget + R"( ms for x.up to be set
        0.000 main AaConfigTagIsSet("x.up") = 1
        0.000 main Info: readyWait: x.up tag set in time
        0.000 node end: exit status 0)"));
  }
}

TEST(ExecutableSentinelConformance, TagsAreWaitedForInOrderOutOfOneBudget) {
  Scenario scenario;
  scenario.timedTags = {{"a.up", {}, 1000}, {"b.up", {}, 30}, {"c.up", {}, 1100}};
  const OnlineWait outcome = waitFor(tableOf({"a.up", "b.up", "c.up"}), scenario);
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(isTrace(linesOf(outcome.trace, "main"), R"(
      0.000 main AaConfigRadGetValue(0x10070) = 0
      0.000 main Info: readyWait: waiting 240000 ms for a.up to be set
      0.000 main polls "a.up" 20 times
      1.000 main AaConfigTagIsSet("a.up") = 1
      1.000 main Info: readyWait: a.up tag set in time
      1.000 main Info: readyWait: waiting 239000 ms for b.up to be set
      1.000 main AaConfigTagIsSet("b.up") = 1
      1.000 main Info: readyWait: b.up tag set in time
      1.000 main Info: readyWait: waiting 239000 ms for c.up to be set
      1.000 main polls "c.up" 2 times
      1.100 main AaConfigTagIsSet("c.up") = 1
      1.100 main Info: readyWait: c.up tag set in time)"));
}

TEST(ExecutableSentinelConformance, FirstTagThatIsNotSetEndsTheWaitForAll) {
  Scenario scenario;
  scenario.rad[0x10070] = 1000;
  scenario.tags["b.up"] = {};
  const OnlineWait outcome = waitFor(tableOf({"a.up", "b.up"}), scenario);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main AaConfigRadGetValue(0x10070) = 1000
      0.000 main Info: readyWait: waiting 1000 ms for a.up to be set
      0.000 main polls "a.up" 20 times
      1.000 main AaConfigTagIsSet("a.up") = 0
      1.000 main Error: readyWait: a.up tag not set in time
      1.000 main AaErrorExceptionRaise(1, 0x1004b, 0, 0, "a.up tag not set in time for executable /opt/a", "ORV_Daemon/src/OrvDaemon", 1317)
      1.000 node end: exit status 0)"));
}

TEST(ExecutableSentinelConformance, UsedUpBudgetAcceptsATagThatIsSetAndNoOther) {
  Scenario scenario;
  scenario.rad[0x10070] = 100;
  scenario.timedTags = {{"a.up", {}, 90}};
  scenario.tags["b.up"] = {};
  const OnlineWait outcome = waitFor(tableOf({"a.up", "b.up", "c.up"}), scenario);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(isTrace(linesOf(outcome.trace, "main"), R"(
      0.000 main AaConfigRadGetValue(0x10070) = 100
      0.000 main Info: readyWait: waiting 100 ms for a.up to be set
      0.000 main polls "a.up" 2 times
      0.100 main AaConfigTagIsSet("a.up") = 1
      0.100 main Info: readyWait: a.up tag set in time
      0.100 main Info: readyWait: waiting 0 ms for b.up to be set
      0.100 main AaConfigTagIsSet("b.up") = 1
      0.100 main Info: readyWait: b.up tag set in time
      0.100 main Info: readyWait: waiting 0 ms for c.up to be set
      0.100 main AaConfigTagIsSet("c.up") = 0
      0.100 main Error: readyWait: c.up tag not set in time
      0.100 main AaErrorExceptionRaise(1, 0x1004b, 0, 0, "c.up tag not set in time for executable /opt/c", "ORV_Daemon/src/OrvDaemon", 1317))"));
}

TEST(ExecutableSentinelConformance, ExecutableWithoutATagIsPassedOver) {
  Scenario scenario;
  scenario.tags["t"] = {};
  const OnlineWait outcome = waitFor(tableOf({"", "", "t"}), scenario);
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main AaConfigRadGetValue(0x10070) = 0
      0.000 main Info: readyWait: waiting 240000 ms for t to be set
      0.000 main AaConfigTagIsSet("t") = 1
      0.000 main Info: readyWait: t tag set in time
      0.000 node end: exit status 0)"));
}

TEST(ExecutableSentinelConformance, SlotsFromTheCountOnAreNotWaitedFor) {
  ExeDefTable table = tableOf({"a.up", "b.up", "c.up"});
  table.count = 1;
  Scenario scenario;
  scenario.tags["a.up"] = {};
  const OnlineWait outcome = waitFor(table, scenario);
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(linesWith(outcome.trace, "b.up").empty());
  EXPECT_TRUE(linesWith(outcome.trace, "c.up").empty());
}

TEST(ExecutableSentinelConformance, RaisedTextsHoldWhatTheDefinitionHolds) {
  Scenario scenario;
  scenario.rad[0x10070] = 1;
  ExeDefTable table = {};
  table.count = 1;
  table.definitions[0] = definitionOf(std::string(255, 'p'), "", 2, std::string(80, 't'));
  const OnlineWait outcome = waitFor(table, scenario);
  EXPECT_TRUE(isTrace(linesWith(outcome.trace, "AaErrorExceptionRaise"),
                      "0.050 main AaErrorExceptionRaise(1, 0x1004b, 0, 0, \"" + std::string(80, 't') +
                          " tag not set in time for executable " + std::string(255, 'p') +
                          "\", \"ORV_Daemon/src/OrvDaemon\", 1317)"));
}

// A whole boot: the program ends well and never sets its tag; the wait does not notice the end and times out.
TEST(ExecutableSentinelConformance, ProgramThatEndsWellWithoutItsTagIsStillWaitedFor) {
  Scenario scenario;
  scenario.rad[0x10070] = 2000;
  scenario.programs = {programThatEnds("/opt/once", 1000, 0)};
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/opt/once -1#once.up|/opt/b"});
  EXPECT_TRUE(isTrace(linesOf(result.trace, "2:/opt/once"), R"(
      0.000 2:/opt/once AaProEuCurrent() = 2
      0.000 2:/opt/once Info: exeRun: executable '/opt/once'(-1) starting under sentinel EU 0x2 with supervision flags 0x2
      0.000 2:/opt/once AaProCmdExec("/opt/once", "-1", 0x2)
      1.000 2:/opt/once AaProCmdExec("/opt/once") = 0, status 0
      1.000 2:/opt/once Info: exeRun: executable '/opt/once' terminated successfully
      1.000 2:/opt/once ends)"));
  EXPECT_TRUE(isTrace(linesBetween(linesOf(result.trace, "1:ceInternalStartupEu"),
                                   "AaConfigRadGetValue(0x10070) = 2000", "application start-up skipped\""),
                      R"(
      0.000 1:ceInternalStartupEu AaConfigRadGetValue(0x10070) = 2000
      0.000 1:ceInternalStartupEu Info: readyWait: waiting 2000 ms for once.up to be set
      0.000 1:ceInternalStartupEu polls "once.up" 40 times
      2.000 1:ceInternalStartupEu AaConfigTagIsSet("once.up") = 0
      2.000 1:ceInternalStartupEu Error: readyWait: once.up tag not set in time
      2.000 1:ceInternalStartupEu AaErrorExceptionRaise(1, 0x1004b, 0, 0, "once.up tag not set in time for executable /opt/once", "ORV_Daemon/src/OrvDaemon", 1317)
      2.000 1:ceInternalStartupEu Error: ceInternalStartup: executable start-up failed, application start-up skipped)"));
}

// A whole boot: the programs come up side by side and set their own tags; one dies later, is reported and not
// restarted.
TEST(ExecutableSentinelConformance, ProgramsRunSideBySideUnderTheirOwnSentinels) {
  Scenario scenario;
  scenario.programs = {programThatEnds("/opt/a", 500, 3 << 8), {}, programThatEnds("/opt/c", 20, 0)};
  scenario.programs[0].sets = {{"a.up", {}, 110}};
  scenario.programs[1].path = "/opt/b";
  scenario.programs[1].sets = {{"b.up", {}, 60}};
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/opt/a#a.up|/opt/b -q#b.up|/opt/c -x"});
  EXPECT_TRUE(
      isTrace(linesBetween(result.trace, "4132, 31, context + 600 bytes) = 0, EU 4", "b.up tag set in time\""), R"(
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("/opt/c", 4132, 31, context + 600 bytes) = 0, EU 4
      0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 0
      0.000 1:ceInternalStartupEu AaConfigRadGetValue(0x10070) = 0
      0.000 1:ceInternalStartupEu Info: readyWait: waiting 240000 ms for a.up to be set
      0.000 1:ceInternalStartupEu polls "a.up" 1 times
      0.000 2:/opt/a AaProEuCurrent() = 2
      0.000 2:/opt/a Info: exeRun: executable '/opt/a'() starting under sentinel EU 0x2 with supervision flags 0x2
      0.000 2:/opt/a AaProCmdExec("/opt/a", "", 0x2)
      0.000 3:/opt/b AaProEuCurrent() = 3
      0.000 3:/opt/b Info: exeRun: executable '/opt/b'(-q) starting under sentinel EU 0x3 with supervision flags 0x2
      0.000 3:/opt/b AaProCmdExec("/opt/b", "-q", 0x2)
      0.000 4:/opt/c AaProEuCurrent() = 4
      0.000 4:/opt/c Info: exeRun: executable '/opt/c'(-x) starting under sentinel EU 0x4 with supervision flags 0
      0.000 4:/opt/c AaProCmdExec("/opt/c", "-x", 0x0)
      0.020 node program "/opt/c" under EU 4 ends: exit code 0
      0.020 4:/opt/c AaProCmdExec("/opt/c") = 0, status 0
      0.020 4:/opt/c Info: exeRun: executable '/opt/c' terminated successfully
      0.020 4:/opt/c ends
      0.050 1:ceInternalStartupEu polls "a.up" 1 times
      0.060 node program "/opt/b" under EU 3 sets tag "b.up" = u32 1
      0.100 1:ceInternalStartupEu polls "a.up" 1 times
      0.110 node program "/opt/a" under EU 2 sets tag "a.up" = u32 1
      0.150 1:ceInternalStartupEu AaConfigTagIsSet("a.up") = 1
      0.150 1:ceInternalStartupEu Info: readyWait: a.up tag set in time
      0.150 1:ceInternalStartupEu Info: readyWait: waiting 239850 ms for b.up to be set
      0.150 1:ceInternalStartupEu AaConfigTagIsSet("b.up") = 1
      0.150 1:ceInternalStartupEu Info: readyWait: b.up tag set in time)"));
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "under EU 2 ends: exit code 3", "node end: exit status 0"), R"(
      0.500 node program "/opt/a" under EU 2 ends: exit code 3
      0.500 2:/opt/a AaProCmdExec("/opt/a") = 5, status 768
      0.500 2:/opt/a Error: exeRun: executable '/opt/a' failed with status 3
      0.500 2:/opt/a AaErrorExceptionRaise(1, 0x1004b, 0, 0, "failure of executable /opt/a", "ORV_Daemon/src/OrvDaemon", 1186)
      0.500 2:/opt/a ends
      0.500 node nothing more is going to happen: the operator ends the daemon
      0.500 node SIGTERM
      0.500 handler err: OrvDaemon - Got SIGTERM
      0.500 handler err: Initiated ORV-RT CE level shutdown
      0.500 handler sem_post(semaphore 1) = 0
      0.500 1:ceInternalStartupEu sem_wait(semaphore 1) = 0
      0.500 1:ceInternalStartupEu Info: ceInternalStartup: Daemon termination initiated
      0.500 1:ceInternalStartupEu ends
      0.500 node program "/opt/b" under EU 3 ends with the shutdown
      0.500 main AaStartupCeShutdown() = 0
      0.500 main err: OrvDaemon: returned success
      0.500 node end: exit status 0)"));
}
