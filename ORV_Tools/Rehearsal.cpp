#include "Rehearsal.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "Commands.h"
#include "RegularFile.h"
#include "ScenarioFile.h"
#include "ScenarioText.h"
#include "SimulatedDaemon.h"
#include "Timeline.h"
#include "TimelineJson.h"
#include "TimelineText.h"

namespace orv::rehearsal {
namespace {

int refuse(const std::string &problem) {
  complain(problem);
  return EXIT_BAD_USE;
}

int fail(const std::string &problem) {
  complain(problem);
  return EXIT_FAILED;
}

// The scenario to rehearse; nothing, and the reason in `problem`, where there is none.
std::optional<sim::Scenario> scenarioOf(const Arguments &arguments, std::string &problem) {
  if (arguments.definitionFile.empty()) {
    sim::ScenarioError error;
    std::optional<sim::Scenario> read = sim::readScenario(arguments.scenarioFile, error);
    if (!read) problem = error.text();
    return read;
  }
  std::string definitions;
  if (const Status read = readRegularFile(arguments.definitionFile, sim::MAX_SCENARIO_FILE_BYTES, definitions);
      !read.ok()) {
    problem = read.message;
    return std::nullopt;
  }
  sim::Scenario scenario;
  if (!makeScenario(definitions, arguments.definitionFile, arguments.faults, scenario, problem)) return std::nullopt;
  return scenario;
}

int writeScenario(const sim::Scenario &scenario, const std::string &fileName, std::string &output) {
  const std::string text = sim::toToml(scenario);
  if (fileName == "-") {
    output += text;
    return EXIT_WHOLE;
  }
  errno = 0;
  std::ofstream file(fileName, std::ios::binary | std::ios::trunc);
  file << text << std::flush;
  if (file) return EXIT_WHOLE;
  return fail("cannot write the scenario to " + fileName + ": " + std::generic_category().message(errno));
}

bool terminalHasColours() {
  const char *const terminal = std::getenv("TERM");
  const char *const noColour = std::getenv("NO_COLOR");
  const bool isDumb = terminal == nullptr || std::string(terminal) == "dumb";
  return isatty(STDOUT_FILENO) == 1 && !isDumb && (noColour == nullptr || *noColour == '\0');
}

int exitCode(Verdict verdict) {
  switch (verdict) {
    case Verdict::WHOLE:
      return EXIT_WHOLE;
    case Verdict::FAILURES:
      return EXIT_FAILURES;
    case Verdict::RESET:
      return EXIT_RESET;
  }
  return EXIT_FAILED;
}

}  // namespace

int rehearse(const Arguments &arguments, std::string &output) {
  if (arguments.scenarioFile.empty() == arguments.definitionFile.empty()) {
    return refuse(std::string(arguments.scenarioFile.empty() ? "nothing" : "two things") +
                  " to rehearse: name a scenario file, or a definition file with --definitions (see orvctl rehearse "
                  "--help)");
  }
  std::string problem;
  std::optional<sim::Scenario> scenario = scenarioOf(arguments, problem);
  if (!scenario) return refuse(problem);
  if (arguments.seed) scenario->seed = *arguments.seed;
  if (!arguments.writeTo.empty()) return writeScenario(*scenario, arguments.writeTo, output);

  SimulatedDaemon daemon;
  daemon.executable = arguments.executable;
  daemon.arguments = arguments.daemonArguments.value_or(std::vector<std::string>{DEFAULT_ARGUMENT});
  daemon.scenarioFile = arguments.scenarioFile;
  if (arguments.scenarioFile.empty()) daemon.scenarioText = sim::toToml(*scenario);
  daemon.seed = arguments.seed;
  std::string trace;
  if (const Status run = runSimulated(daemon, trace); !run.ok()) return fail(run.message);

  const std::optional<Timeline> timeline = timelineOf(trace, problem);
  if (!timeline) return fail("the rehearsal cannot be told: " + problem);
  if (arguments.trace) {
    output += trace;
  } else if (arguments.json) {
    output += timelineJson(*timeline, scenario->name, scenario->seed);
  } else {
    output += timelineText(*timeline, scenario->name, terminalHasColours());
  }
  return exitCode(timeline->verdict);
}

}  // namespace orv::rehearsal
