// The executable definition string: which records its definitions give, and how it is listed in the log.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Executables.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

struct Record {
  std::string path;
  std::string args;
  uint32_t supervisionFlags;
  std::string onlineTag;
  bool operator==(const Record &) const = default;
};

using Records = std::vector<Record>;

std::ostream &operator<<(std::ostream &stream, const Record &record) {
  return stream << record.path << '|' << record.args << '|' << record.supervisionFlags << '|' << record.onlineTag;
}

struct Parse {
  int result = -1;
  Records records;
  TraceLines trace;
};

// Parses into a table that is full of what must not show in a record.
Parse parse(const std::string &text) {
  Parse outcome;
  ExeDefTable table;
  std::memset(static_cast<void *>(&table), 0x5a, sizeof table);
  std::string writable = text;
  outcome.trace = simulate({}, [&] { outcome.result = parseExeDefs(writable.data(), table); }).trace;
  EXPECT_LE(table.count, MAX_EXE_DEFS);
  for (unsigned i = 0; i < table.count; ++i) {
    const ExeDef &definition = table.definitions[i];
    outcome.records.push_back({definition.path, definition.args, definition.supervisionFlags, definition.onlineTag});
  }
  return outcome;
}

// What the log lists of a string that gives these records.
std::string listing(const std::string &text, const Records &records) {
  std::string lines = "0.000 main Info: parseExeDefs: Executables: " + text + "\n";
  for (const Record &record : records)
    lines += "0.000 main Info: parseExeDefs: Executable '" + record.path + "' has arguments '" + record.path +
             "' and online tag to wait '" + record.onlineTag + "'\n";
  return lines;
}

void expectRecords(const std::string &text, const Records &records) {
  SCOPED_TRACE(text);
  const Parse outcome = parse(text);
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.records, records);
  EXPECT_TRUE(isTrace(outcome.trace, listing(text, records) + "0.000 node end: exit status 0"));
}

std::string repeated(char character, size_t count) {
  return std::string(count, character);
}

}  // namespace

// To the letter: the path is printed twice and the arguments never.
TEST(ExecutableDefinitionsConformance, ThreeDefinitionsAreParsedAndListed) {
  const Parse outcome = parse("/opt/bin/agent -v -p 5#agent.online|/opt/bin/logger|  /usr/bin/watcher --once");
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.records, (Records{{"/opt/bin/agent", "-v -p 5", 2, "agent.online"},
                                      {"/opt/bin/logger", "", 0, ""},
                                      {"/usr/bin/watcher", "--once", 0, ""}}));
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main Info: parseExeDefs: Executables: /opt/bin/agent -v -p 5#agent.online|/opt/bin/logger|  /usr/bin/watcher --once
      0.000 main Info: parseExeDefs: Executable '/opt/bin/agent' has arguments '/opt/bin/agent' and online tag to wait 'agent.online'
      0.000 main Info: parseExeDefs: Executable '/opt/bin/logger' has arguments '/opt/bin/logger' and online tag to wait ''
      0.000 main Info: parseExeDefs: Executable '/usr/bin/watcher' has arguments '/usr/bin/watcher' and online tag to wait ''
      0.000 node end: exit status 0)"));
}

TEST(ExecutableDefinitionsConformance, DefinitionIsBlanksPathArgumentsAndTag) {
  const struct {
    const char *text;
    Record record;
  } cases[] = {
      {"x", {"x", "", 0, ""}},
      {"   x", {"x", "", 0, ""}},
      {"x -a", {"x", "-a", 0, ""}},
      {"x -a -b", {"x", "-a -b", 0, ""}},
      // One blank ends the path; further ones belong to the arguments.
      {"x  -a", {"x", " -a", 0, ""}},
      {"x ", {"x", "", 0, ""}},
      {"x  ", {"x", " ", 0, ""}},
      {"x -a  ", {"x", "-a  ", 0, ""}},
      // Only the space character is a blank.
      {"x\t-a", {"x\t-a", "", 0, ""}},
      {"\tx -a", {"\tx", "-a", 0, ""}},
      {" \t x", {"\t", "x", 0, ""}},
      // The tag begins behind the last "#" and goes to the end.
      {"x#t", {"x", "", 2, "t"}},
      {"x #t", {"x", "", 2, "t"}},
      {"x -a#t", {"x", "-a", 2, "t"}},
      {"x -a#b #t", {"x", "-a#b ", 2, "t"}},
      {"x#y -a#t", {"x#y", "-a", 2, "t"}},
      {"x##t", {"x#", "", 2, "t"}},
      {"x#t ", {"x", "", 2, "t "}},
      {"x# t", {"x", "", 2, " t"}},
      {"x#t -a", {"x", "", 2, "t -a"}},
      // A marker with nothing behind it still sets the flags.
      {"x#", {"x", "", 2, ""}},
      {"x -a#", {"x", "-a", 2, ""}},
      {"x#t#", {"x#t", "", 2, ""}},
      {"100%s \"-a\" '-b'", {"100%s", "\"-a\" '-b'", 0, ""}},
  };
  for (const auto &row : cases)
    expectRecords(row.text, {row.record});
}

TEST(ExecutableDefinitionsConformance, OnlyBlankBarAndHashHaveAMeaning) {
  for (int code = 1; code < 256; ++code) {
    const char character = static_cast<char>(code);
    if (character == ' ' || character == '|' || character == '#' || character == '\n') continue;
    const std::string text(2, character);
    const std::string definition = text + "x" + text + " " + text + "a" + text + "#" + text + "t" + text;
    const Record record = {text + "x" + text, text + "a" + text, 2, text + "t" + text};
    expectRecords(definition + "|" + definition, {record, record});
  }
}

TEST(ExecutableDefinitionsConformance, SeparatorsInARowAndAtTheEndsSeparateNothing) {
  const Record a = {"a", "", 0, ""};
  const Record b = {"b", "", 0, ""};
  const Record c = {"c", "", 0, ""};
  expectRecords("a|b", {a, b});
  expectRecords("a|b|c", {a, b, c});
  expectRecords("a||b|", {a, b});
  expectRecords("|a", {a});
  expectRecords("|||a||b|||c||", {a, b, c});
  expectRecords("|", {});
  expectRecords("|||", {});
}

TEST(ExecutableDefinitionsConformance, DefinitionWithoutAPathLeavesItsSlotToTheNext) {
  const Record a = {"a", "", 0, ""};
  expectRecords(" ", {});
  expectRecords("#", {});
  expectRecords("#t", {});
  expectRecords(" #t", {});
  expectRecords("  |a", {a});
  expectRecords(" #t|a", {a});
  expectRecords(" #t|#u|  |a", {a});
  // Nothing of the dropped one is left in the record: neither arguments, flags nor tag.
  expectRecords("#t|b -x|a", {{"b", "-x", 0, ""}, a});
  expectRecords("c -x#t|#u| |a|", {{"c", "-x", 2, "t"}, a});
  expectRecords(" |a| | b|#t|c", {a, {"b", "", 0, ""}, {"c", "", 0, ""}});
}

TEST(ExecutableDefinitionsConformance, FourthDefinitionFailsWhateverItHolds) {
  const Records kept = {{"a", "", 0, ""}, {"b", "", 0, ""}, {"c", "", 0, ""}};
  for (const std::string text :
       {"a|b|c|d", "a|b|c| ", "a|b|c|#t", "a|b|c|#", "a|b|c||d", "a| |b|#t|c|d", "a|b|c|d|e", "|a|b|c| |"}) {
    SCOPED_TRACE(text);
    const Parse outcome = parse(text);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_TRUE(isTrace(outcome.trace, listing(text, kept) + R"(
        0.000 main Error: parseExeDefs: Too many executables specified, maximum is 3
        0.000 node end: exit status 0)"));
  }
}

TEST(ExecutableDefinitionsConformance, SeparatorsBehindTheThirdDefinitionAreNoFourth) {
  expectRecords("a|b|c|", {{"a", "", 0, ""}, {"b", "", 0, ""}, {"c", "", 0, ""}});
  expectRecords("a|b|c|||", {{"a", "", 0, ""}, {"b", "", 0, ""}, {"c", "", 0, ""}});
}

TEST(ExecutableDefinitionsConformance, PathAndArgumentsAreCutTo255CharactersAndTheTagTo80) {
  for (const size_t written : {254u, 255u, 256u, 300u}) {
    const size_t kept = std::min<size_t>(written, 255);
    expectRecords(repeated('p', written), {{repeated('p', kept), "", 0, ""}});
    expectRecords("x " + repeated('a', written), {{"x", repeated('a', kept), 0, ""}});
    expectRecords(repeated('p', written) + " -a#t", {{repeated('p', kept), "-a", 2, "t"}});
  }
  for (const size_t written : {79u, 80u, 81u, 100u, 300u}) {
    const size_t kept = std::min<size_t>(written, 80);
    expectRecords("x#" + repeated('t', written), {{"x", "", 2, repeated('t', kept)}});
  }
}

// The longest that the command line lets through, in one boot: 255 characters of three definitions, the last one's tag
// cut by it.
TEST(ExecutableDefinitionsConformance, StringOfTheCommandLineIsParsedAsItStandsAfterTheOptions) {
  const std::string head = "/opt/a -v#a.up| /opt/b  -w|/opt/c" + repeated('c', 200) + " #";
  const size_t room = 255 - head.size();
  const SimulatedBoot result = boot({}, {"--startup=executable=" + head + repeated('t', room + 3)});
  const std::string path = "/opt/c" + repeated('c', 200);
  const std::string tag = repeated('t', room);
  std::string expected = "0.000 1:ceInternalStartupEu Info: parseExeDefs: Executables: " + head + tag + R"(
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executable '/opt/a' has arguments '/opt/a' and online tag to wait 'a.up'
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executable '/opt/b' has arguments '/opt/b' and online tag to wait ''
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executable ')";
  expected += path + "' has arguments '" + path + "' and online tag to wait '" + tag + "'\n";
  EXPECT_TRUE(isTrace(linesWith(result.trace, "parseExeDefs"), expected));
  EXPECT_TRUE(isTrace(linesWith(result.trace, " AaProCmdExec("), R"(
      0.000 2:/opt/a AaProCmdExec("/opt/a", "-v", 0x2)
      0.000 3:/opt/b AaProCmdExec("/opt/b", " -w", 0x0)
      0.000 4:)" + path + " AaProCmdExec(\"" + path + "\", \"\", 0x2)"));
}
