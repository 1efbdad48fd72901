// The grammar of the application definition file, read from texts. Needs no platform.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "Applications.h"

namespace {

struct TextSource {
  std::string text;
  size_t position = 0;
};

bool readTextCharacter(void *source, char &character) {
  auto *text = static_cast<TextSource *>(source);
  if (text->position == text->text.size()) return false;
  character = text->text[text->position++];
  return true;
}

// Parses into a table that is full of what must not show in a record.
std::unique_ptr<AppExeDefTable> parse(TextSource &source) {
  auto table = std::make_unique<AppExeDefTable>();
  std::memset(table.get(), 0x5a, sizeof *table);
  parseAppExeDefs(readTextCharacter, &source, *table);
  return table;
}

std::unique_ptr<AppExeDefTable> parse(const std::string &text) {
  TextSource source{text};
  return parse(source);
}

// The record of a text with one definition.
AppExeDef parseOne(const std::string &text) {
  const auto table = parse(text);
  EXPECT_EQ(table->count, 1u) << text;
  return table->definitions[0];
}

struct Fields {
  std::string name;
  std::string path;
  std::string args;
  int32_t reserved;
  int32_t supervisionFlags;
  std::string onlineTag;

  bool operator==(const Fields &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Fields &fields) {
  return stream << fields.name << ';' << fields.path << ';' << fields.args << ';' << fields.reserved << ';'
                << fields.supervisionFlags << ';' << fields.onlineTag;
}

Fields fieldsOf(const AppExeDef &definition) {
  return {definition.name,     definition.path, definition.args, definition.reserved, definition.supervisionFlags,
          definition.onlineTag};
}

Fields fieldsOf(const std::string &line) {
  return fieldsOf(parseOne(line));
}

const Fields CLEARED{"", "", "", 0, 0, ""};

int32_t reservedOf(const std::string &number) {
  return parseOne("n;p;a;" + number + ";0;").reserved;
}

int32_t flagsOf(const std::string &number) {
  return parseOne("n;p;a;0;" + number + ";").supervisionFlags;
}

std::string argsOf(const std::string &args) {
  return parseOne("n;p;" + args + ";0;0;").args;
}

template <size_t SIZE>
bool isClearedBehindText(const char (&field)[SIZE]) {
  const char *end = std::find(field, field + SIZE, '\0');
  return end != field + SIZE && std::all_of(end, field + SIZE, [](char c) { return c == '\0'; });
}

// A definition whose line has `length` characters, told from others by its name.
std::string lineOf(size_t length, const std::string &name) {
  std::string line = name + ";/p;;;;";
  line.append(length - line.size(), 't');
  return line;
}

}  // namespace

TEST(ParseAppExeDefs, ExampleFileGivesFourRecords) {
  const auto table = parse(
      "#name;path;args;reserved;flags;online tag\n"
      "radioCtrl;/opt/app/bin/radioCtrl;\"-c /etc/radio.cfg\";0;3;app.radioCtrl.online\n"
      "logger;/opt/app/bin/logger;-q;;0;\n"
      "\n"
      "bad line without separators\n"
      "tail;/opt/app/bin/tail;x;7;2\n");
  ASSERT_EQ(table->count, 4u);
  EXPECT_EQ(fieldsOf(table->definitions[0]),
            (Fields{"radioCtrl", "/opt/app/bin/radioCtrl", "-c /etc/radio.cfg", 0, 3, "app.radioCtrl.online"}));
  EXPECT_EQ(fieldsOf(table->definitions[1]), (Fields{"logger", "/opt/app/bin/logger", "-q", 0, 0, ""}));
  EXPECT_EQ(fieldsOf(table->definitions[2]), CLEARED);
  EXPECT_EQ(fieldsOf(table->definitions[3]), (Fields{"tail", "/opt/app/bin/tail", "x", 7, 0, ""}));
}

TEST(ParseAppExeDefs, EmptyTextGivesNone) {
  EXPECT_EQ(parse("")->count, 0u);
}

TEST(ParseAppExeDefs, CommentsAndEmptyLinesAreSkipped) {
  EXPECT_EQ(parse("#a;b;c;0;0;d\n\n\r\n#\n#;")->count, 0u);
}

TEST(ParseAppExeDefs, OnlyTheFirstColumnBeginsAComment) {
  EXPECT_EQ(fieldsOf(" #x;/p;a;1;2;t\n"), (Fields{" #x", "/p", "a", 1, 2, "t"}));
  EXPECT_EQ(fieldsOf("x;#p;#;1;2;#t\n"), (Fields{"x", "#p", "#", 1, 2, "#t"}));
}

TEST(ParseAppExeDefs, BlankLineIsADefinition) {
  EXPECT_EQ(fieldsOf(" \n"), CLEARED);
}

TEST(ParseAppExeDefs, LastLineNeedsNoLineEnd) {
  const auto table = parse("a;/a;;;;\nb;/b;;;;tag");
  ASSERT_EQ(table->count, 2u);
  EXPECT_EQ(fieldsOf(table->definitions[1]), (Fields{"b", "/b", "", 0, 0, "tag"}));
}

TEST(ParseAppExeDefs, CarriageReturnAndLineFeedEndLinesAlike) {
  for (const std::string text : {"a;/a;;;;t\nb;/b;;;;u\n", "a;/a;;;;t\r\nb;/b;;;;u\r\n", "a;/a;;;;t\rb;/b;;;;u\r",
                                 "a;/a;;;;t\n\rb;/b;;;;u\n\r"}) {
    const auto table = parse(text);
    ASSERT_EQ(table->count, 2u);
    EXPECT_EQ(fieldsOf(table->definitions[0]), (Fields{"a", "/a", "", 0, 0, "t"}));
    EXPECT_EQ(fieldsOf(table->definitions[1]), (Fields{"b", "/b", "", 0, 0, "u"}));
  }
}

TEST(ParseAppExeDefs, LineOf859CharactersIsWhole) {
  const auto table = parse(lineOf(859, "long") + "\nb;/b;;;;\n");
  ASSERT_EQ(table->count, 2u);
  EXPECT_EQ(fieldsOf(table->definitions[0]), (Fields{"long", "/p", "", 0, 0, std::string(255, 't')}));
  EXPECT_STREQ(table->definitions[1].name, "b");
}

TEST(ParseAppExeDefs, Character860IsDropped) {
  // The line feed behind it ends an empty line.
  const auto table = parse(lineOf(860, "long") + "\nb;/b;;;;\n");
  ASSERT_EQ(table->count, 2u);
  EXPECT_STREQ(table->definitions[0].name, "long");
  EXPECT_STREQ(table->definitions[1].name, "b");
}

TEST(ParseAppExeDefs, Character861BeginsAnotherLine) {
  const auto table = parse(lineOf(860, "long") + "c;/c;;;;");
  ASSERT_EQ(table->count, 2u);
  EXPECT_STREQ(table->definitions[0].name, "long");
  EXPECT_EQ(fieldsOf(table->definitions[1]), (Fields{"c", "/c", "", 0, 0, ""}));
}

TEST(ParseAppExeDefs, LineOf900CharactersIsTwoLines) {
  // Characters 861 to 900, whatever they are.
  const std::string rest = "rest;/rest;";
  const auto table = parse(lineOf(859, "long") + "X" + rest + std::string(40 - rest.size(), 'y') + "\nb;/b;;;;\n");
  ASSERT_EQ(table->count, 3u);
  EXPECT_STREQ(table->definitions[0].name, "long");
  EXPECT_EQ(fieldsOf(table->definitions[1]), (Fields{"rest", "/rest", "", 0, 0, ""}));
  EXPECT_STREQ(table->definitions[2].name, "b");
}

TEST(ParseAppExeDefs, TextMayEndInALongLine) {
  EXPECT_EQ(parse(lineOf(859, "long"))->count, 1u);
  EXPECT_EQ(parse(lineOf(860, "long"))->count, 1u);
  EXPECT_EQ(parse(lineOf(861, "long"))->count, 2u);
}

TEST(ParseAppExeDefs, LongCommentGoesOnAsADefinition) {
  const auto table = parse("#" + std::string(859, 'c') + "x;/x;;;;\n");
  ASSERT_EQ(table->count, 1u);
  EXPECT_STREQ(table->definitions[0].name, "x");
}

TEST(ParseAppExeDefs, SixtyFourDefinitionsAreKept) {
  TextSource source;
  for (int i = 1; i <= 64; ++i)
    source.text += std::to_string(i) + ";/p;;;;\n";
  const auto table = parse(source);
  ASSERT_EQ(table->count, 64u);
  EXPECT_STREQ(table->definitions[0].name, "1");
  EXPECT_STREQ(table->definitions[63].name, "64");
}

TEST(ParseAppExeDefs, ReadingStopsBehindTheLineAfterThe64th) {
  TextSource source;
  for (int i = 1; i <= 65; ++i)
    source.text += std::to_string(i) + ";/p;;;;\n";
  const size_t endOf65 = source.text.size();
  for (int i = 66; i <= 70; ++i)
    source.text += std::to_string(i) + ";/p;;;;\n";
  const auto table = parse(source);
  EXPECT_EQ(table->count, 64u);
  EXPECT_STREQ(table->definitions[63].name, "64");
  EXPECT_EQ(source.position, endOf65);
}

TEST(ParseAppExeDefs, ReadingStopsBehindThe64thAtACommentAsWell) {
  TextSource source;
  for (int i = 1; i <= 64; ++i)
    source.text += "x;/p;;;;\n";
  const size_t endOf64 = source.text.size();
  source.text += "\n#\n";
  const auto table = parse(source);
  EXPECT_EQ(table->count, 64u);
  EXPECT_EQ(source.position, endOf64 + 1);
}

TEST(ParseAppExeDefs, LinesWithoutSeparatorsCount) {
  std::string text;
  for (int i = 0; i < 64; ++i)
    text += "x\n";
  const auto table = parse(text + "a;/a;;;;\n");
  ASSERT_EQ(table->count, 64u);
  for (const AppExeDef &definition : table->definitions)
    EXPECT_EQ(fieldsOf(definition), CLEARED);
}

TEST(ParseAppExeDefs, MissingFieldsStayCleared) {
  EXPECT_EQ(fieldsOf("n"), CLEARED);
  EXPECT_EQ(fieldsOf("n;p"), (Fields{"n", "", "", 0, 0, ""}));
  EXPECT_EQ(fieldsOf("n;p;a"), (Fields{"n", "p", "", 0, 0, ""}));
  EXPECT_EQ(fieldsOf("n;p;a;1"), (Fields{"n", "p", "a", 0, 0, ""}));
  EXPECT_EQ(fieldsOf("n;p;a;1;2"), (Fields{"n", "p", "a", 1, 0, ""}));
  EXPECT_EQ(fieldsOf("n;p;a;1;2;"), (Fields{"n", "p", "a", 1, 2, ""}));
  EXPECT_EQ(fieldsOf("n;p;a;1;2;t"), (Fields{"n", "p", "a", 1, 2, "t"}));
}

TEST(ParseAppExeDefs, EmptyFieldsAreEmptyOrZero) {
  EXPECT_EQ(fieldsOf("name;path;args;;;"), (Fields{"name", "path", "args", 0, 0, ""}));
  EXPECT_EQ(fieldsOf("name;path;args;;5;"), (Fields{"name", "path", "args", 0, 5, ""}));
  EXPECT_EQ(fieldsOf(";;;;;"), CLEARED);
  EXPECT_EQ(fieldsOf(";;;;;t"), (Fields{"", "", "", 0, 0, "t"}));
}

TEST(ParseAppExeDefs, TagRunsToTheEndOfTheLine) {
  EXPECT_EQ(fieldsOf("name;path;args;1;2;tag;extra"), (Fields{"name", "path", "args", 1, 2, "tag;extra"}));
  EXPECT_EQ(fieldsOf("n;p;a;1;2;;"), (Fields{"n", "p", "a", 1, 2, ";"}));
}

TEST(ParseAppExeDefs, BlanksBelongToTheirFields) {
  EXPECT_EQ(fieldsOf(" n ; p ; a ; 1 ; 2 ; t "), (Fields{" n ", " p ", " a ", 1, 2, " t "}));
  EXPECT_EQ(fieldsOf("\tn;\tp;\ta;\t1;\t2;\tt"), (Fields{"\tn", "\tp", "\ta", 1, 2, "\tt"}));
}

TEST(ParseAppExeDefs, PairOfQuotesAroundTheArgumentsIsTakenOff) {
  EXPECT_EQ(argsOf("\"a b\""), "a b");
  EXPECT_EQ(argsOf("\"\""), "");
  EXPECT_EQ(argsOf("\"\"\""), "\"");
  EXPECT_EQ(argsOf("\"\"a\"\""), "\"a\"");
}

TEST(ParseAppExeDefs, QuoteOnOneSideOnlyIsKept) {
  EXPECT_EQ(argsOf("\"a b"), "\"a b");
  EXPECT_EQ(argsOf("a b\""), "a b\"");
  EXPECT_EQ(argsOf(" \"a b\""), " \"a b\"");
  EXPECT_EQ(argsOf("a \"b\" c"), "a \"b\" c");
}

TEST(ParseAppExeDefs, SingleQuoteIsAnEmptyArgument) {
  EXPECT_EQ(argsOf("\""), "");
}

TEST(ParseAppExeDefs, QuotesDoNotProtectASeparator) {
  EXPECT_EQ(fieldsOf("n;p;\"a;b\";0;0;"), (Fields{"n", "p", "\"a", 0, 0, "0;"}));
}

TEST(ParseAppExeDefs, OtherFieldsKeepTheirQuotes) {
  EXPECT_EQ(fieldsOf("\"n\";\"p\";a;0;0;\"t\""), (Fields{"\"n\"", "\"p\"", "a", 0, 0, "\"t\""}));
}

TEST(ParseAppExeDefs, NumbersAreDecimal) {
  EXPECT_EQ(reservedOf("7"), 7);
  EXPECT_EQ(reservedOf("010"), 10);
  EXPECT_EQ(reservedOf("0x10"), 0);
  EXPECT_EQ(reservedOf(" +3"), 3);
  EXPECT_EQ(reservedOf("-1"), -1);
  EXPECT_EQ(reservedOf("12abc"), 12);
  EXPECT_EQ(reservedOf("abc"), 0);
  EXPECT_EQ(reservedOf(" "), 0);
  EXPECT_EQ(flagsOf("3"), 3);
  EXPECT_EQ(flagsOf("010"), 10);
  EXPECT_EQ(flagsOf("-1"), -1);
  EXPECT_EQ(flagsOf("x"), 0);
}

TEST(ParseAppExeDefs, NumbersBeyondTheRangeGiveTheNearestLimit) {
  EXPECT_EQ(reservedOf("2147483647"), INT32_MAX);
  EXPECT_EQ(reservedOf("2147483648"), INT32_MAX);
  EXPECT_EQ(reservedOf("-2147483648"), INT32_MIN);
  EXPECT_EQ(reservedOf("-2147483649"), INT32_MIN);
  EXPECT_EQ(flagsOf("4294967295"), INT32_MAX);
  EXPECT_EQ(flagsOf("99999999999999999999"), INT32_MAX);
}

TEST(ParseAppExeDefs, NameIsCutAt31) {
  EXPECT_EQ(parseOne(std::string(31, 'n') + ";p;a;1;2;t").name, std::string(31, 'n'));
  EXPECT_EQ(fieldsOf(std::string(32, 'n') + ";p;a;1;2;t"), (Fields{std::string(31, 'n'), "p", "a", 1, 2, "t"}));
}

TEST(ParseAppExeDefs, PathIsCutAt255) {
  EXPECT_EQ(parseOne("n;" + std::string(255, 'p') + ";a;1;2;t").path, std::string(255, 'p'));
  EXPECT_EQ(fieldsOf("n;" + std::string(256, 'p') + ";a;1;2;t"), (Fields{"n", std::string(255, 'p'), "a", 1, 2, "t"}));
}

TEST(ParseAppExeDefs, ArgumentsAreCutAt255) {
  EXPECT_EQ(argsOf(std::string(255, 'a')), std::string(255, 'a'));
  EXPECT_EQ(fieldsOf("n;p;" + std::string(256, 'a') + ";1;2;t"), (Fields{"n", "p", std::string(255, 'a'), 1, 2, "t"}));
}

TEST(ParseAppExeDefs, QuotesAreTakenOffBeforeTheArgumentsAreCut) {
  EXPECT_EQ(argsOf("\"" + std::string(255, 'a') + "\""), std::string(255, 'a'));
  EXPECT_EQ(argsOf("\"" + std::string(256, 'a') + "\""), std::string(255, 'a'));
}

TEST(ParseAppExeDefs, TagIsCutAt255) {
  EXPECT_EQ(parseOne("n;p;a;1;2;" + std::string(255, 't')).onlineTag, std::string(255, 't'));
  EXPECT_EQ(fieldsOf("n;p;a;1;2;" + std::string(256, 't')), (Fields{"n", "p", "a", 1, 2, std::string(255, 't')}));
}

TEST(ParseAppExeDefs, FieldsAreClearedBehindTheirTexts) {
  const AppExeDef definition = parseOne("n;p;a;1;2;t");
  EXPECT_TRUE(isClearedBehindText(definition.name));
  EXPECT_TRUE(isClearedBehindText(definition.path));
  EXPECT_TRUE(isClearedBehindText(definition.args));
  EXPECT_TRUE(isClearedBehindText(definition.onlineTag));
}

TEST(ParseAppExeDefs, NulEndsTheTextOfItsLine) {
  const std::string text("a;/a;x\0y;1;2;t\nb;/b;;;;\n", 25);
  const auto table = parse(text);
  ASSERT_EQ(table->count, 2u);
  EXPECT_EQ(fieldsOf(table->definitions[0]), (Fields{"a", "/a", "", 0, 0, ""}));
  EXPECT_EQ(fieldsOf(table->definitions[1]), (Fields{"b", "/b", "", 0, 0, ""}));
}

TEST(ParseAppExeDefs, LineThatBeginsWithNulIsSkipped) {
  const auto table = parse(std::string("\0a;/a;;;;\nb;/b;;;;\n", 19));
  ASSERT_EQ(table->count, 1u);
  EXPECT_STREQ(table->definitions[0].name, "b");
}

TEST(ParseAppExeDefs, LineThatEndsTheTextWithNulIsLost) {
  EXPECT_EQ(parse(std::string("a;/a;;;;\0", 9))->count, 0u);
  EXPECT_EQ(parse(std::string("a;/a;;;;\0\n", 10))->count, 1u);
  EXPECT_EQ(parse(std::string("a;/a;;;;\0x", 10))->count, 1u);
}

TEST(AppSentinelArgs, HasOneLayoutOnEveryTarget) {
  EXPECT_EQ(sizeof(AppSentinelArgs), 812u);
  EXPECT_EQ(offsetof(AppSentinelArgs, context), 0u);
  EXPECT_EQ(offsetof(AppSentinelArgs, definition) + offsetof(AppExeDef, name), 4u);
  EXPECT_EQ(offsetof(AppSentinelArgs, definition) + offsetof(AppExeDef, path), 36u);
  EXPECT_EQ(offsetof(AppSentinelArgs, definition) + offsetof(AppExeDef, args), 292u);
  EXPECT_EQ(offsetof(AppSentinelArgs, definition) + offsetof(AppExeDef, reserved), 548u);
  EXPECT_EQ(offsetof(AppSentinelArgs, definition) + offsetof(AppExeDef, supervisionFlags), 552u);
  EXPECT_EQ(offsetof(AppSentinelArgs, definition) + offsetof(AppExeDef, onlineTag), 556u);
  EXPECT_EQ(sizeof(AppExeDef::name), 32u);
  EXPECT_EQ(sizeof(AppExeDef::path), 256u);
  EXPECT_EQ(sizeof(AppExeDef::args), 256u);
  EXPECT_EQ(sizeof(AppExeDef::onlineTag), 256u);
}

TEST(AppExeDefTable, HoldsSixtyFour) {
  EXPECT_EQ(MAX_APP_EXE_DEFS, 64u);
  EXPECT_EQ(MAX_APP_DEF_LINE, 859u);
  EXPECT_EQ(sizeof(AppExeDefTable::definitions), 64 * sizeof(AppExeDef));
}
