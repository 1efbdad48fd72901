// The simulated platform as a user meets it: the daemon's own executable with the simulation's libraries.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "SimulationLibraries.h"

namespace {

using Lines = std::vector<std::string>;

class SimulatedPlatform : public testing::Test {
 protected:
  void SetUp() override {
    // Skipped under one sanitizer: see SimulationLibraries.h.
    if (!CAN_LOAD_SIMULATION) GTEST_SKIP() << CANNOT_LOAD_SIMULATION;
  }

  CommandResult run(const std::string &scenario, const Lines &arguments, const Lines &environment = {}) const {
    ProcessStart start;
    start.arguments = {ORV_DAEMON_EXE};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"LD_LIBRARY_PATH=" ORV_SIMULATED_DIR, "ORV_SIM_TRACE=" + directory.path("trace")};
    if (!scenario.empty()) start.environment.push_back("ORV_SIM_SCENARIO=" + scenario);
    start.environment.insert(start.environment.end(), environment.begin(), environment.end());
    return runCommand(start);
  }

  Lines trace() const {
    std::ifstream file(directory.path("trace"));
    Lines lines;
    for (std::string line; std::getline(file, line);)
      lines.push_back(line);
    return lines;
  }

  const FreshDirectory directory;
};

constexpr const char *TWO_APPLICATIONS = R"(
[[file]]
name = "/rom/AppDef.txt"
text = """
one;/opt/one;-x;0;3;one.online
two;/opt/two;;0;0;
"""
[[program]]
path = "/opt/one"
sets = [{ tag = "one.online", after = "1s" }]
[[program]]
path = "/opt/two"
runs_for = "5s"
exit = 1
)";

Lines inProcess(const std::string &scenario, const Lines &arguments) {
  ProcessStart start;
  start.arguments = {ORV_SIMULATED_TRACES, scenario};
  start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
  return runCommand(start).output;
}

}  // namespace

TEST_F(SimulatedPlatform, ExecutableAndBootInAProcessOfManyGiveOneTrace) {
  const Lines arguments = {"--startup=nid=0x1011,executable=/opt/x|/opt/y#y.online,notifreceiver=0x12340005", "-h"};
  for (const std::string seed : {"0", "1", "2"}) {
    const std::string scenario = directory.write("scenario.toml", "seed = " + seed + "\n" + TWO_APPLICATIONS);
    const CommandResult result = run(scenario, arguments);
    EXPECT_EQ(result.waitStatus, 0);
    const Lines lines = trace();
    EXPECT_GT(lines.size(), 9000U);
    EXPECT_EQ(lines, inProcess(scenario, arguments)) << "seed " << seed;
    run(scenario, arguments);
    EXPECT_EQ(trace(), lines) << "seed " << seed;
  }
}

TEST_F(SimulatedPlatform, SeedOfTheEnvironmentOverridesTheScenarios) {
  const std::string scenario = directory.write("scenario.toml", std::string("seed = 5\n") + TWO_APPLICATIONS);
  const Lines arguments = {"--startup=executable=/opt/x|/opt/y|/opt/z"};
  run(scenario, arguments);
  const Lines lines = trace();
  run(scenario, arguments, {"ORV_SIM_SEED=6"});
  EXPECT_NE(trace(), lines);
  run(scenario, arguments, {"ORV_SIM_SEED=5"});
  EXPECT_EQ(trace(), lines);
}

TEST_F(SimulatedPlatform, ConsoleLinesGoToTheStandardStreamsUnlessToldNot) {
  const CommandResult loud = run("", {"-h"});
  EXPECT_EQ(loud.errors.back(), "OrvDaemon: returned success");
  EXPECT_EQ(loud.output.at(0), "Usage: ORVDaemonExe [options]");
  const CommandResult quiet = run("", {"-h"}, {"ORV_SIM_QUIET=1"});
  EXPECT_EQ(quiet.errors, Lines());
  EXPECT_EQ(quiet.output, Lines());
  EXPECT_EQ(trace().back(), "0.000 node end: exit status 0");
}

TEST_F(SimulatedPlatform, ProcessEndsAsTheBootDoes) {
  struct Case {
    const char *scenario;
    Lines arguments;
    int waitStatus;
    const char *lastLine;
  };
  const std::string application = "[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"a;/a;;0;2;a.on\"\n";
  const Case cases[] = {
      {"", {"-v"}, 0, "240.000 node end: exit status 0"},
      {"", {}, 1 << 8, "0.000 node end: exit status 1"},
      {"end_signal = \"none\"", {"-v"}, 3 << 8, "240.000 node end: nothing can happen any more"},
      {"[[signal]]\nname = \"SIGTERM\"\nat = \"10s\"\n",
       {"--startup=executable=/x#on"},
       SIGTERM,
       "10.000 node end: killed by SIGTERM"},
      {"[tags]\n\"orv.service.aapro.watchdog_enabled\" = 1\n", {"-v"}, SIGKILL, "270.000 node end: board reset"},
  };
  for (const Case &each : cases) {
    const std::string scenario = directory.write("scenario.toml", std::string(each.scenario) + "\n" + application);
    EXPECT_EQ(run(scenario, each.arguments).waitStatus, each.waitStatus) << each.lastLine;
    ASSERT_FALSE(trace().empty());
    EXPECT_EQ(trace().back(), each.lastLine);
  }
}

TEST_F(SimulatedPlatform, BadScenarioOrSeedIsRefusedBeforeTheDaemonBegins) {
  const std::string scenario = directory.write("scenario.toml", "sed = 5\n");
  CommandResult result = run(scenario, {"-v"});
  EXPECT_EQ(result.waitStatus, 2 << 8);
  ASSERT_EQ(result.errors.size(), 1U);
  EXPECT_TRUE(result.errors[0].starts_with("simulated platform: " + scenario + ":1:1: ")) << result.errors[0];
  result = run(directory.path("absent.toml"), {"-v"});
  EXPECT_EQ(result.waitStatus, 2 << 8);
  EXPECT_EQ(result.errors.size(), 1U);
  for (const std::string seed : {"x", "-1", "1x", "99999999999999999999"}) {
    result = run("", {"-v"}, {"ORV_SIM_SEED=" + seed});
    EXPECT_EQ(result.waitStatus, 2 << 8);
    EXPECT_EQ(result.errors, Lines({"simulated platform: ORV_SIM_SEED is \"" + seed +
                                    "\", which is no number from 0 to 18446744073709551615"}));
  }
}

TEST_F(SimulatedPlatform, TraceThatCannotBeWrittenIsReported) {
  const CommandResult result = run("", {"-v"}, {"ORV_SIM_TRACE=/nowhere/trace"});
  EXPECT_EQ(result.waitStatus, 2 << 8);
  EXPECT_EQ(result.errors.back(),
            "simulated platform: cannot write the trace to /nowhere/trace: No such file or directory");
}
