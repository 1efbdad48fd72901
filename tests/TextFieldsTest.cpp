// Numbers and fixed-size text fields: 32 bits whatever the word size.
#include "TextFields.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

// A number and how it was read.
struct Reading {
  int64_t value;
  ptrdiff_t consumed;  // characters
  int error;           // errno, cleared before

  bool operator==(const Reading &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Reading &reading) {
  return stream << reading.value << " from " << reading.consumed << " characters, errno " << reading.error;
}

Reading readSigned(const char *text, int base) {
  const char *end = nullptr;
  errno = 0;
  const int32_t value = toSigned32(text, base, &end);
  return {value, end - text, errno};
}

struct UnsignedReading {
  uint32_t value;
  int error;

  bool operator==(const UnsignedReading &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const UnsignedReading &reading) {
  return stream << reading.value << ", errno " << reading.error;
}

UnsignedReading readUnsigned(const char *text) {
  errno = 0;
  const uint32_t value = toUnsigned32(text);
  return {value, errno};
}

}  // namespace

TEST(ToSigned32, BaseZeroReadsDecimal) {
  EXPECT_EQ(readSigned("15005", 0), (Reading{15005, 5, 0}));
  EXPECT_EQ(readSigned("+7", 0), (Reading{7, 2, 0}));
  EXPECT_EQ(readSigned("-7", 0), (Reading{-7, 2, 0}));
  EXPECT_EQ(readSigned("0", 0), (Reading{0, 1, 0}));
}

TEST(ToSigned32, BaseZeroReadsHexadecimal) {
  EXPECT_EQ(readSigned("0x1011", 0), (Reading{0x1011, 6, 0}));
  EXPECT_EQ(readSigned("0XaBc", 0), (Reading{0xabc, 5, 0}));
  EXPECT_EQ(readSigned("-0x10", 0), (Reading{-16, 5, 0}));
}

TEST(ToSigned32, BaseZeroReadsOctal) {
  EXPECT_EQ(readSigned("017", 0), (Reading{15, 3, 0}));
  EXPECT_EQ(readSigned("-010", 0), (Reading{-8, 4, 0}));
}

TEST(ToSigned32, PrefixWithoutDigitsReadsTheZeroAlone) {
  EXPECT_EQ(readSigned("0x", 0), (Reading{0, 1, 0}));
  EXPECT_EQ(readSigned("0xg", 0), (Reading{0, 1, 0}));
  EXPECT_EQ(readSigned("08", 0), (Reading{0, 1, 0}));
}

TEST(ToSigned32, BaseTenKnowsNoPrefix) {
  EXPECT_EQ(readSigned("0x10", 10), (Reading{0, 1, 0}));
  EXPECT_EQ(readSigned("010", 10), (Reading{10, 3, 0}));
}

TEST(ToSigned32, LeadingWhiteSpaceIsSkipped) {
  EXPECT_EQ(readSigned(" \t\n\v\f\r12", 0), (Reading{12, 8, 0}));
}

TEST(ToSigned32, ReadingStopsAtTheFirstCharacterThatIsNoDigit) {
  EXPECT_EQ(readSigned("15156trailing", 0), (Reading{15156, 5, 0}));
  EXPECT_EQ(readSigned("12 ", 0), (Reading{12, 2, 0}));
  EXPECT_EQ(readSigned("1.9", 10), (Reading{1, 1, 0}));
}

TEST(ToSigned32, NoDigitsGiveZeroAndReadNothing) {
  for (const char *text : {"", "abc", "-", "+", "  ", " -", "--1", "- 1"}) {
    EXPECT_EQ(readSigned(text, 0), (Reading{0, 0, 0})) << text;
  }
}

TEST(ToSigned32, LimitsOfTheRangeAreRead) {
  EXPECT_EQ(readSigned("2147483647", 0), (Reading{INT32_MAX, 10, 0}));
  EXPECT_EQ(readSigned("0x7fffffff", 0), (Reading{INT32_MAX, 10, 0}));
  EXPECT_EQ(readSigned("-2147483648", 0), (Reading{INT32_MIN, 11, 0}));
  EXPECT_EQ(readSigned("-0x80000000", 0), (Reading{INT32_MIN, 11, 0}));
}

TEST(ToSigned32, ValuesBeyondTheRangeGiveTheNearestLimit) {
  EXPECT_EQ(readSigned("2147483648", 0), (Reading{INT32_MAX, 10, ERANGE}));
  EXPECT_EQ(readSigned("0x80000000", 0), (Reading{INT32_MAX, 10, ERANGE}));
  EXPECT_EQ(readSigned("4294967296", 10), (Reading{INT32_MAX, 10, ERANGE}));
  EXPECT_EQ(readSigned("-2147483649", 0), (Reading{INT32_MIN, 11, ERANGE}));
}

TEST(ToSigned32, ValuesBeyondSixtyFourBitsGiveTheNearestLimit) {
  EXPECT_EQ(readSigned("9223372036854775808", 0), (Reading{INT32_MAX, 19, ERANGE}));
  EXPECT_EQ(readSigned("99999999999999999999", 0), (Reading{INT32_MAX, 20, ERANGE}));
  EXPECT_EQ(readSigned("-99999999999999999999", 10), (Reading{INT32_MIN, 21, ERANGE}));
}

TEST(ToSigned32, SuccessLeavesErrnoAlone) {
  errno = EDOM;
  EXPECT_EQ(toSigned32("1", 0), 1);
  EXPECT_EQ(errno, EDOM);
}

TEST(ToUnsigned32, BaseIsDetected) {
  EXPECT_EQ(readUnsigned("15005"), (UnsignedReading{15005, 0}));
  EXPECT_EQ(readUnsigned("0x7f000001"), (UnsignedReading{0x7f000001, 0}));
  EXPECT_EQ(readUnsigned("017"), (UnsignedReading{15, 0}));
  EXPECT_EQ(readUnsigned(" +5"), (UnsignedReading{5, 0}));
}

TEST(ToUnsigned32, NoDigitsGiveZero) {
  for (const char *text : {"", "abc", "-", "+", " ", "0x"}) {
    EXPECT_EQ(readUnsigned(text), (UnsignedReading{0, 0})) << text;
  }
}

TEST(ToUnsigned32, LimitOfTheRangeIsRead) {
  EXPECT_EQ(readUnsigned("4294967295"), (UnsignedReading{UINT32_MAX, 0}));
  EXPECT_EQ(readUnsigned("0xffffffff"), (UnsignedReading{UINT32_MAX, 0}));
  EXPECT_EQ(readUnsigned("2147483648"), (UnsignedReading{0x80000000, 0}));
}

TEST(ToUnsigned32, ValuesBeyondTheRangeGiveTheLimit) {
  EXPECT_EQ(readUnsigned("4294967296"), (UnsignedReading{UINT32_MAX, ERANGE}));
  EXPECT_EQ(readUnsigned("0x100000000"), (UnsignedReading{UINT32_MAX, ERANGE}));
  EXPECT_EQ(readUnsigned("99999999999999999999"), (UnsignedReading{UINT32_MAX, ERANGE}));
}

TEST(ToUnsigned32, MinusNegatesModuloTwoToThe32) {
  EXPECT_EQ(readUnsigned("-1"), (UnsignedReading{UINT32_MAX, 0}));
  EXPECT_EQ(readUnsigned("-0"), (UnsignedReading{0, 0}));
  EXPECT_EQ(readUnsigned("-2147483648"), (UnsignedReading{0x80000000, 0}));
  EXPECT_EQ(readUnsigned("-4294967295"), (UnsignedReading{1, 0}));
}

TEST(ToUnsigned32, NegativeMagnitudeBeyondTheRangeGivesTheUpperLimit) {
  EXPECT_EQ(readUnsigned("-4294967296"), (UnsignedReading{UINT32_MAX, ERANGE}));
  EXPECT_EQ(readUnsigned("-99999999999999999999"), (UnsignedReading{UINT32_MAX, ERANGE}));
}

TEST(ToLow16, KeepsTheLowSixteenBits) {
  EXPECT_EQ(toLow16("0x1011"), 0x1011);
  EXPECT_EQ(toLow16("65535"), 0xffff);
  EXPECT_EQ(toLow16("65536"), 0);
  EXPECT_EQ(toLow16("0x21011"), 0x1011);
  EXPECT_EQ(toLow16("017"), 15);
  EXPECT_EQ(toLow16("abc"), 0);
}

TEST(ToLow16, NegativeValuesGiveTheirPattern) {
  EXPECT_EQ(toLow16("-1"), 0xffff);
  EXPECT_EQ(toLow16("-65536"), 0);
}

TEST(ToLow16, ValuesBeyondTheRangeGiveTheLimitsPattern) {
  EXPECT_EQ(toLow16("0x80000000"), 0xffff);
  EXPECT_EQ(toLow16("0x100000000"), 0xffff);
  EXPECT_EQ(toLow16("-0x80000001"), 0);
}

TEST(CopyCut, TextThatFitsIsCopiedWhole) {
  char field[4] = {'x', 'x', 'x', 'x'};
  copyCut(field, sizeof field, "abc");
  EXPECT_EQ(std::string(field, sizeof field), std::string("abc\0", 4));
}

TEST(CopyCut, LongerTextIsCut) {
  char field[4] = {'x', 'x', 'x', 'x'};
  copyCut(field, sizeof field, "abcd");
  EXPECT_EQ(std::string(field, sizeof field), std::string("abc\0", 4));
}

TEST(CopyCut, RestOfTheFieldIsCleared) {
  char field[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  copyCut(field, sizeof field, "ab");
  EXPECT_EQ(std::string(field, sizeof field), std::string("ab\0\0\0\0", 6));
  copyCut(field, sizeof field, "");
  EXPECT_EQ(std::string(field, sizeof field), std::string(6, '\0'));
}

TEST(CopyCut, LengthEndsTheText) {
  char field[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  copyCut(field, sizeof field, "abcdef", 2);
  EXPECT_EQ(std::string(field, sizeof field), std::string("ab\0\0\0\0", 6));
  copyCut(field, sizeof field, "abcdef", 0);
  EXPECT_EQ(std::string(field, sizeof field), std::string(6, '\0'));
}

TEST(CopyCut, NothingBehindTheFieldIsWritten) {
  char fields[8] = {'x', 'x', 'x', 'x', 'y', 'y', 'y', 'y'};
  copyCut(fields, 4, "abcdefgh");
  EXPECT_EQ(std::string(fields, sizeof fields), std::string("abc\0yyyy", 8));
}

#if LONG_MAX == INT32_MAX
// The C library's own conversions are the model where long has 32 bits.
TEST(TextFields, AgreeWithTheConversionsOfA32BitLong) {
  const char *texts[] = {"",
                         "0",
                         "1",
                         "-1",
                         "017",
                         "08",
                         "0x",
                         "0xg",
                         "0x7fffffff",
                         "0x80000000",
                         "0xffffffff",
                         "0x100000000",
                         "2147483647",
                         "2147483648",
                         "-2147483648",
                         "-2147483649",
                         "4294967295",
                         "4294967296",
                         "-4294967295",
                         "-4294967296",
                         "  12abc",
                         "- 1",
                         "99999999999",
                         "-99999999999",
                         "99999999999999999999",
                         "-99999999999999999999"};
  for (const char *text : texts) {
    for (const int base : {0, 10}) {
      char *end = nullptr;
      errno = 0;
      const long value = std::strtol(text, &end, base);
      EXPECT_EQ(readSigned(text, base), (Reading{value, end - text, errno})) << text << " in base " << base;
    }
    errno = 0;
    const unsigned long value = std::strtoul(text, nullptr, 0);
    EXPECT_EQ(readUnsigned(text), (UnsignedReading{value, errno})) << text;
  }
}
#endif
