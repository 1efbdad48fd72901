// The start of the executables: one sentinel for each, all created before the first online tag is waited for.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "Executables.h"
#include "ExpectedTrace.h"
#include "OrvDaemon.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;

struct Start {
  int result = -1;
  TraceLines trace;
};

Start start(const std::string &definitions, const Scenario &scenario) {
  Start outcome;
  outcome.trace = simulate(scenario, [&] {
                    std::memcpy(gExeDefString, definitions.c_str(), definitions.size() + 1);
                    outcome.result = exeStart(CONTEXT);
                  }).trace;
  return outcome;
}

// The same without what is parsed and listed first.
Start startBehindListing(const std::string &definitions, const Scenario &scenario) {
  Start outcome = start(definitions, scenario);
  std::erase_if(outcome.trace, [](const std::string &line) { return line.find("parseExeDefs: ") != line.npos; });
  return outcome;
}

ExeDef definitionOf(const char *path, const char *args, uint32_t supervisionFlags, const char *onlineTag) {
  ExeDef definition = {};
  std::strcpy(definition.path, path);
  std::strcpy(definition.args, args);
  definition.supervisionFlags = supervisionFlags;
  std::strcpy(definition.onlineTag, onlineTag);
  return definition;
}

}  // namespace

TEST(ExecutableStartConformance, NothingConfiguredIsSkipped) {
  const Start outcome = start("", {});
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main Info: exeStart: no executable configured, skipping
      0.000 node end: exit status 0)"));
}

TEST(ExecutableStartConformance, StringWithoutADefinitionStartsNothingAndSucceeds) {
  for (const std::string definitions : {"|", "|||", " ", "#t", " | #t|#"}) {
    SCOPED_TRACE(definitions);
    const Start outcome = start(definitions, {});
    EXPECT_EQ(outcome.result, 1);
    EXPECT_TRUE(isTrace(outcome.trace, "0.000 main Info: parseExeDefs: Executables: " + definitions +
                                           "\n0.000 node end: exit status 0"));
  }
}

TEST(ExecutableStartConformance, DefinitionStringIsCutInPlace) {
  const std::string definitions = " a -v#a.up|b -w|c";
  Scenario scenario;
  scenario.tags["a.up"] = {};
  EXPECT_EQ(start(definitions, scenario).result, 1);
  EXPECT_EQ(std::string(gExeDefString, definitions.size() + 1), std::string(" a\0-v\0a.up\0b\0-w\0c", 18));
}

TEST(ExecutableStartConformance, TooManyDefinitionsStartNoneOfThem) {
  const Start outcome = start("a#t|b|c|d", {});
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main Info: parseExeDefs: Executables: a#t|b|c|d
      0.000 main Info: parseExeDefs: Executable 'a' has arguments 'a' and online tag to wait 't'
      0.000 main Info: parseExeDefs: Executable 'b' has arguments 'b' and online tag to wait ''
      0.000 main Info: parseExeDefs: Executable 'c' has arguments 'c' and online tag to wait ''
      0.000 main Error: parseExeDefs: Too many executables specified, maximum is 3
      0.000 node end: exit status 0)"));
}

TEST(ExecutableStartConformance, WithoutTagsTheStartsAreAll) {
  const Start outcome = startBehindListing("/opt/a -v|/opt/b#|/opt/c", {});
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main Info: exeStartAll: Executable '/opt/a' starting
      0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 1
      0.000 main Info: exeStartAll: Executable '/opt/b' starting
      0.000 main AaProEuCreateAndStart("/opt/b", 4132, 31, context + 600 bytes) = 0, EU 2
      0.000 main Info: exeStartAll: Executable '/opt/c' starting
      0.000 main AaProEuCreateAndStart("/opt/c", 4132, 31, context + 600 bytes) = 0, EU 3
      0.000 main AaStartupCeUngracefulShutdownCount(context) = 0
      0.000 main AaConfigRadGetValue(0x10070) = 0
      0.000 node end: exit status 0)"));
}

TEST(ExecutableStartConformance, TagsAreWaitedForBehindAllStarts) {
  Scenario scenario;
  scenario.tags = {{"a.up", {}}, {"b.up", {}}};
  const Start outcome = startBehindListing("/opt/a#a.up|/opt/b#b.up", scenario);
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main Info: exeStartAll: Executable '/opt/a' starting
      0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 1
      0.000 main Info: exeStartAll: Executable '/opt/b' starting
      0.000 main AaProEuCreateAndStart("/opt/b", 4132, 31, context + 600 bytes) = 0, EU 2
      0.000 main AaStartupCeUngracefulShutdownCount(context) = 0
      0.000 main AaConfigRadGetValue(0x10070) = 0
      0.000 main Info: readyWait: waiting 240000 ms for a.up to be set
      0.000 main AaConfigTagIsSet("a.up") = 1
      0.000 main Info: readyWait: a.up tag set in time
      0.000 main Info: readyWait: waiting 240000 ms for b.up to be set
      0.000 main AaConfigTagIsSet("b.up") = 1
      0.000 main Info: readyWait: b.up tag set in time
      0.000 node end: exit status 0)"));
}

TEST(ExecutableStartConformance, TagThatIsNotSetInTimeIsAFailure) {
  Scenario scenario;
  scenario.rad[0x10070] = 1;
  const Start outcome = startBehindListing("/opt/a#a.up", scenario);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_TRUE(isTrace(linesOf(outcome.trace, "main"), R"(
      0.000 main Info: exeStartAll: Executable '/opt/a' starting
      0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 1
      0.000 main AaStartupCeUngracefulShutdownCount(context) = 0
      0.000 main AaConfigRadGetValue(0x10070) = 1
      0.000 main Info: readyWait: waiting 1 ms for a.up to be set
      0.000 main polls "a.up" 1 times
      0.050 main AaConfigTagIsSet("a.up") = 0
      0.050 main Error: readyWait: a.up tag not set in time
      0.050 main AaErrorExceptionRaise(1, 0x1004b, 0, 0, "a.up tag not set in time for executable /opt/a", "ORV_Daemon/src/OrvDaemon", 1317))"));
}

TEST(ExecutableStartConformance, AfterAnUngracefulShutdownNoTagIsWaitedFor) {
  for (const uint32_t count : {1u, 2u, 0x80000000u, UINT32_MAX}) {
    SCOPED_TRACE(count);
    Scenario scenario;
    scenario.ungracefulCount = count;
    const Start outcome = startBehindListing("/opt/a#a.up|/opt/b", scenario);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_TRUE(isTrace(outcome.trace, R"(
        0.000 main Info: exeStartAll: Executable '/opt/a' starting
        0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 1
        0.000 main Info: exeStartAll: Executable '/opt/b' starting
        0.000 main AaProEuCreateAndStart("/opt/b", 4132, 31, context + 600 bytes) = 0, EU 2
        0.000 main AaStartupCeUngracefulShutdownCount(context) = )" +
                                           std::to_string(count) + R"(
        0.000 main Info: exeStart: ungraceful shutdown, not waiting for any online tags
        0.000 node end: exit status 0)"));
  }
}

TEST(ExecutableStartConformance, SentinelThatCannotBeCreatedEndsTheStarts) {
  const char *const STARTS[] = {"", R"(
      0.000 main Info: exeStartAll: Executable '/opt/a' starting
      0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 1)",
                                R"(
      0.000 main Info: exeStartAll: Executable '/opt/a' starting
      0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 1
      0.000 main Info: exeStartAll: Executable '/opt/b' starting
      0.000 main AaProEuCreateAndStart("/opt/b", 4132, 31, context + 600 bytes) = 0, EU 2)"};
  const struct {
    const char *path;
    int32_t error;
    const char *before;
  } cases[] = {
      {"/opt/a", 11, STARTS[0]},        {"/opt/b", 11, STARTS[1]},        {"/opt/c", 11, STARTS[2]},
      {"/opt/b", 1, STARTS[1]},         {"/opt/b", -1, STARTS[1]},        {"/opt/b", 5, STARTS[1]},
      {"/opt/b", INT32_MAX, STARTS[1]}, {"/opt/b", INT32_MIN, STARTS[1]},
  };
  for (const auto &row : cases) {
    const std::string path = row.path;
    const std::string error = std::to_string(row.error);
    SCOPED_TRACE(path + " " + error);
    Scenario scenario;
    scenario.calls = {{"AaProEuCreateAndStart", 0, path, row.error}};
    const Start outcome = startBehindListing("/opt/a#a.up|/opt/b#b.up|/opt/c#c.up", scenario);
    EXPECT_EQ(outcome.result, 0);
    std::string expected = row.before;
    expected += "\n0.000 main Info: exeStartAll: Executable '" + path + "' starting";
    expected += "\n0.000 main AaProEuCreateAndStart(\"" + path + "\", 4132, 31, context + 600 bytes) = " + error;
    expected += "\n0.000 main Error: exeStartAll: Exe sentinel EU creation failed with error " + error;
    EXPECT_TRUE(isTrace(outcome.trace, expected + "\n0.000 node end: exit status 0"));
  }
}

// The parser never produces such a slot.
TEST(ExecutableStartConformance, SlotWithoutAPathIsPassedOver) {
  const ExeDefTable table = {
      {definitionOf("", "-x", 2, "t"), definitionOf("b", "", 0, ""), definitionOf("", "", 0, "")}, 3};
  int result = -1;
  const SimulatedBoot outcome = simulate({}, [&] { result = exeStartAll(CONTEXT, table); });
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main Info: exeStartAll: Executable 'b' starting
      0.000 main AaProEuCreateAndStart("b", 4132, 31, context + 600 bytes) = 0, EU 1
      0.000 node end: exit status 0)"));
}

TEST(ExecutableStartConformance, OnlySlotsBelowTheCountAreStarted) {
  ExeDefTable table = {
      {definitionOf("/opt/a", "", 0, ""), definitionOf("/opt/b", "", 0, ""), definitionOf("/opt/c", "", 0, "")}, 0};
  const char *const paths[] = {"/opt/a", "/opt/b", "/opt/c"};
  std::string expected;
  for (unsigned count = 0; count <= 3; ++count) {
    SCOPED_TRACE(count);
    table.count = count;
    int result = -1;
    const SimulatedBoot outcome = simulate({}, [&] { result = exeStartAll(CONTEXT, table); });
    EXPECT_EQ(result, 1);
    EXPECT_TRUE(isTrace(outcome.trace, expected + "0.000 node end: exit status 0"));
    if (count == 3) break;
    const std::string path = paths[count];
    expected += "0.000 main Info: exeStartAll: Executable '" + path + "' starting\n";
    expected += "0.000 main AaProEuCreateAndStart(\"" + path + "\", 4132, 31, context + 600 bytes) = 0, EU " +
                std::to_string(count + 1) + "\n";
  }
}

TEST(ExecutableStartConformance, GracefulMeansThatNoUngracefulShutdownIsCounted) {
  Scenario scenario;
  scenario.ungracefulCount = 1;
  scenario.programs.resize(1);
  scenario.programs[0].path = "/opt/a";
  scenario.programs[0].runsForMs = 300;
  scenario.programs[0].waitStatus = 2 << 8;
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/opt/a -v#a.up"});
  // Each of the two callers asks for itself, with the word that main handed on.
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "main AaStartupCeShutdown()", "sem_wait(semaphore 1)"), R"(
      0.000 main AaStartupCeShutdown()
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executables: /opt/a -v#a.up
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executable '/opt/a' has arguments '/opt/a' and online tag to wait 'a.up'
      0.000 1:ceInternalStartupEu Info: exeStartAll: Executable '/opt/a' starting
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 2
      0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 1
      0.000 1:ceInternalStartupEu Info: exeStart: ungraceful shutdown, not waiting for any online tags
      0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 1
      0.000 1:ceInternalStartupEu Info: ceInternalStartup: ungraceful shutdown, application start-up disabled
      0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0
      0.000 1:ceInternalStartupEu sigaction(SIGINT, handler, mask empty, flags SA_RESTART) = 0
      0.000 1:ceInternalStartupEu sigaction(SIGTERM, handler, mask empty, flags SA_RESTART) = 0
      0.000 1:ceInternalStartupEu signal(SIGHUP, SIG_IGN)
      0.000 1:ceInternalStartupEu Info: ceInternalStartup: CE start-up complete
      0.000 1:ceInternalStartupEu sem_wait(semaphore 1))"));
  EXPECT_TRUE(isTrace(linesOf(result.trace, "2:/opt/a"), R"(
      0.000 2:/opt/a AaProEuCurrent() = 2
      0.000 2:/opt/a Info: exeRun: executable '/opt/a'(-v) starting under sentinel EU 0x2 with supervision flags 0x2
      0.000 2:/opt/a AaProCmdExec("/opt/a", "-v", 0x2)
      0.300 2:/opt/a AaProCmdExec("/opt/a") = 5, status 512
      0.300 2:/opt/a Error: exeRun: executable '/opt/a' failed with status 2
      0.300 2:/opt/a AaErrorExceptionRaise(1, 0x1004b, 0, 0, "failure of executable /opt/a", "ORV_Daemon/src/OrvDaemon", 1186)
      0.300 2:/opt/a ends)"));
}

// What runs already goes on under its sentinel; nothing is waited for.
TEST(ExecutableStartConformance, SecondSentinelOfThreeThatCannotBeCreatedLeavesTheFirstRunning) {
  Scenario scenario;
  scenario.calls.push_back({"AaProEuCreateAndStart", 0, "/opt/b", 11});
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/opt/a#a.up|/opt/b|/opt/c#c.up"});
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "'/opt/b' starting", "application start-up skipped\""), R"(
      0.000 1:ceInternalStartupEu Info: exeStartAll: Executable '/opt/b' starting
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("/opt/b", 4132, 31, context + 600 bytes) = 11
      0.000 1:ceInternalStartupEu Error: exeStartAll: Exe sentinel EU creation failed with error 11
      0.000 1:ceInternalStartupEu Error: ceInternalStartup: executable start-up failed, application start-up skipped)"));
  EXPECT_TRUE(isTrace(linesWith(result.trace, "program "), R"(
      0.000 node program "/opt/a" under EU 2 ends with the shutdown)"));
  EXPECT_TRUE(linesWith(result.trace, "AaConfigTagIsSet").empty());
}
