// orvctl why: why a program of the node is not online, or was late.
#ifndef ORV_TOOLS_WHYCOMMAND_H
#define ORV_TOOLS_WHYCOMMAND_H

#include <string>
#include <vector>

#include "Commands.h"
#include "Why.h"

namespace CLI {
class App;
}

namespace orv {

struct WhyArguments {
  std::string name;  // empty: what the start-up waits for
  bool json = false;
};

void addWhyOptions(CLI::App &command, WhyArguments &options);

// The same form as in Commands.h. EXIT_DONE where nothing is wrong with the program, EXIT_NO where something is or
// where there is no such program.
int why(const Arguments &arguments, const WhyArguments &options, std::string &output);

// What is known of `program`, one of `node.programs`; looks at its processes.
WhyFacts readWhyFacts(const NodeStore &store, const StatusSource &source, const NodeStatus &node,
                      const ProgramStatus &program);

}  // namespace orv

#endif
