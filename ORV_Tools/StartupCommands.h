// orvctl chart, blame and compare: what became of the time of a start-up.
#ifndef ORV_TOOLS_STARTUPCOMMANDS_H
#define ORV_TOOLS_STARTUPCOMMANDS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"

namespace CLI {
class App;
}

namespace orv {

// What the arguments say; each command looks at its own.
struct StartupArguments {
  std::optional<uint64_t> run;
  std::string from;    // a file
  std::string output;  // a file; empty: standard output
  bool text = false;
  bool json = false;
  std::vector<std::string> compared;  // of chart
  std::vector<std::string> runs;      // of compare
  std::vector<std::string> against;
  std::optional<double> limitPercent;
  std::optional<double> floorMs;
};

using AddStartupCommand =
    std::function<CLI::App *(const std::string &name, const std::string &description,
                             const std::function<int(const Arguments &arguments, std::string &output)> &run)>;

// Adds the commands; what their options say goes to `startup`, which outlives them.
void addStartupCommands(StartupArguments &startup, const AddStartupCommand &addCommand);

}  // namespace orv

#endif
