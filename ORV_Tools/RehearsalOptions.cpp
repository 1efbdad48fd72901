#include "RehearsalOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace orv::rehearsal {
namespace {

constexpr const char *FOOTER =
    "The daemon's arguments go after --; where there is no --, it is started with --startup=nid=0x1011.\n"
    "A time is in seconds (2.5), or with its unit (250ms, 2min).\n"
    "docs/rehearsal.md shows rehearsals and describes the JSON.\n"
    "\n"
    "Exit codes:\n"
    "  0  the node comes up whole\n"
    "  1  it comes up with failures, or not at all\n"
    "  2  the board is reset\n"
    "  3  the rehearsal failed: no daemon, no simulated platform, nothing could be written\n"
    "  64 the command makes no sense, or the scenario or definition file cannot be read";

bool takeSeed(const std::string &text, std::optional<uint64_t> &seed) {
  const bool isHexadecimal = text.starts_with("0x");
  const char *const begin = text.data() + (isHexadecimal ? 2 : 0);
  const char *const end = text.data() + text.size();
  uint64_t number = 0;
  const auto [last, error] = std::from_chars(begin, end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || last != end) return false;
  seed = number;
  return true;
}

// An option that may be given any number of times.
void addRepeated(CLI::App &command, const std::string &name, const std::string &type, const std::string &description,
                 std::vector<std::string> &values, CLI::Option *needed) {
  command.add_option(name, values, description)->allow_extra_args(false)->type_name(type)->needs(needed);
}

}  // namespace

void addOptions(CLI::App &command, Arguments &arguments) {
  command.footer(FOOTER);
  command.add_option("SCENARIO", arguments.scenarioFile, "Scenario file")->type_name("");
  CLI::Option *definitions =
      command.add_option("--definitions", arguments.definitionFile,
                         "Make the scenario of this application definition file: every application comes online");
  definitions->type_name("FILE");

  Faults &faults = arguments.faults;
  addRepeated(command, "--fail", "NAME", "Application NAME cannot be started", faults.fail, definitions);
  addRepeated(command, "--late", "NAME=TIME", "It comes online that late; \"never\": not at all", faults.late,
              definitions);
  addRepeated(command, "--crash", "NAME=TIME", "It ends with exit code 1 after that time", faults.crash, definitions);
  command.add_flag("--watchdog", faults.watchdog, "The watchdog is enabled: the board can be reset")
      ->needs(definitions);
  command
      .add_option("--write-scenario", arguments.writeTo,
                  "Write the scenario there (-: standard output) and run nothing")
      ->type_name("FILE")
      ->needs(definitions);

  command
      .add_option_function<std::string>(
          "--seed",
          [&arguments](const std::string &text) {
            if (!takeSeed(text, arguments.seed)) {
              throw CLI::ValidationError("--seed", "\"" + text + "\" is not a number from 0 to 18446744073709551615");
            }
          },
          "0: execution units take turns in order; else at random, from this seed")
      ->type_name("NUMBER");
  command.add_option("--daemon", arguments.executable, "The daemon's executable (else ORVDaemonExe beside orvctl)")
      ->type_name("FILE");
  CLI::Option *trace = command.add_flag("--trace", arguments.trace, "Print every call of the platform instead");
  command.add_flag("--json", arguments.json, "Print JSON instead")->excludes(trace);
}

void takeDaemonArguments(std::vector<std::string> &words, Arguments &arguments) {
  const auto separator = std::find(words.begin(), words.end(), "--");
  if (separator == words.end()) return;
  arguments.daemonArguments.emplace(separator + 1, words.end());
  words.erase(separator, words.end());
}

}  // namespace orv::rehearsal
