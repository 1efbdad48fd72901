// The walks over the raw texts, which know where everything stands, against the daemon's own parsers, which know what
// it means: over many generated texts the two agree.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "DefinitionTable.h"
#include "check/DaemonParsers.h"
#include "check/DefinitionWalk.h"
#include "check/ExecutablesWalk.h"
#include "check/StartupKeys.h"
#include "check/TagsWalk.h"

namespace orv::checking {
namespace {

constexpr int TEXTS = 20'000;

// Texts of pieces that a grammar cares about, from one seed.
class TextSource {
 public:
  explicit TextSource(std::vector<std::string> pieces) : pieces_(std::move(pieces)) {}

  std::string next(size_t maximumPieces) {
    std::string text;
    for (size_t count = number(maximumPieces); count > 0; --count) {
      text += pieces_[number(pieces_.size() - 1)];
    }
    return text;
  }
  // From 0 to `last`.
  size_t number(size_t last) {
    return std::uniform_int_distribution<size_t>(0, last)(generator_);
  }

 private:
  std::vector<std::string> pieces_;
  std::mt19937 generator_{1};
};

std::vector<AppExeDef> expectedDefinitions(const std::string &text) {
  std::vector<AppExeDef> expected;
  for (const WalkedLine &line : walkDefinitions(text)) {
    if (line.isRead && line.kind == WalkedLine::Kind::DEFINITION) expected.push_back(line.expected);
  }
  return expected;
}

template <typename Record>
void expectSame(const Record &expected, const Record &parsed) {
  EXPECT_STREQ(expected.path, parsed.path);
  EXPECT_STREQ(expected.args, parsed.args);
  EXPECT_STREQ(expected.onlineTag, parsed.onlineTag);
  EXPECT_EQ(expected.supervisionFlags, parsed.supervisionFlags);
  EXPECT_EQ(std::memcmp(&expected, &parsed, sizeof expected), 0);
}

void expectSameDefinitions(const std::string &text) {
  SCOPED_TRACE(text);
  const std::vector<AppExeDef> expected = expectedDefinitions(text);
  const auto table = readDefinitions(text);
  ASSERT_EQ(expected.size(), table->count);
  for (size_t i = 0; i < expected.size(); ++i)
    expectSame(expected[i], table->definitions[i]);
}

}  // namespace

TEST(CheckWalk, ExpectsTheRecordsThatTheDaemonReads) {
  TextSource source({";",
                     ";",
                     ";",
                     ";",
                     "\n",
                     "\n",
                     "\r",
                     "\"",
                     "#",
                     " ",
                     "\t",
                     "a",
                     "name",
                     "/bin/x",
                     "3",
                     "-1",
                     "0x3",
                     "99999999999",
                     std::string(1, '\0'),
                     "\xff",
                     "\xc3\xa4",
                     std::string(31, 'n'),
                     std::string(255, 'p'),
                     std::string(430, 'l')});
  for (int i = 0; i < TEXTS && !testing::Test::HasFailure(); ++i)
    expectSameDefinitions(source.next(40));
}

TEST(CheckWalk, ExpectsAllOfAFullTable) {
  TextSource source({"a;b;c;1;2;d\n", "\n", "#\n", ";\n", std::string(860, 'x'), "x\r\n"});
  for (int i = 0; i < 200 && !testing::Test::HasFailure(); ++i)
    expectSameDefinitions(source.next(200));
}

TEST(CheckWalk, EndsWhereTheFileEnds) {
  for (const size_t length : {858U, 859U, 860U, 861U, 1719U, 1720U}) {
    for (const char *end : {"", "\n", "\r", "\r\n"})
      expectSameDefinitions("a;" + std::string(length - 2, 'b') + end);
    expectSameDefinitions(std::string(length, 'a') + std::string(1, '\0'));
  }
}

TEST(CheckWalk, MarksTheFields) {
  const std::string text = "#c\nradio;/bin/x;\"-a\";0;3;tag;more";
  const std::vector<WalkedLine> lines = walkDefinitions(text);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].kind, WalkedLine::Kind::COMMENT);
  std::vector<std::string> fields;
  for (const Span &span : lines[1].fields)
    fields.push_back(text.substr(span.begin, span.length));
  EXPECT_EQ(fields, (std::vector<std::string>{"radio", "/bin/x", "\"-a\"", "0", "3", "tag;more"}));
}

TEST(CheckWalk, ExpectsTheExecutablesThatTheDaemonReads) {
  TextSource source(
      {"|", "|", "#", "#", " ", " ", "\t", "/bin/x", "-a", "tag", std::string(81, 't'), std::string(120, 'p'), "\xff"});
  int accepted = 0;
  for (int i = 0; i < TEXTS && !testing::Test::HasFailure(); ++i) {
    const std::string text = source.next(20).substr(0, 255);
    SCOPED_TRACE(text);
    const std::vector<WalkedExecutable> walked = walkExecutables(text, {0, text.size()});
    const ExecutablesReading reading = readExecutables(text);
    // Empty definitions count until there is room for no more: a fourth one is too much once there are three.
    std::vector<ExeDef> expected;
    bool isAccepted = true;
    for (const WalkedExecutable &each : walked) {
      if (expected.size() == MAX_EXE_DEFS) isAccepted = false;
      if (each.expected.path[0] != '\0' && isAccepted) expected.push_back(each.expected);
    }
    EXPECT_EQ(isAccepted, reading.isAccepted);
    if (!isAccepted || !reading.isAccepted) continue;
    ++accepted;
    ASSERT_EQ(expected.size(), reading.table.count);
    for (size_t n = 0; n < expected.size(); ++n)
      expectSame(expected[n], reading.table.definitions[n]);
  }
  EXPECT_GT(accepted, 1000);
}

TEST(CheckWalk, FindsTheTagsThatTheDaemonSets) {
  TextSource source({"=", "=", ",", ",", "a", "b.c", "1", "0x10", "-5", "08", " ", "99999999999"});
  for (int i = 0; i < TEXTS && !testing::Test::HasFailure(); ++i) {
    const std::string text = source.next(15);
    SCOPED_TRACE(text);
    std::vector<std::string> names;
    std::vector<std::string> values;
    for (const WalkedTag &tag : walkTags(text)) {
      if (!tag.hasValue) continue;
      names.push_back(text.substr(tag.name.begin, tag.name.length));
      values.push_back(text.substr(tag.value.begin, tag.value.length));
    }
    const std::vector<SetTag> tags = readTagList(text);
    ASSERT_EQ(names.size(), tags.size());
    for (size_t n = 0; n < tags.size(); ++n) {
      EXPECT_EQ(names[n], tags[n].name);
      if (tags[n].type != SetTag::Type::STRING) continue;
      EXPECT_EQ(values[n], tags[n].text);
    }
  }
}

TEST(CheckWalk, FindsTheKeysThatTheDaemonActsOn) {
  TextSource source({",", ",", "=", "nid=5", "masternid=0x7", "testerport=15005", "cename=x", "executable=/a|/b", "nid",
                     "nod=1", "printport=7,", "btslogport=9,", " ", "slavenids=0x1:10.0.0.1:5#0x2:10.0.0.2:6"});
  for (int i = 0; i < TEXTS / 4 && !testing::Test::HasFailure(); ++i) {
    const std::string text = source.next(8);
    SCOPED_TRACE(text);
    const auto reading = readStartup(text);
    std::string nid = "0x0000";
    std::string executables;
    bool hasUnknown = false;
    for (const WalkedKey &walked : walkStartup(text)) {
      hasUnknown = walked.key == nullptr;
      if (hasUnknown) break;
      const std::string name = walked.key->name;
      const std::string value = text.substr(walked.value.begin, walked.value.length);
      if (name == "nid") nid = startupNumberText(value, StartupNumber::BITS_16);
      if (name == "executable") executables = value;
    }
    EXPECT_EQ(hasUnknown, reading->errors.find("Unknown option") != std::string::npos);
    EXPECT_EQ(nid, startupNumberText(std::to_string(reading->config.nid), StartupNumber::BITS_16));
    EXPECT_EQ(executables, reading->executables);
  }
}

TEST(CheckWalk, KnowsTheKeysOfTheDaemon) {
  EXPECT_EQ(startupKeys().size(), 17U);
  for (const StartupKey &key : startupKeys()) {
    const auto reading = readStartup(std::string(key.name) + "=1");
    EXPECT_EQ(reading->errors.find("Unknown option"), std::string::npos) << key.name;
    EXPECT_FALSE(reading->errors.empty()) << key.name;
  }
}

TEST(CheckWalk, ReadingLeavesTheProcessAsItWas) {
  ASSERT_EQ(setenv("ORV_CE_NAME", "before", 1), 0);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const auto reading = readStartup("cename=inside,slavenids=0x1:10.0.0.1:5");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_STREQ(getenv("ORV_CE_NAME"), "before");
  EXPECT_EQ(reading->ceName, "inside");
  EXPECT_EQ(unsetenv("ORV_CE_NAME"), 0);
  EXPECT_EQ(readStartup("nid=1")->ceName, std::nullopt);
  EXPECT_EQ(getenv("ORV_CE_NAME"), nullptr);
}

}  // namespace orv::checking
