// The benchmark of many nodes as a program: a small run measures everything and leaves nothing behind, however it ends.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "../bench/syscom/Histogram.h"
#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "ProcessTable.h"

namespace {

using syscombench::Histogram;

// How often `part` is in `text`.
size_t countOf(const std::string &part, const std::string &text) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

class SyscomBench : public testing::Test {
 protected:
  SyscomBench() {
    adoptOrphans();
  }
  ~SyscomBench() override {
    EXPECT_TRUE(std::filesystem::is_empty(directory_.path())) << "files are left";
    // A guard ends when it has seen its daemon end.
    EXPECT_NO_THROW(waitForNoDescendants()) << "processes are left";
    killDescendants();
  }

  ProcessStart start(const std::vector<std::string> &arguments) const {
    ProcessStart start;
    start.arguments = {ORV_SYSCOM_BENCH};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"TMPDIR=" + directory_.path()};
    return start;
  }
  CommandResult run(const std::vector<std::string> &arguments, int exitCode) const {
    const CommandResult result = runCommand(start(arguments));
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << textOf(result.errors);
    return result;
  }
  static std::string textOf(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines)
      text += line + "\n";
    return text;
  }

  const FreshDirectory directory_;
};

TEST_F(SyscomBench, SmallRunMeasuresEverythingAndLosesNothing) {
  const std::string text = textOf(run({"--nodes", "3", "--seconds", "0.1", "--json"}, 0).output);
  for (const char *name : {"between nodes, one pair", "between nodes, all 3 at once",
                           "bare ZeroMQ PUSH/PULL over loopback", "within a node, one pair", "bare Unix socket pair"}) {
    EXPECT_EQ(countOf(std::string("\"name\":\"") + name + "\"", text), 1U) << name;
  }
  EXPECT_EQ(countOf("\"lost\":0}", text), 10U) << text;
  EXPECT_EQ(countOf("\"p50Ns\":", text), 10U) << text;
  EXPECT_EQ(countOf("\"p50Ns\":0,", text), 0U) << text;
  EXPECT_EQ(countOf("\"messages\":0,", text), 0U) << text;
  EXPECT_EQ(countOf("\"endedBadly\":0,", text), 1U) << text;
}

TEST_F(SyscomBench, TableHasARowForEachMeasurement) {
  const std::string text = textOf(run({"--nodes", "2", "--seconds", "0.05", "--payload", "16"}, 0).output);
  EXPECT_EQ(countOf("2 nodes, up after ", text), 1U) << text;
  for (const char *name : {"\nbetween nodes, one pair  ", "\nbetween nodes, all 2 at once  ",
                           "\nbare ZeroMQ PUSH/PULL ", "\nwithin a node, one pair  ", "\nbare Unix socket pair  "}) {
    EXPECT_EQ(countOf(name, text), 1U) << text;
  }
}

TEST_F(SyscomBench, InterruptedRunLeavesNothing) {
  DaemonProcess bench(start({"--nodes", "3", "--seconds", "3600"}));
  bench.waitForErrorLine("SyscomBench: between nodes, one pair");
  bench.signal(SIGINT);
  const int waitStatus = bench.waitForExit();
  ASSERT_TRUE(WIFEXITED(waitStatus));
  EXPECT_EQ(WEXITSTATUS(waitStatus), 3);
  EXPECT_EQ(bench.errorLines().back(), "SyscomBench: interrupted");
}

TEST_F(SyscomBench, NodeThatDoesNotComeUpEndsTheRun) {
  const CommandResult result = run({"--nodes", "2", "--daemon", "/bin/false"}, 3);
  ASSERT_FALSE(result.errors.empty());
  EXPECT_TRUE(result.errors[0].starts_with("SyscomBench: node 0 has not come up")) << textOf(result.errors);
}

TEST_F(SyscomBench, BadUseIsRefused) {
  for (const char *nodes : {"1", "100", "x"})
    run({"--nodes", nodes}, 2);
  run({"--payload", "15"}, 2);
  run({"--payload", "65521"}, 2);
  run({"--seconds", "0"}, 2);
}

TEST(Histogram, QuantileIsTheUpperEndOfItsClass) {
  Histogram histogram;
  EXPECT_EQ(histogram.quantile(0.5), 0U);
  for (uint64_t ns = 1; ns <= 100; ++ns)
    histogram.add(ns * 1000);
  EXPECT_EQ(histogram.count(), 100U);
  for (const double fraction : {0.01, 0.5, 0.99, 1.0}) {
    const double exact = fraction * 100 * 1000;
    const auto found = static_cast<double>(histogram.quantile(fraction));
    EXPECT_GE(found, exact) << fraction;
    EXPECT_LE(found, exact * 33 / 32) << fraction;
  }
}

TEST(Histogram, EveryDurationHasAClass) {
  for (const uint64_t ns :
       {uint64_t{0}, uint64_t{1}, uint64_t{31}, uint64_t{32}, uint64_t{63}, uint64_t{64}, UINT64_MAX / 2, UINT64_MAX}) {
    Histogram histogram;
    histogram.add(ns);
    EXPECT_GE(histogram.quantile(1), ns);
    EXPECT_LE(histogram.quantile(1) - ns, ns / 32) << ns;
  }
}

TEST(Histogram, SumIsThatOfBoth) {
  Histogram one;
  Histogram other;
  one.add(10);
  other.add(20);
  other.add(20);
  one.add(other);
  EXPECT_EQ(one.count(), 3U);
  EXPECT_EQ(one.quantile(1), 20U);
}

}  // namespace
