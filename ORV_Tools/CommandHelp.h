// The end of each command's --help: an example, and the exit codes.
#ifndef ORV_TOOLS_COMMANDHELP_H
#define ORV_TOOLS_COMMANDHELP_H

namespace CLI {
class App;
}

namespace orv {

// Gives every command below `root` its example and, where its footer has none, its exit codes.
void completeHelp(CLI::App &root);

}  // namespace orv

#endif
