// The help text, to the letter, and where it is printed.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "CommandLine.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"

using namespace orv::sim;

TEST(UsageConformance, OperationPrintsTheTextOnStandardOutputAndNothingElse) {
  const SimulatedBoot result = simulate({}, [] { usage(); });
  EXPECT_TRUE(isTrace(result.trace, byMain(USAGE) + "0.000 node end: exit status 0"));
}

TEST(UsageConformance, FirstExampleSharesTheLineOfItsHeading) {
  const SimulatedBoot result = simulate({}, [] { usage(); });
  EXPECT_TRUE(isTrace(linesWith(result.trace, "Examples:"),
                      "0.000 main out: Examples:./ORVDaemonExe --startup=nid=0x1011,testerport=15005"));
}

TEST(UsageConformance, SecondAndLastLineAreEmptyAndNoOther) {
  const SimulatedBoot result = simulate({}, [] { usage(); });
  const TraceLines lines = linesOf(result.trace, "main");
  ASSERT_EQ(lines.size(), 21U);
  EXPECT_EQ(lines[1], "0.000 main out: ");
  EXPECT_EQ(lines.back(), "0.000 main out: ");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), lines.back()), 2);
}

TEST(UsageConformance, HelpGivenTwiceIsPrintedTwiceAndTheDaemonStarts) {
  EXPECT_TRUE(bootsAs({"", {"-h", "-h"}, std::string(USAGE) + USAGE}));
  EXPECT_TRUE(bootsAs({"", {"-hh"}, std::string(USAGE) + USAGE}));
}

TEST(UsageConformance, HelpBehindABadOptionIsPrintedAllTheSame) {
  EXPECT_TRUE(bootsAs({"", {"-x", "-h"}, std::string("err: ORVDaemonExe: invalid option -- 'x'\n") + USAGE}));
  EXPECT_TRUE(bootsAs({"", {"--startup=bogus", "-h"}, std::string("err: Unknown option 'bogus'\n") + USAGE}));
}
