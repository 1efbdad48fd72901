#include "StartupCommands.h"

#include <CLI/CLI.hpp>

#include "Blame.h"
#include "ReplaceFile.h"
#include "StartupSources.h"
#include "StartupSvg.h"
#include "StartupText.h"
#include "Terminal.h"

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

int chart(const Arguments &arguments, const StartupArguments &startup, std::string &output) {
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

void addSourceOptions(CLI::App &command, StartupArguments &startup) {
  CLI::Option *run = command
                         .add_option("--run", startup.run,
                                     "The run of that number (else the latest); older ones go as their events do")
                         ->type_name("N");
  command.add_option("--from", startup.from, "A file of orvctl chart --json instead of a node")
      ->type_name("FILE")
      ->excludes(run);
}

}  // namespace

void addStartupCommands(StartupArguments &startup, const AddStartupCommand &addCommand) {
  CLI::App *chartCommand =
      addCommand("chart", "The start-up of the node as a picture: who held whom up",
                 [&startup](const auto &arguments, auto &output) { return chart(arguments, startup, output); });
  addSourceOptions(*chartCommand, startup);
  chartCommand->add_option("-o,--output", startup.output, "Write to this file, replaced as a whole")->type_name("FILE");
  CLI::Option *text =
      chartCommand->add_flag("--text", startup.text, "As characters, which a terminal gets anyway, and not as SVG");
  chartCommand->add_flag("--json", startup.json, "As JSON: what --from, blame and compare read")->excludes(text);

  CLI::App *blameCommand =
      addCommand("blame", "Who held the start-up up, longest first",
                 [&startup](const auto &arguments, auto &output) { return blame(arguments, startup, output); });
  addSourceOptions(*blameCommand, startup);
  blameCommand->add_flag("--json", startup.json, "For programs");
}

}  // namespace orv
