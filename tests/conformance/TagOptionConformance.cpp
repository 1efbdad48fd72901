// The options -c and -s: how a list is cut into names and values, and which values are numbers.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "ConfigTags.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"

using namespace orv::sim;

namespace {

class TagOptionConformance : public testing::TestWithParam<OptionCase> {};

// A list on its own: all it sets. `shortValues` is 0 for -c, 1 for -s.
testing::AssertionResult sets(const std::string &list, int shortValues, const std::string &lines) {
  std::string text = list;
  int result = -1;
  const SimulatedBoot boot = simulate({}, [&] { result = configTags(text.data(), shortValues); });
  if (result != 0) return testing::AssertionFailure() << "\"" << list << "\" gave " << result;
  return isTrace(boot.trace, byMain(lines) + "0.000 node end: exit status 0");
}

// All but the separators and the two that the trace escapes.
const std::string OTHER_CHARACTERS =
    " !#$%&'()*+-./0123456789:;<>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[]^_`abcdefghijklmnopqrstuvwxyz{|}~";

struct Value {
  std::string text;
  std::string with32Bits;  // what -c makes of it; a string stands in quotes
  std::string with16Bits;  // what -s makes of it
};

std::string setOf(const std::string &value, const std::string &numberCall) {
  return (value.front() == '"' ? "AaConfigTagSetString" : numberCall) + "(\"a\", " + value + ") = 0\n";
}

}  // namespace

TEST_P(TagOptionConformance, SetsTheTags) {
  EXPECT_TRUE(bootsAs(GetParam()));
}

const OptionCase TAG_CASES[] = {
    {"NumberAndString",
     {"-c", "a=1,b=hello"},
     "AaConfigTagSetU32(\"a\", 1) = 0\n AaConfigTagSetString(\"b\", \"hello\") = 0"},
    {"StringInTheShortOption",
     {"-s", "a=hello,b=1"},
     "AaConfigTagSetString(\"a\", \"hello\") = 0\n AaConfigTagSetU16(\"b\", 1) = 0"},
    {"AnyNumberOfPairs",
     {"-c", "a=1,b=2,c=3,d=4,e=x"},
     R"(AaConfigTagSetU32("a", 1) = 0
        AaConfigTagSetU32("b", 2) = 0
        AaConfigTagSetU32("c", 3) = 0
        AaConfigTagSetU32("d", 4) = 0
        AaConfigTagSetString("e", "x") = 0)"},
    {"SeparatorsAreInterchangeable",
     {"-c", "a,1,b,2", "-c", "c=3=d=4", "-c", "e,5=f,6"},
     R"(AaConfigTagSetU32("a", 1) = 0
        AaConfigTagSetU32("b", 2) = 0
        AaConfigTagSetU32("c", 3) = 0
        AaConfigTagSetU32("d", 4) = 0
        AaConfigTagSetU32("e", 5) = 0
        AaConfigTagSetU32("f", 6) = 0)"},
    {"RunsOfSeparatorsCountAsOne",
     {"-c", ",=a==1,=,b,,2=="},
     "AaConfigTagSetU32(\"a\", 1) = 0\n AaConfigTagSetU32(\"b\", 2) = 0"},
    {"EmptyValueTakesTheNextName", {"-c", "a=,b=2"}, "AaConfigTagSetString(\"a\", \"b\") = 0"},
    {"TrailingNameIsIgnored", {"-c", "a=1,b"}, "AaConfigTagSetU32(\"a\", 1) = 0"},
    {"TrailingNameWithEqualsSignIsIgnored", {"-s", "a=1,b="}, "AaConfigTagSetU16(\"a\", 1) = 0"},
    {"NameWithEmptyValueSetsNothing", {"-c", "a="}, ""},
    {"NameAloneSetsNothing", {"-s", "a"}, ""},
    {"SeparatorsAloneSetNothing", {"-c", "=,"}, ""},
    {"EmptyListSetsNothing", {"-c", "", "-s", "", "--config=", "--config_short="}, ""},
    {"SameNameTwiceIsSetTwice", {"-c", "a=1,a=2"}, "AaConfigTagSetU32(\"a\", 1) = 0\n AaConfigTagSetU32(\"a\", 2) = 0"},
    {"NamesAreTakenAsTheyAre",
     {"-c", " sys.a b =1,1=2"},
     "AaConfigTagSetU32(\" sys.a b \", 1) = 0\n AaConfigTagSetU32(\"1\", 2) = 0"},
    {"NoOtherCharacterSeparates",
     {"-c", "a:b|c;d/e=" + OTHER_CHARACTERS + ",b=1"},
     "AaConfigTagSetString(\"a:b|c;d/e\", \"" + OTHER_CHARACTERS + "\") = 0\n AaConfigTagSetU32(\"b\", 1) = 0"},
    {"RefusedTagsDoNotEndTheList",
     {"-c", "a=1,b=x,c=3", "-s", "d=4,e=5"},
     R"(AaConfigTagSetU32("a", 1) = 7
        AaConfigTagSetString("b", "x") = 8
        AaConfigTagSetU32("c", 3) = 7
        AaConfigTagSetU16("d", 4) = -1
        AaConfigTagSetU16("e", 5) = -1)",
     "",
     {{"AaConfigTagSetU32", 0, {}, 7}, {"AaConfigTagSetString", 0, {}, 8}, {"AaConfigTagSetU16", 0, {}, -1}}},
};
INSTANTIATE_TEST_SUITE_P(TagOptionConformance, TagOptionConformance, testing::ValuesIn(TAG_CASES), nameOf);

TEST(TagOptionConformance, WholeNumbersOf32BitsAreNumbersAndAllElseIsText) {
  const Value values[] = {
      {"0", "0", "0"},
      {"1", "1", "1"},
      {"+5", "5", "5"},
      {"-0", "0", "0"},
      {"-1", "4294967295", "65535"},
      {"00", "0", "0"},
      {"017", "15", "15"},
      {"-017", "4294967281", "65521"},
      {"0x10", "16", "16"},
      {"0XfF", "255", "255"},
      {"-0x10", "4294967280", "65520"},
      {" 5", "5", "5"},
      {"\t\n 5", "5", "5"},
      {"65535", "65535", "65535"},
      {"65536", "65536", "0"},
      {"0x10004", "65540", "4"},
      {"-65536", "4294901760", "0"},
      {"2147483646", "2147483646", "65534"},
      {"2147483647", "2147483647", "65535"},
      {"0x7fffffff", "2147483647", "65535"},
      {"-2147483647", "2147483649", "1"},
      {"-2147483648", "2147483648", "0"},
      // Beyond the signed range of 32 bits.
      {"2147483648", "\"2147483648\"", "\"2147483648\""},
      {"0x80000000", "\"0x80000000\"", "\"0x80000000\""},
      {"0xffffffff", "\"0xffffffff\"", "\"0xffffffff\""},
      {"4294967296", "\"4294967296\"", "\"4294967296\""},
      {"99999999999", "\"99999999999\"", "\"99999999999\""},
      {"-2147483649", "\"-2147483649\"", "\"-2147483649\""},
      {"9223372036854775808", "\"9223372036854775808\"", "\"9223372036854775808\""},
      {"-9223372036854775809", "\"-9223372036854775809\"", "\"-9223372036854775809\""},
      {"99999999999999999999x", "\"99999999999999999999x\"", "\"99999999999999999999x\""},
      // Something before, behind or in place of the digits.
      {"12abc", "\"12abc\"", "\"12abc\""},
      {"5 ", "\"5 \"", "\"5 \""},
      {"abc", "\"abc\"", "\"abc\""},
      {"x0", "\"x0\"", "\"x0\""},
      {"0x", "\"0x\"", "\"0x\""},
      {"0xg", "\"0xg\"", "\"0xg\""},
      {"08", "\"08\"", "\"08\""},
      {"0b11", "\"0b11\"", "\"0b11\""},
      {"1.0", "\"1.0\"", "\"1.0\""},
      {"--1", "\"--1\"", "\"--1\""},
      {"+ 1", "\"+ 1\"", "\"+ 1\""},
      {"-", "\"-\"", "\"-\""},
      {" ", "\" \"", "\" \""},
  };
  for (const Value &value : values) {
    SCOPED_TRACE(value.text);
    EXPECT_TRUE(sets("a=" + value.text, 0, setOf(value.with32Bits, "AaConfigTagSetU32")));
    EXPECT_TRUE(sets("a=" + value.text, 1, setOf(value.with16Bits, "AaConfigTagSetU16")));
  }
}

TEST(TagOptionConformance, LongNamesAndValuesAreUsedWhole) {
  const std::string name(5000, 'n');
  const std::string value(5000, 'v');
  const std::string zeros(5000, '0');
  for (const int shortValues : {0, 1}) {
    EXPECT_TRUE(sets(name + "=" + value, shortValues, "AaConfigTagSetString(\"" + name + "\", \"" + value + "\") = 0"));
  }
  EXPECT_TRUE(sets(name + "=" + zeros + "7", 0, "AaConfigTagSetU32(\"" + name + "\", 7) = 0"));
  EXPECT_TRUE(sets(name + "=" + zeros + "7", 1, "AaConfigTagSetU16(\"" + name + "\", 7) = 0"));
}

TEST(TagOptionConformance, EveryListGivesZero) {
  for (const int shortValues : {0, 1}) {
    EXPECT_TRUE(sets("", shortValues, ""));
    EXPECT_TRUE(sets("a", shortValues, ""));
    EXPECT_TRUE(sets("a=x,b", shortValues, "AaConfigTagSetString(\"a\", \"x\") = 0\n"));
  }
}

// An error that is left from before, or from the value before, is none of this value.
TEST(TagOptionConformance, EachValueIsJudgedAlone) {
  for (const int before : {ERANGE, EINVAL}) {
    const SimulatedBoot result = simulate({}, [before] {
      std::string numbers = "a=0,b=1";
      errno = before;
      configTags(numbers.data(), 0);
    });
    EXPECT_TRUE(isTrace(linesOf(result.trace, "main"),
                        byMain("AaConfigTagSetU32(\"a\", 0) = 0\n AaConfigTagSetU32(\"b\", 1) = 0\n")));
  }
  EXPECT_TRUE(sets("a=2147483648,b=2147483647,c=-2147483649,d=0", 0,
                   "AaConfigTagSetString(\"a\", \"2147483648\") = 0\n"
                   "AaConfigTagSetU32(\"b\", 2147483647) = 0\n"
                   "AaConfigTagSetString(\"c\", \"-2147483649\") = 0\n"
                   "AaConfigTagSetU32(\"d\", 0) = 0\n"));
}

TEST(TagOptionConformance, LaterOptionOverwritesTheTag) {
  Scenario scenario;
  scenario.tags["app.hwapi.appcfg.filename"] = {TagType::STRING, 0, "/none"};
  const SimulatedBoot result =
      boot(scenario, {"-c", "app.hwapi.appcfg.filename=/first", "-s", "app.hwapi.appcfg.filename=/second"});
  EXPECT_TRUE(isTrace(linesWith(result.trace, "app.hwapi.appcfg.filename"), R"(
    0.000 main AaConfigTagSetString("app.hwapi.appcfg.filename", "/first") = 0
    0.000 main AaConfigTagSetString("app.hwapi.appcfg.filename", "/second") = 0
    0.000 1:ceInternalStartupEu AaConfigTagGetString("app.hwapi.appcfg.filename") = 0, buffer 1 "/second"
  )"));
}
