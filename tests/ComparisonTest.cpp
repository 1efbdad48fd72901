// Start-ups side by side: medians, percentiles, who got slower by how much.
#include "Comparison.h"

#include <gtest/gtest.h>

#include "Applications.h"
#include "StartupFixture.h"

using namespace startuptest;
using orv::Change;
using orv::ComparedRun;
using orv::Comparison;
using orv::ComparisonRow;

namespace {

using Delays = std::vector<std::pair<std::string, uint64_t>>;

// A start-up in which each program holds up for so many milliseconds, and the daemon itself for 10.
ComparedRun run(const std::string &name, bool isNew, const Delays &delays) {
  Recorded node;
  node.begin();
  uint64_t atMs = 10;
  uint32_t euId = 1;
  for (const auto &[program, delayMs] : delays) {
    ++euId;
    node.created(atMs, euId, program).waits(atMs, euId, program, "t").waited(atMs + delayMs, euId, program, "t");
    atMs += delayMs;
  }
  return {name, isNew, node.complete(atMs).model()};
}

const ComparisonRow &rowOf(const Comparison &comparison, const std::string &name) {
  for (const ComparisonRow &row : comparison.rows) {
    if (row.name == name) return row;
  }
  throw std::runtime_error("there is no row " + name);
}

// One program: its delays in the base, and the new one.
Comparison compared(const std::vector<uint64_t> &base, uint64_t newMs, orv::ComparisonLimits limits) {
  std::vector<ComparedRun> runs;
  for (const uint64_t ms : base)
    runs.push_back(run("base", false, {{"radio", ms}}));
  runs.push_back(run("new", true, {{"radio", newMs}}));
  return orv::compareStartups(std::move(runs), limits);
}

Change changeOf(const std::vector<uint64_t> &base, uint64_t newMs, std::optional<double> percent, uint64_t floorMs) {
  return rowOf(compared(base, newMs, {percent, floorMs * MS}), "radio").change;
}

TEST(Median, IsTheMiddle) {
  EXPECT_EQ(orv::median({}), std::nullopt);
  EXPECT_EQ(orv::median({7}), 7U);
  EXPECT_EQ(orv::median({9, 1, 5}), 5U);
  EXPECT_EQ(orv::median({9, 1, 5, 6}), 5U);
  EXPECT_EQ(orv::median({UINT64_MAX, UINT64_MAX - 2}), UINT64_MAX - 1);
}

TEST(Percentile95, IsTheValueThat95Of100DoNotExceed) {
  EXPECT_EQ(orv::percentile95({}), std::nullopt);
  EXPECT_EQ(orv::percentile95({3}), 3U);
  std::vector<uint64_t> values;
  for (uint64_t i = 1; i <= 20; ++i)
    values.push_back(i);
  EXPECT_EQ(orv::percentile95(values), 19U);
  values.pop_back();
  EXPECT_EQ(orv::percentile95(values), 19U);
  values = {};
  for (uint64_t i = 100; i >= 1; --i)
    values.push_back(i);
  EXPECT_EQ(orv::percentile95(values), 95U);
}

TEST(Comparison, HasTheFiguresOfBothSides) {
  const Comparison comparison = compared({100, 300, 200, 1000}, 450, {});
  const ComparisonRow &radio = rowOf(comparison, "radio");
  EXPECT_EQ(radio.baseMedianNs, 250 * MS);
  EXPECT_EQ(radio.baseP95Ns, 1000 * MS);
  EXPECT_EQ(radio.newMedianNs, 450 * MS);
  EXPECT_EQ(orv::changeNs(radio), static_cast<int64_t>(200 * MS));
  EXPECT_EQ(orv::changePercentText(radio), "+80 %");
  EXPECT_EQ(rowOf(comparison, "in all").newMedianNs, 460 * MS);
  EXPECT_EQ(rowOf(comparison, "the daemon itself").newMedianNs, 10 * MS);
}

TEST(Comparison, AChangeHasToBeMoreThanTheLimitAndTheFloor) {
  EXPECT_EQ(changeOf({1000}, 1100, 10, 0), Change::NONE);
  EXPECT_EQ(changeOf({1000}, 1101, 10, 0), Change::SLOWER);
  EXPECT_EQ(changeOf({1000}, 899, 10, 0), Change::FASTER);
  EXPECT_EQ(changeOf({1000}, 900, 10, 0), Change::NONE);
  EXPECT_EQ(changeOf({1}, 2, 10, 100), Change::NONE);
  EXPECT_EQ(changeOf({1}, 101, 10, 100), Change::NONE);
  EXPECT_EQ(changeOf({1}, 102, 10, 100), Change::SLOWER);
  EXPECT_EQ(changeOf({1000}, 1001, std::nullopt, 0), Change::SLOWER);
  EXPECT_EQ(changeOf({0}, 500, 10, 100), Change::SLOWER);
}

TEST(Comparison, TheFloorIsTwoLooksOfTheDaemon) {
  EXPECT_EQ(orv::defaultFloorNs(), 2 * READY_POLL_INTERVAL_MS * MS);
}

TEST(Comparison, ProgramsComeAndGo) {
  const Comparison comparison =
      orv::compareStartups({run("1", false, {{"a", 10}, {"old", 20}}), run("2", true, {{"new", 5}, {"a", 10}})}, {});
  ASSERT_EQ(comparison.rows.size(), 5U);
  EXPECT_EQ(comparison.rows[0].name, "new");
  EXPECT_EQ(comparison.rows[0].change, Change::ADDED);
  EXPECT_EQ(comparison.rows[1].name, "a");
  EXPECT_EQ(comparison.rows[2].name, "old");
  EXPECT_EQ(comparison.rows[2].change, Change::REMOVED);
  EXPECT_EQ(comparison.rows[3].kind, ComparisonRow::Kind::DAEMON);
  EXPECT_EQ(comparison.rows[4].kind, ComparisonRow::Kind::TOTAL);
  EXPECT_EQ(orv::changePercentText(comparison.rows[0]), "");
}

TEST(Comparison, SeveralOfOneNameAreTakenInTheirOrder) {
  const Comparison comparison = orv::compareStartups(
      {run("1", false, {{"a", 10}, {"a", 20}}), run("2", true, {{"a", 11}, {"a", 500}})}, {std::nullopt, 100 * MS});
  EXPECT_EQ(rowOf(comparison, "a").change, Change::NONE);
  EXPECT_EQ(rowOf(comparison, "a (2)").change, Change::SLOWER);
}

TEST(Comparison, AsText) {
  const Comparison comparison =
      orv::compareStartups({run("run 1", false, {{"radio", 100}, {"pump", 400}, {"old", 1}}),
                            run("run 2", false, {{"radio", 120}, {"pump", 420}, {"old", 1}}),
                            run("run 3", true, {{"radio", 400}, {"pump", 200}, {"n\x1bw", 3}})},
                           {10, 100 * MS});
  EXPECT_EQ(orv::comparisonText(comparison),
            "base: run 1, run 2\n"
            "new:  run 3\n"
            "\n"
            "PROGRAM            MEDIAN     P95     NEW   CHANGE\n"
            "radio              110 ms  120 ms  400 ms  +290 ms  +264 %  slower\n"
            "pump               410 ms  420 ms  200 ms  -210 ms   -51 %  faster\n"
            "n\\x1bw                  -       -  3.0 ms        -          added\n"
            "old                1.0 ms  1.0 ms       -        -          removed\n"
            "the daemon itself   10 ms   10 ms   10 ms     0 ms     0 %\n"
            "in all             531 ms  551 ms  613 ms   +82 ms   +15 %\n"
            "\n"
            "1 line is slower by more than 10 % and 100 ms.\n");
  EXPECT_EQ(orv::slowerRows(comparison), 1U);
}

TEST(Comparison, AsTextWhereNothingGotSlower) {
  const std::string text = orv::comparisonText(compared({100}, 100, {std::nullopt, 100 * MS}));
  EXPECT_EQ(text,
            "base: base\n"
            "new:  new\n"
            "\n"
            "PROGRAM            MEDIAN     P95     NEW  CHANGE\n"
            "radio              100 ms  100 ms  100 ms    0 ms  0 %\n"
            "the daemon itself   10 ms   10 ms   10 ms    0 ms  0 %\n"
            "in all             110 ms  110 ms  110 ms    0 ms  0 %\n"
            "\n"
            "Nothing got slower by more than 100 ms.\n");
}

TEST(Comparison, AsJson) {
  EXPECT_EQ(orv::comparisonJson(orv::compareStartups(
                {run("a.json", false, {{"radio", 100}}), run("b.json", true, {{"radio", 300}, {"new", 1}})},
                {12.5, 100 * MS})),
            "{\"limit_percent\": 12.5, \"floor_ns\": 100000000, \"slower\": 2, \"runs\": [\n"
            "    {\"name\": \"a.json\", \"run\": 1, \"new\": false, \"length_ns\": 110000000},\n"
            "    {\"name\": \"b.json\", \"run\": 1, \"new\": true, \"length_ns\": 311000000}\n"
            "  ], \"rows\": [\n"
            "    {\"kind\": \"program\", \"name\": \"radio\", \"delays_ns\": [100000000, 300000000], "
            "\"base_median_ns\": 100000000, \"base_p95_ns\": 100000000, \"new_median_ns\": 300000000, \"new_p95_ns\": "
            "300000000, \"change_ns\": 200000000, \"change\": \"slower\"},\n"
            "    {\"kind\": \"program\", \"name\": \"new\", \"delays_ns\": [null, 1000000], \"base_median_ns\": null, "
            "\"base_p95_ns\": null, \"new_median_ns\": 1000000, \"new_p95_ns\": 1000000, \"change_ns\": null, "
            "\"change\": \"added\"},\n"
            "    {\"kind\": \"daemon\", \"name\": \"the daemon itself\", \"delays_ns\": [10000000, 10000000], "
            "\"base_median_ns\": 10000000, \"base_p95_ns\": 10000000, \"new_median_ns\": 10000000, \"new_p95_ns\": "
            "10000000, \"change_ns\": 0, \"change\": \"none\"},\n"
            "    {\"kind\": \"total\", \"name\": \"in all\", \"delays_ns\": [110000000, 311000000], "
            "\"base_median_ns\": 110000000, \"base_p95_ns\": 110000000, \"new_median_ns\": 311000000, \"new_p95_ns\": "
            "311000000, \"change_ns\": 201000000, \"change\": \"slower\"}\n"
            "  ]}\n");
}

}  // namespace
