#include "ArgumentList.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace orv {
namespace {

using Words = std::vector<std::string>;

Words split(std::string_view text) {
  Words words;
  const Status status = splitArguments(text, words);
  EXPECT_TRUE(status.ok()) << status.message;
  return words;
}

TEST(SplitArguments, EmptyAndBlankTextsHaveNone) {
  EXPECT_EQ(split(""), Words{});
  EXPECT_EQ(split(" \t\n "), Words{});
}

TEST(SplitArguments, BlanksSeparateHoweverMany) {
  EXPECT_EQ(split("  -v\t-p   5\n"), (Words{"-v", "-p", "5"}));
}

TEST(SplitArguments, SingleQuotesKeepEverything) {
  EXPECT_EQ(split(R"('a b' '\"$x')"), (Words{"a b", R"(\"$x)"}));
}

TEST(SplitArguments, DoubleQuotesKnowFourEscapes) {
  EXPECT_EQ(split(R"("a b" "\"\\\$\`" "\n")"), (Words{"a b", "\"\\$`", "\\n"}));
}

TEST(SplitArguments, BackslashMakesAnyCharacterOrdinary) {
  EXPECT_EQ(split(R"(a\ b \' \" \\ \n)"), (Words{"a b", "'", "\"", "\\", "n"}));
}

TEST(SplitArguments, QuotesInsideAWordBelongToIt) {
  EXPECT_EQ(split(R"(--name='my app'"!" x''y)"), (Words{"--name=my app!", "xy"}));
}

TEST(SplitArguments, EmptyQuotesAreAnEmptyArgument) {
  EXPECT_EQ(split(R"('' "" a)"), (Words{"", "", "a"}));
}

TEST(SplitArguments, NothingIsExpanded) {
  EXPECT_EQ(split("$HOME ~ *.txt a;b|c &d #e `f` $(g)"),
            (Words{"$HOME", "~", "*.txt", "a;b|c", "&d", "#e", "`f`", "$(g)"}));
}

TEST(SplitArguments, QuoteWithoutItsPairIsReportedWithItsPlace) {
  Words words{"kept"};
  const Status status = splitArguments("-a it's", words);
  EXPECT_EQ(status.code, EINVAL);
  EXPECT_EQ(status.message, "arguments not understood: a ' without its pair at character 6 of: -a it's");
  EXPECT_EQ(words, Words{"kept"});
  EXPECT_EQ(splitArguments("\"abc\\\"", words).message,
            "arguments not understood: a \" without its pair at character 1 of: \"abc\\\"");
}

TEST(SplitArguments, BackslashAtTheEndIsReported) {
  Words words;
  EXPECT_EQ(splitArguments("a\\", words).message,
            "arguments not understood: a backslash at the end at character 2 of: a\\");
}

}  // namespace
}  // namespace orv
