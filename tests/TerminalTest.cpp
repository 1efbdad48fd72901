// Colours in what orvctl prints. Standard output of a test is no terminal here: CTest reads it.
#include "Terminal.h"

#include <gtest/gtest.h>

namespace {

using orv::Colour;
using orv::coloured;
using orv::ColourUse;

class Terminal : public testing::Test {
 protected:
  ~Terminal() override {
    orv::useColours(ColourUse::AUTO);
  }
};

TEST_F(Terminal, TextIsAsItIsWithoutColours) {
  orv::useColours(ColourUse::NEVER);
  EXPECT_EQ(coloured(Colour::RED, "failed"), "failed");
}

TEST_F(Terminal, TextIsFollowedByAResetWithColours) {
  orv::useColours(ColourUse::ALWAYS);
  EXPECT_EQ(coloured(Colour::BOLD, "a"), "\x1b[1ma\x1b[0m");
  EXPECT_EQ(coloured(Colour::DIM, "a"), "\x1b[2ma\x1b[0m");
  EXPECT_EQ(coloured(Colour::RED, "a"), "\x1b[31ma\x1b[0m");
  EXPECT_EQ(coloured(Colour::GREEN, "a"), "\x1b[32ma\x1b[0m");
  EXPECT_EQ(coloured(Colour::YELLOW, "a"), "\x1b[33ma\x1b[0m");
  EXPECT_EQ(coloured(Colour::BLUE, "a"), "\x1b[34ma\x1b[0m");
  EXPECT_EQ(coloured(Colour::CYAN, "a"), "\x1b[36ma\x1b[0m");
}

TEST_F(Terminal, EmptyTextStaysEmpty) {
  orv::useColours(ColourUse::ALWAYS);
  EXPECT_EQ(coloured(Colour::RED, ""), "");
}

}  // namespace
