#include "StartupCommands.h"

#include <CLI/CLI.hpp>

#include "Blame.h"
#include "Clock.h"
#include "Comparison.h"
#include "ComparisonSvg.h"
#include "ParsedOption.h"
#include "ReplaceFile.h"
#include "StartupSources.h"
#include "StartupSvg.h"
#include "StartupText.h"
#include "StartupView.h"
#include "Terminal.h"
#include "TimeAxis.h"

namespace orv {
namespace {

// For who looks at it and for a web server: there is nothing secret in a start-up.
constexpr mode_t FILE_MODE = 0644;

std::optional<StartupModel> startupAskedFor(const Arguments &arguments, const StartupArguments &startup,
                                            int &exitCode) {
  if (!startup.from.empty()) return startupOfFile(startup.from, exitCode);
  return startupOfNode(arguments, startup.run, exitCode);
}

// To the file that is asked for, else to standard output.
int deliver(const std::string &text, const StartupArguments &startup, std::string &output) {
  if (startup.output.empty()) {
    output += text;
    return EXIT_DONE;
  }
  const Status written = replaceFile(startup.output, FILE_MODE, text);
  if (written.ok()) return EXIT_DONE;
  complain(written.message);
  return EXIT_FAILED;
}

// A picture is nothing to read in a terminal.
bool showsText(const StartupArguments &startup) {
  return startup.text || (startup.output.empty() && outputIsTerminal());
}

// Whole start-ups alone can be compared: of another one nobody knows what it would have come to.
bool isComparable(const ComparedRun &run, int &exitCode) {
  if (run.model.state == StartupState::COMPLETE && !run.model.beginningIsLost) return true;
  exitCode = run.isNew ? EXIT_NO : EXIT_USAGE;
  complain(run.name + " cannot be compared: " +
           (run.model.beginningIsLost ? "the node no longer keeps how it began" : startupStateText(run.model)));
  return false;
}

// Those of `names` behind `runs`. False after having said why not.
bool addRuns(const Arguments &arguments, const std::vector<std::string> &names, bool areNew,
             std::vector<ComparedRun> &runs, int &exitCode) {
  for (const std::string &name : names) {
    std::optional<StartupModel> model = startupNamed(arguments, name, exitCode);
    if (!model) return false;
    runs.push_back({(parseRunNumber(name) ? "run " : "") + name, areNew, std::move(*model)});
    if (!isComparable(runs.back(), exitCode)) return false;
  }
  return true;
}

// Without `against` the last of `names` is the new one. Nothing after having said why not.
std::optional<Comparison> comparisonOf(const Arguments &arguments, const StartupArguments &startup,
                                       std::vector<std::string> names, int &exitCode) {
  std::vector<std::string> against = startup.against;
  if (against.empty() && !names.empty()) {
    against.push_back(names.back());
    names.pop_back();
  }
  if (names.empty()) {
    complain("there is nothing to compare with: name two runs at least");
    exitCode = EXIT_USAGE;
    return std::nullopt;
  }
  std::vector<ComparedRun> runs;
  if (!addRuns(arguments, names, false, runs, exitCode)) return std::nullopt;
  if (!addRuns(arguments, against, true, runs, exitCode)) return std::nullopt;
  ComparisonLimits limits;
  limits.percent = startup.limitPercent;
  limits.floorNs = startup.floorMs ? static_cast<uint64_t>(*startup.floorMs * NS_PER_MS) : defaultFloorNs();
  return compareStartups(std::move(runs), limits);
}

int chartComparison(const Arguments &arguments, const StartupArguments &startup, std::string &output) {
  int exitCode = EXIT_DONE;
  const std::optional<Comparison> comparison = comparisonOf(arguments, startup, startup.compared, exitCode);
  if (!comparison) return exitCode;
  if (startup.json) return deliver(comparisonJson(*comparison), startup, output);
  if (showsText(startup)) return deliver(comparisonText(*comparison), startup, output);
  return deliver(comparisonSvg(*comparison), startup, output);
}

int compare(const Arguments &arguments, const StartupArguments &startup, std::string &output) {
  int exitCode = EXIT_DONE;
  const std::optional<Comparison> comparison = comparisonOf(arguments, startup, startup.runs, exitCode);
  if (!comparison) return exitCode;
  output += startup.json ? comparisonJson(*comparison) : comparisonText(*comparison);
  return startup.limitPercent && slowerRows(*comparison) != 0 ? EXIT_NO : EXIT_DONE;
}

int chart(const Arguments &arguments, const StartupArguments &startup, std::string &output) {
  if (!startup.compared.empty()) return chartComparison(arguments, startup, output);
  int exitCode = EXIT_DONE;
  const std::optional<StartupModel> model = startupAskedFor(arguments, startup, exitCode);
  if (!model) return exitCode;
  if (startup.json) return deliver(startupJson(*model), startup, output);
  if (showsText(startup)) return deliver(startupChartText(*model, terminalColumns()), startup, output);
  return deliver(startupSvg(*model), startup, output);
}

int blame(const Arguments &arguments, const StartupArguments &startup, std::string &output) {
  int exitCode = EXIT_DONE;
  const std::optional<StartupModel> model = startupAskedFor(arguments, startup, exitCode);
  if (!model) return exitCode;
  output += startup.json ? blameJson(*model) : blameText(*model);
  return EXIT_DONE;
}

void addSourceOptions(CLI::App &command, StartupArguments &startup, CLI::Option *other = nullptr) {
  CLI::Option *run =
      addParsedValue(command, "--run", "The run of that number (else the latest); older ones go as their events do",
                     "the number of a run", startup.run, parseRunNumber)
          ->type_name("N");
  CLI::Option *from = command.add_option("--from", startup.from, "A file of orvctl chart --json instead of a node")
                          ->type_name("FILE")
                          ->excludes(run);
  if (other != nullptr) other->excludes(run)->excludes(from);
}

// A number from 0 on; a limit without end limits nothing.
void addAmount(CLI::App &command, const std::string &name, const std::string &description, const char *typeName,
               std::optional<double> &amount) {
  const auto parse = [](const std::string &text) {
    constexpr double MOST = 1e9;
    const std::optional<double> number = parseSeconds(text);
    return number && *number <= MOST ? number : std::nullopt;
  };
  addParsedValue(command, name, description, "a number from 0 to 1000000000", amount, parse)->type_name(typeName);
}

void addCompareOptions(CLI::App &command, StartupArguments &startup) {
  command
      .add_option("RUN", startup.runs,
                  "Numbers of the node's runs, or files of orvctl chart --json; the last one is the new one")
      ->required()
      ->type_name("");
  command.add_option("--against", startup.against, "The new ones instead: all of RUN are the base then")
      ->type_name("RUN");
  addAmount(command, "--limit", "Exit with 1 where something holds the start-up up for so much longer", "PERCENT",
            startup.limitPercent);
  addAmount(
      command, "--floor",
      "What is no more than so much longer is no change (else " + std::to_string(defaultFloorNs() / NS_PER_MS) + ")",
      "MS", startup.floorMs);
  command.add_flag("--json", startup.json, "For programs");
  command.footer(
      "Compared are the times for which the start-up stood still for each program, for the daemon itself, and in all:\n"
      "the median of the base with the median of the new ones.");
}

}  // namespace

void addStartupCommands(StartupArguments &startup, const AddStartupCommand &addCommand) {
  CLI::App *chartCommand =
      addCommand("chart", "The start-up of the node as a picture: who held whom up",
                 [&startup](const auto &arguments, auto &output) { return chart(arguments, startup, output); });
  CLI::Option *compared =
      chartCommand->add_option("--compare", startup.compared, "Several start-ups instead, as orvctl compare takes them")
          ->type_name("RUN");
  addSourceOptions(*chartCommand, startup, compared);
  chartCommand->add_option("-o,--output", startup.output, "Write to this file, replaced as a whole")->type_name("FILE");
  CLI::Option *text =
      chartCommand->add_flag("--text", startup.text, "As characters, which a terminal gets anyway, and not as SVG");
  chartCommand->add_flag("--json", startup.json, "As JSON: what --from, blame and compare read")->excludes(text);

  CLI::App *blameCommand =
      addCommand("blame", "Who held the start-up up, longest first",
                 [&startup](const auto &arguments, auto &output) { return blame(arguments, startup, output); });
  addSourceOptions(*blameCommand, startup);
  blameCommand->add_flag("--json", startup.json, "For programs");

  addCompareOptions(
      *addCommand("compare", "Several start-ups side by side, and what got slower",
                  [&startup](const auto &arguments, auto &output) { return compare(arguments, startup, output); }),
      startup);
}

}  // namespace orv
