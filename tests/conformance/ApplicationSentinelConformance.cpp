// The applications' start, one after the other, and their sentinels: what a failure and a missing online tag lead to.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Applications.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;
constexpr const char *WATCHDOG_TAG = "orv.service.aapro.watchdog_enabled";

AppExeDef definitionOf(const std::string &name, const std::string &path, const std::string &args,
                       int32_t supervisionFlags, const std::string &onlineTag) {
  AppExeDef definition = {};
  std::strcpy(definition.name, name.c_str());
  std::strcpy(definition.path, path.c_str());
  std::strcpy(definition.args, args.c_str());
  definition.supervisionFlags = supervisionFlags;
  std::strcpy(definition.onlineTag, onlineTag.c_str());
  return definition;
}

SimulatedBoot startAll(const std::vector<AppExeDef> &definitions, const Scenario &scenario) {
  auto table = std::make_unique<AppExeDefTable>();
  std::copy(definitions.begin(), definitions.end(), table->definitions);
  table->count = static_cast<unsigned>(definitions.size());
  return simulate(scenario, [&] { appStartAll(CONTEXT, *table); });
}

ProgramBehaviour programThatEnds(const std::string &path, uint64_t afterMs, int32_t waitStatus) {
  ProgramBehaviour program;
  program.path = path;
  program.runsForMs = afterMs;
  program.waitStatus = waitStatus;
  return program;
}

// The trace without the polls of a long wait.
TraceLines withoutPolls(TraceLines trace) {
  std::erase_if(trace, [](const std::string &line) {
    return line.ends_with("\") = 0") && line.find("AaConfigTagIsSet(\"") != line.npos &&
           line.find(WATCHDOG_TAG) == line.npos;
  });
  std::erase_if(trace, [](const std::string &line) { return line.ends_with("AaSysTimeSleep(50, 3) = 0"); });
  return trace;
}

}  // namespace

TEST(ApplicationSentinelConformance, EmptyTableStartsNothing) {
  EXPECT_TRUE(isTrace(startAll({}, {}).trace, "0.000 node end: exit status 0"));
}

TEST(ApplicationSentinelConformance, ApplicationsWithoutATagAreStartedBackToBack) {
  const SimulatedBoot result =
      startAll({definitionOf("a", "/a", "-x", 3, ""), definitionOf("", "/b", "", 0, ""),
                definitionOf(std::string(31, 'n'), "/c", "", 0, ""), definitionOf("a b", "/a", "", 0, "")},
               {});
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 1
      0.000 main AaProEuCreateAndStart("", 4132, 31, context + 808 bytes) = 0, EU 2
      0.000 main AaProEuCreateAndStart("nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn", 4132, 31, context + 808 bytes) = 0, EU 3
      0.000 main AaProEuCreateAndStart("a b", 4132, 31, context + 808 bytes) = 0, EU 4
      0.000 node end: exit status 0)"));
}

TEST(ApplicationSentinelConformance, RecordWithoutAPathIsPassedOverWithItsTag) {
  Scenario scenario;
  scenario.tags["t"] = {};
  const SimulatedBoot result = startAll({definitionOf("a", "", "-x", 3, "a.up"), definitionOf("b", "b", "", 0, "t"),
                                         definitionOf("c", "", "", 0, ""), definitionOf("", "", "", 0, "")},
                                        scenario);
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main AaProEuCreateAndStart("b", 4132, 31, context + 808 bytes) = 0, EU 1
      0.000 main Info: readyWait: waiting 240000 ms for t to be set
      0.000 main AaConfigTagIsSet("t") = 1
      0.000 main Info: readyWait: t tag set in time
      0.000 node end: exit status 0)"));
}

TEST(ApplicationSentinelConformance, EachApplicationIsOnlineBeforeTheNextAndHasABudgetOfItsOwn) {
  Scenario scenario;
  scenario.programs.resize(3);
  for (size_t i = 0; i < 3; ++i) {
    const std::string name(1, static_cast<char>('a' + i));
    scenario.programs[i].path = "/" + name;
    scenario.programs[i].sets = {{name + ".up", {}, 60}};
  }
  const SimulatedBoot result = startAll({definitionOf("a", "/a", "", 0, "a.up"), definitionOf("b", "/b", "", 0, "b.up"),
                                         definitionOf("c", "/c", "", 0, "c.up")},
                                        scenario);
  EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), R"(
      0.000 main AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 1
      0.000 main Info: readyWait: waiting 240000 ms for a.up to be set
      0.000 main polls "a.up" 2 times
      0.100 main AaConfigTagIsSet("a.up") = 1
      0.100 main Info: readyWait: a.up tag set in time
      0.100 main AaProEuCreateAndStart("b", 4132, 31, context + 808 bytes) = 0, EU 2
      0.100 main Info: readyWait: waiting 240000 ms for b.up to be set
      0.100 main polls "b.up" 2 times
      0.200 main AaConfigTagIsSet("b.up") = 1
      0.200 main Info: readyWait: b.up tag set in time
      0.200 main AaProEuCreateAndStart("c", 4132, 31, context + 808 bytes) = 0, EU 3
      0.200 main Info: readyWait: waiting 240000 ms for c.up to be set
      0.200 main polls "c.up" 2 times
      0.300 main AaConfigTagIsSet("c.up") = 1
      0.300 main Info: readyWait: c.up tag set in time)"));
}

// What follows a time-out while the board stays up: the next application.
TEST(ApplicationSentinelConformance, TimeOutRequestsAResetAndGoesOnWhereTheBoardStaysUp) {
  Scenario disabled;
  disabled.tags = {{"a.up", {}}, {"c.up", {}}};
  Scenario forbidden = disabled;
  forbidden.tags[WATCHDOG_TAG] = {};
  forbidden.rad[0x10077] = 1;
  Scenario failing = disabled;
  failing.tags[WATCHDOG_TAG] = {};
  failing.reset.result = -5;
  Scenario withoutEffect = failing;
  withoutEffect.reset = {0, false};
  const struct {
    const char *name;
    const Scenario &scenario;
    const char *reset;
    const char *next;  // seconds
  } cases[] = {
      {"disabled", disabled, R"(
          240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 0
          240.000 main Info: boardReset: hardware reset requested, but disabled)",
       "240.000"},
      {"forbidden", forbidden, R"(
          240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
          240.000 main AaConfigRadGetValue(0x10077) = 1
          240.000 main Info: boardReset: hardware reset requested, but disabled)",
       "240.000"},
      {"failing", failing, R"(
          240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
          240.000 main AaConfigRadGetValue(0x10077) = 0
          240.000 main Info: boardReset: adding 30 s delay before reset
          240.000 main AaSysTimeSleep(30, 4) = 0
          270.000 main Info: boardReset: doing hardware reset
          270.000 main ddal_watchdog_reboot() = -5
          270.000 main Info: boardReset: reset failed (-5))",
       "270.000"},
      {"without effect", withoutEffect, R"(
          240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
          240.000 main AaConfigRadGetValue(0x10077) = 0
          240.000 main Info: boardReset: adding 30 s delay before reset
          240.000 main AaSysTimeSleep(30, 4) = 0
          270.000 main Info: boardReset: doing hardware reset
          270.000 main ddal_watchdog_reboot() = 0)",
       "270.000"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    const std::string next = std::string("\n") + row.next;
    const SimulatedBoot result =
        startAll({definitionOf("a", "/a", "", 0, "a.up"), definitionOf("radio", "/radio", "", 0, "r.up"),
                  definitionOf("c", "/c", "", 0, "c.up")},
                 row.scenario);
    EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), R"(
        0.000 main AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 1
        0.000 main Info: readyWait: waiting 240000 ms for a.up to be set
        0.000 main AaConfigTagIsSet("a.up") = 1
        0.000 main Info: readyWait: a.up tag set in time
        0.000 main AaProEuCreateAndStart("radio", 4132, 31, context + 808 bytes) = 0, EU 2
        0.000 main Info: readyWait: waiting 240000 ms for r.up to be set
        0.000 main polls "r.up" 4800 times
        240.000 main AaConfigTagIsSet("r.up") = 0
        240.000 main Error: readyWait: r.up tag not set in time
        240.000 main Error: appStartAll: timed out waiting for application radio to go online, resetting)" +
                                                           std::string(row.reset) + next +
                                                           " main AaProEuCreateAndStart(\"c\", 4132, 31, context + 808 "
                                                           "bytes) = 0, EU 3" +
                                                           next +
                                                           " main Info: readyWait: waiting 240000 ms for c.up to be "
                                                           "set" +
                                                           next + " main AaConfigTagIsSet(\"c.up\") = 1" + next +
                                                           " main Info: readyWait: c.up tag set in time"));
  }
}

TEST(ApplicationSentinelConformance, TimeOutEndsTheBootWhereTheResetTakesEffect) {
  Scenario scenario;
  scenario.tags[WATCHDOG_TAG] = {};
  const SimulatedBoot result =
      startAll({definitionOf("a", "/a", "", 0, "a.up"), definitionOf("b", "/b", "", 0, "")}, scenario);
  EXPECT_EQ(result.outcome.end, End::RESET);
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "a.up tag not set in time\"", "node end: board reset"), R"(
      240.000 main AaSysLogPrint(4, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, readyWait: a.up tag not set in time"
      240.000 main Error: appStartAll: timed out waiting for application a to go online, resetting
      240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
      240.000 main AaConfigRadGetValue(0x10077) = 0
      240.000 main Info: boardReset: adding 30 s delay before reset
      240.000 main AaSysTimeSleep(30, 4) = 0
      270.000 main Info: boardReset: doing hardware reset
      270.000 main ddal_watchdog_reboot() = 0
      270.000 node end: board reset)"));
  EXPECT_EQ(linesWith(result.trace, "AaProEuCreateAndStart").size(), 1u);
}

TEST(ApplicationSentinelConformance, TimeOutsAreEachApplicationsOwn) {
  const TraceLines trace =
      startAll({definitionOf("a", "/a", "", 0, "a.up"), definitionOf("b", "/b", "", 0, "b.up")}, {}).trace;
  EXPECT_TRUE(isTrace(linesOf(withoutPolls(trace), "main"), R"(
      0.000 main AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 0, EU 1
      0.000 main Info: readyWait: waiting 240000 ms for a.up to be set
      240.000 main Error: readyWait: a.up tag not set in time
      240.000 main Error: appStartAll: timed out waiting for application a to go online, resetting
      240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 0
      240.000 main Info: boardReset: hardware reset requested, but disabled
      240.000 main AaProEuCreateAndStart("b", 4132, 31, context + 808 bytes) = 0, EU 2
      240.000 main Info: readyWait: waiting 240000 ms for b.up to be set
      480.000 main Error: readyWait: b.up tag not set in time
      480.000 main Error: appStartAll: timed out waiting for application b to go online, resetting
      480.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 0
      480.000 main Info: boardReset: hardware reset requested, but disabled)"));
}

TEST(ApplicationSentinelConformance, SentinelThatCannotBeCreatedIsNotNoticed) {
  Scenario scenario;
  scenario.calls.push_back({"AaProEuCreateAndStart", 0, {}, 11});
  const TraceLines trace =
      startAll({definitionOf("a", "/a", "", 3, ""), definitionOf("b", "/b", "", 3, "b.up")}, scenario).trace;
  EXPECT_TRUE(isTrace(withoutPolls(trace), R"(
      0.000 main AaProEuCreateAndStart("a", 4132, 31, context + 808 bytes) = 11
      0.000 main AaProEuCreateAndStart("b", 4132, 31, context + 808 bytes) = 11
      0.000 main Info: readyWait: waiting 240000 ms for b.up to be set
      240.000 main Error: readyWait: b.up tag not set in time
      240.000 main Error: appStartAll: timed out waiting for application b to go online, resetting
      240.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 0
      240.000 main Info: boardReset: hardware reset requested, but disabled
      240.000 node end: exit status 0)"));
}

TEST(ApplicationSentinelConformance, All64ApplicationsAreStarted) {
  std::vector<AppExeDef> definitions;
  std::string expected;
  for (int i = 0; i < 64; ++i) {
    const std::string name = "a" + std::to_string(i);
    definitions.push_back(definitionOf(name, "/" + name, "", 0, ""));
    expected += "0.000 main AaProEuCreateAndStart(\"" + name + "\", 4132, 31, context + 808 bytes) = 0, EU " +
                std::to_string(i + 1) + "\n";
  }
  EXPECT_TRUE(isTrace(startAll(definitions, {}).trace, expected + "0.000 node end: exit status 0"));
}

// The bits of the flags act each for itself, and only after a failure.
TEST(ApplicationSentinelConformance, FlagsDecideWhatAFailureLeadsTo) {
  const std::string raise = R"(
      0.020 main AaErrorExceptionRaise(0, 0x12345678, 0, 0, "failure of application logger", "ORV_Daemon/src/OrvDaemon", 900))";
  const std::string reset = R"(
      0.020 main Info: appSentinel: supervised application logger failed, requesting system reset
      0.020 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 0
      0.020 main Info: boardReset: hardware reset requested, but disabled)";
  const struct {
    int32_t flags;
    const char *logged;
    const char *passed;
    std::string actions;
  } cases[] = {
      {0, "0", "0x0", ""},
      {1, "0x1", "0x1", raise},
      {2, "0x2", "0x2", reset},
      {3, "0x3", "0x3", raise + reset},
      {4, "0x4", "0x4", ""},
      {5, "0x5", "0x5", raise},
      {6, "0x6", "0x6", reset},
      {-1, "0xffffffff", "0xffffffff", raise + reset},
      {-2, "0xfffffffe", "0xfffffffe", reset},
      {-4, "0xfffffffc", "0xfffffffc", ""},
  };
  const struct {
    int32_t waitStatus;
    const char *result;
    const char *line;
    bool failed;
  } ends[] = {
      {0, "0, status 0", "Info: exeRun: executable '/app/logger' terminated successfully", false},
      {256, "5, status 256", "Error: exeRun: executable '/app/logger' failed with status 1", true},
      {9, "5, status 9", "Error: exeRun: executable '/app/logger' exited due to signal 9", true},
      {4991, "5, status 4991", "Error: exeRun: executable '/app/logger' exited abnormally", true},
  };
  for (const auto &row : cases) {
    for (const auto &end : ends) {
      SCOPED_TRACE(std::string("flags ") + row.logged + ", " + end.result);
      Scenario scenario;
      scenario.programs = {programThatEnds("/app/logger", 20, end.waitStatus)};
      const AppExeDef definition = definitionOf("logger", "/app/logger", "-q -w", row.flags, "logger.up");
      const SimulatedBoot result = simulate(scenario, [&] { appSentinel(CONTEXT, definition); });
      std::string expected = R"(
          0.000 main AaProEuCurrent() = 0
          0.000 main Info: exeRun: executable '/app/logger'(-q -w) starting under sentinel EU 0 with supervision flags )";
      expected += std::string(row.logged) + "\n0.000 main AaProCmdExec(\"/app/logger\", \"-q -w\", " + row.passed + ")";
      expected += std::string("\n0.020 main AaProCmdExec(\"/app/logger\") = ") + end.result;
      expected += std::string("\n0.020 main ") + end.line + (end.failed ? row.actions : "");
      EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), expected));
    }
  }
}

TEST(ApplicationSentinelConformance, ApplicationThatCannotBeStartedHasFailed) {
  Scenario scenario;
  scenario.calls.push_back({"AaProCmdExec", 0, "/app/x", 2});
  scenario.tags[WATCHDOG_TAG] = {};
  scenario.reset.result = 3;
  const AppExeDef definition = definitionOf("x%s", "/app/x", "", 3, "");
  const SimulatedBoot result = simulate(scenario, [&] { appSentinel(CONTEXT, definition); });
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main AaProEuCurrent() = 0
      0.000 main Info: exeRun: executable '/app/x'() starting under sentinel EU 0 with supervision flags 0x3
      0.000 main AaProCmdExec("/app/x", "", 0x3) = 2
      0.000 main Error: exeRun: executable '/app/x' launch failed with status 2
      0.000 main AaErrorExceptionRaise(0, 0x12345678, 0, 0, "failure of application x%s", "ORV_Daemon/src/OrvDaemon", 900)
      0.000 main Info: appSentinel: supervised application x%s failed, requesting system reset
      0.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
      0.000 main AaConfigRadGetValue(0x10077) = 0
      0.000 main Info: boardReset: adding 30 s delay before reset
      0.000 main AaSysTimeSleep(30, 4) = 0
      30.000 main Info: boardReset: doing hardware reset
      30.000 main ddal_watchdog_reboot() = 3
      30.000 main Info: boardReset: reset failed (3)
      30.000 node end: exit status 0)"));
}
