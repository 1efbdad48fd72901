// Frames between gateways: what is written reads back, and what is not whole is refused.
#include "GatewayWire.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace orv::gateway;

MessageFrame message() {
  MessageFrame frame;
  frame.node = 0x2011;
  frame.epoch = 0x0102030405060708;
  frame.sequence = 0x1112131415161718;
  frame.oldestOpen = 0x1112131415161710;
  frame.timeLeftMs = 0x21222324;
  frame.header = {0x1b9d, 0x10111000, 0x0f011001, 3};
  frame.payload = "abc";
  return frame;
}

bool parses(const MessageFrame &frame) {
  MessageFrame parsed;
  return parseMessage(encodeMessage(frame), parsed);
}

}  // namespace

TEST(GatewayWire, MessageIsWrittenWithTheHighestByteFirst) {
  const std::string expected(
      "OG\1\1\x20\x11\1\2\3\4\5\6\7\x8\x11\x12\x13\x14\x15\x16\x17\x18\x11\x12\x13\x14\x15\x16\x17\x10\x21\x22\x23\x24"
      "\0\0\x1b\x9d\x10\x11\x10\0\xf\1\x10\1\0\0\0\3abc",
      53);
  EXPECT_EQ(encodeMessage(message()), expected);
}

TEST(GatewayWire, MessageReadsBack) {
  const std::string bytes = encodeMessage(message());
  EXPECT_EQ(frameType(bytes), FrameType::MESSAGE);
  MessageFrame parsed;
  ASSERT_TRUE(parseMessage(bytes, parsed));
  EXPECT_EQ(parsed.node, 0x2011);
  EXPECT_EQ(parsed.epoch, 0x0102030405060708U);
  EXPECT_EQ(parsed.sequence, 0x1112131415161718U);
  EXPECT_EQ(parsed.oldestOpen, 0x1112131415161710U);
  EXPECT_EQ(parsed.timeLeftMs, 0x21222324U);
  EXPECT_EQ(parsed.header.messageId, 0x1b9dU);
  EXPECT_EQ(parsed.header.receiver, 0x10111000U);
  EXPECT_EQ(parsed.header.sender, 0x0f011001U);
  EXPECT_EQ(parsed.header.payloadSize, 3U);
  EXPECT_EQ(parsed.payload, "abc");
}

TEST(GatewayWire, VerdictsReadBack) {
  VerdictFrame frame;
  frame.node = 0x1011;
  frame.epoch = 7;
  frame.verdicts = {{1, Verdict::DELIVERED}, {0xffffffffffffffff, Verdict::FAILED}};
  const std::string bytes = encodeVerdicts(frame);
  EXPECT_EQ(bytes,
            std::string("OG\1\2\x10\x11\0\0\0\0\0\0\0\7\0\2\0\0\0\0\0\0\0\1\0\xff\xff\xff\xff\xff\xff\xff\xff\5", 34));
  VerdictFrame parsed;
  ASSERT_TRUE(parseVerdicts(bytes, parsed));
  EXPECT_EQ(parsed.node, 0x1011);
  EXPECT_EQ(parsed.epoch, 7U);
  ASSERT_EQ(parsed.verdicts.size(), 2U);
  EXPECT_EQ(parsed.verdicts[0].sequence, 1U);
  EXPECT_EQ(parsed.verdicts[0].verdict, Verdict::DELIVERED);
  EXPECT_EQ(parsed.verdicts[1].sequence, 0xffffffffffffffffU);
  EXPECT_EQ(parsed.verdicts[1].verdict, Verdict::FAILED);
}

TEST(GatewayWire, FrameThatIsCutOffAnywhereIsRefused) {
  const std::string whole = encodeMessage(message());
  MessageFrame parsed;
  for (size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(parseMessage(whole.substr(0, size), parsed)) << size;
  VerdictFrame verdicts;
  verdicts.verdicts = {{1, Verdict::DELIVERED}};
  const std::string wholeVerdicts = encodeVerdicts(verdicts);
  for (size_t size = 0; size < wholeVerdicts.size(); ++size)
    EXPECT_FALSE(parseVerdicts(wholeVerdicts.substr(0, size), verdicts)) << size;
}

TEST(GatewayWire, FrameWithSomethingBehindItIsRefused) {
  MessageFrame parsed;
  EXPECT_FALSE(parseMessage(encodeMessage(message()) + "d", parsed));
  VerdictFrame verdicts;
  EXPECT_FALSE(parseVerdicts(encodeVerdicts(verdicts) + "d", verdicts));
}

TEST(GatewayWire, SizeFieldIsNotBelieved) {
  std::string bytes = encodeMessage(message());
  bytes[46] = '\x7f';  // the highest byte of the payload size
  MessageFrame parsed;
  EXPECT_FALSE(parseMessage(bytes, parsed));
}

TEST(GatewayWire, OtherVersionsTypesAndBeginningsAreNone) {
  const std::string bytes = encodeMessage(message());
  for (const size_t place : {0U, 1U, 2U, 3U}) {
    std::string other = bytes;
    other[place] = static_cast<char>(other[place] + 3);
    EXPECT_EQ(frameType(other), FrameType::NONE) << place;
  }
  MessageFrame parsed;
  EXPECT_FALSE(parseMessage(encodeVerdicts({}), parsed));
  VerdictFrame verdicts;
  EXPECT_FALSE(parseVerdicts(bytes, verdicts));
}

TEST(GatewayWire, NumbersStartAtOneAndStayInTheWindow) {
  MessageFrame frame = message();
  frame.sequence = frame.oldestOpen = 0;
  EXPECT_FALSE(parses(frame));
  frame.sequence = frame.oldestOpen = 1;
  EXPECT_TRUE(parses(frame));
  frame.sequence = WINDOW;
  EXPECT_TRUE(parses(frame));
  frame.sequence = WINDOW + 1;
  EXPECT_FALSE(parses(frame));
  frame.sequence = 5;
  frame.oldestOpen = 6;
  EXPECT_FALSE(parses(frame));
}

TEST(GatewayWire, LargestPayloadFitsAndALargerOneDoesNot) {
  MessageFrame frame = message();
  const std::string largest(orv::MAX_PAYLOAD_SIZE, 'x');
  frame.payload = largest;
  EXPECT_TRUE(parses(frame));
  const std::string larger(orv::MAX_PAYLOAD_SIZE + 1, 'x');
  frame.payload = larger;
  EXPECT_FALSE(parses(frame));
}

TEST(GatewayWire, VerdictsAreNoMoreThanTheWindowAndOfAKnownKind) {
  VerdictFrame frame;
  frame.verdicts.resize(WINDOW);
  VerdictFrame parsed;
  EXPECT_TRUE(parseVerdicts(encodeVerdicts(frame), parsed));
  frame.verdicts.resize(WINDOW + 1);
  EXPECT_FALSE(parseVerdicts(encodeVerdicts(frame), parsed));
  frame.verdicts = {{1, static_cast<Verdict>(LAST_VERDICT + 1)}};
  EXPECT_FALSE(parseVerdicts(encodeVerdicts(frame), parsed));
}
