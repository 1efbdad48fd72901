// Numbers on the command line, key by key: base detection, what is no number, and the limits of 32 bits.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "OrvDaemon.h"
#include "StartupOptions.h"
#include "TextFields.h"

using namespace orv::sim;

namespace {

// What a text means to the keys that take a signed and to those that take an unsigned number.
struct Number {
  const char *text;
  int32_t asSigned;
  uint32_t asUnsigned;
};

const Number NUMBERS[] = {
    {"0", 0, 0},
    {"15005", 15005, 15005},
    {"+5", 5, 5},
    {" 42", 42, 42},
    {"017", 15, 15},
    {"08", 0, 0},
    {"0x1f", 31, 31},
    {"0XaBcD", 0xabcd, 0xabcd},
    {"0x", 0, 0},
    {"0b11", 0, 0},
    {"12abc", 12, 12},
    {"12 34", 12, 12},
    {"abc", 0, 0},
    {"", 0, 0},
    {"-", 0, 0},
    {"0x21011", 0x21011, 0x21011},
    {"-1", -1, 0xffffffff},
    {"-2", -2, 0xfffffffe},
    {"-65535", -65535, 0xffff0001},
    {"2147483646", 2147483646, 0x7ffffffe},
    {"2147483647", INT32_MAX, 0x7fffffff},
    {"2147483648", INT32_MAX, 0x80000000},
    {"0x80000001", INT32_MAX, 0x80000001},
    {"4294967294", INT32_MAX, 0xfffffffe},
    {"4294967295", INT32_MAX, 0xffffffff},
    {"4294967296", INT32_MAX, 0xffffffff},
    {"4294967297", INT32_MAX, 0xffffffff},
    {"9223372036854775807", INT32_MAX, 0xffffffff},
    {"9223372036854775808", INT32_MAX, 0xffffffff},
    {"99999999999999999999", INT32_MAX, 0xffffffff},
    {"-2147483647", -2147483647, 0x80000001},
    {"-2147483648", INT32_MIN, 0x80000000},
    {"-2147483649", INT32_MIN, 0x7fffffff},
    {"-4294967294", INT32_MIN, 2},
    {"-4294967295", INT32_MIN, 1},
    {"-4294967296", INT32_MIN, 0xffffffff},
    {"-4294967297", INT32_MIN, 0xffffffff},
    {"-9223372036854775808", INT32_MIN, 0xffffffff},
    {"-9223372036854775809", INT32_MIN, 0xffffffff},
};

template <class Value>
std::string formatted(const char *format, Value value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

const std::string END = "err: Master NID value in RT startup 0x0000\n";

struct UnsignedKey {
  const char *key;
  const char *acknowledgement;
  const char *format;
  const char *member;  // null: none of the record's
  const char *memberFormat;
};

}  // namespace

TEST(NumbersConformance, UnsignedKeys) {
  const UnsignedKey keys[] = {
      {"testerport", "Tester port set to ", "%d", "testerPort", "%u"},
      {"printport", "Print port set to ", "%d", "printPort", "%u"},
      {"printip", "Print IP set to ", "0x%08x", "printIp", "0x%x"},
      {"btslogport", "btslogPort set to ", "%d", "btsLogPort", "%u"},
      {"testermultiplicity", "Multiplicity set to ", "%d", "testerMultiplicity", "%u"},
  };
  for (const UnsignedKey &key : keys) {
    for (const Number &number : NUMBERS) {
      EXPECT_TRUE(bootsAs({"",
                           {std::string("--startup=") + key.key + "=" + number.text},
                           "err: " + (key.acknowledgement + formatted(key.format, number.asUnsigned)) + "\n" + END,
                           std::string(key.member) + "=" + formatted(key.memberFormat, number.asUnsigned)}))
          << key.key << "=" << number.text;
    }
  }
}

TEST(NumbersConformance, NotifyReceiver) {
  for (const Number &number : NUMBERS) {
    EXPECT_TRUE(bootsAs({"",
                         {std::string("--startup=notifreceiver=") + number.text},
                         "err: Notify receiver set to " + formatted("0x%x", number.asUnsigned) + "\n" + END}))
        << number.text;
    EXPECT_EQ(gNotifyReceiver, number.asUnsigned) << number.text;
  }
}

TEST(NumbersConformance, NodeIdsKeepTheLow16BitsOfASignedNumber) {
  for (const Number &number : NUMBERS) {
    const std::string nid = formatted("0x%04x", static_cast<uint32_t>(number.asSigned) & 0xffff);
    EXPECT_TRUE(bootsAs(
        {"", {std::string("--startup=nid=") + number.text}, "err: NID set to " + nid + "\n" + END, "nid=" + nid}))
        << number.text;
    EXPECT_TRUE(bootsAs({"",
                         {std::string("--startup=masternid=") + number.text},
                         "err: Master NID set to " + nid + "\n err: Master NID value in RT startup " + nid,
                         "masterNid=" + nid}))
        << number.text;
  }
}

TEST(NumbersConformance, TbtsCpidKeepsTheLow16BitsOfASignedNumber) {
  for (const Number &number : NUMBERS) {
    const uint32_t cpid = static_cast<uint32_t>(number.asSigned) & 0xffff;
    EXPECT_TRUE(
        bootsAs({"",
                 {std::string("--startup=tbtscpid=") + number.text},
                 "err: AaTbts CPID " + formatted("0x%X", cpid) + "\n AaConfigTagSetU16(\"orv.service.aatbts.cpid\", " +
                     std::to_string(cpid) + ") = 0\n" + END}))
        << number.text;
  }
}

TEST(NumbersConformance, MasterGwPortIsASignedNumberInAnUnsignedTag) {
  for (const Number &number : NUMBERS) {
    EXPECT_TRUE(bootsAs({"",
                         {std::string("--startup=mastergwport=") + number.text},
                         "AaConfigTagSetU32(\"orv.demo.mastergwport\", " +
                             std::to_string(static_cast<uint32_t>(number.asSigned)) +
                             ") = 0\n err: Master GW port set to " + std::to_string(number.asSigned) + "\n" + END}))
        << number.text;
  }
}

TEST(NumbersConformance, OperationsReadTheSame) {
  for (const Number &number : NUMBERS) {
    SCOPED_TRACE(number.text);
    EXPECT_EQ(toSigned32(number.text, 0), number.asSigned);
    EXPECT_EQ(toUnsigned32(number.text), number.asUnsigned);
    EXPECT_EQ(toLow16(number.text), static_cast<uint32_t>(number.asSigned) & 0xffff);
  }
}

TEST(NumbersConformance, OnlyNumbersBeyondTheRangeAreErrors) {
  struct Case {
    const char *text;
    int signedError;
    int unsignedError;
  };
  const Case cases[] = {
      {"0", 0, 0},
      {"abc", 0, 0},
      {"-1", 0, 0},
      {"2147483647", 0, 0},
      {"2147483648", ERANGE, 0},
      {"-2147483648", 0, 0},
      {"-2147483649", ERANGE, 0},
      {"4294967295", ERANGE, 0},
      {"4294967296", ERANGE, ERANGE},
      {"-4294967295", ERANGE, 0},
      {"-4294967296", ERANGE, ERANGE},
      {"9223372036854775807", ERANGE, ERANGE},
      {"9223372036854775808", ERANGE, ERANGE},
      {"-9223372036854775809", ERANGE, ERANGE},
  };
  for (const Case &row : cases) {
    SCOPED_TRACE(row.text);
    errno = 0;
    toSigned32(row.text, 0);
    EXPECT_EQ(errno, row.signedError);
    errno = 0;
    toUnsigned32(row.text);
    EXPECT_EQ(errno, row.unsignedError);
  }
}

TEST(NumbersConformance, ReadingEndsAtTheFirstCharacterThatIsNone) {
  struct Case {
    const char *text;
    int base;
    int32_t value;
    ptrdiff_t read;
  };
  const Case cases[] = {
      {"12abc", 0, 12, 2}, {"0x1g", 0, 1, 3},
      {"089", 0, 0, 1},    {"abc", 0, 0, 0},
      {"", 0, 0, 0},       {" -7 ", 0, -7, 3},
      {"0x10", 10, 0, 1},  {"010", 10, 10, 3},
      {"10", 16, 16, 2},   {"99999999999;", 10, INT32_MAX, 11},
  };
  for (const Case &row : cases) {
    const char *end = nullptr;
    EXPECT_EQ(toSigned32(row.text, row.base, &end), row.value) << row.text;
    EXPECT_EQ(end - row.text, row.read) << row.text;
  }
}

TEST(NumbersConformance, TextsAreCutToTheirFieldsAndFilledUp) {
  struct Case {
    size_t fieldSize;
    const char *text;
    size_t length;
    std::string kept;
  };
  const Case cases[] = {
      {4, "abcdef", 6, "abc"}, {4, "abcd", 4, "abc"}, {4, "abc", 3, "abc"}, {4, "abcdef", 2, "ab"},
      {4, "abc", 0, ""},       {1, "abc", 3, ""},     {8, "abc", 3, "abc"},
  };
  for (const Case &row : cases) {
    SCOPED_TRACE(row.text);
    std::string field(12, '*');
    copyCut(field.data() + 1, row.fieldSize, row.text, row.length);
    const std::string expected =
        "*" + row.kept + std::string(row.fieldSize - row.kept.size(), '\0') + std::string(11 - row.fieldSize, '*');
    EXPECT_EQ(field, expected);
    std::string whole(12, '*');
    copyCut(whole.data() + 1, row.fieldSize, std::string(row.text, row.length).c_str());
    EXPECT_EQ(whole, expected);
  }
}
