// What the daemon does with answers that the simulated platform never gives, and from when on it takes the platform's
// early start-up for done. The linker puts the functions of this file before the simulated ones, in this program alone.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Applications.h"
#include "ExpectedTrace.h"
#include "OrvDaemon.h"
#include "Startup.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;
constexpr const char *FILE_TAG = "app.hwapi.appcfg.filename";

uint8_t gFlagInEarlyStartup = 0;

// The result of AaConfigTagGetString, whatever it hands out, and what it is called with.
struct TextCall {
  std::optional<int32_t> result;
  bool calledWithNull = false;
  bool calledWithLength = false;
};
TextCall gTextCall;

// The result of AaFileRead from one call on, the first being 1. The character is read all the same.
struct ReadAnswer {
  unsigned from = 0;  // 0: none
  uint32_t result = 0;
  unsigned calls = 0;
};
ReadAnswer gReadAnswer;

// Signals whose action cannot be set, and whether anything but the new action was asked for.
struct RefusedSignals {
  bool refused = false;
  bool previousAskedFor = false;
};
RefusedSignals gSignals;

}  // namespace

extern "C" {
int32_t __real_AaStartupEarlyStartup();
int32_t __wrap_AaStartupEarlyStartup();
int32_t __real_AaConfigTagGetString(const char *name, char **text, uint32_t *length);
int32_t __wrap_AaConfigTagGetString(const char *name, char **text, uint32_t *length);
uint32_t __real_AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file);
uint32_t __wrap_AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file);
int __real_sigaction(int number, const struct sigaction *action, struct sigaction *previous);
int __wrap_sigaction(int number, const struct sigaction *action, struct sigaction *previous);
__sighandler_t __real_signal(int number, __sighandler_t handler);
__sighandler_t __wrap_signal(int number, __sighandler_t handler);

int32_t __wrap_AaStartupEarlyStartup() {
  const int32_t result = __real_AaStartupEarlyStartup();
  gFlagInEarlyStartup = gEarlyStartupDone;
  return result;
}

int32_t __wrap_AaConfigTagGetString(const char *name, char **text, uint32_t *length) {
  gTextCall.calledWithNull = *text == nullptr;
  gTextCall.calledWithLength = length != nullptr;
  const int32_t result = __real_AaConfigTagGetString(name, text, length);
  return gTextCall.result.value_or(result);
}

uint32_t __wrap_AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file) {
  const uint32_t result = __real_AaFileRead(buffer, itemSize, itemCount, file);
  ++gReadAnswer.calls;
  return gReadAnswer.from != 0 && gReadAnswer.calls >= gReadAnswer.from ? gReadAnswer.result : result;
}

int __wrap_sigaction(int number, const struct sigaction *action, struct sigaction *previous) {
  const int result = __real_sigaction(number, action, previous);
  if (!gSignals.refused) return result;
  if (previous != nullptr) gSignals.previousAskedFor = true;
  return -1;
}

__sighandler_t __wrap_signal(int number, __sighandler_t handler) {
  __sighandler_t previous = __real_signal(number, handler);
  return gSignals.refused ? SIG_ERR : previous;
}
}

namespace {

// The application phase with a definition file of that name, when the tag's text comes with this result.
TraceLines startUpWithText(const std::optional<std::string> &fileName, int32_t result) {
  Scenario scenario;
  if (fileName) scenario.tags[FILE_TAG] = {TagType::STRING, 0, *fileName};
  scenario.files = {{"/etc/apps.txt", ""}, {"/rom/AppDef.txt", ""}};
  gTextCall = {};
  gTextCall.result = result;
  const SimulatedBoot boot = simulate(scenario, [] { appStart(CONTEXT); });
  gTextCall.result.reset();
  EXPECT_EQ(boot.outcome.buffersHeld, 0u);
  return boot.trace;
}

// "name|path|args|reserved|supervisionFlags|onlineTag" of each record.
std::vector<std::string> recordsOf(const AppExeDefTable &table) {
  std::vector<std::string> records;
  for (unsigned i = 0; i < table.count; ++i) {
    const AppExeDef &definition = table.definitions[i];
    std::ostringstream text;
    text << definition.name << '|' << definition.path << '|' << definition.args << '|' << definition.reserved << '|'
         << definition.supervisionFlags << '|' << definition.onlineTag;
    records.push_back(text.str());
  }
  return records;
}

}  // namespace

TEST(OtherAnswersConformance, EarlyStartupIsDoneOnlyOnceThePlatformHasReturned) {
  gFlagInEarlyStartup = 0xff;
  boot({}, {"-v"});
  EXPECT_EQ(gFlagInEarlyStartup, 0);
  EXPECT_EQ(gEarlyStartupDone, 1);
}

TEST(OtherAnswersConformance, TextOfATagIsUsedAndReleasedWhateverTheResult) {
  for (const int32_t result : {1, 22, -1}) {
    SCOPED_TRACE(result);
    const TraceLines trace = startUpWithText("/etc/apps.txt", result);
    EXPECT_TRUE(isTrace(linesWith(trace, "AaFileOpen"), R"(0.000 main AaFileOpen("/etc/apps.txt", "r") = file 1)"));
    EXPECT_EQ(linesWith(trace, "AaMemUnRefDbg(buffer 1, ").size(), 1u);
  }
}

TEST(OtherAnswersConformance, SuccessWithoutATextLeavesTheDefaultFile) {
  const TraceLines trace = startUpWithText({}, 0);
  EXPECT_TRUE(isTrace(linesWith(trace, "AaFileOpen"), R"(0.000 main AaFileOpen("/rom/AppDef.txt", "r") = file 1)"));
  EXPECT_TRUE(linesWith(trace, "AaMemUnRefDbg").empty());
}

TEST(OtherAnswersConformance, TextOfATagIsAskedForWithANullPointerAndALength) {
  startUpWithText({}, 0);
  EXPECT_TRUE(gTextCall.calledWithNull);
  EXPECT_TRUE(gTextCall.calledWithLength);
}

TEST(OtherAnswersConformance, ReadThatDoesNotAnswerOneIsTheEndOfTheFile) {
  Scenario scenario;
  scenario.files["/app.txt"] = "a;/a;;1;2;t\nb;/b;;;;\n";
  for (const uint32_t result : {0u, 2u, 0x101u, 0x80000000u, UINT32_MAX}) {
    SCOPED_TRACE(result);
    auto table = std::make_unique<AppExeDefTable>();
    gReadAnswer = {10, result, 0};
    const SimulatedBoot boot = simulate(scenario, [&] { parseAppExeDefFile("/app.txt", *table); });
    gReadAnswer = {};
    EXPECT_EQ(recordsOf(*table), std::vector<std::string>{"a|/a||1|0|"});
    EXPECT_EQ(linesWith(boot.trace, "AaFileRead").size(), 11u);  // once more for a second line
  }
}

TEST(OtherAnswersConformance, SignalsWhoseActionsCannotBeSetAreNotNoticed) {
  int supported = -1;
  const auto support = [&] { supported = initCeShutdownSupport(CONTEXT); };
  const SimulatedBoot accepted = simulate({}, support);
  supported = -1;
  gSignals = {true, false};
  const SimulatedBoot refused = simulate({}, support);
  const RefusedSignals signals = gSignals;
  gSignals = {};
  EXPECT_EQ(supported, 1);
  EXPECT_FALSE(signals.previousAskedFor);
  EXPECT_EQ(linesWith(accepted.trace, "sigaction(").size(), 2u);
  EXPECT_EQ(refused.trace, accepted.trace);
}
