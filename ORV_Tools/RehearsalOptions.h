// The command line of orvctl rehearse.
#ifndef ORV_TOOLS_REHEARSALOPTIONS_H
#define ORV_TOOLS_REHEARSALOPTIONS_H

#include <string>
#include <vector>

#include "Rehearsal.h"

namespace CLI {
class App;
}

namespace orv::rehearsal {

// Adds the options to `command`; what they say goes to `arguments`.
void addOptions(CLI::App &command, Arguments &arguments);

// Takes "--" and all behind it off `words`: the arguments of the daemon.
void takeDaemonArguments(std::vector<std::string> &words, Arguments &arguments);

}  // namespace orv::rehearsal

#endif
