// orvctl status: what the node is doing, once or for as long as somebody looks.
#ifndef ORV_TOOLS_STATUSCOMMAND_H
#define ORV_TOOLS_STATUSCOMMAND_H

#include <string>

#include "Commands.h"

namespace CLI {
class App;
}

namespace orv {

struct StatusArguments {
  bool watch = false;
  bool json = false;
};

void addStatusOptions(CLI::App &command, StatusArguments &options);

// The same form as in Commands.h. What is watched is written at once: on a terminal in place, a line a second; into a
// pipe or a file a block, or with `json` a line, whenever something has changed. It ends by SIGINT or SIGTERM, on a
// terminal also by the key q, and waits for a node that is not there yet.
int status(const Arguments &arguments, const StatusArguments &options, std::string &output);

}  // namespace orv

#endif
