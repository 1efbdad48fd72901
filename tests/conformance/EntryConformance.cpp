// The process entry: what happens before the command line is read, how its options are told apart and in which order
// they act, and how the process ends.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "OrvDaemon.h"

using namespace orv::sim;

extern "C" const char *ORV_VER;

int orvDaemonMain(int argc, char **argv);

namespace {

using Arguments = std::vector<std::string>;

// Read before the first boot.
const uint8_t FLAG_AT_LOAD = gEarlyStartupDone;

// A boot from which every option is absent: the whole trace.
std::string refusedBoot() {
  return byMain(std::string(EARLY_STARTUP) + USAGE + "Error: main: Command line parsing failed\n") +
         "0.000 node end: exit status 1\n";
}

// A boot on which nothing is configured: the whole trace, with what the options do in its place.
std::string plainBoot(const std::string &optionLines) {
  const std::string startupEu = "0.000 1:ceInternalStartupEu ";
  return byMain(EARLY_STARTUP + optionLines + "Info: fullStartup: CE start-up\n AaStartupCeStartup() = 0\n") +
         "0.000 node start-up record: " + recordWith("") + "\n" +
         byMain(
             "AaProEuCreateAndStartJoinable(\"ceInternalStartupEu\", 4096, 10, context + 0 bytes, 1) = 0, EU 1\n"
             "Info: shutdown: Initiated CE level shutdown\n"
             "AaStartupCeShutdown()\n") +
         R"(
    0.000 1:ceInternalStartupEu Info: exeStart: no executable configured, skipping
    0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 0
    0.000 1:ceInternalStartupEu AaConfigTagIsSet("sys.repair.center.reset") = 0
    0.000 1:ceInternalStartupEu AaConfigTagIsSet("sys.configuration.reset") = 0
    0.000 1:ceInternalStartupEu Info: appStart: application start-up
    0.000 1:ceInternalStartupEu AaConfigTagGetString("app.hwapi.appcfg.filename") = 2
    0.000 1:ceInternalStartupEu AaFileOpen("/rom/AppDef.txt", "r") = null
    0.000 1:ceInternalStartupEu AaConfigRadGetValue(0x10063) = 0
    0.000 1:ceInternalStartupEu Error: parseAppExeDefFile: application definition file inaccessible
    0.000 1:ceInternalStartupEu Info: appStart: application start-up complete
    0.000 1:ceInternalStartupEu AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
    0.000 1:ceInternalStartupEu AaSysComGetOwnNid() = 0x0
    0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0xfffe,)"
         R"( payload 4 bytes) = 0
    0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0
    0.000 1:ceInternalStartupEu sigaction(SIGINT, handler, mask empty, flags SA_RESTART) = 0
    0.000 1:ceInternalStartupEu sigaction(SIGTERM, handler, mask empty, flags SA_RESTART) = 0
    0.000 1:ceInternalStartupEu signal(SIGHUP, SIG_IGN)
    0.000 1:ceInternalStartupEu Info: ceInternalStartup: CE start-up complete
    0.000 1:ceInternalStartupEu sem_wait(semaphore 1)
    0.000 node nothing more is going to happen: the operator ends the daemon
    0.000 node SIGTERM
    0.000 handler err: OrvDaemon - Got SIGTERM
    0.000 handler err: Initiated ORV-RT CE level shutdown
    0.000 handler sem_post(semaphore 1) = 0
    0.000 1:ceInternalStartupEu sem_wait(semaphore 1) = 0
    0.000 1:ceInternalStartupEu Info: ceInternalStartup: Daemon termination initiated
    0.000 1:ceInternalStartupEu ends
    0.000 main AaStartupCeShutdown() = 0
    0.000 main err: OrvDaemon: returned success
    0.000 node end: exit status 0
  )";
}

void expectPlainBoot(const Arguments &arguments, const std::string &optionLines) {
  const SimulatedBoot result = boot({}, arguments);
  EXPECT_TRUE(isTrace(result.trace, plainBoot(optionLines)));
  EXPECT_EQ(result.outcome.end, End::EXIT);
  EXPECT_EQ(result.outcome.exitStatus, 0);
}

}  // namespace

TEST(EntryConformance, WithoutAnyOptionTheUsageIsPrintedAfterTheEarlyStartupAndTheStatusIsOne) {
  const Arguments commandLines[] = {
      {},                                 // nothing at all
      {"word"},                           // other arguments only
      {"word", "nid=0x1011", "a=1", ""},  // several
      {"-"},                              // a lone dash is no option
      {"--"},                             // the end of the options
      {"--", "-h", "-c", "a=1"},          // what stands behind it is no option
  };
  for (const Arguments &arguments : commandLines) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const SimulatedBoot result = boot({}, arguments);
    EXPECT_TRUE(isTrace(result.trace, refusedBoot()));
    EXPECT_EQ(result.outcome.end, End::EXIT);
    EXPECT_EQ(result.outcome.exitStatus, 1);
  }
}

TEST(EntryConformance, VerboseIsAcceptedAndChangesNothing) {
  expectPlainBoot({"-v"}, "");
  expectPlainBoot({"--verbose"}, "");
  expectPlainBoot({"-vv", "--verb", "-v"}, "");
}

TEST(EntryConformance, HelpIsPrintedAndTheDaemonStarts) {
  expectPlainBoot({"-h"}, USAGE);
  expectPlainBoot({"-vh"}, USAGE);
}

TEST(EntryConformance, BannerIsTheTextThatTheExportedObjectPointsTo) {
  EXPECT_EQ(std::string(ORV_VER).substr(0, 4), "@(#)");
  const char *const own = std::exchange(ORV_VER, "@(#) of another build, 100 %s");
  const SimulatedBoot result = boot({}, {});
  ORV_VER = own;
  ASSERT_FALSE(result.trace.empty());
  EXPECT_EQ(result.trace.front(), "0.000 main err: RT-ORV build @(#) of another build, 100 %s");
}

TEST(EntryConformance, SystemLogIsInUseOnceTheEarlyStartupHasReturned) {
  EXPECT_EQ(FLAG_AT_LOAD, 0);
  boot({}, {});
  EXPECT_EQ(gEarlyStartupDone, 1);
}

TEST(EntryConformance, ResultsOfEarlyStartupAndReadinessNoticeAreNotExamined) {
  for (const int64_t failure : {1, 7, -1}) {
    Scenario scenario;
    scenario.calls.push_back({"AaStartupEarlyStartup", 0, {}, failure});
    scenario.calls.push_back({"ddal_system_notify_ready", 0, {}, failure});
    const SimulatedBoot result = boot(scenario, {"-v"});
    const std::string number = std::to_string(failure);
    EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), byMain("err: RT-ORV build BANNER\n"
                                                              "AaStartupEarlyStartup() = " +
                                                              number +
                                                              "\n"
                                                              "Info: systemdNotify: sending notification to systemd\n"
                                                              "ddal_system_notify_ready() = " +
                                                              number + "\n" + LIFE)));
    EXPECT_EQ(result.outcome.exitStatus, 0);
  }
}

TEST(EntryConformance, FailedFullStartupEndsWithStatusOneAndNoMessageOfTheEntry) {
  Scenario scenario;
  scenario.calls.push_back({"AaStartupCeStartup", 0, {}, 7});
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_TRUE(isTrace(result.trace, byMain(std::string(EARLY_STARTUP) + "Info: fullStartup: CE start-up\n"
                                                                        "AaStartupCeStartup() = 7\n") +
                                        "0.000 node start-up record: " + recordWith("") +
                                        "\n0.000 main Error: fullStartup: CE AaStartup failed\n"
                                        "0.000 node end: exit status 1\n"));
  EXPECT_EQ(result.outcome.end, End::EXIT);
  EXPECT_EQ(result.outcome.exitStatus, 1);
}

TEST(EntryConformance, ResultOfTheShutdownRequestIsNotExamined) {
  for (const int64_t answer : {0, 1, -1}) {
    Scenario scenario;
    scenario.calls.push_back({"AaStartupCeShutdown", 0, {}, answer});
    const SimulatedBoot result = boot(scenario, {"-v"});
    EXPECT_TRUE(isTrace(linesBetween(result.trace, "AaStartupCeShutdown()", "status 0"),
                        byMain("AaStartupCeShutdown()\n AaStartupCeShutdown() = " + std::to_string(answer) +
                               "\n err: OrvDaemon: returned success\n") +
                            "0.000 node end: exit status 0\n"));
    EXPECT_EQ(result.outcome.exitStatus, 0);
  }
}

TEST(EntryConformance, LastWordsAreAWholeLine) {
  const SimulatedBoot result = simulate({}, [] {
    std::string texts[] = {"ORVDaemonExe", "-v"};
    char *arguments[] = {texts[0].data(), texts[1].data(), nullptr};
    std::fprintf(stderr, "status %d\n", orvDaemonMain(2, arguments));
  });
  EXPECT_TRUE(
      isTrace(linesBetween(result.trace, "success", "0"), byMain("err: OrvDaemon: returned success\n err: status 0")));
}

// The daemon stays resident, and its standard output may be a file or a pipe.
TEST(EntryConformance, WhatTheOptionsPrintedIsWrittenOutBeforeTheFullStartup) {
  char *written = nullptr;
  size_t size = 0;
  bool parsed = false;
  simulate({}, [&] {
    FILE *const own = std::exchange(stdout, open_memstream(&written, &size));
    std::string texts[] = {"ORVDaemonExe", "-h"};
    char *arguments[] = {texts[0].data(), texts[1].data(), nullptr};
    parsed = parseCommandLine(2, arguments);
    const size_t sizeBefore = size;
    std::fclose(std::exchange(stdout, own));
    EXPECT_EQ(sizeBefore, size) << "the rest was written only when the stream was closed";
  });
  EXPECT_TRUE(parsed);
  EXPECT_GT(size, 0U);
  std::free(written);
}

TEST(EntryConformance, ThereAreFourOptionLetters) {
  for (char letter = '!'; letter <= '~'; ++letter) {
    if (std::string("vhcs-").find(letter) != std::string::npos) continue;
    const std::string diagnostic = std::string("err: ORVDaemonExe: invalid option -- '") + letter + "'";
    EXPECT_TRUE(bootsAs({"", {std::string("-") + letter}, diagnostic}));
  }
}

class EntryOptionConformance : public testing::TestWithParam<OptionCase> {};

TEST_P(EntryOptionConformance, PrintsCallsAndStores) {
  EXPECT_TRUE(bootsAs(GetParam()));
}

const OptionCase OPTION_CASES[] = {
    {"EachConfigOptionHasItsWidth",
     {"-c", "a=1", "-s", "b=2", "--config", "c=3", "--config_short", "d=4"},
     R"(AaConfigTagSetU32("a", 1) = 0
        AaConfigTagSetU16("b", 2) = 0
        AaConfigTagSetU32("c", 3) = 0
        AaConfigTagSetU16("d", 4) = 0)"},
    {"ArgumentsMayBeAttached",
     {"-ca=1", "-sb=2", "--config=c=3", "--config_short=d=4", "-vcg=70000", "-vsh=70000"},
     R"(AaConfigTagSetU32("a", 1) = 0
        AaConfigTagSetU16("b", 2) = 0
        AaConfigTagSetU32("c", 3) = 0
        AaConfigTagSetU16("d", 4) = 0
        AaConfigTagSetU32("g", 70000) = 0
        AaConfigTagSetU16("h", 4464) = 0)"},
    {"LongNamesMayBeShortenedAsFarAsTheyAreClear",
     {"--config_s=a=65537", "--star=nid=1"},
     R"(AaConfigTagSetU16("a", 1) = 0
        err: NID set to 0x0001
        err: Master NID value in RT startup 0x0000)",
     "nid=0x0001"},
    {"UnclearLongNameIsSkipped",
     {"--conf=a=1", "-c", "b=2"},
     R"(err: ORVDaemonExe: option '--conf=a=1' is ambiguous; possibilities: '--config' '--config_short'
        AaConfigTagSetU32("b", 2) = 0)"},
    {"OptionsActInTheirOrder",
     {"--startup=nid=1,masternid=2", "-c", "a=1", "-s", "a=2", "--startup=nid=3", "-c", "a=text"},
     R"(err: NID set to 0x0001
        err: Master NID set to 0x0002
        err: Master NID value in RT startup 0x0002
        AaConfigTagSetU32("a", 1) = 0
        AaConfigTagSetU16("a", 2) = 0
        err: NID set to 0x0003
        err: Master NID value in RT startup 0x0002
        AaConfigTagSetString("a", "text") = 0)",
     "nid=0x0003 masterNid=0x0002"},
    {"HelpActsInItsPlace",
     {"-c", "a=1", "-h", "-c", "b=2"},
     std::string("AaConfigTagSetU32(\"a\", 1) = 0\n") + USAGE + "AaConfigTagSetU32(\"b\", 2) = 0\n"},
    {"UnknownShortOptionIsSkipped",
     {"-x", "-c", "a=1"},
     R"(err: ORVDaemonExe: invalid option -- 'x'
        AaConfigTagSetU32("a", 1) = 0)"},
    {"UnknownShortOptionAloneIsAnOption", {"-x"}, "err: ORVDaemonExe: invalid option -- 'x'"},
    {"UnknownLongOptionIsSkipped",
     {"--bogus=1", "--startup=nid=1"},
     R"(err: ORVDaemonExe: unrecognized option '--bogus=1'
        err: NID set to 0x0001
        err: Master NID value in RT startup 0x0000)",
     "nid=0x0001"},
    {"LongerNameIsAnotherOption", {"--startup~=nid=1"}, "err: ORVDaemonExe: unrecognized option '--startup~=nid=1'"},
    {"HelpHasNoLongName", {"--help"}, "err: ORVDaemonExe: unrecognized option '--help'"},
    {"MissingArgumentOfShortConfigLetter", {"-v", "-c"}, "err: ORVDaemonExe: option requires an argument -- 'c'"},
    {"MissingArgumentOfShortConfigShortLetter", {"-v", "-s"}, "err: ORVDaemonExe: option requires an argument -- 's'"},
    {"MissingArgumentOfConfig", {"--config"}, "err: ORVDaemonExe: option '--config' requires an argument"},
    {"MissingArgumentOfConfigShort",
     {"--config_short"},
     "err: ORVDaemonExe: option '--config_short' requires an argument"},
    {"VerboseTakesNoArgument",
     {"--verbose=1", "-c", "a=1"},
     R"(err: ORVDaemonExe: option '--verbose' doesn't allow an argument
        AaConfigTagSetU32("a", 1) = 0)"},
    {"StartupTakesNoSeparateArgument",
     {"--startup", "nid=1", "-c", "a=1"},
     R"(err: Master NID value in RT startup 0x0000
        AaConfigTagSetU32("a", 1) = 0)"},
    {"OtherArgumentsAreSkippedWhereverTheyStand",
     {"word", "-c", "a=1", "b=2", "-s", "c=3", "d=4"},
     R"(AaConfigTagSetU32("a", 1) = 0
        AaConfigTagSetU16("c", 3) = 0)"},
    {"NothingBehindTwoDashesIsRead", {"-c", "a=1", "--", "-c", "b=2", "-h"}, "AaConfigTagSetU32(\"a\", 1) = 0"},
};
INSTANTIATE_TEST_SUITE_P(EntryConformance, EntryOptionConformance, testing::ValuesIn(OPTION_CASES), nameOf);

TEST(EntryConformance, LongOptionsWithoutALetterActByTheirIndex) {
  struct Case {
    int index;
    const char *argument;  // null: none
    const char *lines;
  };
  const Case cases[] = {
      {0, "a=1", ""},
      {1, "nid=1", "err: NID set to 0x0001\n err: Master NID value in RT startup 0x0000"},
      {1, nullptr, "err: Master NID value in RT startup 0x0000"},
      {2, "a=65537", "AaConfigTagSetU32(\"a\", 65537) = 0"},
      {3, "a=65537", "AaConfigTagSetU16(\"a\", 1) = 0"},
      {4, "a=1", "err: Unknown option 'a=1'"},
      {4, nullptr, "err: Unknown option ''"},
      {-1, "a=1", "err: Unknown option 'a=1'"},
  };
  for (const Case &row : cases) {
    SCOPED_TRACE(row.index);
    std::string argument = row.argument == nullptr ? "" : row.argument;
    const SimulatedBoot result = simulate({}, [&] {
      dispatchLongOption(row.index, row.argument == nullptr ? nullptr : argument.data());
      std::fputs("next line\n", stderr);
    });
    EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), byMain(row.lines + std::string("\nerr: next line"))));
  }
}
