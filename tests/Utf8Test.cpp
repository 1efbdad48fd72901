// What is UTF-8, and what is done with it.
#include "Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using orv::isUtf8;
using orv::utf8Characters;
using orv::utf8Cut;
using orv::utf8Length;

TEST(Utf8, FirstAndLastCharacterOfEachLength) {
  EXPECT_EQ(utf8Length(std::string_view("\0", 1)), 1U);
  EXPECT_EQ(utf8Length("\x7f"), 1U);
  EXPECT_EQ(utf8Length("\xc2\x80"), 2U);
  EXPECT_EQ(utf8Length("\xdf\xbf"), 2U);
  EXPECT_EQ(utf8Length("\xe0\xa0\x80"), 3U);
  EXPECT_EQ(utf8Length("\xef\xbf\xbf"), 3U);
  EXPECT_EQ(utf8Length("\xf0\x90\x80\x80"), 4U);
  EXPECT_EQ(utf8Length("\xf4\x8f\xbf\xbf"), 4U);
}

TEST(Utf8, WhatIsNoCharacter) {
  EXPECT_EQ(utf8Length(""), 0U);
  for (const char *bytes : {"\x80", "\xbf", "\xc2", "\xc2z", "\xe2\x82", "\xe2\x82z", "\xf0\x9f\x98", "\xff"})
    EXPECT_FALSE(isUtf8(bytes)) << bytes;
  for (const char *overlong : {"\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf"})
    EXPECT_EQ(utf8Length(overlong), 0U) << overlong;
  for (const char *surrogate : {"\xed\xa0\x80", "\xed\xbf\xbf"})
    EXPECT_EQ(utf8Length(surrogate), 0U) << surrogate;
  for (const char *beyond : {"\xf4\x90\x80\x80", "\xf5\x80\x80\x80"})
    EXPECT_EQ(utf8Length(beyond), 0U) << beyond;
}

TEST(Utf8, TextIsUtf8ToItsLastByte) {
  EXPECT_TRUE(isUtf8(""));
  EXPECT_TRUE(isUtf8("a\u00fc\u20ac\U0001f600"));
  EXPECT_FALSE(isUtf8("a\u00fc\u20ac\xf0\x9f\x98"));
}

TEST(Utf8, CharactersAreCountedAndNotBytes) {
  EXPECT_EQ(utf8Characters(""), 0U);
  EXPECT_EQ(utf8Characters("a\u00fc\u20ac\U0001f600"), 4U);
}

TEST(Utf8, TextThatFitsIsNotCut) {
  EXPECT_EQ(utf8Cut("a\u20ac", 4), "a\u20ac");
  EXPECT_EQ(utf8Cut("", 0), "");
}

TEST(Utf8, NoPartOfACharacterIsLeftAtTheEnd) {
  EXPECT_EQ(utf8Cut("a\u20acb", 4), "a\u20ac");
  EXPECT_EQ(utf8Cut("a\u20acb", 3), "a");
  EXPECT_EQ(utf8Cut("a\u20acb", 2), "a");
  EXPECT_EQ(utf8Cut("\U0001f600", 3), "");
  EXPECT_EQ(utf8Cut("\U0001f600", 0), "");
}

TEST(Utf8, BytesThatAreNoneAreCutAtTheLimit) {
  const std::string bytes(8, '\x80');
  EXPECT_EQ(utf8Cut(bytes, 5), bytes.substr(0, 5));
  EXPECT_EQ(utf8Cut(bytes, 2), bytes.substr(0, 2));
}

}  // namespace
