// How orvctl answers a command line that makes no sense: one line with what is wrong and the nearest right thing.
#ifndef ORV_TOOLS_USAGE_H
#define ORV_TOOLS_USAGE_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace orv::usage {

// What is wrong with `words`: a command that is unknown or missing, an unknown option, an option's value that is
// missing or none of those that it takes, an argument too many. Empty where nothing of this is the matter.
std::string problemOf(CLI::App &root, const std::vector<std::string> &words);

// The same for the commands alone, of which one may be missing: what a request for help can have wrong.
std::string commandProblemOf(CLI::App &root, const std::vector<std::string> &words);

// The command that `words` name, as far as they name one; `root` where they name none.
CLI::App &commandOf(CLI::App &root, const std::vector<std::string> &words);

// " (see orvctl tag set --help)".
std::string helpHint(const CLI::App &command);

}  // namespace orv::usage

#endif
