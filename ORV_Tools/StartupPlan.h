// What a node is to start: its executables, from what the daemon logged of its command line, and its applications, from
// the definition file. Programs that have not been started yet have no record; here they have a name and a place.
#ifndef ORV_TOOLS_STARTUPPLAN_H
#define ORV_TOOLS_STARTUPPLAN_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "NodeStore.h"

namespace orv {

struct PlannedProgram {
  bool isApplication = false;  // else an executable
  std::string name;            // of its EU: an executable's is its path
  std::string path;
  std::string args;
  uint32_t supervisionFlags = 0;  // of an application: bit 0 raises an error, bit 1 resets the board
  std::string onlineTag;          // empty: nothing waits for it
};

// Why no application is started, or none further.
enum class SkipReason : uint8_t {
  NONE,
  UNGRACEFUL,          // the run record counts ungraceful shutdowns
  REPAIR,              // one of the tags for repair is set
  EXECUTABLES_FAILED,  // an executable did not come online, or could not be started
  NO_DEFINITIONS,      // the definition file cannot be read
};

struct StartupPlan {
  std::vector<PlannedProgram> programs;  // in the order in which they are waited for
  std::string definitionFile;
  SkipReason skipped = SkipReason::NONE;
};

// The name of the definition file by the tags of the node.
std::string definitionFileOf(const NodeStore &store);

// The applications that the text of a definition file defines, without those that have no path and are passed over.
std::vector<PlannedProgram> plannedApplications(const std::string &text);

// The executables that the daemon of the latest run has logged.
std::vector<PlannedProgram> loggedExecutables(const std::vector<Event> &events);

// What the daemon of the latest run logged of applications that it does not start.
SkipReason loggedSkipReason(const std::vector<Event> &events);

// All of it, the definition file read from where the node's tags say.
StartupPlan readStartupPlan(const NodeStore &store, const std::vector<Event> &events);

// "the run record counts ungraceful shutdowns ..." with what to do; empty for NONE.
std::string skipText(SkipReason reason, const std::string &definitionFile);

// "ungraceful_shutdowns" and the like, for programs; null for NONE.
const char *skipName(SkipReason reason);

}  // namespace orv

#endif
