// The simulation as a library: it begins when the daemon's executable loads it and ends the process with the boot.
//
// The environment says what to simulate: ORV_SIM_SCENARIO names the scenario file (none: an empty scenario),
// ORV_SIM_SEED overrides its seed, ORV_SIM_TRACE names the file that the trace is written to, and ORV_SIM_QUIET=1 keeps
// the daemon's console lines out of its standard streams (they are in the trace in any case).
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ScenarioFile.h"
#include "Simulation.h"

namespace orv::sim {
namespace {

constexpr int BAD_SCENARIO = 2;

// The streams are not redirected yet, or no longer; the C library's own are not set up for every caller of this.
[[noreturn]] void refuse(const std::string &reason) {
  const std::string line = "simulated platform: " + reason + "\n";
  if (write(STDERR_FILENO, line.data(), line.size()) < 0) _exit(BAD_SCENARIO + 1);
  _exit(BAD_SCENARIO);
}

std::string variable(const char *name) {
  const char *value = std::getenv(name);
  return value == nullptr ? "" : value;
}

uint64_t seedFrom(const std::string &text) {
  char *end = nullptr;
  errno = 0;
  const uint64_t seed = std::strtoull(text.c_str(), &end, 0);
  if (errno != 0 || end == text.c_str() || *end != '\0' || text[0] == '-') {
    refuse("ORV_SIM_SEED is \"" + text + "\", which is no number from 0 to 18446744073709551615");
  }
  return seed;
}

void writeTrace(const std::string &fileName) {
  if (fileName.empty()) return;
  FILE *file = std::fopen(fileName.c_str(), "we");
  if (file == nullptr) refuse("cannot write the trace to " + fileName + ": " + std::strerror(errno));
  const std::string text = Simulation::instance().trace().text();
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  if (std::fclose(file) != 0 || !written) refuse("cannot write the whole trace to " + fileName);
}

__attribute__((constructor)) void beginSimulation() {
  // Never destroyed: needed until the process is gone.
  static auto &scenario = *new Scenario;
  static auto &traceFile = *new std::string;
  if (const std::string fileName = variable("ORV_SIM_SCENARIO"); !fileName.empty()) {
    ScenarioError error;
    std::optional<Scenario> read = readScenario(fileName, error);
    if (!read) refuse(error.text());
    scenario = *read;
  }
  if (const std::string seed = variable("ORV_SIM_SEED"); !seed.empty()) scenario.seed = seedFrom(seed);
  traceFile = variable("ORV_SIM_TRACE");
  // What the simulation was told is not part of the node's environment.
  for (const char *name : {"ORV_SIM_SCENARIO", "ORV_SIM_SEED", "ORV_SIM_TRACE"})
    unsetenv(name);
  const bool quiet = variable("ORV_SIM_QUIET") == "1";
  unsetenv("ORV_SIM_QUIET");
  Simulation::instance().beginProcess(scenario, !quiet, [](const Outcome &) { writeTrace(traceFile); });
}

}  // namespace
}  // namespace orv::sim
