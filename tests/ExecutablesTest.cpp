// The executable definition string. Needs no platform: before the early start-up the log is the console alone.
#include "Executables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Parse {
  int result = -1;
  ExeDefTable table;
  std::string log;
};

// Parses into a table that is full of what must not show in a record.
Parse parse(const std::string &text) {
  Parse outcome;
  std::memset(&outcome.table, 0x5a, sizeof outcome.table);
  std::vector<char> writable(text.c_str(), text.c_str() + text.size() + 1);
  testing::internal::CaptureStderr();
  outcome.result = parseExeDefs(writable.data(), outcome.table);
  outcome.log = testing::internal::GetCapturedStderr();
  return outcome;
}

// The record of a text with one definition.
ExeDef parseOne(const std::string &text) {
  const Parse outcome = parse(text);
  EXPECT_EQ(outcome.result, 1) << text;
  EXPECT_EQ(outcome.table.count, 1u) << text;
  return outcome.table.definitions[0];
}

std::string listing(const std::string &path, const std::string &tag) {
  return "Info/ORV/OrvDaemon, parseExeDefs: Executable '" + path + "' has arguments '" + path +
         "' and online tag to wait '" + tag + "'\n";
}

std::string heading(const std::string &text) {
  return "Info/ORV/OrvDaemon, parseExeDefs: Executables: " + text + "\n";
}

constexpr const char *TOO_MANY = "Error/ORV/OrvDaemon, parseExeDefs: Too many executables specified, maximum is 3\n";

template <size_t SIZE>
bool isClearedBehindText(const char (&field)[SIZE]) {
  const char *end = std::find(field, field + SIZE, '\0');
  return end != field + SIZE && std::all_of(end, field + SIZE, [](char c) { return c == '\0'; });
}

}  // namespace

TEST(ParseExeDefs, ThreeDefinitionsGiveThreeRecords) {
  const std::string text = "/opt/bin/agent -v -p 5#agent.online|/opt/bin/logger|  /usr/bin/watcher --once";
  const Parse outcome = parse(text);
  EXPECT_EQ(outcome.result, 1);
  ASSERT_EQ(outcome.table.count, 3u);
  const ExeDef &agent = outcome.table.definitions[0];
  EXPECT_STREQ(agent.path, "/opt/bin/agent");
  EXPECT_STREQ(agent.args, "-v -p 5");
  EXPECT_EQ(agent.supervisionFlags, 2u);
  EXPECT_STREQ(agent.onlineTag, "agent.online");
  const ExeDef &logger = outcome.table.definitions[1];
  EXPECT_STREQ(logger.path, "/opt/bin/logger");
  EXPECT_STREQ(logger.args, "");
  EXPECT_EQ(logger.supervisionFlags, 0u);
  EXPECT_STREQ(logger.onlineTag, "");
  const ExeDef &watcher = outcome.table.definitions[2];
  EXPECT_STREQ(watcher.path, "/usr/bin/watcher");
  EXPECT_STREQ(watcher.args, "--once");
  EXPECT_EQ(watcher.supervisionFlags, 0u);
  EXPECT_STREQ(watcher.onlineTag, "");
  EXPECT_EQ(outcome.log, heading(text) + listing("/opt/bin/agent", "agent.online") + listing("/opt/bin/logger", "") +
                             listing("/usr/bin/watcher", ""));
}

TEST(ParseExeDefs, FourthDefinitionFails) {
  const Parse outcome = parse("a|b|c|d");
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.log, heading("a|b|c|d") + listing("a", "") + listing("b", "") + listing("c", "") + TOO_MANY);
}

TEST(ParseExeDefs, FourthDefinitionFailsEvenWhenBlank) {
  for (const std::string text : {"a|b|c| ", "a|b|c|#tag", "a|b|c|| #t|"}) {
    const Parse outcome = parse(text);
    EXPECT_EQ(outcome.result, 0) << text;
    EXPECT_EQ(outcome.log, heading(text) + listing("a", "") + listing("b", "") + listing("c", "") + TOO_MANY);
  }
}

TEST(ParseExeDefs, BlankDefinitionsBeforeTheThirdDoNotCount) {
  const Parse outcome = parse(" |#t|a| |b|  #u|c");
  EXPECT_EQ(outcome.result, 1);
  ASSERT_EQ(outcome.table.count, 3u);
  EXPECT_STREQ(outcome.table.definitions[0].path, "a");
  EXPECT_STREQ(outcome.table.definitions[1].path, "b");
  EXPECT_STREQ(outcome.table.definitions[2].path, "c");
}

TEST(ParseExeDefs, SeparatorsBehindTheThirdAreNoFourth) {
  const Parse outcome = parse("a|b|c||");
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.table.count, 3u);
}

TEST(ParseExeDefs, RunsOfSeparatorsGiveNoDefinitions) {
  const Parse outcome = parse("|a||b|");
  EXPECT_EQ(outcome.result, 1);
  ASSERT_EQ(outcome.table.count, 2u);
  EXPECT_STREQ(outcome.table.definitions[0].path, "a");
  EXPECT_STREQ(outcome.table.definitions[1].path, "b");
  EXPECT_EQ(outcome.log, heading("|a||b|") + listing("a", "") + listing("b", ""));
}

TEST(ParseExeDefs, SeparatorsOnlyGiveNone) {
  const Parse outcome = parse("||||");
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.table.count, 0u);
  EXPECT_EQ(outcome.log, heading("||||"));
}

TEST(ParseExeDefs, DefinitionWithoutPathIsDroppedUnlisted) {
  for (const std::string text : {" ", "   ", "#", "#tag", " #tag", "  # "}) {
    const Parse outcome = parse(text);
    EXPECT_EQ(outcome.result, 1) << text;
    EXPECT_EQ(outcome.table.count, 0u) << text;
    EXPECT_EQ(outcome.log, heading(text));
  }
}

TEST(ParseExeDefs, SlotOfADroppedDefinitionIsFilledAgain) {
  const Parse outcome = parse(" #old.tag|x");
  EXPECT_EQ(outcome.result, 1);
  ASSERT_EQ(outcome.table.count, 1u);
  EXPECT_STREQ(outcome.table.definitions[0].path, "x");
  EXPECT_STREQ(outcome.table.definitions[0].args, "");
  EXPECT_EQ(outcome.table.definitions[0].supervisionFlags, 0u);
  EXPECT_STREQ(outcome.table.definitions[0].onlineTag, "");
}

TEST(ParseExeDefs, LastMarkerBeginsTheTag) {
  const ExeDef definition = parseOne("x -a#b #t");
  EXPECT_STREQ(definition.path, "x");
  EXPECT_STREQ(definition.args, "-a#b ");
  EXPECT_EQ(definition.supervisionFlags, 2u);
  EXPECT_STREQ(definition.onlineTag, "t");
}

TEST(ParseExeDefs, EarlierMarkerMayBelongToThePath) {
  const ExeDef definition = parseOne("#x#t");
  EXPECT_STREQ(definition.path, "#x");
  EXPECT_STREQ(definition.onlineTag, "t");
}

TEST(ParseExeDefs, TagKeepsItsBlanks) {
  const ExeDef definition = parseOne("x# t  ");
  EXPECT_STREQ(definition.path, "x");
  EXPECT_STREQ(definition.args, "");
  EXPECT_STREQ(definition.onlineTag, " t  ");
}

TEST(ParseExeDefs, MarkerWithoutTagSetsTheFlagsAlone) {
  const Parse outcome = parse("x#");
  ASSERT_EQ(outcome.table.count, 1u);
  EXPECT_STREQ(outcome.table.definitions[0].path, "x");
  EXPECT_EQ(outcome.table.definitions[0].supervisionFlags, 2u);
  EXPECT_STREQ(outcome.table.definitions[0].onlineTag, "");
  EXPECT_EQ(outcome.log, heading("x#") + listing("x", ""));
}

TEST(ParseExeDefs, PathEndsAtTheFirstBlank) {
  EXPECT_STREQ(parseOne("   x").path, "x");
  EXPECT_STREQ(parseOne("x ").path, "x");
  EXPECT_STREQ(parseOne("x ").args, "");
}

TEST(ParseExeDefs, ArgumentsKeepAllBlanksButTheFirst) {
  EXPECT_STREQ(parseOne("x  -a").args, " -a");
  EXPECT_STREQ(parseOne("x -a  -b  ").args, "-a  -b  ");
  EXPECT_STREQ(parseOne("x  ").args, " ");
}

TEST(ParseExeDefs, TabIsNoBlank) {
  const ExeDef separated = parseOne("x\t-a");
  EXPECT_STREQ(separated.path, "x\t-a");
  EXPECT_STREQ(separated.args, "");
  EXPECT_STREQ(parseOne("\tx").path, "\tx");
}

TEST(ParseExeDefs, ListingShowsThePathTwiceAndNeverTheArguments) {
  const Parse outcome = parse("/opt/x -secret#x.online");
  EXPECT_EQ(outcome.log, heading("/opt/x -secret#x.online") +
                             "Info/ORV/OrvDaemon, parseExeDefs: Executable '/opt/x' has arguments '/opt/x' and online "
                             "tag to wait 'x.online'\n");
}

TEST(ParseExeDefs, PathIsCutAt255) {
  EXPECT_EQ(std::string(parseOne(std::string(255, 'p')).path), std::string(255, 'p'));
  EXPECT_EQ(std::string(parseOne(std::string(256, 'p')).path), std::string(255, 'p'));
  EXPECT_EQ(std::string(parseOne(std::string(300, 'p') + " a#t").path), std::string(255, 'p'));
}

TEST(ParseExeDefs, ArgumentsAreCutAt255) {
  EXPECT_EQ(std::string(parseOne("x " + std::string(255, 'a')).args), std::string(255, 'a'));
  EXPECT_EQ(std::string(parseOne("x " + std::string(256, 'a')).args), std::string(255, 'a'));
}

TEST(ParseExeDefs, TagIsCutAt80) {
  EXPECT_EQ(std::string(parseOne("x#" + std::string(80, 't')).onlineTag), std::string(80, 't'));
  EXPECT_EQ(std::string(parseOne("x#" + std::string(81, 't')).onlineTag), std::string(80, 't'));
  EXPECT_EQ(std::string(parseOne("x#" + std::string(100, 't')).onlineTag), std::string(80, 't'));
}

TEST(ParseExeDefs, FieldsAreClearedBehindTheirTexts) {
  const ExeDef definition = parseOne("x a#t");
  EXPECT_TRUE(isClearedBehindText(definition.path));
  EXPECT_TRUE(isClearedBehindText(definition.args));
  EXPECT_TRUE(isClearedBehindText(definition.onlineTag));
}

TEST(ParseExeDefs, TextIsCutInPlace) {
  char text[] = "a b#t|c";
  ExeDefTable table{};
  testing::internal::CaptureStderr();
  EXPECT_EQ(parseExeDefs(text, table), 1);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::string(text, sizeof text), std::string("a\0b\0t\0c\0", 8));
}

TEST(ExeSentinelArgs, HasOneLayoutOnEveryTarget) {
  EXPECT_EQ(sizeof(ExeSentinelArgs), 604u);
  EXPECT_EQ(offsetof(ExeSentinelArgs, context), 0u);
  EXPECT_EQ(offsetof(ExeSentinelArgs, definition) + offsetof(ExeDef, path), 4u);
  EXPECT_EQ(offsetof(ExeSentinelArgs, definition) + offsetof(ExeDef, args), 260u);
  EXPECT_EQ(offsetof(ExeSentinelArgs, definition) + offsetof(ExeDef, supervisionFlags), 516u);
  EXPECT_EQ(offsetof(ExeSentinelArgs, definition) + offsetof(ExeDef, onlineTag), 520u);
  EXPECT_EQ(sizeof(ExeDef::path), 256u);
  EXPECT_EQ(sizeof(ExeDef::args), 256u);
  EXPECT_EQ(sizeof(ExeDef::onlineTag), 81u);
}

TEST(ExeDefTable, HoldsThree) {
  EXPECT_EQ(MAX_EXE_DEFS, 3u);
  EXPECT_EQ(sizeof(ExeDefTable::definitions), 3 * sizeof(ExeDef));
}
