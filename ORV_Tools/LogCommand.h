// orvctl log: the node's log from its store, the daemon being alive or dead, once or for as long as it goes on.
#ifndef ORV_TOOLS_LOGCOMMAND_H
#define ORV_TOOLS_LOGCOMMAND_H

#include <cstdint>
#include <optional>
#include <string>

#include "Commands.h"

namespace CLI {
class App;
}

namespace orv {

// From when on: so long ago, or a moment of CLOCK_REALTIME, in nanoseconds.
struct LogSince {
  bool isAge = false;
  uint64_t ns = 0;
};

struct LogArguments {
  std::optional<std::string> euName;
  std::string severity = "info";  // the least: info, warning or error
  std::optional<LogSince> since;
  std::optional<size_t> lines;  // the last so many; of a log that is followed, of what is there at the beginning
  bool follow = false;
  bool json = false;
};

// The same moment of CLOCK_MONOTONIC, by the clocks that lines are shown with: see realtimeOf.
uint64_t monotonicOf(const LogSince &since, const RunInfo &run);

// --since, the same for every command.
void addSinceOption(CLI::App &command, std::optional<LogSince> &since);

void addLogOptions(CLI::App &command, LogArguments &options);

// An EU that the store does not know is a no, with those that there are. A log that is followed is printed as it comes,
// until SIGINT or SIGTERM, and waits for a node and for an EU that are not there yet.
int log(const Arguments &arguments, const LogArguments &options, std::string &output);

}  // namespace orv

#endif
