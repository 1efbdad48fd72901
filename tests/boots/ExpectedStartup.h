// What the start-up EU does: the executables, the applications, the messages, the handlers, the wait for the end. From
// it comes who else has to run.
#ifndef ORV_BOOTS_EXPECTEDSTARTUP_H
#define ORV_BOOTS_EXPECTEDSTARTUP_H

#include <string>
#include <vector>

#include "EuWalk.h"
#include "ExpectedOptions.h"
#include "Scenario.h"

namespace boots {

// A program's sentinel EU.
struct Sentinel {
  uint32_t eu = 0;
  uint32_t createdAt = 0;  // the line
  bool isApplication = false;
  std::string name;  // the EU's
  std::string path;
  std::string args;
  uint32_t flags = 0;
};

struct StartupResult {
  std::vector<Sentinel> sentinels;
  bool complete = false;  // the line that says so was written
};

// Throws Cut or a Violation; `result` holds what there was up to then.
void walkStartup(EuWalk &walk, const ExpectedOptions &options, const orv::sim::Scenario &scenario,
                 StartupResult &result);

}  // namespace boots

#endif
