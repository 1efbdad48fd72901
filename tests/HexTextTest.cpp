// Numbers as messages and listings write them.
#include "HexText.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using orv::hexText;
using orv::nidText;

TEST(HexText, HasNoMoreDigitsThanItTakes) {
  EXPECT_EQ(hexText(0U), "0x0");
  EXPECT_EQ(hexText(0x4e7U), "0x4e7");
  EXPECT_EQ(hexText(UINT64_MAX), "0xffffffffffffffff");
}

TEST(HexText, HasZerosInFrontUpToTheDigitsThatAreAskedFor) {
  EXPECT_EQ(hexText(0x4e7U, 4), "0x04e7");
  EXPECT_EQ(hexText(0U, 8), "0x00000000");
  EXPECT_EQ(hexText(0x12345U, 4), "0x12345");
}

TEST(HexText, NodeIdHasFourDigits) {
  EXPECT_EQ(nidText(0xf01), "0x0f01");
  EXPECT_EQ(nidText(0), "0x0000");
  EXPECT_EQ(nidText(UINT16_MAX), "0xffff");
}

}  // namespace
