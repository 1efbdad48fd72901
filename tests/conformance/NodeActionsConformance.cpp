// The actions on the node as a whole: readiness notice, shutdown request, board reset.
#include "NodeActions.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "AaPro.h"
#include "AaSysTime.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "OrvDaemon.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 7;
const std::string WATCHDOG_TAG = "orv.service.aapro.watchdog_enabled";

// A node whose watchdog is enabled and whose board answers a reset request with `result`, and stays up.
Scenario watchdogNode(int32_t result) {
  Scenario scenario;
  scenario.tags[WATCHDOG_TAG] = {};
  scenario.reset.result = result;
  scenario.reset.takesEffect = false;
  return scenario;
}

SimulatedBoot resetOn(const Scenario &scenario) {
  return simulate(scenario, [] { boardReset(CONTEXT); });
}

const char *const TAG_TEST = "0.000 main AaConfigTagIsSet(\"orv.service.aapro.watchdog_enabled\") = ";
const char *const DISABLED = "0.000 main Info: boardReset: hardware reset requested, but disabled\n";
const char *const GRANTED = R"(
    0.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
    0.000 main AaConfigRadGetValue(0x10077) = 0
    0.000 main Info: boardReset: adding 30 s delay before reset
    0.000 main AaSysTimeSleep(30, 4) = 0
    30.000 main Info: boardReset: doing hardware reset
)";

void *resettingEu(void *argument) {
  boardReset(*static_cast<const uint32_t *>(argument));
  return nullptr;
}

}  // namespace

TEST(ShutdownConformance, LineIsWrittenBeforeTheRequest) {
  int result = 0;
  const SimulatedBoot boot = simulate({}, [&] { result = shutdown(CONTEXT); });
  EXPECT_TRUE(isTrace(boot.trace, R"(
    0.000 main Info: shutdown: Initiated CE level shutdown
    0.000 main AaStartupCeShutdown()
    0.000 main AaStartupCeShutdown() = 0
    0.000 node end: exit status 0
  )"));
  EXPECT_EQ(result, 1);
}

TEST(ShutdownConformance, FailingRequestIsNeitherDetectedNorLogged) {
  for (const int64_t failure : {1, 7, -1}) {
    Scenario scenario;
    scenario.calls.push_back({"AaStartupCeShutdown", 0, {}, failure});
    int result = 0;
    const SimulatedBoot boot = simulate(scenario, [&] { result = shutdown(CONTEXT); });
    EXPECT_TRUE(isTrace(boot.trace, R"(
      0.000 main Info: shutdown: Initiated CE level shutdown
      0.000 main AaStartupCeShutdown()
      0.000 main AaStartupCeShutdown() = )" +
                                        std::to_string(failure) + "\n0.000 node end: exit status 0"));
    EXPECT_EQ(result, 1);
  }
}

TEST(ShutdownConformance, RequestThatNeverReturnsKeepsTheDaemonSilent) {
  Scenario scenario;
  scenario.endSignal = 0;
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(linesOf(linesBetween(result.trace, "EU 1", "end"), "main"), R"(
    0.000 main AaProEuCreateAndStartJoinable("ceInternalStartupEu", 4096, 10, context + 0 bytes, 1) = 0, EU 1
    0.000 main Info: shutdown: Initiated CE level shutdown
    0.000 main AaStartupCeShutdown()
  )"));
  EXPECT_EQ(result.outcome.end, End::STUCK);
}

TEST(SystemdNotifyConformance, LineIsWrittenBeforeTheNoticeAndItsResultIsHandedOn) {
  for (const int32_t answer : {0, 1, -3, INT32_MAX, INT32_MIN}) {
    Scenario scenario;
    scenario.calls.push_back({"ddal_system_notify_ready", 0, {}, answer});
    int32_t result = 99;
    const SimulatedBoot boot = simulate(scenario, [&] { result = systemdNotify(CONTEXT); });
    EXPECT_TRUE(isTrace(boot.trace, R"(
      0.000 main Info: systemdNotify: sending notification to systemd
      0.000 main ddal_system_notify_ready() = )" +
                                        std::to_string(answer) + "\n0.000 node end: exit status 0"));
    EXPECT_EQ(result, answer);
  }
}

TEST(SystemdNotifyConformance, NoticeIsSentOnceInEveryBoot) {
  Scenario failing;
  failing.calls.push_back({"AaStartupCeStartup", 0, {}, 7});
  const SimulatedBoot boots[] = {boot({}, {}), boot({}, {"-v"}), boot(failing, {"-v"})};
  for (const SimulatedBoot &result : boots) {
    EXPECT_TRUE(
        isTrace(linesWith(result.trace, "ddal_system_notify_ready"), "0.000 main ddal_system_notify_ready() = 0"));
  }
}

TEST(BoardResetConformance, WithoutTheWatchdogTagNothingIsReadAndNothingDone) {
  Scenario scenario;
  scenario.tags["orv.service.aapro.watchdog"] = {};
  EXPECT_TRUE(
      isTrace(resetOn(scenario).trace, std::string(TAG_TEST) + "0\n" + DISABLED + "0.000 node end: exit status 0"));
}

TEST(BoardResetConformance, AnyValueOfTheForbiddingParameterButZeroForbids) {
  for (const uint32_t value : {1U, 2U, 0x80000000U, 0xffffffffU}) {
    Scenario scenario = watchdogNode(0);
    scenario.rad[0x10077] = value;
    EXPECT_TRUE(isTrace(resetOn(scenario).trace,
                        std::string(TAG_TEST) + "1\n0.000 main AaConfigRadGetValue(0x10077) = " +
                            std::to_string(value) + "\n" + DISABLED + "0.000 node end: exit status 0"));
  }
}

TEST(BoardResetConformance, OtherParametersDoNotForbid) {
  Scenario scenario = watchdogNode(0);
  scenario.rad = {{0x10076, 1}, {0x10078, 1}, {0x77, 1}, {0x10070, 1}, {0x10077, 0}};
  EXPECT_TRUE(isTrace(resetOn(scenario).trace, std::string(GRANTED) + R"(
    30.000 main ddal_watchdog_reboot() = 0
    30.000 node end: exit status 0
  )"));
}

TEST(BoardResetConformance, TheTagBeingSetCountsAndNotItsValue) {
  const TagValue values[] = {{TagType::U32, 0, ""},
                             {TagType::U32, 1, ""},
                             {TagType::U16, 0, ""},
                             {TagType::STRING, 0, ""},
                             {TagType::STRING, 0, "no"}};
  for (const TagValue &value : values) {
    Scenario scenario = watchdogNode(0);
    scenario.tags[WATCHDOG_TAG] = value;
    EXPECT_TRUE(isTrace(resetOn(scenario).trace, std::string(GRANTED) + R"(
      30.000 main ddal_watchdog_reboot() = 0
      30.000 node end: exit status 0
    )")) << tagText(value);
  }
}

TEST(BoardResetConformance, AnyAnswerToTheTagTestButZeroMeansSet) {
  for (const int64_t answer : {2, -1, INT_MIN}) {
    Scenario scenario;
    scenario.calls.push_back({"AaConfigTagIsSet", 0, WATCHDOG_TAG, answer});
    const SimulatedBoot result = resetOn(scenario);
    EXPECT_TRUE(isTrace(result.trace, TAG_TEST + std::to_string(answer) + R"(
      0.000 main AaConfigRadGetValue(0x10077) = 0
      0.000 main Info: boardReset: adding 30 s delay before reset
      0.000 main AaSysTimeSleep(30, 4) = 0
      30.000 main Info: boardReset: doing hardware reset
      30.000 main ddal_watchdog_reboot() = 0
      30.000 node end: board reset
    )"));
  }
}

TEST(BoardResetConformance, ResetThatTakesEffectIsTheLastThingThatHappens) {
  Scenario scenario;
  scenario.tags[WATCHDOG_TAG] = {};
  const SimulatedBoot result = resetOn(scenario);
  EXPECT_TRUE(isTrace(result.trace, std::string(GRANTED) + R"(
    30.000 main ddal_watchdog_reboot() = 0
    30.000 node end: board reset
  )"));
  EXPECT_EQ(result.outcome.end, End::RESET);
  EXPECT_EQ(result.outcome.atMs, 30000U);
}

TEST(BoardResetConformance, FailedResetIsInformationWithItsResultAsASignedNumber) {
  for (const int32_t failure : {-5, 1, -1, INT32_MAX, INT32_MIN}) {
    const std::string number = std::to_string(failure);
    const SimulatedBoot result = resetOn(watchdogNode(failure));
    EXPECT_TRUE(isTrace(result.trace, GRANTED + ("30.000 main ddal_watchdog_reboot() = " + number) +
                                          "\n30.000 main Info: boardReset: reset failed (" + number +
                                          ")\n30.000 node end: exit status 0"));
    EXPECT_EQ(result.outcome.end, End::EXIT);
  }
}

TEST(BoardResetConformance, FailedSleepIsNotExamined) {
  Scenario scenario = watchdogNode(0);
  scenario.calls.push_back({"AaSysTimeSleep", 0, {}, 22});
  EXPECT_TRUE(isTrace(resetOn(scenario).trace, R"(
    0.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
    0.000 main AaConfigRadGetValue(0x10077) = 0
    0.000 main Info: boardReset: adding 30 s delay before reset
    0.000 main AaSysTimeSleep(30, 4) = 22
    0.000 main Info: boardReset: doing hardware reset
    0.000 main ddal_watchdog_reboot() = 0
    0.000 node end: exit status 0
  )"));
}

TEST(BoardResetConformance, EachCallDecidesAnew) {
  Scenario scenario = watchdogNode(-5);
  scenario.calls.push_back({"AaConfigTagIsSet", 1, WATCHDOG_TAG, 0});
  scenario.calls.push_back({"AaConfigRadGetValue", 2, "0x10077", 1});
  const SimulatedBoot result = simulate(scenario, [] {
    for (int i = 0; i < 3; ++i)
      boardReset(CONTEXT);
  });
  EXPECT_TRUE(isTrace(result.trace, TAG_TEST + std::string("0\n") + DISABLED + GRANTED + R"(
    30.000 main ddal_watchdog_reboot() = -5
    30.000 main Info: boardReset: reset failed (-5)
    30.000 main AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
    30.000 main AaConfigRadGetValue(0x10077) = 1
    30.000 main Info: boardReset: hardware reset requested, but disabled
    30.000 node end: exit status 0
  )"));
}

TEST(BoardResetConformance, EachEuWaitsAndRequestsForItself) {
  const SimulatedBoot result = simulate(watchdogNode(-5), [] {
    uint32_t id = 0;
    const uint32_t context = CONTEXT;
    AaProEuCreateAndStart(&id, "one", resettingEu, 4132, 31, &context, sizeof context);
    AaSysTimeSleep(10, 4);
    AaProEuCreateAndStart(&id, "two", resettingEu, 4132, 31, &context, sizeof context);
    AaSysTimeSleep(60, 4);
  });
  EXPECT_TRUE(isTrace(result.trace, R"(
    0.000 main AaProEuCreateAndStart("one", 4132, 31, context + 0 bytes) = 0, EU 1
    0.000 main AaSysTimeSleep(10, 4) = 0
    0.000 1:one AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
    0.000 1:one AaConfigRadGetValue(0x10077) = 0
    0.000 1:one Info: boardReset: adding 30 s delay before reset
    0.000 1:one AaSysTimeSleep(30, 4) = 0
    10.000 main AaProEuCreateAndStart("two", 4132, 31, context + 0 bytes) = 0, EU 2
    10.000 main AaSysTimeSleep(60, 4) = 0
    10.000 2:two AaConfigTagIsSet("orv.service.aapro.watchdog_enabled") = 1
    10.000 2:two AaConfigRadGetValue(0x10077) = 0
    10.000 2:two Info: boardReset: adding 30 s delay before reset
    10.000 2:two AaSysTimeSleep(30, 4) = 0
    30.000 1:one Info: boardReset: doing hardware reset
    30.000 1:one ddal_watchdog_reboot() = -5
    30.000 1:one Info: boardReset: reset failed (-5)
    30.000 1:one ends
    40.000 2:two Info: boardReset: doing hardware reset
    40.000 2:two ddal_watchdog_reboot() = -5
    40.000 2:two Info: boardReset: reset failed (-5)
    40.000 2:two ends
    70.000 node end: exit status 0
  )"));
}
