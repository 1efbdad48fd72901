// Scenario files: what each key sets, what holds without it, and which files can be read.
#include "ScenarioFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <limits>
#include <string>
#include <vector>

#include "FreshDirectory.h"

namespace {

using orv::sim::ProgramBehaviour;
using orv::sim::Scenario;
using orv::sim::ScenarioError;
using orv::sim::TagType;
using orv::sim::TagValue;

Scenario parsed(const std::string &text) {
  ScenarioError error;
  const auto scenario = orv::sim::parseScenario(text, "node.toml", error);
  EXPECT_TRUE(scenario.has_value()) << error.text() << "\n" << text;
  return scenario.value_or(Scenario());
}

// The only program of a scenario, with `keys` beside its path.
ProgramBehaviour program(const std::string &keys) {
  const Scenario scenario = parsed("[[program]]\npath = \"/p\"\n" + keys);
  return scenario.programs.size() == 1 ? scenario.programs[0] : ProgramBehaviour();
}

uint64_t duration(const std::string &value) {
  return parsed("end_at = " + value).endAtMs;
}

std::string refusalOf(const std::string &fileName) {
  ScenarioError error;
  EXPECT_FALSE(orv::sim::readScenario(fileName, error).has_value());
  return error.text();
}

class ScenarioOnDisk : public testing::Test {
 protected:
  FreshDirectory directory_;
};

}  // namespace

TEST(ParseScenario, EmptyTextIsTheDefaultScenario) {
  EXPECT_EQ(parsed(""), Scenario());
}

TEST(ParseScenario, EmptyTablesChangeNothing) {
  EXPECT_EQ(parsed("program = []\nsignal = []\n[tags]\n[rad]\n[reset]\n"), Scenario());
}

TEST(ParseScenario, TopLevelKeysAreRead) {
  const Scenario scenario = parsed(
      "name = \"a node\"\nseed = 42\nungraceful_count = 3\ngrace_time = \"2.5s\"\nend_signal = \"SIGINT\"\n"
      "end_at = \"1h\"\nmax_operations = 1_000\n");
  Scenario expected;
  expected.name = "a node";
  expected.seed = 42;
  expected.ungracefulCount = 3;
  expected.graceTimeMs = 2500;
  expected.endSignal = SIGINT;
  expected.endAtMs = 3600000;
  expected.maxOperations = 1000;
  EXPECT_EQ(scenario, expected);
}

TEST(ParseScenario, EndSignalNoneIsZero) {
  EXPECT_EQ(parsed("end_signal = \"none\"").endSignal, 0);
}

TEST(ParseScenario, NumbersBeyondTomlAreTexts) {
  const Scenario scenario = parsed("seed = \"18446744073709551615\"\nmax_operations = \"0xffffffffffffffff\"");
  EXPECT_EQ(scenario.seed, std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(scenario.maxOperations, std::numeric_limits<uint64_t>::max());
}

TEST(ParseScenario, GreatestNumbersOfTheirTypesAreRead) {
  const Scenario scenario = parsed(
      "seed = 9223372036854775807\nungraceful_count = 4294967295\ngrace_time = 4294967295\n"
      "end_at = 9223372036854775807\n[rad]\n0xffffffff = 4294967295\n[tags]\na = 4294967295\nb = {u16 = 65535}\n"
      "c = {u32 = 4294967295}\n");
  EXPECT_EQ(scenario.seed, 9223372036854775807u);
  EXPECT_EQ(scenario.ungracefulCount, 4294967295u);
  EXPECT_EQ(scenario.graceTimeMs, 4294967295u);
  EXPECT_EQ(scenario.endAtMs, 9223372036854775807u);
  EXPECT_EQ(scenario.rad.at(0xffffffff), 4294967295u);
  EXPECT_EQ(scenario.tags.at("a"), (TagValue{TagType::U32, 4294967295, ""}));
  EXPECT_EQ(scenario.tags.at("b"), (TagValue{TagType::U16, 65535, ""}));
  EXPECT_EQ(scenario.tags.at("c"), (TagValue{TagType::U32, 4294967295, ""}));
}

TEST(ParseScenario, DurationsAreExact) {
  EXPECT_EQ(duration("0"), 0u);
  EXPECT_EQ(duration("250"), 250u);
  EXPECT_EQ(duration("\"250ms\""), 250u);
  EXPECT_EQ(duration("\"1.5s\""), 1500u);
  EXPECT_EQ(duration("\"0.001s\""), 1u);
  EXPECT_EQ(duration("\"2min\""), 120000u);
  EXPECT_EQ(duration("\"1.25min\""), 75000u);
  EXPECT_EQ(duration("\"1h\""), 3600000u);
  EXPECT_EQ(duration("\"0.0078125h\""), 28125u);
  EXPECT_EQ(duration("\"1.0000000000s\""), 1000u);
  EXPECT_EQ(duration("\"007s\""), 7000u);
  EXPECT_EQ(duration("\"9223372036854775807ms\""), 9223372036854775807u);
  EXPECT_EQ(duration("\"9223372036854775.807s\""), 9223372036854775807u);
}

TEST(ParseScenario, TagsHaveTheTypeThatTheirValueShows) {
  const Scenario scenario = parsed(
      "[tags]\n\"orv.service.aapro.watchdog_enabled\" = 1\ntext = \"north mast\"\nshort = {u16 = 5}\n"
      "long = {u32 = 0x10}\nempty = \"\"\n");
  EXPECT_EQ(scenario.tags.size(), 5u);
  EXPECT_EQ(scenario.tags.at("orv.service.aapro.watchdog_enabled"), (TagValue{TagType::U32, 1, ""}));
  EXPECT_EQ(scenario.tags.at("text").type, TagType::STRING);
  EXPECT_EQ(scenario.tags.at("text").text, "north mast");
  EXPECT_EQ(scenario.tags.at("short"), (TagValue{TagType::U16, 5, ""}));
  EXPECT_EQ(scenario.tags.at("long"), (TagValue{TagType::U32, 16, ""}));
  EXPECT_EQ(scenario.tags.at("empty").type, TagType::STRING);
  EXPECT_EQ(scenario.tags.at("empty").text, "");
}

TEST(ParseScenario, TimedTagsKeepTheirOrder) {
  const Scenario scenario = parsed(
      "[[tag]]\nname = \"b\"\nat = \"2s\"\nvalue = {u16 = 7}\n[[tag]]\nname = \"a\"\nat = 5\n"
      "[[tag]]\nname = \"c\"\nat = 0\nvalue.u16 = 8\n");
  ASSERT_EQ(scenario.timedTags.size(), 3u);
  EXPECT_EQ(scenario.timedTags[0].name, "b");
  EXPECT_EQ(scenario.timedTags[0].afterMs, 2000u);
  EXPECT_EQ(scenario.timedTags[0].value, (TagValue{TagType::U16, 7, ""}));
  EXPECT_EQ(scenario.timedTags[1].name, "a");
  EXPECT_EQ(scenario.timedTags[1].afterMs, 5u);
  EXPECT_EQ(scenario.timedTags[1].value, (TagValue{TagType::U32, 1, ""}));
  EXPECT_EQ(scenario.timedTags[2].value, (TagValue{TagType::U16, 8, ""}));
}

TEST(ParseScenario, RadNumbersAreDecimalOrHexadecimalBareOrQuoted) {
  const Scenario scenario = parsed("[rad]\n0x10063 = 1\n65648 = 2\n\"0x10077\" = 3\n\"7\" = 4\n");
  EXPECT_EQ(scenario.rad, (std::map<uint32_t, uint32_t>{{0x10063, 1}, {0x10070, 2}, {0x10077, 3}, {7, 4}}));
}

TEST(ParseScenario, FilesHaveTextOrBytes) {
  const Scenario scenario = parsed(
      "[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"\"\"\na;/p;;0;1;t\n\"\"\"\n"
      "[[file]]\nname = \"/rom/raw\"\nbytes = [0, 97, 0xff]\n[[file]]\nname = \"/rom/empty\"\nbytes = []\n");
  EXPECT_EQ(scenario.files.size(), 3u);
  EXPECT_EQ(scenario.files.at("/rom/AppDef.txt"), "a;/p;;0;1;t\n");
  EXPECT_EQ(scenario.files.at("/rom/raw"), std::string("\0a\xff", 3));
  EXPECT_EQ(scenario.files.at("/rom/empty"), "");
}

TEST(ParseScenario, ConfigFilesHaveTags) {
  const Scenario scenario = parsed(
      "[[config_file]]\nname = \"/etc/a.xml\"\ntags = {a = 1, \"b.c\" = \"text\", d = {u16 = 2}}\n"
      "[[config_file]]\nname = \"/etc/b.xml\"\n[config_file.tags]\ne = 5\n[[config_file]]\nname = \"/etc/c.xml\"\n");
  EXPECT_EQ(scenario.configFiles.size(), 3u);
  EXPECT_EQ(scenario.configFiles.at("/etc/a.xml").size(), 3u);
  EXPECT_EQ(scenario.configFiles.at("/etc/a.xml").at("b.c").text, "text");
  EXPECT_EQ(scenario.configFiles.at("/etc/a.xml").at("d"), (TagValue{TagType::U16, 2, ""}));
  EXPECT_EQ(scenario.configFiles.at("/etc/b.xml").at("e").number, 5u);
  EXPECT_TRUE(scenario.configFiles.at("/etc/c.xml").empty());
}

TEST(ParseScenario, ProgramWithItsPathAloneHasTheDefaults) {
  ProgramBehaviour expected;
  expected.path = "/p";
  EXPECT_EQ(program(""), expected);
}

TEST(ParseScenario, ProgramKeysAreRead) {
  const ProgramBehaviour actual = program(
      "args = \"-v 2\"\nstart = 3\nruns_for = \"1.5s\"\nexit = 255\nresult = -7\nwait_status_written = false\n"
      "ends_after_sigterm = \"20s\"\n");
  ProgramBehaviour expected;
  expected.path = "/p";
  expected.args = "-v 2";
  expected.start = 3;
  expected.runsForMs = 1500;
  expected.waitStatus = 0xff00;
  expected.result = -7;
  expected.waitStatusWritten = false;
  expected.endsAfterSigtermMs = 20000;
  EXPECT_EQ(actual, expected);
}

TEST(ParseScenario, ProgramEndsInOneOfFiveWays) {
  EXPECT_EQ(program("exit = 1").waitStatus, 0x0100);
  EXPECT_EQ(program("signal = \"SIGSEGV\"").waitStatus, SIGSEGV);
  EXPECT_EQ(program("signal = 64").waitStatus, 64);
  EXPECT_EQ(program("stop = \"SIGSTOP\"").waitStatus, SIGSTOP << 8 | 0x7f);
  EXPECT_EQ(program("wait_status = -1").waitStatus, -1);
  EXPECT_EQ(program("launch_failure = -2147483648").launchFailure, std::numeric_limits<int32_t>::min());
}

TEST(ParseScenario, EmptyArgumentsAreNotAnyArguments) {
  EXPECT_EQ(program("args = \"\"").args, "");
  EXPECT_EQ(program("").args, std::nullopt);
}

TEST(ParseScenario, ProgramRunsForeverOrForNoTime) {
  EXPECT_EQ(program("runs_for = \"forever\"").runsForMs, std::nullopt);
  EXPECT_EQ(program("runs_for = 0").runsForMs, 0u);
}

TEST(ParseScenario, ProgramThatNeverEndsAfterSigtermHasTheGreatestTime) {
  EXPECT_EQ(program("ends_after_sigterm = \"never\"").endsAfterSigtermMs, std::numeric_limits<uint64_t>::max());
}

TEST(ParseScenario, ProgramSetsTagsByNameOrTable) {
  const ProgramBehaviour actual =
      program("sets = [\"a\", {tag = \"b\", after = \"2s\", value = \"x\"}, {tag = \"c\"}]");
  ASSERT_EQ(actual.sets.size(), 3u);
  EXPECT_EQ(actual.sets[0], (orv::sim::TimedTag{"a", {TagType::U32, 1, ""}, 0}));
  EXPECT_EQ(actual.sets[1].name, "b");
  EXPECT_EQ(actual.sets[1].afterMs, 2000u);
  EXPECT_EQ(actual.sets[1].value.text, "x");
  EXPECT_EQ(actual.sets[2], (orv::sim::TimedTag{"c", {TagType::U32, 1, ""}, 0}));
}

TEST(ParseScenario, CallsAreRead) {
  const Scenario scenario = parsed(
      "[[call]]\nname = \"AaFileOpen\"\noccurrence = 2\nargument = \"/rom/AppDef.txt\"\nresult = 0\n"
      "[[call]]\nname = \"sem_wait\"\nresult = 4\n");
  ASSERT_EQ(scenario.calls.size(), 2u);
  EXPECT_EQ(scenario.calls[0], (orv::sim::CallResult{"AaFileOpen", 2, "/rom/AppDef.txt", 0}));
  EXPECT_EQ(scenario.calls[1], (orv::sim::CallResult{"sem_wait", 0, std::nullopt, 4}));
}

TEST(ParseScenario, NumberAsArgumentIsWrittenAsTheCallsAreCompared) {
  for (const char *argument : {"0x10AB3", "68275", "\"0x10AB3\"", "\"68275\"", "\"0x00010ab3\""}) {
    const Scenario scenario =
        parsed("[[call]]\nname = \"AaConfigRadGetValue\"\nresult = 1\nargument = " + std::string(argument));
    ASSERT_EQ(scenario.calls.size(), 1u);
    EXPECT_EQ(scenario.calls[0].argument, "0x10ab3") << argument;
  }
}

TEST(ParseScenario, EveryCallThatReturnsSomethingIsKnown) {
  for (const char *name : {"AaStartupEarlyStartup",
                           "AaStartupCeStartup",
                           "AaStartupCeShutdown",
                           "AaStartupCeUngracefulShutdownCount",
                           "AaProEuCreateAndStart",
                           "AaProEuCreateAndStartJoinable",
                           "AaProEuCurrent",
                           "AaProCmdExec",
                           "AaConfigTagSetString",
                           "AaConfigTagSetU16",
                           "AaConfigTagSetU32",
                           "AaConfigTagReadFile",
                           "AaConfigTagIsSet",
                           "AaConfigTagGetString",
                           "AaConfigRadGetValue",
                           "AaSysComEuUserRegister",
                           "AaSysComUserDeregister",
                           "AaSysComMsgCreate",
                           "AaSysComMsgSendWithPriority",
                           "AaSysComGetOwnNid",
                           "AaFileOpen",
                           "AaFileRead",
                           "AaFileClose",
                           "AaSysTimeSleep",
                           "AaSysLogPrint",
                           "ddal_system_notify_ready",
                           "ddal_watchdog_reboot",
                           "sem_init",
                           "sem_wait",
                           "sem_post"}) {
    const Scenario scenario = parsed("[[call]]\nname = \"" + std::string(name) + "\"\nresult = 0");
    ASSERT_EQ(scenario.calls.size(), 1u);
    EXPECT_EQ(scenario.calls[0].call, name);
  }
}

TEST(ParseScenario, ResetIsRead) {
  const Scenario scenario = parsed("[reset]\nresult = -95\ntakes_effect = false\n");
  EXPECT_EQ(scenario.reset.result, -95);
  EXPECT_FALSE(scenario.reset.takesEffect);
  EXPECT_EQ(parsed("reset.result = 1").reset.result, 1);
}

TEST(ParseScenario, SignalsComeAtATimeOrBehindALine) {
  const Scenario scenario = parsed(
      "[[signal]]\nname = \"SIGHUP\"\nat = \"30s\"\n"
      "[[signal]]\nname = 10\nafter_line = \"waiting\"\noccurrence = 2\n[[signal]]\nname = \"SIGTERM\"\nat = 0\n");
  ASSERT_EQ(scenario.signals.size(), 3u);
  EXPECT_EQ(scenario.signals[0], (orv::sim::SignalEvent{SIGHUP, 30000, "", 1}));
  EXPECT_EQ(scenario.signals[1], (orv::sim::SignalEvent{10, std::nullopt, "waiting", 2}));
  EXPECT_EQ(scenario.signals[2], (orv::sim::SignalEvent{SIGTERM, 0, "", 1}));
}

TEST(ParseScenario, ExpectedMessagesAreRead) {
  const Scenario scenario =
      parsed("[[expect_message]]\nid = 0xFD28\nreceiver = 0x0FF004E7\nsender = 1\n[[expect_message]]\nid = 0\n");
  ASSERT_EQ(scenario.expectedMessages.size(), 2u);
  EXPECT_EQ(scenario.expectedMessages[0], (orv::sim::ExpectedMessage{0xFD28, 0x0FF004E7, 1}));
  EXPECT_EQ(scenario.expectedMessages[1], (orv::sim::ExpectedMessage{0, std::nullopt, std::nullopt}));
}

TEST_F(ScenarioOnDisk, SourceIsRelativeToTheScenario) {
  directory_.write("AppDef.txt", "a;/p;;0;0;\n");
  const std::string file =
      directory_.write("node.toml", "[[file]]\nname = \"/rom/AppDef.txt\"\nsource = \"AppDef.txt\"\n");
  ScenarioError error;
  const auto scenario = orv::sim::readScenario(file, error);
  ASSERT_TRUE(scenario.has_value()) << error.text();
  EXPECT_EQ(scenario->files.at("/rom/AppDef.txt"), "a;/p;;0;0;\n");
}

TEST_F(ScenarioOnDisk, SourceMayBeAWholePath) {
  const std::string source = directory_.write("AppDef.txt", "a");
  EXPECT_EQ(parsed("[[file]]\nname = \"f\"\nsource = \"" + source + "\"\n").files.at("f"), "a");
}

TEST_F(ScenarioOnDisk, SourceThatCannotBeReadIsAMistakeOfTheScenario) {
  const std::string file = directory_.write("node.toml", "[[file]]\nname = \"f\"\nsource = \"absent\"\n");
  EXPECT_EQ(refusalOf(file), file + ":3:10: \"source\" cannot be read from \"" + directory_.path("absent") +
                                 "\": No such file or directory");
}

TEST_F(ScenarioOnDisk, AbsentFileIsReported) {
  EXPECT_EQ(refusalOf(directory_.path("absent.toml")), directory_.path("absent.toml") + ": No such file or directory");
}

TEST_F(ScenarioOnDisk, DirectoryIsReported) {
  EXPECT_EQ(refusalOf(directory_.path()), directory_.path() + ": it is a directory (name a regular file)");
}

TEST_F(ScenarioOnDisk, FifoIsReportedAndNotWaitedFor) {
  ASSERT_EQ(mkfifo(directory_.path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(refusalOf(directory_.path("fifo")),
            directory_.path("fifo") + ": it is a device, a FIFO or a socket (name a regular file)");
}

TEST_F(ScenarioOnDisk, FileOfTheGreatestLengthIsRead) {
  std::string text = "seed = 5\n#";
  text.resize(orv::sim::MAX_SCENARIO_FILE_BYTES, '.');
  ScenarioError error;
  const auto scenario = orv::sim::readScenario(directory_.write("node.toml", text), error);
  ASSERT_TRUE(scenario.has_value()) << error.text();
  EXPECT_EQ(scenario->seed, 5u);
}

TEST_F(ScenarioOnDisk, FileOfOneByteMoreIsTooLarge) {
  const std::string file = directory_.write("node.toml", std::string(orv::sim::MAX_SCENARIO_FILE_BYTES + 1, '#'));
  EXPECT_EQ(refusalOf(file), file + ": it has more than 1048576 bytes");
}

TEST_F(ScenarioOnDisk, ErrorOfAnEarlierFileIsForgotten) {
  ScenarioError error{"other", 7, 8, "mistake"};
  ASSERT_TRUE(orv::sim::readScenario(directory_.write("node.toml", ""), error).has_value());
  EXPECT_EQ(error.message, "");
  EXPECT_EQ(error.line, 0u);
}
