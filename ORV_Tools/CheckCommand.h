// The command line of orvctl check.
#ifndef ORV_TOOLS_CHECKCOMMAND_H
#define ORV_TOOLS_CHECKCOMMAND_H

#include <string>

#include "Check.h"

namespace CLI {
class App;
}

namespace orv {

struct CheckArguments {
  CheckRequest request;
  CheckOptions options;
  bool strict = false;
  bool json = false;
};

// Adds the options to `command`; what they say goes to `arguments`.
void addCheckOptions(CLI::App &command, CheckArguments &arguments);

// Returns the exit code. What goes to standard output is appended to `output`.
int checkCommand(const CheckArguments &arguments, std::string &output);

}  // namespace orv

#endif
