#include "OutputLines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Lines = std::vector<orv::OutputLine>;

std::vector<std::string> texts(const Lines &lines) {
  std::vector<std::string> result;
  for (const orv::OutputLine &line : lines)
    result.push_back(line.text + (line.partial ? " (partial)" : ""));
  return result;
}

}  // namespace

TEST(OutputLines, ComeWholeWhateverThePiecesAre) {
  orv::OutputLines output;
  Lines lines;
  output.feed("one\ntw", 1, lines);
  output.feed("o\n\nthr", 2, lines);
  EXPECT_EQ(texts(lines), (std::vector<std::string>{"one", "two", ""}));
  EXPECT_TRUE(output.hasUnfinishedLine());
  output.feed("ee\n", 3, lines);
  EXPECT_EQ(lines.back().text, "three");
  EXPECT_FALSE(output.hasUnfinishedLine());
}

TEST(OutputLines, AreNumberedFromOneAndStampedWhenTheyAreComplete) {
  orv::OutputLines output;
  Lines lines;
  output.feed("a", 10, lines);
  output.feed("\nb\n", 20, lines);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].number, 1U);
  EXPECT_EQ(lines[0].monotonicNs, 20U);
  EXPECT_EQ(lines[1].number, 2U);
}

TEST(OutputLines, UnfinishedOneIsFlushedAsPartial) {
  orv::OutputLines output;
  Lines lines;
  output.feed("Connecting", 1, lines);
  output.flush(2, lines);
  output.flush(3, lines);
  output.feed(" done\n", 4, lines);
  EXPECT_EQ(texts(lines), (std::vector<std::string>{"Connecting (partial)", " done"}));
}

TEST(OutputLines, LongOneComesInPieces) {
  orv::OutputLines output;
  Lines lines;
  output.feed(std::string(2 * orv::MAX_OUTPUT_LINE_LENGTH + 1, 'x') + "\n", 1, lines);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].text.size(), orv::MAX_OUTPUT_LINE_LENGTH);
  EXPECT_TRUE(lines[0].partial);
  EXPECT_TRUE(lines[1].partial);
  EXPECT_EQ(lines[2].text, "x");
  EXPECT_FALSE(lines[2].partial);
}

TEST(OutputLines, OneOfExactlyTheLimitIsWhole) {
  orv::OutputLines output;
  Lines lines;
  output.feed(std::string(orv::MAX_OUTPUT_LINE_LENGTH, 'x') + "\n", 1, lines);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_FALSE(lines[0].partial);
}

TEST(OutputLines, KeepBytesThatAreNoText) {
  orv::OutputLines output;
  Lines lines;
  const std::string bytes("a\0\xff\x1b[2Jb", 8);
  output.feed(bytes + "\n", 1, lines);
  EXPECT_EQ(lines.at(0).text, bytes);
}

TEST(OutputLines, LastWordsAreTheLastTwentyInOrder) {
  orv::OutputLines output;
  Lines lines;
  EXPECT_TRUE(output.lastWords().empty());
  for (int i = 1; i <= 19; ++i)
    output.feed(std::to_string(i) + "\n", 1, lines);
  EXPECT_EQ(output.lastWords().size(), 19U);
  for (int i = 20; i <= 47; ++i)
    output.feed(std::to_string(i) + "\n", 1, lines);
  const std::vector<std::string> words = output.lastWords();
  ASSERT_EQ(words.size(), 20U);
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(words[static_cast<size_t>(i)], std::to_string(28 + i));
}
