// The wait for an online tag: how often the tag is tested and when, what is left of the budget, and what is logged.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Applications.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;

struct Wait {
  int result = -1;
  uint32_t remainingMs = 0;
  TraceLines trace;
};

Wait waitFor(const std::string &tag, uint32_t budgetMs, const Scenario &scenario) {
  Wait wait;
  wait.remainingMs = budgetMs;
  wait.trace = simulate(scenario, [&] { wait.result = readyWait(CONTEXT, tag, wait.remainingMs); }).trace;
  return wait;
}

// The tag becomes set at a time; without one it never does.
Scenario setAt(const std::string &tag, uint64_t atMs) {
  Scenario scenario;
  scenario.timedTags = {{tag, {}, atMs}};
  return scenario;
}

}  // namespace

TEST(ReadyWaitConformance, TagThatIsNeverSetIsTestedOnceMoreThanSleptFor) {
  const struct {
    uint32_t budgetMs;
    unsigned sleeps;
    const char *end;
  } cases[] = {
      {0, 0, "0.000"},     {1, 1, "0.050"},           {49, 1, "0.050"},          {50, 1, "0.050"},
      {51, 2, "0.100"},    {99, 2, "0.100"},          {100, 2, "0.100"},         {101, 3, "0.150"},
      {120, 3, "0.150"},   {149, 3, "0.150"},         {150, 3, "0.150"},         {151, 4, "0.200"},
      {1000, 20, "1.000"}, {239950, 4799, "239.950"}, {239951, 4800, "240.000"}, {240000, 4800, "240.000"},
  };
  for (const auto &row : cases) {
    const std::string budget = std::to_string(row.budgetMs);
    const std::string end = row.end;
    SCOPED_TRACE(budget);
    const Wait wait = waitFor("a.up", row.budgetMs, {});
    EXPECT_EQ(wait.result, 0);
    EXPECT_EQ(wait.remainingMs, 0u);
    std::string expected = "0.000 main Info: readyWait: waiting " + budget + " ms for a.up to be set\n";
    expected += "0.000 main polls \"a.up\" " + std::to_string(row.sleeps) + " times\n";
    expected += end + " main AaConfigTagIsSet(\"a.up\") = 0\n";
    expected += end + " main Error: readyWait: a.up tag not set in time\n";
    expected += end + " node end: exit status 0\n";
    EXPECT_TRUE(isTrace(wait.trace, expected));
  }
}

TEST(ReadyWaitConformance, TagThatIsSetAlreadyNeedsNoSleepAndNoBudget) {
  Scenario scenario;
  scenario.tags["a.up"] = {};
  for (const uint32_t budgetMs : {0u, 1u, 49u, 50u, 240000u, UINT32_MAX}) {
    const std::string budget = std::to_string(budgetMs);
    SCOPED_TRACE(budget);
    const Wait wait = waitFor("a.up", budgetMs, scenario);
    EXPECT_EQ(wait.result, 1);
    EXPECT_EQ(wait.remainingMs, budgetMs);
    EXPECT_TRUE(isTrace(wait.trace, "0.000 main Info: readyWait: waiting " + budget + " ms for a.up to be set" + R"(
        0.000 main AaConfigTagIsSet("a.up") = 1
        0.000 main Info: readyWait: a.up tag set in time
        0.000 node end: exit status 0)"));
  }
}

TEST(ReadyWaitConformance, TagThatIsSetMeanwhileLeavesTheRestOfTheBudget) {
  const struct {
    uint32_t budgetMs;
    uint64_t setAtMs;
    const char *set;
    const char *sleeps;
    const char *end;
    uint32_t remainingMs;
  } cases[] = {
      {120, 1, "0.001", "1", "0.050", 70},
      {120, 50, "0.050", "1", "0.050", 70},
      {120, 51, "0.051", "2", "0.100", 20},
      {120, 101, "0.101", "3", "0.150", 0},  // the budget is used up by then, but the tag is looked at first
      {120, 150, "0.150", "3", "0.150", 0},
      {1, 50, "0.050", "1", "0.050", 0},
      {240000, 1000, "1.000", "20", "1.000", 239000},
      {240000, 239951, "239.951", "4800", "240.000", 0},
      {UINT32_MAX, 100, "0.100", "2", "0.100", 4294967195u},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(std::to_string(row.budgetMs) + " ms, set after " + row.set + " s");
    const std::string end = row.end;
    const Wait wait = waitFor("a.up", row.budgetMs, setAt("a.up", row.setAtMs));
    EXPECT_EQ(wait.result, 1);
    EXPECT_EQ(wait.remainingMs, row.remainingMs);
    std::string expected = "0.000 main Info: readyWait: waiting " + std::to_string(row.budgetMs) +
                           " ms for a.up to be set\n0.000 main polls \"a.up\" " + row.sleeps + " times\n";
    expected += std::string(row.set) + " node tag \"a.up\" = u32 1 is set from outside\n";
    expected += end + " main AaConfigTagIsSet(\"a.up\") = 1\n";
    expected += end + " main Info: readyWait: a.up tag set in time\n";
    expected += end + " node end: exit status 0\n";
    EXPECT_TRUE(isTrace(wait.trace, expected));
  }
}

TEST(ReadyWaitConformance, TagThatIsSetBehindTheLastTestIsTooLate) {
  const Wait wait = waitFor("a.up", 100, setAt("a.up", 101));
  EXPECT_EQ(wait.result, 0);
  EXPECT_TRUE(isTrace(wait.trace, R"(
      0.000 main Info: readyWait: waiting 100 ms for a.up to be set
      0.000 main polls "a.up" 2 times
      0.100 main AaConfigTagIsSet("a.up") = 0
      0.100 main Error: readyWait: a.up tag not set in time
      0.100 node end: exit status 0)"));
}

TEST(ReadyWaitConformance, OnlyThatTheTagIsSetCountsAndNotItsValue) {
  const TagValue values[] = {
      {TagType::U32, 0, ""}, {TagType::U32, 7, ""}, {TagType::U16, 0, ""}, {TagType::STRING, 0, ""}};
  for (const TagValue &value : values) {
    SCOPED_TRACE(tagText(value));
    Scenario scenario;
    scenario.tags["a.up"] = value;
    EXPECT_EQ(waitFor("a.up", 0, scenario).result, 1);
  }
}

TEST(ReadyWaitConformance, AnyAnswerButZeroMeansSet) {
  for (const int64_t answer : {1, 2, -1, INT32_MAX, INT32_MIN}) {
    SCOPED_TRACE(answer);
    Scenario scenario;
    scenario.calls.push_back({"AaConfigTagIsSet", 0, "a.up", answer});
    const Wait wait = waitFor("a.up", 50, scenario);
    EXPECT_EQ(wait.result, 1);
    EXPECT_EQ(wait.remainingMs, 50u);
  }
}

TEST(ReadyWaitConformance, AnotherTagDoesNotEndTheWait) {
  Scenario scenario;
  scenario.tags = {{"a.u", {}}, {"a.up2", {}}, {"A.up", {}}, {"", {}}};
  EXPECT_EQ(waitFor("a.up", 50, scenario).result, 0);
}

TEST(ReadyWaitConformance, BudgetIsCountedBySleepsAndNotByTheClock) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysTimeSleep", 0, {}, 22});  // comes back at once
  const Wait wait = waitFor("a.up", 101, scenario);
  EXPECT_EQ(wait.result, 0);
  EXPECT_EQ(wait.remainingMs, 0u);
  EXPECT_TRUE(isTrace(wait.trace, R"(
      0.000 main Info: readyWait: waiting 101 ms for a.up to be set
      0.000 main AaConfigTagIsSet("a.up") = 0
      0.000 main AaSysTimeSleep(50, 3) = 22
      0.000 main AaConfigTagIsSet("a.up") = 0
      0.000 main AaSysTimeSleep(50, 3) = 22
      0.000 main AaConfigTagIsSet("a.up") = 0
      0.000 main AaSysTimeSleep(50, 3) = 22
      0.000 main AaConfigTagIsSet("a.up") = 0
      0.000 main Error: readyWait: a.up tag not set in time
      0.000 node end: exit status 0)"));
}

TEST(ReadyWaitConformance, SecondWaitOnOneBudgetStartsWithWhatTheFirstLeft) {
  Scenario scenario;
  scenario.timedTags = {{"first.up", {}, 80}};
  uint32_t remainingMs = 130;
  int results[2] = {-1, -1};
  const SimulatedBoot result = simulate(scenario, [&] {
    results[0] = readyWait(CONTEXT, "first.up", remainingMs);
    results[1] = readyWait(CONTEXT, "second.up", remainingMs);
  });
  EXPECT_EQ(results[0], 1);
  EXPECT_EQ(results[1], 0);
  EXPECT_EQ(remainingMs, 0u);
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main Info: readyWait: waiting 130 ms for first.up to be set
      0.000 main AaConfigTagIsSet("first.up") = 0
      0.000 main AaSysTimeSleep(50, 3) = 0
      0.050 main AaConfigTagIsSet("first.up") = 0
      0.050 main AaSysTimeSleep(50, 3) = 0
      0.080 node tag "first.up" = u32 1 is set from outside
      0.100 main AaConfigTagIsSet("first.up") = 1
      0.100 main Info: readyWait: first.up tag set in time
      0.100 main Info: readyWait: waiting 30 ms for second.up to be set
      0.100 main polls "second.up" 1 times
      0.150 main AaConfigTagIsSet("second.up") = 0
      0.150 main Error: readyWait: second.up tag not set in time
      0.150 node end: exit status 0)"));
}

TEST(ReadyWaitConformance, NameOfTheTagIsLoggedAsItIs) {
  const Wait wait = waitFor("100% of \"a b\"", 0, {});
  EXPECT_TRUE(isTrace(wait.trace, R"(
      0.000 main Info: readyWait: waiting 0 ms for 100% of "a b" to be set
      0.000 main AaConfigTagIsSet("100% of \"a b\"") = 0
      0.000 main Error: readyWait: 100% of "a b" tag not set in time
      0.000 node end: exit status 0)"));
}
