// The full start-up: the CE first, then the EU of the internal start-up, for which nobody waits here.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "AaStartup.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "Startup.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0x12345678;

const int64_t FAILURES[] = {1, 7, -1, INT32_MAX, INT32_MIN};

// The full start-up alone, with what it returned.
struct FullStartup {
  explicit FullStartup(const Scenario &scenario)
      : boot(simulate(scenario, [this] { result = fullStartup(CONTEXT); })) {}

  int result = -1;
  SimulatedBoot boot;
};

std::string started(const std::string &ceResult) {
  return "0.000 main Info: fullStartup: CE start-up\n0.000 main AaStartupCeStartup() = " + ceResult +
         "\n0.000 node start-up record: " + recordWith("") + "\n";
}

const std::string CREATION =
    "0.000 main AaProEuCreateAndStartJoinable(\"ceInternalStartupEu\", 4096, 10, context + 0 bytes, 1) = ";

// Overwrites what a function that has returned left on the stack.
__attribute__((noinline)) void overwriteStack() {
  std::array<volatile unsigned char, 4096> frame;
  for (volatile unsigned char &byte : frame)
    byte = 0xa5;
}

}  // namespace

TEST(FullStartupConformance, ReturnsOneWhenCeAndEuAreStarted) {
  const FullStartup startup({});
  EXPECT_EQ(startup.result, 1);
  // The process ended before the EU had a turn.
  EXPECT_TRUE(isTrace(startup.boot.trace, started("0") + CREATION + "0, EU 1\n0.000 node end: exit status 0"));
}

TEST(FullStartupConformance, FailedCeStartupIsLoggedAndNoEuIsCreated) {
  for (const int64_t failure : FAILURES) {
    Scenario scenario;
    scenario.calls.push_back({"AaStartupCeStartup", 0, {}, failure});
    const FullStartup startup(scenario);
    EXPECT_EQ(startup.result, 0);
    EXPECT_TRUE(isTrace(startup.boot.trace, started(std::to_string(failure)) + R"(
      0.000 main Error: fullStartup: CE AaStartup failed
      0.000 node end: exit status 0
    )"));
  }
}

TEST(FullStartupConformance, FailedEuCreationIsLoggedWithoutItsCode) {
  for (const int64_t failure : FAILURES) {
    Scenario scenario;
    scenario.calls.push_back({"AaProEuCreateAndStartJoinable", 0, {}, failure});
    const FullStartup startup(scenario);
    EXPECT_EQ(startup.result, 0);
    EXPECT_TRUE(isTrace(startup.boot.trace, started("0") + CREATION + std::to_string(failure) + R"(
      0.000 main Error: fullStartup: start-up EU creation failed
      0.000 node end: exit status 0
    )"));
  }
}

TEST(FullStartupConformance, FailedEuCreationEndsTheDaemonWithStatusOneAndDoesNotStopTheCe) {
  Scenario scenario;
  scenario.calls.push_back({"AaProEuCreateAndStartJoinable", 0, "ceInternalStartupEu", 12});
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(result.trace, byMain(EARLY_STARTUP) + started("0") + CREATION + R"(12
    0.000 main Error: fullStartup: start-up EU creation failed
    0.000 node end: exit status 1
  )"));
  EXPECT_EQ(result.outcome.exitStatus, 1);
}

TEST(FullStartupConformance, EuReadsTheContextWordFromThePlatformsCopy) {
  const SimulatedBoot result = simulate({}, [] {
    const int started = fullStartup(CONTEXT);
    overwriteStack();
    std::fprintf(stderr, "fullStartup returned %d\n", started);
    AaStartupCeShutdown();
  });
  // Only the same word shows as "context".
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "EU 1", "Count(context) = 0"), CREATION + R"(0, EU 1
    0.000 main err: fullStartup returned 1
    0.000 main AaStartupCeShutdown()
    0.000 1:ceInternalStartupEu Info: exeStart: no executable configured, skipping
    0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 0
  )"));
}

TEST(FullStartupConformance, SucceedsThoughTheInternalStartupFailsInEveryStep) {
  Scenario scenario;
  scenario.calls.push_back({"AaProEuCreateAndStart", 0, {}, 11});
  scenario.calls.push_back({"AaSysComEuUserRegister", 0, {}, 0});
  scenario.calls.push_back({"sem_init", 0, {}, 28});
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/one,notifreceiver=0x10001"});
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "EU 1", "SIGTERM"), CREATION + R"(0, EU 1
    0.000 main Info: shutdown: Initiated CE level shutdown
    0.000 main AaStartupCeShutdown()
    0.000 1:ceInternalStartupEu Info: parseExeDefs: Executables: /one
    0.000 1:ceInternalStartupEu Info: parseExeDefs: Executable '/one' has arguments '/one' and online tag to wait ''
    0.000 1:ceInternalStartupEu Info: exeStartAll: Executable '/one' starting
    0.000 1:ceInternalStartupEu AaProEuCreateAndStart("/one", 4132, 31, context + 600 bytes) = 11
    0.000 1:ceInternalStartupEu Error: exeStartAll: Exe sentinel EU creation failed with error 11
    0.000 1:ceInternalStartupEu Error: ceInternalStartup: executable start-up failed, application start-up skipped
    0.000 1:ceInternalStartupEu AaSysComEuUserRegister(0) = 0x0
    0.000 1:ceInternalStartupEu Error: initFinishNotify: syscom registration failed
    0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = -1
    0.000 1:ceInternalStartupEu Error: ceInternalStartup: Failed to init CE shutdown support
    0.000 1:ceInternalStartupEu Info: ceInternalStartup: CE start-up complete
    0.000 1:ceInternalStartupEu sem_wait(semaphore 1)
    0.000 node nothing more is going to happen: the operator ends the daemon
    0.000 node SIGTERM ends the daemon
    0.000 node end: killed by SIGTERM
  )"));
  EXPECT_EQ(result.outcome.end, End::SIGNAL);
}
