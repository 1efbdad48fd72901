// Completion of a command line that somebody types: the shells ask the program itself (orvctl complete -- WORD...),
// which knows its commands and options and looks into the node for names. So no script of a shell can fall behind.
#ifndef ORV_TOOLS_COMPLETION_H
#define ORV_TOOLS_COMPLETION_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace orv::completion {

// The script of a shell: bash, zsh or fish.
std::string scriptOf(const std::string &shell);

// What could stand in the place of the last of `words`, of which there is at least one (it may be empty): a candidate a
// line, with a tab and what it is behind it where there is something to say; ":files" or ":dirs" alone where names of
// files or folders belong. Says nothing and fails at nothing: where there is no node, there are no names of it.
std::string candidatesFor(CLI::App &root, const std::vector<std::string> &words);

}  // namespace orv::completion

#endif
