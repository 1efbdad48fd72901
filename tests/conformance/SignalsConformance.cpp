// The shutdown signals: what their handler writes and posts, when it is installed, and what becomes of a signal before
// and after that.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <map>
#include <string>

#include "ExpectedTrace.h"
#include "Startup.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;

// Arms the signals after one second: until then an executable's online tag is waited for.
Scenario armedAfterASecond() {
  Scenario scenario;
  scenario.timedTags = {{"a.up", {}, 1000}};
  return scenario;
}

SimulatedBoot bootWithExecutable(const Scenario &scenario) {
  return boot(scenario, {"--startup=executable=/opt/a#a.up"});
}

constexpr const char *TERMINATED = R"(
    2.000 1:ceInternalStartupEu sem_wait(semaphore 1) = 0
    2.000 1:ceInternalStartupEu Info: ceInternalStartup: Daemon termination initiated
    2.000 1:ceInternalStartupEu ends
    2.000 node program "/opt/a" under EU 2 ends with the shutdown
    2.000 main AaStartupCeShutdown() = 0
    2.000 main err: OrvDaemon: returned success
    2.000 node end: exit status 0)";

}  // namespace

TEST(SignalsConformance, HandlerAnswersEachNumber) {
  const std::string triggered = R"(
      0.000 main err: Initiated ORV-RT CE level shutdown
      0.000 main sem_post(semaphore 1) = 0)";
  const struct {
    int number;
    std::string trace;
  } cases[] = {
      {2, "0.000 main err: OrvDaemon - Got SIGINT" + triggered},
      {15, "0.000 main err: OrvDaemon - Got SIGTERM" + triggered},
      {0, "0.000 main err: OrvDaemon - Got unknown signal"},
      {1, "0.000 main err: OrvDaemon - Got unknown signal"},
      {3, "0.000 main err: OrvDaemon - Got unknown signal"},
      {14, "0.000 main err: OrvDaemon - Got unknown signal"},
      {16, "0.000 main err: OrvDaemon - Got unknown signal"},
      {64, "0.000 main err: OrvDaemon - Got unknown signal"},
      {99, "0.000 main err: OrvDaemon - Got unknown signal"},
      {-2, "0.000 main err: OrvDaemon - Got unknown signal"},
      {2 + 256, "0.000 main err: OrvDaemon - Got unknown signal"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.number);
    const SimulatedBoot result = simulate({}, [&] { shutdownSignalHandler(row.number); });
    EXPECT_TRUE(isTrace(result.trace, row.trace + "\n0.000 node end: exit status 0"));
  }
}

TEST(SignalsConformance, EachCallOfTheHandlerPostsOnce) {
  const SimulatedBoot result = simulate({}, [] {
    for (const int number : {15, 99, 2, 15})
      shutdownSignalHandler(number);
  });
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main err: OrvDaemon - Got SIGTERM
      0.000 main err: Initiated ORV-RT CE level shutdown
      0.000 main sem_post(semaphore 1) = 0
      0.000 main err: OrvDaemon - Got unknown signal
      0.000 main err: OrvDaemon - Got SIGINT
      0.000 main err: Initiated ORV-RT CE level shutdown
      0.000 main sem_post(semaphore 1) = 0
      0.000 main err: OrvDaemon - Got SIGTERM
      0.000 main err: Initiated ORV-RT CE level shutdown
      0.000 main sem_post(semaphore 1) = 0
      0.000 node end: exit status 0)"));
}

TEST(SignalsConformance, FailedPostIsReportedWithItsErrnoAndNotRepeated) {
  const struct {
    int error;
    const char *text;
  } cases[] = {{75, "75"}, {22, "22"}, {1, "1"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    Scenario scenario;
    scenario.calls.push_back({"sem_post", 0, {}, row.error});
    for (const int number : {SIGINT, SIGTERM}) {
      const SimulatedBoot result = simulate(scenario, [&] { shutdownSignalHandler(number); });
      EXPECT_TRUE(isTrace(result.trace, std::string("0.000 main err: OrvDaemon - Got ") +
                                            (number == SIGINT ? "SIGINT" : "SIGTERM") +
                                            R"(
          0.000 main err: Initiated ORV-RT CE level shutdown
          0.000 main sem_post(semaphore 1) = -1
          0.000 main err: Not able to trigger CE level shutdown (sem_post errno: )" +
                                            row.text + R"()
          0.000 node end: exit status 0)"));
    }
  }
}

TEST(SignalsConformance, SupportIsASemaphoreThenTheHandlersThenTheIgnoredHangUp) {
  int supported = -1;
  const SimulatedBoot result = simulate({}, [&] { supported = initCeShutdownSupport(CONTEXT); });
  EXPECT_EQ(supported, 1);
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main sem_init(semaphore 1, 0, 0) = 0
      0.000 main sigaction(SIGINT, handler, mask empty, flags SA_RESTART) = 0
      0.000 main sigaction(SIGTERM, handler, mask empty, flags SA_RESTART) = 0
      0.000 main signal(SIGHUP, SIG_IGN)
      0.000 node end: exit status 0)"));
}

TEST(SignalsConformance, WithoutASemaphoreNoHandlerIsInstalledAndNothingIsLogged) {
  for (const int error : {EINVAL, ENOSYS}) {
    SCOPED_TRACE(error);
    Scenario scenario;
    scenario.calls.push_back({"sem_init", 0, {}, error});
    int supported = -1;
    const SimulatedBoot result = simulate(scenario, [&] { supported = initCeShutdownSupport(CONTEXT); });
    EXPECT_EQ(supported, 0);
    EXPECT_TRUE(isTrace(result.trace, R"(
        0.000 main sem_init(semaphore 1, 0, 0) = -1
        0.000 node end: exit status 0)"));
  }
}

// Beside the two and the hang-up every signal keeps its action.
TEST(SignalsConformance, OtherSignalsKeepTheirAction) {
  std::map<int, struct sigaction> actions;
  simulate({}, [&] {
    initCeShutdownSupport(CONTEXT);
    for (int number = 1; number < 65; ++number) {
      if (number != SIGKILL && number != SIGSTOP) sigaction(number, nullptr, &actions[number]);
    }
  });
  ASSERT_EQ(actions.size(), 62u);
  for (const auto &[number, action] : actions) {
    const bool handled = number == SIGINT || number == SIGTERM;
    const auto expected = handled ? shutdownSignalHandler : number == SIGHUP ? SIG_IGN : SIG_DFL;
    EXPECT_EQ(action.sa_handler, expected) << number;
  }
}

TEST(SignalsConformance, BeforeArmingASignalHasTheInheritedEffect) {
  const struct {
    int number;
    const char *name;
  } cases[] = {{SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    Scenario scenario = armedAfterASecond();
    scenario.signals.push_back({row.number, 975, "", 1});
    const SimulatedBoot result = bootWithExecutable(scenario);
    EXPECT_EQ(result.outcome.end, End::SIGNAL);
    EXPECT_EQ(result.outcome.signalNumber, row.number);
    EXPECT_EQ(result.outcome.atMs, 975u);
    EXPECT_TRUE(
        isTrace(linesWith(result.trace, row.name),
                std::string("0.975 node ") + row.name + " ends the daemon\n0.975 node end: killed by " + row.name));
  }
}

// The last step before the signals are armed is the message to the receiver.
TEST(SignalsConformance, SignalBehindTheLastLineBeforeArmingStillEndsTheDaemon) {
  Scenario scenario;
  scenario.signals.push_back({SIGTERM, {}, "initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to", 1});
  const SimulatedBoot result = boot(scenario, {"--startup=notifreceiver=1"});
  EXPECT_EQ(result.outcome.end, End::SIGNAL);
  EXPECT_TRUE(linesWith(result.trace, "sem_init").empty());
}

TEST(SignalsConformance, OnceArmedIntAndTermEndTheDaemonAndHangUpDoesNothing) {
  const struct {
    int number;
    const char *handled;
  } cases[] = {{SIGINT, R"(
      2.000 node SIGINT
      2.000 handler err: OrvDaemon - Got SIGINT
      2.000 handler err: Initiated ORV-RT CE level shutdown
      2.000 handler sem_post(semaphore 1) = 0)"},
               {SIGTERM, R"(
      2.000 node SIGTERM
      2.000 handler err: OrvDaemon - Got SIGTERM
      2.000 handler err: Initiated ORV-RT CE level shutdown
      2.000 handler sem_post(semaphore 1) = 0)"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.number);
    Scenario scenario = armedAfterASecond();
    scenario.signals = {{SIGHUP, 1500, "", 1}, {row.number, 2000, "", 1}};
    const SimulatedBoot result = bootWithExecutable(scenario);
    EXPECT_EQ(result.outcome.exitStatus, 0);
    EXPECT_TRUE(isTrace(linesBetween(result.trace, "sem_wait(semaphore 1)", "node end: exit status 0"), std::string(R"(
        1.000 1:ceInternalStartupEu sem_wait(semaphore 1)
        1.500 node SIGHUP is ignored)") + row.handled + TERMINATED));
  }
}

TEST(SignalsConformance, OnceArmedOtherSignalsStillHaveTheirInheritedEffect) {
  for (const int number : {SIGQUIT, SIGUSR1, SIGALRM}) {
    SCOPED_TRACE(number);
    Scenario scenario = armedAfterASecond();
    scenario.signals.push_back({number, 2000, "", 1});
    const SimulatedBoot result = bootWithExecutable(scenario);
    EXPECT_EQ(result.outcome.end, End::SIGNAL);
    EXPECT_EQ(result.outcome.signalNumber, number);
    EXPECT_EQ(result.outcome.atMs, 2000u);
  }
}

// The semaphore keeps a request that comes before the wait.
TEST(SignalsConformance, SignalBetweenArmingAndTheWaitIsNotLost) {
  Scenario scenario;
  scenario.signals.push_back({SIGTERM, {}, "ceInternalStartup: CE start-up complete", 1});
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "signal(SIGHUP, SIG_IGN)", "node end: exit status 0"), R"(
      0.000 1:ceInternalStartupEu signal(SIGHUP, SIG_IGN)
      0.000 1:ceInternalStartupEu err: Info/ORV/OrvDaemon, ceInternalStartup: CE start-up complete
      0.000 node SIGTERM
      0.000 handler err: OrvDaemon - Got SIGTERM
      0.000 handler err: Initiated ORV-RT CE level shutdown
      0.000 handler sem_post(semaphore 1) = 0
      0.000 1:ceInternalStartupEu AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, ceInternalStartup: CE start-up complete"
      0.000 1:ceInternalStartupEu sem_wait(semaphore 1)
      0.000 1:ceInternalStartupEu sem_wait(semaphore 1) = 0
      0.000 1:ceInternalStartupEu Info: ceInternalStartup: Daemon termination initiated
      0.000 1:ceInternalStartupEu ends
      0.000 main AaStartupCeShutdown() = 0
      0.000 main err: OrvDaemon: returned success
      0.000 node end: exit status 0)"));
}

TEST(SignalsConformance, SecondOfTwoSignalsIsPostedAndNeverConsumed) {
  Scenario scenario;
  scenario.signals = {{SIGTERM, {}, "ceInternalStartup: CE start-up complete", 1},
                      {SIGTERM, {}, "ceInternalStartup: CE start-up complete", 1}};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(linesWith(result.trace, "semaphore 1"), R"(
      0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0
      0.000 handler sem_post(semaphore 1) = 0
      0.000 handler sem_post(semaphore 1) = 0
      0.000 1:ceInternalStartupEu sem_wait(semaphore 1)
      0.000 1:ceInternalStartupEu sem_wait(semaphore 1) = 0)"));
  EXPECT_EQ(linesWith(result.trace, "termination initiated\"").size(), 1u);
}

// Nobody waits any more: the program takes three seconds to end, and a signal meanwhile is answered and changes
// nothing.
TEST(SignalsConformance, SignalDuringTheShutdownPostsAgainWithoutEffect) {
  Scenario scenario = armedAfterASecond();
  scenario.programs.resize(1);
  scenario.programs[0].path = "/opt/a";
  scenario.programs[0].endsAfterSigtermMs = 3000;
  scenario.signals = {{SIGTERM, 2000, "", 1}, {SIGINT, 3500, "", 1}, {SIGHUP, 4000, "", 1}};
  const SimulatedBoot result = bootWithExecutable(scenario);
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "1:ceInternalStartupEu ends", "node end: exit status 0"), R"(
      2.000 1:ceInternalStartupEu ends
      3.500 node SIGINT
      3.500 handler err: OrvDaemon - Got SIGINT
      3.500 handler err: Initiated ORV-RT CE level shutdown
      3.500 handler sem_post(semaphore 1) = 0
      4.000 node SIGHUP is ignored
      5.000 node program "/opt/a" under EU 2 ends with the shutdown
      5.000 main AaStartupCeShutdown() = 0
      5.000 main err: OrvDaemon: returned success
      5.000 node end: exit status 0)"));
}

TEST(SignalsConformance, RequestWhosePostFailsIsLost) {
  Scenario scenario = armedAfterASecond();
  scenario.calls.push_back({"sem_post", 1, {}, 75});
  scenario.signals = {{SIGTERM, 1200, "", 1}, {SIGTERM, 2000, "", 1}};
  const SimulatedBoot result = bootWithExecutable(scenario);
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "sem_wait(semaphore 1)", "node end: exit status 0"), R"(
      1.000 1:ceInternalStartupEu sem_wait(semaphore 1)
      1.200 node SIGTERM
      1.200 handler err: OrvDaemon - Got SIGTERM
      1.200 handler err: Initiated ORV-RT CE level shutdown
      1.200 handler sem_post(semaphore 1) = -1
      1.200 handler err: Not able to trigger CE level shutdown (sem_post errno: 75)
      2.000 node SIGTERM
      2.000 handler err: OrvDaemon - Got SIGTERM
      2.000 handler err: Initiated ORV-RT CE level shutdown
      2.000 handler sem_post(semaphore 1) = 0)" + std::string(TERMINATED)));
}
