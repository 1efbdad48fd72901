// Tags, RAD parameters and buffers through the C interface of libORV.so.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "AaConfig.h"
#include "AaMem.h"
#include "PlatformNode.h"

namespace {

using orvtest::PlatformNode;

[[maybe_unused]] const testing::Environment *gNode = testing::AddGlobalTestEnvironment(new PlatformNode);

// The text of a string tag, "(none)" where there is none.
std::string textOf(const std::string &name) {
  char *text = nullptr;
  uint32_t length = 0;
  if (AaConfigTagGetString(name.c_str(), &text, &length) != 0) return "(none)";
  EXPECT_EQ(std::strlen(text), length);
  std::string copy = text;
  AaMemUnRefDbg(&text, __FILE__, __LINE__);
  EXPECT_EQ(text, nullptr);
  return copy;
}

// GetString of `name` fails and leaves both results alone.
void expectNoText(const char *name, int32_t code) {
  char untouched[] = "untouched";
  char *text = untouched;
  uint32_t length = 77;
  EXPECT_EQ(AaConfigTagGetString(name, &text, &length), code);
  EXPECT_EQ(text, untouched);
  EXPECT_EQ(length, 77u);
}

}  // namespace

TEST(Tags, UnsetTagIsNotSetAndHasNoText) {
  EXPECT_EQ(AaConfigTagIsSet("unset.tag"), 0);
  expectNoText("unset.tag", ENOENT);
}

TEST(Tags, StringTagGivesItsText) {
  EXPECT_EQ(AaConfigTagSetString("string.tag", "/etc/orv/App Def.txt"), 0);
  EXPECT_NE(AaConfigTagIsSet("string.tag"), 0);
  EXPECT_EQ(textOf("string.tag"), "/etc/orv/App Def.txt");
}

TEST(Tags, EmptyTextIsAValue) {
  EXPECT_EQ(AaConfigTagSetString("empty.tag", ""), 0);
  EXPECT_NE(AaConfigTagIsSet("empty.tag"), 0);
  EXPECT_EQ(textOf("empty.tag"), "");
}

TEST(Tags, LaterValueReplacesValueAndType) {
  EXPECT_EQ(AaConfigTagSetString("replaced.tag", "long text"), 0);
  EXPECT_EQ(AaConfigTagSetString("replaced.tag", "b"), 0);
  EXPECT_EQ(textOf("replaced.tag"), "b");
  EXPECT_EQ(AaConfigTagSetU32("replaced.tag", 0), 0);
  EXPECT_NE(AaConfigTagIsSet("replaced.tag"), 0);
  expectNoText("replaced.tag", EINVAL);
  EXPECT_EQ(AaConfigTagSetString("replaced.tag", "again"), 0);
  EXPECT_EQ(textOf("replaced.tag"), "again");
}

TEST(Tags, NumberTagHasNoTextAndTheLogSaysSo) {
  EXPECT_EQ(AaConfigTagSetU16("number.tag", 8080), 0);
  EXPECT_NE(AaConfigTagIsSet("number.tag"), 0);
  expectNoText("number.tag", EINVAL);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "tag number.tag is a number (8080) and not a text"),
            1u);
}

TEST(Tags, SettingIsAnEventThatOtherProcessesSee) {
  EXPECT_EQ(AaConfigTagSetU32("event.tag", 5), 0);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::TAG_SET_EVENT, 0, "event.tag"), 1u);
}

TEST(Tags, LongestNameAndTextAreTaken) {
  const std::string name(255, 'n');
  const std::string text(4095, 't');
  EXPECT_EQ(AaConfigTagSetString(name.c_str(), text.c_str()), 0);
  EXPECT_EQ(textOf(name), text);
}

TEST(Tags, NameOrTextBeyondTheLimitIsRefusedWithAWarning) {
  const std::string name(256, 'm');
  EXPECT_EQ(AaConfigTagSetU16(name.c_str(), 1), EINVAL);
  EXPECT_EQ(AaConfigTagIsSet(name.c_str()), 0);
  EXPECT_EQ(AaConfigTagSetU16("", 1), EINVAL);
  EXPECT_EQ(AaConfigTagIsSet(""), 0);
  EXPECT_EQ(AaConfigTagSetString("long.tag", std::string(4096, 't').c_str()), EINVAL);
  EXPECT_EQ(AaConfigTagIsSet("long.tag"), 0);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING, ""), 3u);
  EXPECT_EQ(PlatformNode::countEvents(
                orvtest::LOG_EVENT, orvtest::WARNING,
                "a tag name of 256 bytes is too long (at most 255): it begins with " + std::string(40, 'm')),
            1u);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "the text of tag long.tag is too long: 4096 bytes (at most 4095)"),
            1u);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::TAG_SET_EVENT, 0, ""), 0u);
}

TEST(Tags, ValueThatIsRefusedLeavesTheOneBefore) {
  EXPECT_EQ(AaConfigTagSetString("kept.tag", "before"), 0);
  EXPECT_EQ(AaConfigTagSetString("kept.tag", std::string(4096, 't').c_str()), EINVAL);
  EXPECT_EQ(textOf("kept.tag"), "before");
}

TEST(Tags, NullArgumentsAreRefused) {
  char *text = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(AaConfigTagSetString(nullptr, "x"), EINVAL);
  EXPECT_EQ(AaConfigTagSetString("null.tag", nullptr), EINVAL);
  EXPECT_EQ(AaConfigTagSetU16(nullptr, 1), EINVAL);
  EXPECT_EQ(AaConfigTagSetU32(nullptr, 1), EINVAL);
  EXPECT_EQ(AaConfigTagReadFile(nullptr), EINVAL);
  EXPECT_EQ(AaConfigTagIsSet(nullptr), 0);
  EXPECT_EQ(AaConfigTagGetString(nullptr, &text, &length), EINVAL);
  EXPECT_EQ(AaConfigTagGetString("null.tag", nullptr, &length), EINVAL);
  EXPECT_EQ(AaConfigTagGetString("null.tag", &text, nullptr), EINVAL);
  EXPECT_EQ(AaConfigTagIsSet("null.tag"), 0);
}

TEST(Tags, AreSetAndTestedByManyThreadsAtOnce) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number, &failures] {
      const std::string name = "thread.tag." + std::to_string(number);
      for (int round = 0; round < 50; ++round) {
        const std::string text = std::to_string(round);
        if (AaConfigTagSetString(name.c_str(), text.c_str()) != 0) ++failures;
        if (AaConfigTagIsSet(name.c_str()) == 0) ++failures;
        if (textOf(name) != text) ++failures;
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
}

TEST(Rad, UnsetParameterIsZero) {
  EXPECT_EQ(AaConfigRadGetValue(0x7fffffff), 0u);
}

TEST(Rad, NumberAndValueHave32BitsAndBeyondThemNothingIsSet) {
  const FreshDirectory files;
  const std::string good =
      files.write("good.xml", "<orv><rad><parameter number=\"0xffffffff\" value=\"4294967295\"/></rad></orv>");
  EXPECT_EQ(AaConfigTagReadFile(good.c_str()), 0);
  EXPECT_EQ(AaConfigRadGetValue(0xffffffff), 0xffffffffu);
  for (const char *parameter : {"number=\"4294967296\" value=\"1\"", "number=\"5\" value=\"4294967296\""}) {
    const std::string bad = files.write(
        "bad.xml",
        "<orv><tags><tag name=\"rad.half\">x</tag></tags><rad><parameter number=\"5\" value=\"5\"/><parameter " +
            std::string(parameter) + "/></rad></orv>");
    testing::internal::CaptureStderr();
    EXPECT_EQ(AaConfigTagReadFile(bad.c_str()), EINVAL);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("4294967296"), std::string::npos);
    EXPECT_EQ(AaConfigRadGetValue(5), 0u);
    EXPECT_EQ(AaConfigTagIsSet("rad.half"), 0);
  }
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::ERROR, "bad.xml:1:"), 2u);
}

TEST(ConfigurationFile, WithATagBeyondTheLimitsSetsNothing) {
  const FreshDirectory files;
  const struct {
    std::string tag;
    const char *limit;
  } cases[] = {{"<tag name=\"" + std::string(256, 'n') + "\">x</tag>", "expected 1 to 255"},
               {"<tag name=\"limit.text\">" + std::string(4096, 't') + "</tag>", "expected at most 4095"}};
  for (const auto &each : cases) {
    const std::string path =
        files.write("node.xml", "<orv><tags><tag name=\"limit.before\">x</tag>" + each.tag + "</tags></orv>");
    testing::internal::CaptureStderr();
    EXPECT_EQ(AaConfigTagReadFile(path.c_str()), EINVAL);
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_NE(report.find(each.limit), std::string::npos) << report;
    EXPECT_EQ(AaConfigTagIsSet("limit.before"), 0);
    EXPECT_EQ(AaConfigTagIsSet("limit.text"), 0);
    EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::ERROR, each.limit), 1u);
  }
}

TEST(ConfigurationFile, SetsTagsRadParametersAndBoardSettings) {
  const FreshDirectory files;
  const std::string path = files.write(
      "node.xml",
      "<orv><tags><tag name=\"file.text\">a &amp; b</tag><tag name=\"file.number\" type=\"u16\" value=\"1\"/></tags>"
      "<rad><parameter number=\"0x10063\" value=\"0x11\"/></rad><board reset=\"none\" graceTimeMs=\"5\"/></orv>");
  EXPECT_EQ(AaConfigTagReadFile(path.c_str()), 0);
  EXPECT_EQ(textOf("file.text"), "a & b");
  EXPECT_NE(AaConfigTagIsSet("file.number"), 0);
  EXPECT_EQ(textOf("orv.board.reset"), "none");
  EXPECT_NE(AaConfigTagIsSet("orv.board.gracetime"), 0);
  EXPECT_EQ(AaConfigRadGetValue(0x10063), 0x11u);
}

TEST(ConfigurationFile, WithAMistakeSetsNothingAndIsReportedAtOnce) {
  const FreshDirectory files;
  const std::string path = files.write("node.xml",
                                       "<orv>\n  <tags><tag name=\"mistake.before\">x</tag></tags>\n"
                                       "  <tags><tag name=\"mistake.after\" type=\"u16\">65536</tag></tags>\n</orv>\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(AaConfigTagReadFile(path.c_str()), EINVAL);
  const std::string report = testing::internal::GetCapturedStderr();
  EXPECT_NE(report.find(path + ":3:46: \"65536\" is not a number of type u16, expected"), std::string::npos) << report;
  EXPECT_EQ(AaConfigTagIsSet("mistake.before"), 0);
  EXPECT_EQ(AaConfigTagIsSet("mistake.after"), 0);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::ERROR, path + ":3:46: "), 1u);
}

TEST(ConfigurationFile, MissingOneIsReportedWithItsName) {
  const FreshDirectory files;
  const std::string path = files.path() + "/none.xml";
  testing::internal::CaptureStderr();
  EXPECT_EQ(AaConfigTagReadFile(path.c_str()), ENOENT);
  const std::string report = testing::internal::GetCapturedStderr();
  EXPECT_NE(report.find("cannot read configuration file " + path + ": No such file"), std::string::npos) << report;
}

TEST(ConfigurationFile, LimitsTheEvents) {
  const FreshDirectory files;
  PlatformNode::events();  // what the tests before have left to write is written then, and is not among the last
                           // hundred
  EXPECT_EQ(AaConfigTagReadFile(files.write("node.xml", "<orv><events limit=\"100\"/></orv>").c_str()), 0);
  for (int number = 0; number < 150; ++number) {
    EXPECT_EQ(AaConfigTagSetU32("limit.tag", 1), 0);
  }
  EXPECT_EQ(PlatformNode::events().size(), 99u) << "beside the line by which the reader knows that all are there";
  EXPECT_EQ(AaConfigTagReadFile(files.write("node.xml", "<orv><events limit=\"10000\"/></orv>").c_str()), 0);
}

TEST(Buffers, NullIsLeftAlone) {
  char *none = nullptr;
  AaMemUnRefDbg(&none, __FILE__, __LINE__);
  EXPECT_EQ(none, nullptr);
  AaMemUnRefDbg(nullptr, nullptr, 0);
}

TEST(Buffers, BelongToTheCallerWhateverBecomesOfTheTag) {
  EXPECT_EQ(AaConfigTagSetString("buffer.tag", "first"), 0);
  char *text = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(AaConfigTagGetString("buffer.tag", &text, &length), 0);
  EXPECT_EQ(AaConfigTagSetString("buffer.tag", "second"), 0);
  EXPECT_STREQ(text, "first");
  EXPECT_EQ(length, 5u);
  AaMemUnRefDbg(&text, __FILE__, __LINE__);
  EXPECT_EQ(text, nullptr);
}

TEST(Buffers, WhatIsNoBufferIsNotFreed) {
  alignas(16) char memory[64] = {};
  char *middle = memory + 32;
  AaMemUnRefDbg(&middle, "caller.cpp", 42);
  EXPECT_EQ(middle, nullptr);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::ERROR, "AaMemUnRefDbg at caller.cpp:42"), 1u);
}
