// Boots the daemon in its own process and prints the trace: SimulatedTraces SCENARIO ARGUMENTS...
// What the daemon's executable writes on the simulated libraries has to be the same.
#include <cstdio>
#include <optional>

#include "ScenarioFile.h"
#include "SimulatedBoot.h"

int main(int argc, char **argv) {
  orv::sim::ScenarioError error;
  const std::optional<orv::sim::Scenario> scenario = orv::sim::readScenario(argc < 2 ? "" : argv[1], error);
  if (!scenario) {
    std::fprintf(stderr, "SimulatedTraces: %s\n", error.text().c_str());
    return 2;
  }
  const std::vector<std::string> arguments(argv + 2, argv + argc);
  for (const std::string &line : boot(*scenario, arguments).trace)
    std::printf("%s\n", line.c_str());
  return 0;
}
