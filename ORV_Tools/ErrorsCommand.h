// orvctl errors: what the node and its programs have raised.
#ifndef ORV_TOOLS_ERRORSCOMMAND_H
#define ORV_TOOLS_ERRORSCOMMAND_H

#include <optional>
#include <string>

#include "Commands.h"
#include "LogCommand.h"

namespace CLI {
class App;
}

namespace orv {

struct ErrorsArguments {
  std::optional<LogSince> since;
  bool json = false;
};

void addErrorsOptions(CLI::App &command, ErrorsArguments &options);

// The same form as in Commands.h.
int errors(const Arguments &arguments, const ErrorsArguments &options, std::string &output);

}  // namespace orv

#endif
