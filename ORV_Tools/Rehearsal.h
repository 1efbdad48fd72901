// orvctl rehearse: what would happen on the board, from a scenario or from an application definition file, before there
// is a board. The daemon's own executable runs on the simulated platform in virtual time.
#ifndef ORV_TOOLS_REHEARSAL_H
#define ORV_TOOLS_REHEARSAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "DefinitionScenario.h"

namespace orv::rehearsal {

// Exit codes. That of bad use differs from that of the other commands, whose 2 would read as a board reset.
constexpr int EXIT_WHOLE = 0;
constexpr int EXIT_FAILURES = 1;
constexpr int EXIT_RESET = 2;
constexpr int EXIT_BAD_USE = 64;

// How the daemon is started where nobody says how: without any option it would print its usage and end.
constexpr const char *DEFAULT_ARGUMENT = "--startup=nid=0x1011";

struct Arguments {
  std::string scenarioFile;  // this or the next, not both
  std::string definitionFile;
  Faults faults;
  std::string writeTo;  // the scenario is written there and nothing is run; empty: it is run
  std::string executable;
  std::optional<uint64_t> seed;
  bool trace = false;
  bool json = false;
  std::optional<std::vector<std::string>> daemonArguments;
};

// Returns the exit code. What goes to standard output is appended to `output`.
int rehearse(const Arguments &arguments, std::string &output);

}  // namespace orv::rehearsal

#endif
