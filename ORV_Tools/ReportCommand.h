// orvctl report: everything about a node on one page, to attach to a ticket.
#ifndef ORV_TOOLS_REPORTCOMMAND_H
#define ORV_TOOLS_REPORTCOMMAND_H

#include <string>

#include "Commands.h"

namespace CLI {
class App;
}

namespace orv {

struct ReportArguments {
  std::string file = "node.html";  // "-": standard output
};

void addReportOptions(CLI::App &command, ReportArguments &options);

// The same form as in Commands.h. The file is replaced as a whole.
int report(const Arguments &arguments, const ReportArguments &options, std::string &output);

}  // namespace orv

#endif
