// Scenarios as text: written, they are read back as they were; and what people read, the description of the format and
// the examples, is what the reader reads.
#include "ScenarioText.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ScenarioFile.h"

namespace {

using orv::sim::ProgramBehaviour;
using orv::sim::Scenario;
using orv::sim::ScenarioError;
using orv::sim::TagType;
using orv::sim::TagValue;

TagValue stringTag(const std::string &text) {
  TagValue value;
  value.type = TagType::STRING;
  value.text = text;
  return value;
}

void expectRoundTrip(const Scenario &scenario) {
  const std::string text = orv::sim::toToml(scenario);
  ScenarioError error;
  const auto again = orv::sim::parseScenario(text, "written.toml", error);
  ASSERT_TRUE(again.has_value()) << error.text() << "\n" << text;
  EXPECT_TRUE(*again == scenario) << text;
  EXPECT_EQ(orv::sim::toToml(*again), text);
}

void expectProgramRoundTrip(const ProgramBehaviour &program) {
  Scenario scenario;
  scenario.programs = {program};
  scenario.programs[0].path = "/p";
  expectRoundTrip(scenario);
}

Scenario wholeScenario() {
  Scenario scenario;
  scenario.name = "a \"node\"\non two lines";
  scenario.seed = std::numeric_limits<uint64_t>::max();
  scenario.tags = {{"a.b", {TagType::U32, 5, ""}}, {"c", {TagType::U16, 6, ""}}, {"d\t", stringTag("x\n\"y\\")}};
  scenario.timedTags = {{"t", {TagType::U32, 1, ""}, 0}, {"u", {TagType::U16, 1, ""}, 61000}};
  scenario.rad = {{0, 1}, {0x10063, 0xffffffff}};
  scenario.files = {
      {"/empty", ""}, {"/raw", std::string("\0\xff\n", 3)}, {"/rom/AppDef.txt", "#x\r\na;/p;\"b\";0;1;t\n"}};
  scenario.configFiles = {{"/a.xml", {{"a.b", stringTag("")}}}, {"/b.xml", {}}};
  scenario.ungracefulCount = 2;
  scenario.graceTimeMs = 0xffffffff;
  ProgramBehaviour program;
  program.path = "/opt/app/bin/radio";
  program.args = "";
  program.start = 2;
  program.runsForMs = 0;
  program.waitStatus = SIGSEGV;
  program.result = 0;
  program.waitStatusWritten = false;
  program.endsAfterSigtermMs = std::numeric_limits<uint64_t>::max();
  program.sets = {{"x", {TagType::U32, 1, ""}, 0}, {"y", {TagType::U32, 1, ""}, 1500}, {"z", stringTag("on"), 0}};
  scenario.programs = {program, program};
  scenario.calls = {{"AaFileOpen", 1, "/rom/AppDef.txt", 0}, {"AaProEuCurrent", 0, std::nullopt, 7}};
  scenario.reset = {-95, false};
  scenario.signals = {{SIGHUP, 5, "", 1}, {64, std::nullopt, "a \"line\"", 3}};
  scenario.expectedMessages = {{0xFD28, 0x0FF004E7, std::nullopt}, {1, std::nullopt, 0}};
  scenario.endSignal = 0;
  scenario.endAtMs = 3600000;
  scenario.maxOperations = 1;
  return scenario;
}

std::string contentOf(const std::string &fileName) {
  std::ostringstream text;
  text << std::ifstream(fileName, std::ios::binary).rdbuf();
  return text.str();
}

std::string document() {
  return contentOf(std::string(ORV_DOCS_DIR) + "/scenario.md");
}

// The document's part on a table, from its heading to the next.
std::string documentPart(const std::string &table) {
  const std::string text = document();
  const std::string heading = "\n## `[" + table + "]`\n";
  const std::string headingOfMany = "\n## `[[" + table + "]]`\n";
  size_t begin = text.find(heading);
  if (begin == std::string::npos) begin = text.find(headingOfMany);
  if (table.empty()) begin = text.find("\n## Top level\n");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find("\n## ", begin + 1) - begin);
}

}  // namespace

TEST(ToToml, DefaultScenarioIsEmpty) {
  EXPECT_EQ(orv::sim::toToml(Scenario()), "");
}

TEST(ToToml, WholeScenarioIsReadBack) {
  expectRoundTrip(wholeScenario());
}

TEST(ToToml, WhatDiffersFromTheDefaultIsWrittenInOneOrder) {
  Scenario scenario;
  scenario.seed = 7;
  scenario.graceTimeMs = 2500;
  scenario.tags["orv.service.aapro.watchdog_enabled"] = {TagType::U32, 1, ""};
  scenario.rad[0x10063] = 1;
  scenario.files["/rom/AppDef.txt"] = "radio;/opt/app/bin/radio;\"-v\";0;3;app.radio.online\n";
  ProgramBehaviour program;
  program.path = "/opt/app/bin/radio";
  program.runsForMs = 60000;
  program.waitStatus = SIGSEGV;
  program.sets = {{"app.radio.started", {}, 0}, {"app.radio.online", {TagType::U16, 2, ""}, 2500}};
  scenario.programs = {program};
  scenario.signals = {{SIGTERM, std::nullopt, "complete", 1}};
  EXPECT_EQ(orv::sim::toToml(scenario), R"(seed = 7
grace_time = "2500ms"

[tags]
"orv.service.aapro.watchdog_enabled" = 1

[rad]
0x10063 = 1

[[file]]
name = "/rom/AppDef.txt"
text = """
radio;/opt/app/bin/radio;\"-v\";0;3;app.radio.online
"""

[[program]]
path = "/opt/app/bin/radio"
runs_for = "1min"
signal = "SIGSEGV"
sets = [
  "app.radio.started",
  {tag = "app.radio.online", after = "2500ms", value = {u16 = 2}}
]

[[signal]]
name = "SIGTERM"
after_line = "complete"
)");
}

TEST(ToToml, EveryKindOfWaitStatusIsReadBack) {
  ProgramBehaviour program;
  for (const int32_t high : {-1, 0, 1, 9, 64, 65, 255, 256}) {
    for (int32_t low = 0; low <= 255; ++low) {
      program.waitStatus = high * 256 + low;
      expectProgramRoundTrip(program);
    }
  }
}

TEST(ToToml, LaunchFailureIsReadBack) {
  ProgramBehaviour program;
  program.launchFailure = -5;
  expectProgramRoundTrip(program);
}

TEST(ToToml, EveryLengthOfDurationIsReadBack) {
  ProgramBehaviour program;
  for (const uint64_t milliseconds : {uint64_t{0}, uint64_t{1}, uint64_t{999}, uint64_t{1000}, uint64_t{60000},
                                      uint64_t{90000}, uint64_t{3600000}, uint64_t{9223372036854775807}}) {
    program.runsForMs = milliseconds;
    expectProgramRoundTrip(program);
  }
}

// The seed is fixed; a failure prints the text.
TEST(ToToml, TextsOfAllBytesAreReadBack) {
  std::mt19937 random(20240229);
  const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
  const std::string pieces[] = {
      "a",    "\"",   "\"\"\"", "\\",     "\n",     "\r\n",   "\t",         std::string("\0", 1),
      "\x1f", "\x7f", "\u00e9", "\ud7ff", "\ue000", "\uffff", "\U0010ffff", "#",
      "=",    ".",    "'"};
  for (int round = 0; round < 500; ++round) {
    std::string text;
    for (uint32_t i = below(12); i > 0; --i)
      text += pieces[below(static_cast<uint32_t>(std::size(pieces)))];
    std::string bytes = text;
    for (uint32_t i = below(6); i > 0; --i)
      bytes += static_cast<char>(below(256));
    Scenario scenario;
    scenario.name = text;
    scenario.tags["t" + text] = stringTag(text);
    scenario.files["f" + text] = bytes;
    ProgramBehaviour program;
    program.path = "p" + text;
    program.args = text;
    program.sets = {{"s" + text, stringTag(text), below(5)}};
    scenario.programs = {program};
    expectRoundTrip(scenario);
    if (HasFatalFailure() || HasNonfatalFailure()) return;
  }
}

TEST(ToToml, FileThatIsNoUtf8IsWrittenAsBytes) {
  for (const std::string content : {"\x80", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc3"}) {
    Scenario scenario;
    scenario.files["f"] = content;
    EXPECT_NE(orv::sim::toToml(scenario).find("bytes = ["), std::string::npos);
    expectRoundTrip(scenario);
  }
}

TEST(ToToml, NameThatIsNoUtf8IsWrittenWithReplacements) {
  Scenario scenario;
  scenario.name =
      "a\xff"
      "b";
  EXPECT_EQ(orv::sim::toToml(scenario), "name = \"a\\uFFFDb\"\n");
}

TEST(ScenarioDocument, EveryTomlBlockIsAccepted) {
  const std::string text = document();
  const std::string fence = "```toml\n";
  size_t blocks = 0;
  for (size_t at = text.find(fence); at != std::string::npos; at = text.find(fence, at + 1)) {
    const size_t begin = at + fence.size();
    const std::string block = text.substr(begin, text.find("```", begin) - begin);
    ScenarioError error;
    const auto scenario = orv::sim::parseScenario(block, "scenario.md", error);
    ASSERT_TRUE(scenario.has_value()) << error.text() << "\n" << block;
    EXPECT_FALSE(*scenario == Scenario()) << block;
    expectRoundTrip(*scenario);
    ++blocks;
  }
  EXPECT_GE(blocks, 10u);
}

TEST(ScenarioDocument, EveryKeyIsDescribedInThePartOnItsTable) {
  ASSERT_FALSE(orv::sim::scenarioKeys().empty());
  for (const std::string &key : orv::sim::scenarioKeys()) {
    const size_t dot = key.find('.');
    const std::string table = dot == std::string::npos ? "" : key.substr(0, dot);
    const std::string name = key.substr(key.rfind('.') + 1);
    const std::string part = documentPart(table);
    const bool isRow = part.find("\n| `" + name + "` |") != std::string::npos;
    const bool isTable = table.empty() && documentPart(name).find("\n`" + name + "`: ") != std::string::npos;
    EXPECT_TRUE(isRow || isTable) << key;
  }
}

TEST(ScenarioDocument, MessagesAreThoseOfTheReader) {
  const std::string text = document();
  const std::string program = "[[program]]\npath = \"/p\"\n";
  for (const std::string &scenario :
       {std::string(8, '\n') + "[[progam]]", std::string(9, '\n') + program + "runs_for = \"1.5sec\"",
        std::string(10, '\n') + program + "exit = 256", std::string(10, '\n') + program + "exit = 0\nsignal = 9",
        std::string(15, '\n') + "[tags]\napp.radio.online = 1"}) {
    ScenarioError error;
    EXPECT_FALSE(orv::sim::parseScenario(scenario, "node.toml", error).has_value());
    EXPECT_NE(text.find("\n" + error.text() + "\n"), std::string::npos) << error.text();
  }
}

TEST(ScenarioExamples, AllAreReadAndStartTheirDefinitionFile) {
  size_t examples = 0;
  for (const auto &entry : std::filesystem::directory_iterator(ORV_SCENARIO_EXAMPLES_DIR)) {
    ScenarioError error;
    const auto scenario = orv::sim::readScenario(entry.path().string(), error);
    ASSERT_TRUE(scenario.has_value()) << error.text();
    EXPECT_FALSE(scenario->name.empty()) << entry.path();
    ASSERT_TRUE(scenario->files.contains("/rom/AppDef.txt")) << entry.path();
    const std::string &definitions = scenario->files.at("/rom/AppDef.txt");
    EXPECT_GE(scenario->programs.size(), 2u) << entry.path();
    for (const ProgramBehaviour &program : scenario->programs) {
      EXPECT_NE(definitions.find(";" + program.path + ";"), std::string::npos) << entry.path() << program.path;
    }
    expectRoundTrip(*scenario);
    ++examples;
  }
  EXPECT_GE(examples, 3u);
}
