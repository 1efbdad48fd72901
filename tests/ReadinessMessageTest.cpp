#include "ReadinessMessage.h"

#include <gtest/gtest.h>

using orv::parseReadinessMessage;

TEST(ReadinessMessage, ReadyIsTheWholeLine) {
  EXPECT_TRUE(parseReadinessMessage("READY=1").ready);
  EXPECT_TRUE(parseReadinessMessage("MAINPID=4\nREADY=1\n").ready);
  EXPECT_FALSE(parseReadinessMessage("READY=10").ready);
  EXPECT_FALSE(parseReadinessMessage("READY=0").ready);
  EXPECT_FALSE(parseReadinessMessage("XREADY=1").ready);
  EXPECT_FALSE(parseReadinessMessage("").ready);
}

// A program that sends a C string whole sends its end with it.
TEST(ReadinessMessage, ZeroByteAtTheEndIsNoPartOfIt) {
  using namespace std::string_view_literals;
  EXPECT_TRUE(parseReadinessMessage("READY=1\0"sv).ready);
  EXPECT_EQ(parseReadinessMessage("READY=1\nSTATUS=up\0"sv).status, "up");
  EXPECT_FALSE(parseReadinessMessage("READY=1\0\0"sv).ready);
  EXPECT_FALSE(parseReadinessMessage("\0"sv).ready);
}

TEST(ReadinessMessage, StatusIsWhatFollowsAndMayBeEmpty) {
  EXPECT_EQ(parseReadinessMessage("STATUS=42 % done\nREADY=1").status, "42 % done");
  EXPECT_EQ(parseReadinessMessage("STATUS=").status, "");
  EXPECT_EQ(parseReadinessMessage("READY=1").status, std::nullopt);
  EXPECT_EQ(parseReadinessMessage("STATUS=one\nSTATUS=two").status, "two");
}

TEST(ReadinessMessage, AnythingElseIsPassedOver) {
  const orv::ReadinessMessage message = parseReadinessMessage("WATCHDOG=1\n\n=\nno separator\nFDSTORE=1");
  EXPECT_FALSE(message.ready);
  EXPECT_EQ(message.status, std::nullopt);
}
