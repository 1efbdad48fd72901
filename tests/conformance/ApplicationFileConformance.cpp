// The application definition file: what its lines give, field by field, and how it is read.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Applications.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

using Records = std::vector<std::string>;

struct Reading {
  bool opened = false;
  Records records;  // "name|path|args|reserved|supervisionFlags|onlineTag"
  SimulatedBoot boot;
};

std::string recordText(const AppExeDef &definition) {
  std::ostringstream text;
  text << definition.name << '|' << definition.path << '|' << definition.args << '|' << definition.reserved << '|'
       << definition.supervisionFlags << '|' << definition.onlineTag;
  return text.str();
}

// Reads /app.txt with this content into a table that is full of what must not show in a record.
Reading readFile(const Scenario &scenario) {
  Reading reading;
  auto table = std::make_unique<AppExeDefTable>();
  std::memset(static_cast<void *>(table.get()), 0x5a, sizeof *table);
  reading.boot = simulate(scenario, [&] { reading.opened = parseAppExeDefFile("/app.txt", *table); });
  EXPECT_LE(table->count, MAX_APP_EXE_DEFS);
  for (unsigned i = 0; i < table->count; ++i)
    reading.records.push_back(recordText(table->definitions[i]));
  EXPECT_EQ(reading.boot.outcome.filesOpen, 0u);
  return reading;
}

Reading read(const std::string &content) {
  Scenario scenario;
  scenario.files["/app.txt"] = content;
  const Reading reading = readFile(scenario);
  EXPECT_TRUE(reading.opened);
  return reading;
}

Records recordsOf(const std::string &content) {
  return read(content).records;
}

// The record of a line without its end; an empty text where it gives none.
std::string recordOf(const std::string &line) {
  const Records records = recordsOf(line + "\n");
  EXPECT_LE(records.size(), 1u);
  return records.empty() ? "" : records.front();
}

std::string repeated(char character, size_t count) {
  return std::string(count, character);
}

// "a0;/a0;;;;\na1;/a1;;;;\n" and so on.
std::string definitions(unsigned count) {
  std::string content;
  for (unsigned i = 0; i < count; ++i)
    content += "a" + std::to_string(i) + ";/a" + std::to_string(i) + ";;;;\n";
  return content;
}

}  // namespace

TEST(ApplicationFileConformance, ExampleFileGivesItsFourRecords) {
  EXPECT_EQ(recordsOf("#name;path;args;reserved;flags;online tag\n"
                      "radioCtrl;/opt/app/bin/radioCtrl;\"-c /etc/radio.cfg\";0;3;app.radioCtrl.online\n"
                      "logger;/opt/app/bin/logger;-q;;0;\n"
                      "\n"
                      "bad line without separators\n"
                      "tail;/opt/app/bin/tail;x;7;2\n"),
            (Records{"radioCtrl|/opt/app/bin/radioCtrl|-c /etc/radio.cfg|0|3|app.radioCtrl.online",
                     "logger|/opt/app/bin/logger|-q|0|0|", "|||0|0|", "tail|/opt/app/bin/tail|x|7|0|"}));
}

TEST(ApplicationFileConformance, LineGivesTheFieldsThatItHas) {
  const struct {
    const char *line;
    const char *record;
  } cases[] = {
      // A field counts from the separator behind it; what is missing stays empty or 0.
      {"n", "|||0|0|"},
      {"n;", "n|||0|0|"},
      {"n;p", "n|||0|0|"},
      {"n;p;", "n|p||0|0|"},
      {"n;p;a", "n|p||0|0|"},
      {"n;p;a;", "n|p|a|0|0|"},
      {"n;p;a;1", "n|p|a|0|0|"},
      {"n;p;a;1;", "n|p|a|1|0|"},
      {"n;p;a;1;2", "n|p|a|1|0|"},
      {"n;p;a;1;2;", "n|p|a|1|2|"},
      {"n;p;a;1;2;t", "n|p|a|1|2|t"},
      {"n;p;a;;;", "n|p|a|0|0|"},
      {";;;;;", "|||0|0|"},
      {";;;;;t", "|||0|0|t"},
      {";p;;;;", "|p||0|0|"},
      // The tag goes to the end of the line.
      {"n;p;a;1;2;tag;extra", "n|p|a|1|2|tag;extra"},
      {"n;p;a;1;2;;", "n|p|a|1|2|;"},
      {"n;p;a;1;2;t#u", "n|p|a|1|2|t#u"},
      // Blanks belong to their field.
      {" n ; p ; a ;1;2; t ", " n | p | a |1|2| t "},
      {"\tn;\tp;\ta;1;2;\tt", "\tn|\tp|\ta|1|2|\tt"},
      // Only in the first column does "#" begin a comment.
      {"#n;p;a;1;2;t", ""},
      {"#", ""},
      {" #n;p;a;1;2;t", " #n|p|a|1|2|t"},
      {"n#;p#;a#;1;2;t", "n#|p#|a#|1|2|t"},
      {";#;#;1;2;#", "|#|#|1|2|#"},
      {" ", "|||0|0|"},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(recordOf(row.line), row.record) << '"' << row.line << '"';
  }
}

TEST(ApplicationFileConformance, OnePairOfQuotesAroundTheArgumentsIsTakenOff) {
  const struct {
    const char *args;
    const char *kept;
  } cases[] = {
      {"\"a b\"", "a b"},
      {"\"a", "\"a"},
      {"a\"", "a\""},
      {"a", "a"},
      {"\"\"", ""},
      {"\"", ""},  // both ends of a pair in one character
      {"\"\"\"", "\""},
      {"\"\"a\"\"", "\"a\""},
      {"\"a\" \"b\"", "a\" \"b"},
      {" \"a\"", " \"a\""},
      {"\"a\" ", "\"a\" "},
      {"\" a \"", " a "},
      {"\\\"a\\\"", "\\\"a\\\""},
  };
  for (const auto &row : cases) {
    EXPECT_EQ(recordOf(std::string("n;p;") + row.args + ";1;2;t"), std::string("n|p|") + row.kept + "|1|2|t")
        << row.args;
  }
}

TEST(ApplicationFileConformance, QuotesAroundOtherFieldsStay) {
  EXPECT_EQ(recordOf("\"n\";\"p\";a;\"1\";\"2\";\"t\""), "\"n\"|\"p\"|a|0|0|\"t\"");
}

TEST(ApplicationFileConformance, QuotesDoNotProtectASeparator) {
  EXPECT_EQ(recordOf("n;p;\"a;b\";1;2;t"), "n|p|\"a|0|1|2;t");
}

TEST(ApplicationFileConformance, NumbersAreReadAsDecimalUpToTheFirstOtherCharacter) {
  const struct {
    const char *text;
    const char *number;
  } cases[] = {
      {"0", "0"},
      {"7", "7"},
      {"010", "10"},
      {"0x10", "0"},
      {"12abc", "12"},
      {"abc", "0"},
      {"", "0"},
      {" ", "0"},
      {" 12", "12"},
      {"\t 12 ", "12"},
      {"+3", "3"},
      {"-4", "-4"},
      {"- 4", "0"},
      {"1 2", "1"},
      {"1.9", "1"},
      {"2147483647", "2147483647"},
      {"2147483648", "2147483647"},
      {"-2147483648", "-2147483648"},
      {"-2147483649", "-2147483648"},
      {"99999999999999999999", "2147483647"},
      {"-99999999999999999999", "-2147483648"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(recordOf(std::string("n;p;a;") + row.text + ";5;t"), std::string("n|p|a|") + row.number + "|5|t");
    EXPECT_EQ(recordOf(std::string("n;p;a;5;") + row.text + ";t"), std::string("n|p|a|5|") + row.number + "|t");
  }
}

TEST(ApplicationFileConformance, EmptyNumberDoesNotTakeTheNextOne) {
  EXPECT_EQ(recordOf("n;p;a;;6;t"), "n|p|a|0|6|t");
  EXPECT_EQ(recordOf("n;p;a;6;;7"), "n|p|a|6|0|7");
}

TEST(ApplicationFileConformance, TextsAreCutToTheirFields) {
  const struct {
    size_t written;
    size_t name;
    size_t other;
  } cases[] = {{30, 30, 30},   {31, 31, 31},   {32, 31, 32},   {33, 31, 33},
               {254, 31, 254}, {255, 31, 255}, {256, 31, 255}, {257, 31, 255}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.written);
    EXPECT_EQ(recordOf(repeated('n', row.written) + ";p;a;1;2;t"), repeated('n', row.name) + "|p|a|1|2|t");
    EXPECT_EQ(recordOf("n;" + repeated('p', row.written) + ";a;1;2;t"), "n|" + repeated('p', row.other) + "|a|1|2|t");
    EXPECT_EQ(recordOf("n;p;" + repeated('a', row.written) + ";1;2;t"), "n|p|" + repeated('a', row.other) + "|1|2|t");
    EXPECT_EQ(recordOf("n;p;\"" + repeated('a', row.written) + "\";1;2;t"),
              "n|p|" + repeated('a', row.other) + "|1|2|t");
    EXPECT_EQ(recordOf("n;p;a;1;2;" + repeated('t', row.written)), "n|p|a|1|2|" + repeated('t', row.other));
  }
}

TEST(ApplicationFileConformance, LineEndsAtLineFeedAndAtCarriageReturn) {
  const Records both = {"a|/a||0|0|", "b|/b||0|0|t"};
  for (const std::string content :
       {"a;/a;;;;\nb;/b;;;;t\n", "a;/a;;;;\r\nb;/b;;;;t\r\n", "a;/a;;;;\rb;/b;;;;t\r", "a;/a;;;;\n\rb;/b;;;;t",
        "\n\n\ra;/a;;;;\n\n#c\r\n\r\nb;/b;;;;t", "a;/a;;;;\nb;/b;;;;t"}) {
    EXPECT_EQ(recordsOf(content), both) << orv::sim::quoted(content);
  }
}

TEST(ApplicationFileConformance, OtherCharactersHaveNoMeaning) {
  for (int code = 1; code < 256; ++code) {
    const char character = static_cast<char>(code);
    if (std::string("\n\r;#\"").find(character) != std::string::npos) continue;
    const std::string text(2, character);
    EXPECT_EQ(recordOf(text + "n;" + text + "p;" + text + ";5;6;" + text + "t"),
              text + "n|" + text + "p|" + text + "|5|6|" + text + "t")
        << code;
  }
}

TEST(ApplicationFileConformance, FileWithoutDefinitionsGivesNone) {
  for (const char *content : {"", "\n", "\r\n", "#", "#only\n#comments\n", "\n\n#c\n\n", "\n#"}) {
    EXPECT_TRUE(recordsOf(content).empty()) << orv::sim::quoted(content);
  }
}

// A NUL ends the text of its line; as the file's last byte it even takes its line away, as one for which nothing was
// read.
TEST(ApplicationFileConformance, NulEndsTheTextOfItsLine) {
  const struct {
    const char *content;  // NULs written as "~"
    Records records;
  } cases[] = {
      {"a;/a~;x;1;2;t\nb;/b;;;;\n", {"a|||0|0|", "b|/b||0|0|"}},
      {"a;/a;x;1;2;t~u\nb;/b;;;;", {"a|/a|x|1|2|t", "b|/b||0|0|"}},
      {"~a;/a;x;1;2;t\nb;/b;;;;\n", {"b|/b||0|0|"}},
      {"~", {}},
      {"a;/a;;;;~", {}},
      {"a;/a;;;;~\n", {"a|/a||0|0|"}},
      {"a;/a;;;;\n~", {"a|/a||0|0|"}},
      {"a;/a;;;;~b", {"a|/a||0|0|"}},
      {"a;/a;;;;\n~\nb;/b;;;;\n", {"a|/a||0|0|", "b|/b||0|0|"}},
  };
  for (const auto &row : cases) {
    std::string content = row.content;
    std::replace(content.begin(), content.end(), '~', '\0');
    EXPECT_EQ(recordsOf(content), row.records) << row.content;
  }
}

TEST(ApplicationFileConformance, LineOfMoreThan859CharactersGoesOnAsANewOne) {
  // The tag is what is left of the line behind these.
  const std::string head = "n;" + repeated('p', 200) + ";" + repeated('a', 255) + ";" + repeated(' ', 300) + "1;2;";
  const size_t headLength = 2 + 200 + 1 + 255 + 1 + 304;
  ASSERT_EQ(head.size(), headLength);
  const std::string record = "n|" + repeated('p', 200) + "|" + repeated('a', 255) + "|1|2|";
  const size_t room = 859 - headLength;
  const auto tag = [](size_t length) { return repeated('t', length); };
  EXPECT_EQ(recordsOf(head + tag(room - 1) + "\nb;/b;;;;\n"), (Records{record + tag(room - 1), "b|/b||0|0|"}));
  EXPECT_EQ(recordsOf(head + tag(room) + "\nb;/b;;;;\n"), (Records{record + tag(room), "b|/b||0|0|"}));
  // The 860th character is in neither line; the line's own end then ends an empty one.
  EXPECT_EQ(recordsOf(head + tag(room) + "x\nb;/b;;;;\n"), (Records{record + tag(room), "b|/b||0|0|"}));
  EXPECT_EQ(recordsOf(head + tag(room) + "xy;/y;;;;\n"), (Records{record + tag(room), "y|/y||0|0|"}));
  EXPECT_EQ(recordsOf(head + tag(room) + "x#y;/y;;;;\n"), (Records{record + tag(room)}));
  EXPECT_EQ(recordsOf(head + tag(room)), (Records{record + tag(room)}));
  EXPECT_EQ(recordsOf(head + tag(room) + "x"), (Records{record + tag(room)}));
}

TEST(ApplicationFileConformance, LineOf900CharactersLosesThe860th) {
  const std::string line = repeated('n', 859) + ";" + "second;/opt/second;;1;2;" + repeated('t', 16);
  ASSERT_EQ(line.size(), 900u);
  EXPECT_EQ(recordsOf(line + "\n"), (Records{"|||0|0|", "second|/opt/second||1|2|" + repeated('t', 16)}));
}

TEST(ApplicationFileConformance, CommentOfMoreThan859CharactersEndsThere) {
  EXPECT_EQ(recordsOf("#" + repeated('c', 858) + "xb;/b;;;;\n"), (Records{"b|/b||0|0|"}));
  EXPECT_EQ(recordsOf("#" + repeated('c', 1718) + "xb;/b;;;;\n"), (Records{"|||0|0|", "b|/b||0|0|"}));
}

TEST(ApplicationFileConformance, AtMost64DefinitionsAreKept) {
  const struct {
    unsigned written;
    size_t kept;
  } cases[] = {{1, 1}, {63, 63}, {64, 64}, {65, 64}, {70, 64}};
  for (const auto &row : cases) {
    const Records records = recordsOf(definitions(row.written));
    ASSERT_EQ(records.size(), row.kept);
    for (size_t i = 0; i < records.size(); ++i) {
      const std::string number = std::to_string(i);
      EXPECT_EQ(records[i], "a" + number + "|/a" + number + "||0|0|");
    }
  }
}

TEST(ApplicationFileConformance, LinesWithoutFieldsCountAmongThe64) {
  std::string content;
  for (unsigned i = 0; i < 63; ++i)
    content += "no separators\n";
  const Records records = recordsOf(content + "a;/a;;;;\nb;/b;;;;\n");
  EXPECT_EQ(records.size(), 64u);
  EXPECT_EQ(records.back(), "a|/a||0|0|");
}

TEST(ApplicationFileConformance, FileIsReadCharacterByCharacterAndClosed) {
  EXPECT_TRUE(isTrace(read("#c\r\na;/a;\"x\";;3;\n").boot.trace, R"(
      0.000 main AaFileOpen("/app.txt", "r") = file 1
      0.000 main reads file 1: "#c\x0d\na;/a;\"x\";;3;\n"
      0.000 main AaFileClose(file 1) = 0
      0.000 node end: exit status 0)"));
}

// The end is met twice: behind the last line's characters, and when a further line is asked for.
TEST(ApplicationFileConformance, LastLineWithoutAnEndMeetsTheEndOfTheFileTwice) {
  EXPECT_TRUE(isTrace(read("a;/a;;;;").boot.trace, R"(
      0.000 main AaFileOpen("/app.txt", "r") = file 1
      0.000 main reads file 1: "a;/a;;;;"
      0.000 main AaFileRead(1, 1, file 1) = 0
      0.000 main AaFileClose(file 1) = 0
      0.000 node end: exit status 0)"));
}

TEST(ApplicationFileConformance, EmptyFileIsReadOnce) {
  EXPECT_TRUE(isTrace(read("").boot.trace, R"(
      0.000 main AaFileOpen("/app.txt", "r") = file 1
      0.000 main AaFileRead(1, 1, file 1) = 0
      0.000 main AaFileClose(file 1) = 0
      0.000 node end: exit status 0)"));
}

// The line behind the 64th definition is read to its end, whatever it holds, and nothing behind it.
TEST(ApplicationFileConformance, ReadingStopsBehindTheLineAfterThe64thDefinition) {
  const struct {
    const char *behind;
    const char *read;
  } cases[] = {
      {"b;/b;;;;\nc;/c;;;;\n", "b;/b;;;;\n"},
      {"\nc;/c;;;;\n", "\n"},
      {"#comment\nc;/c;;;;\n", "#comment\n"},
      {"\r\nc;/c;;;;\n", "\r"},
      {"x\n", "x\n"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.behind);
    const Reading reading = read(definitions(64) + row.behind);
    EXPECT_EQ(reading.records.size(), 64u);
    TraceLines expected = expandTrace("0.000 main reads file 1: " + orv::sim::quoted(definitions(64) + row.read));
    expected.pop_back();  // the end of the file
    EXPECT_EQ(linesWith(reading.boot.trace, "AaFileRead"), expected);
    EXPECT_EQ(linesWith(reading.boot.trace, "AaFileClose"), (TraceLines{"0.000 main AaFileClose(file 1) = 0"}));
  }
}

TEST(ApplicationFileConformance, FileOfExactly64DefinitionsIsReadToItsEnd) {
  EXPECT_TRUE(isTrace(read(definitions(64)).boot.trace, R"(
      0.000 main AaFileOpen("/app.txt", "r") = file 1
      0.000 main reads file 1: )" + orv::sim::quoted(definitions(64)) +
                                                            R"(
      0.000 main AaFileClose(file 1) = 0
      0.000 node end: exit status 0)"));
}

TEST(ApplicationFileConformance, ReadThatFailsIsTheEndOfTheFile) {
  Scenario scenario;
  scenario.files["/app.txt"] = "a;/a;;1;2;t\nb;/b;;;;\n";
  scenario.calls = {{"AaFileRead", 10, {}, 0}, {"AaFileRead", 11, {}, 0}};
  const Reading reading = readFile(scenario);
  EXPECT_EQ(reading.records, (Records{"a|/a||1|0|"}));
  EXPECT_TRUE(isTrace(reading.boot.trace, R"(
      0.000 main AaFileOpen("/app.txt", "r") = file 1
      0.000 main reads file 1: "a;/a;;1;2"
      0.000 main AaFileRead(1, 1, file 1) = 0
      0.000 main AaFileClose(file 1) = 0
      0.000 node end: exit status 0)"));
}

TEST(ApplicationFileConformance, CloseThatFailsChangesNothing) {
  Scenario scenario;
  scenario.files["/app.txt"] = "a;/a;;;;\n";
  scenario.calls = {{"AaFileClose", 0, {}, 5}};
  const Reading reading = readFile(scenario);
  EXPECT_TRUE(reading.opened);
  EXPECT_EQ(reading.records, (Records{"a|/a||0|0|"}));
  EXPECT_TRUE(isTrace(linesWith(reading.boot.trace, "AaFileClose"), "0.000 main AaFileClose(file 1) = 5"));
}

TEST(ApplicationFileConformance, FileThatCannotBeOpenedIsReportedAndGivesNoRecords) {
  const struct {
    uint32_t rad;
    const char *trace;
  } cases[] = {
      {0, R"(
          0.000 main AaConfigRadGetValue(0x10063) = 0
          0.000 main Error: parseAppExeDefFile: application definition file inaccessible
          0.000 node end: exit status 0)"},
      {1, R"(
          0.000 main AaConfigRadGetValue(0x10063) = 1
          0.000 main Warning: parseAppExeDefFile: application definition file inaccessible, but not required due to RAD tag 0x10063
          0.000 node end: exit status 0)"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.rad);
    Scenario scenario;
    scenario.rad[0x10063] = row.rad;
    const Reading reading = readFile(scenario);
    EXPECT_FALSE(reading.opened);
    EXPECT_TRUE(reading.records.empty());
    EXPECT_TRUE(
        isTrace(reading.boot.trace, std::string("0.000 main AaFileOpen(\"/app.txt\", \"r\") = null") + row.trace));
  }
}

TEST(ApplicationFileConformance, ParserFillsATableFromItsBeginning) {
  std::string content = "a;/a;;;;\nb;/b;;;;";
  auto table = std::make_unique<AppExeDefTable>();
  for (int round = 0; round < 2; ++round) {
    size_t position = 0;
    auto source = std::make_pair(&content, &position);
    parseAppExeDefs(
        [](void *from, char &character) {
          auto &[text, next] = *static_cast<std::pair<std::string *, size_t *> *>(from);
          if (*next == text->size()) return false;
          character = (*text)[(*next)++];
          return true;
        },
        &source, *table);
    ASSERT_EQ(table->count, 2u);
    EXPECT_EQ(recordText(table->definitions[0]), "a|/a||0|0|");
    EXPECT_EQ(recordText(table->definitions[1]), "b|/b||0|0|");
  }
}
