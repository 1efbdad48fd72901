// Runs the daemon's executable on the simulated libraries: the executable that a board runs, and none of a board's
// libraries, files and programs.
#ifndef ORV_TOOLS_SIMULATEDDAEMON_H
#define ORV_TOOLS_SIMULATEDDAEMON_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Status.h"

namespace orv::rehearsal {

struct SimulatedDaemon {
  std::string executable;              // empty: the one beside this program
  std::vector<std::string> arguments;  // without its name
  std::string scenarioFile;            // empty: `scenarioText` is it
  std::string scenarioText;
  std::optional<uint64_t> seed;  // in place of the scenario's
};

// Runs it to its end, which is at once, since no time passes but virtual. `trace`: out: what happened. Fails with
// ENOENT where the executable or a library is missing, and with what is known of a process that ended without a trace.
Status runSimulated(const SimulatedDaemon &daemon, std::string &trace);

}  // namespace orv::rehearsal

#endif
