// The options -c and -s: lists of tags.
#include "ConfigTags.h"

#include <cerrno>
#include <string>

#include "NodeFixture.h"

using orvtest::Lines;

namespace {

class ConfigTags : public orvtest::NodeTest {
 protected:
  // The node's tags after a list of -c (with `shortValues` of -s).
  static Lines set(std::string list, int shortValues = 0) {
    EXPECT_EQ(configTags(list.data(), shortValues), 0) << list;
    return tags();
  }
  static Lines setShort(const std::string &list) {
    return set(list, 1);
  }
};

}  // namespace

TEST_F(ConfigTags, WholeNumbersBecome32BitNumbersAndTheRestTexts) {
  EXPECT_EQ(set("a=1,b=hello"), (Lines{"a u32 1", "b string hello"}));
}

TEST_F(ConfigTags, ZeroIsANumber) {
  EXPECT_EQ(set("a=0,b=-0,c=0x0,d=00"), (Lines{"a u32 0", "b u32 0", "c u32 0", "d u32 0"}));
}

TEST_F(ConfigTags, BaseIsDetected) {
  EXPECT_EQ(set("a=0x10004,b=010,c=10,d=0XfF"), (Lines{"a u32 65540", "b u32 8", "c u32 10", "d u32 255"}));
}

TEST_F(ConfigTags, ShortValuesKeepTheLowSixteenBits) {
  EXPECT_EQ(setShort("a=0x10004,b=65535,c=65536,d=1"), (Lines{"a u16 4", "b u16 65535", "c u16 0", "d u16 1"}));
}

TEST_F(ConfigTags, NegativeNumbersBecomeTheirPattern) {
  EXPECT_EQ(set("a=-1,b=-2147483648"), (Lines{"a u32 4294967295", "b u32 2147483648"}));
}

TEST_F(ConfigTags, NegativeShortNumbersBecomeTheirPattern) {
  EXPECT_EQ(setShort("a=-1,b=-2147483648,c=-65535"), (Lines{"a u16 65535", "b u16 0", "c u16 1"}));
}

TEST_F(ConfigTags, NumbersBeyondTheSigned32BitRangeAreTexts) {
  EXPECT_EQ(set("a=2147483647,b=2147483648,c=-2147483649,d=99999999999,e=0xffffffff,f=99999999999999999999"),
            (Lines{"a u32 2147483647", "b string 2147483648", "c string -2147483649", "d string 99999999999",
                   "e string 0xffffffff", "f string 99999999999999999999"}));
}

TEST_F(ConfigTags, ShortNumbersBeyondTheSigned32BitRangeAreTexts) {
  EXPECT_EQ(setShort("a=2147483647,b=2147483648,c=-2147483649"),
            (Lines{"a u16 65535", "b string 2147483648", "c string -2147483649"}));
}

TEST_F(ConfigTags, NumberWithSomethingBehindItIsAText) {
  EXPECT_EQ(set("a=12abc,b=1 ,c=0x,d=08,e=1.5"),
            (Lines{"a string 12abc", "b string 1 ", "c string 0x", "d string 08", "e string 1.5"}));
}

TEST_F(ConfigTags, WhiteSpaceAndSignBeforeANumberAreTakenAsPartOfIt) {
  EXPECT_EQ(set("a= 5,b=\t+6,c= -7"), (Lines{"a u32 5", "b u32 6", "c u32 4294967289"}));
}

TEST_F(ConfigTags, TextWithoutDigitsIsAText) {
  EXPECT_EQ(set("a=-,b=+,c= ,d=x"), (Lines{"a string -", "b string +", "c string  ", "d string x"}));
}

TEST_F(ConfigTags, SeparatorsAreInterchangeable) {
  EXPECT_EQ(set("a,1,b,2"), (Lines{"a u32 1", "b u32 2"}));
  EXPECT_EQ(set("c=3=d=4"), (Lines{"a u32 1", "b u32 2", "c u32 3", "d u32 4"}));
}

TEST_F(ConfigTags, RunsOfSeparatorsCountAsOne) {
  EXPECT_EQ(set(",=a==1,,=b,=2=,"), (Lines{"a u32 1", "b u32 2"}));
}

TEST_F(ConfigTags, NameWithoutValueIsIgnored) {
  EXPECT_EQ(set("a=1,b"), (Lines{"a u32 1"}));
  EXPECT_EQ(set("c="), (Lines{"a u32 1"}));
  EXPECT_EQ(set("d"), (Lines{"a u32 1"}));
}

TEST_F(ConfigTags, EmptyListSetsNothing) {
  EXPECT_EQ(set(""), Lines{});
  EXPECT_EQ(set(",=,="), Lines{});
}

TEST_F(ConfigTags, EmptyValueTakesTheNextNameForItsValue) {
  EXPECT_EQ(set("a=,b=2,c=3"), (Lines{"2 string c", "a string b"}));
}

TEST_F(ConfigTags, LaterPairReplacesValueAndType) {
  EXPECT_EQ(set("a=1,a=x"), (Lines{"a string x"}));
  EXPECT_EQ(setShort("a=2"), (Lines{"a u16 2"}));
}

TEST_F(ConfigTags, BlanksBelongToTheName) {
  EXPECT_EQ(set("a b = x"), (Lines{"a b  string  x"}));
}

TEST_F(ConfigTags, TagThatThePlatformRefusesDoesNotStopTheList) {
  const std::string longest(255, 'n');
  EXPECT_EQ(set(longest + "=1," + longest + "n=2,z=3"), (Lines{longest + " u32 1", "z u32 3"}));
}

TEST_F(ConfigTags, ErrnoOfAnEarlierFailureDoesNotMatter) {
  errno = ERANGE;
  EXPECT_EQ(set("a=1"), (Lines{"a u32 1"}));
  errno = EINVAL;
  EXPECT_EQ(set("b=0"), (Lines{"a u32 1", "b u32 0"}));
}

TEST_F(ConfigTags, NothingIsPrinted) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  set("a=1,b=x,c");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
