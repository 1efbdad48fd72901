// One command's run: what is logged about its start and its end, and what counts as a success.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "Executables.h"
#include "ExpectedTrace.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;

struct CommandRun {
  int result = -1;
  TraceLines trace;
};

CommandRun run(const Scenario &scenario, const std::string &path = "/opt/x", const std::string &args = "-a -b",
               uint32_t supervisionFlags = 2) {
  CommandRun outcome;
  outcome.trace = simulate(scenario, [&] { outcome.result = exeRun(CONTEXT, path, args, supervisionFlags); }).trace;
  return outcome;
}

// The program runs for 10 ms and then ends with this status, its command with this result.
Scenario ending(int32_t waitStatus, int32_t result) {
  ProgramBehaviour program;
  program.path = "/opt/x";
  program.runsForMs = 10;
  program.waitStatus = waitStatus;
  program.result = result;
  Scenario scenario;
  scenario.programs = {program};
  return scenario;
}

constexpr const char *START = R"(
    0.000 main AaProEuCurrent() = 0
    0.000 main Info: exeRun: executable '/opt/x'(-a -b) starting under sentinel EU 0 with supervision flags 0x2
    )";
constexpr const char *RUNS = R"(0.000 main AaProCmdExec("/opt/x", "-a -b", 0x2)
    )";

}  // namespace

TEST(ExeRunConformance, WaitStatusTellsHowTheProgramEnded) {
  const struct {
    int32_t waitStatus;
    const char *ends;  // as the simulated node calls it
    int result;
    const char *line;
  } cases[] = {
      {0, "exit code 0", 1, "Info: exeRun: executable '/opt/x' terminated successfully"},
      {256, "exit code 1", 0, "Error: exeRun: executable '/opt/x' failed with status 1"},
      {512, "exit code 2", 0, "Error: exeRun: executable '/opt/x' failed with status 2"},
      {127 << 8, "exit code 127", 0, "Error: exeRun: executable '/opt/x' failed with status 127"},
      {128 << 8, "exit code 128", 0, "Error: exeRun: executable '/opt/x' failed with status 128"},
      {255 << 8, "exit code 255", 0, "Error: exeRun: executable '/opt/x' failed with status 255"},
      // Only bits 8 to 15 are the exit code, and only the low seven the signal.
      {0x80, "exit code 0", 1, "Info: exeRun: executable '/opt/x' terminated successfully"},
      {0x10000, "exit code 0", 1, "Info: exeRun: executable '/opt/x' terminated successfully"},
      {0x10300, "exit code 3", 0, "Error: exeRun: executable '/opt/x' failed with status 3"},
      {-256, "exit code 255", 0, "Error: exeRun: executable '/opt/x' failed with status 255"},
      {1, "signal 1", 0, "Error: exeRun: executable '/opt/x' exited due to signal 1"},
      {9, "signal 9", 0, "Error: exeRun: executable '/opt/x' exited due to signal 9"},
      {11 | 0x80, "signal 11", 0, "Error: exeRun: executable '/opt/x' exited due to signal 11"},
      {15, "signal 15", 0, "Error: exeRun: executable '/opt/x' exited due to signal 15"},
      {64, "signal 64", 0, "Error: exeRun: executable '/opt/x' exited due to signal 64"},
      {0x7e, "signal 126", 0, "Error: exeRun: executable '/opt/x' exited due to signal 126"},
      {9 | 3 << 8, "signal 9", 0, "Error: exeRun: executable '/opt/x' exited due to signal 9"},
      {0x7f, "stopped by signal 0", 0, "Error: exeRun: executable '/opt/x' exited abnormally"},
      {4991, "stopped by signal 19", 0, "Error: exeRun: executable '/opt/x' exited abnormally"},
      {0xff, "stopped by signal 0", 0, "Error: exeRun: executable '/opt/x' exited abnormally"},
      {0xffff, "stopped by signal 255", 0, "Error: exeRun: executable '/opt/x' exited abnormally"},
      {-1, "stopped by signal 255", 0, "Error: exeRun: executable '/opt/x' exited abnormally"},
  };
  // Both results mean that the program ran.
  for (const int32_t result : {0, 5}) {
    for (const auto &row : cases) {
      SCOPED_TRACE(row.waitStatus);
      SCOPED_TRACE(result);
      const CommandRun outcome = run(ending(row.waitStatus, result));
      EXPECT_EQ(outcome.result, row.result);
      const std::string status = std::to_string(result) + ", status " + std::to_string(row.waitStatus);
      EXPECT_TRUE(isTrace(outcome.trace, std::string(START) + RUNS + "0.010 node program \"/opt/x\" under EU 0 ends: " +
                                             row.ends + "\n0.010 main AaProCmdExec(\"/opt/x\") = " + status +
                                             "\n0.010 main " + row.line + "\n0.010 node end: exit status 0"));
    }
  }
}

TEST(ExeRunConformance, AnyOtherResultIsAFailedLaunchWhateverTheStatus) {
  for (const int32_t result : {1, 2, 4, 6, -1, -5, 127, 256, INT32_MAX, INT32_MIN}) {
    const std::string number = std::to_string(result);
    SCOPED_TRACE(number);
    const std::string line = "main Error: exeRun: executable '/opt/x' launch failed with status " + number + "\n";
    Scenario refused;
    refused.calls = {{"AaProCmdExec", 0, "/opt/x", result}};
    const CommandRun outcome = run(refused);
    EXPECT_EQ(outcome.result, 0);
    EXPECT_TRUE(isTrace(outcome.trace, START + ("0.000 main AaProCmdExec(\"/opt/x\", \"-a -b\", 0x2) = " + number) +
                                           "\n0.000 " + line + "0.000 node end: exit status 0"));
    for (const int32_t waitStatus : {0, 256, 9}) {
      const CommandRun ended = run(ending(waitStatus, result));
      EXPECT_EQ(ended.result, 0);
      EXPECT_TRUE(isTrace(linesWith(ended.trace, "exeRun: executable '/opt/x' "), "0.010 " + line));
    }
  }
}

TEST(ExeRunConformance, StatusThatIsNotWrittenCountsAsExitCodeZero) {
  for (const int32_t result : {0, 5}) {
    SCOPED_TRACE(result);
    Scenario scenario = ending(256, result);
    scenario.programs[0].waitStatusWritten = false;
    const CommandRun outcome = run(scenario);
    EXPECT_EQ(outcome.result, 1);
    EXPECT_TRUE(isTrace(linesOf(outcome.trace, "main"),
                        std::string(START) + RUNS + "0.010 main AaProCmdExec(\"/opt/x\") = " + std::to_string(result) +
                            ", status 0\n0.010 main Info: exeRun: executable '/opt/x' terminated successfully"));
    Scenario answered;
    answered.calls = {{"AaProCmdExec", 0, "/opt/x", result}};
    EXPECT_EQ(run(answered).result, 1);
  }
}

TEST(ExeRunConformance, StartLineShowsUnitAndFlagsInHexadecimal) {
  const struct {
    uint32_t unit;
    const char *unitText;
    uint32_t flags;
    const char *flagsText;
    const char *flagsPassed;
  } cases[] = {
      {0, "0", 0, "0", "0x0"},
      {1, "0x1", 1, "0x1", "0x1"},
      {2, "0x2", 0, "0", "0x0"},
      {0, "0", 3, "0x3", "0x3"},
      {31, "0x1f", 10, "0xa", "0xa"},
      {0xabcdef01, "0xabcdef01", 0xffffffff, "0xffffffff", "0xffffffff"},
      {100, "0x64", 0x80000000, "0x80000000", "0x80000000"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.unitText);
    Scenario scenario = ending(0, 0);
    scenario.calls = {{"AaProEuCurrent", 0, {}, row.unit}};
    const CommandRun outcome = run(scenario, "/opt/x", "-q", row.flags);
    EXPECT_EQ(outcome.result, 1);
    std::string expected = "0.000 main AaProEuCurrent() = " + std::to_string(row.unit);
    expected += std::string("\n0.000 main Info: exeRun: executable '/opt/x'(-q) starting under sentinel EU ") +
                row.unitText + " with supervision flags " + row.flagsText;
    expected += std::string("\n0.000 main AaProCmdExec(\"/opt/x\", \"-q\", ") + row.flagsPassed + ")";
    expected += R"(
        0.010 main AaProCmdExec("/opt/x") = 0, status 0
        0.010 main Info: exeRun: executable '/opt/x' terminated successfully)";
    EXPECT_TRUE(isTrace(linesOf(outcome.trace, "main"), expected));
  }
}

TEST(ExeRunConformance, PathAndArgumentsArePassedOnAsTheyAre) {
  Scenario scenario;
  scenario.calls = {{"AaProCmdExec", 0, {}, 5}};
  const CommandRun outcome = run(scenario, "/opt/100% x", " \"-a\"  %s ", 0);
  EXPECT_EQ(outcome.result, 1);
  EXPECT_TRUE(isTrace(outcome.trace, R"(
      0.000 main AaProEuCurrent() = 0
      0.000 main Info: exeRun: executable '/opt/100% x'( "-a"  %s ) starting under sentinel EU 0 with supervision flags 0
      0.000 main AaProCmdExec("/opt/100% x", " \"-a\"  %s ", 0x0) = 5
      0.000 main Info: exeRun: executable '/opt/100% x' terminated successfully
      0.000 node end: exit status 0)"));
}

TEST(ExeRunConformance, EmptyArgumentsAreAnEmptyText) {
  EXPECT_TRUE(isTrace(linesWith(run(ending(0, 0), "/opt/x", "", 0).trace, "0.000 main"), R"(
      0.000 main AaProEuCurrent() = 0
      0.000 main Info: exeRun: executable '/opt/x'() starting under sentinel EU 0 with supervision flags 0
      0.000 main AaProCmdExec("/opt/x", "", 0x0))"));
}

TEST(ExeRunConformance, BlocksForAsLongAsTheProgramRuns) {
  Scenario scenario = ending(0, 0);
  scenario.programs[0].runsForMs = 86400007;
  EXPECT_TRUE(isTrace(run(scenario).trace, std::string(START) + RUNS + R"(
      86400.007 node program "/opt/x" under EU 0 ends: exit code 0
      86400.007 main AaProCmdExec("/opt/x") = 0, status 0
      86400.007 main Info: exeRun: executable '/opt/x' terminated successfully
      86400.007 node end: exit status 0)"));
}

// A program's outcome is not mixed up with the one of another that runs at the same time.
TEST(ExeRunConformance, RunsOfSeveralUnitsAreIndependent) {
  Scenario scenario;
  ProgramBehaviour program;
  program.path = "/opt/a";
  program.runsForMs = 30;
  program.waitStatus = 256;
  scenario.programs.push_back(program);
  program.path = "/opt/b";
  program.runsForMs = 20;
  program.waitStatus = 0;
  scenario.programs.push_back(program);
  program.path = "/opt/c";
  program.runsForMs = 10;
  program.waitStatus = 9;
  scenario.programs.push_back(program);
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/opt/a|/opt/b|/opt/c"});
  EXPECT_TRUE(isTrace(linesWith(result.trace, "exeRun: executable"), R"(
      0.000 2:/opt/a Info: exeRun: executable '/opt/a'() starting under sentinel EU 0x2 with supervision flags 0
      0.000 3:/opt/b Info: exeRun: executable '/opt/b'() starting under sentinel EU 0x3 with supervision flags 0
      0.000 4:/opt/c Info: exeRun: executable '/opt/c'() starting under sentinel EU 0x4 with supervision flags 0
      0.010 4:/opt/c Error: exeRun: executable '/opt/c' exited due to signal 9
      0.020 3:/opt/b Info: exeRun: executable '/opt/b' terminated successfully
      0.030 2:/opt/a Error: exeRun: executable '/opt/a' failed with status 1)"));
}
