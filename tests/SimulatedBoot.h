// A whole boot of the daemon inside this process: its main, its modules and the simulated platform, in virtual time.
// All state is reset before each boot, so that boots follow one another and each is like the first.
#ifndef ORV_TESTS_SIMULATEDBOOT_H
#define ORV_TESTS_SIMULATEDBOOT_H

#include <functional>
#include <string>
#include <vector>

#include "Scenario.h"
#include "Simulation.h"

struct SimulatedBoot {
  orv::sim::Outcome outcome;
  std::vector<std::string> trace;  // its lines (see Trace.h); empty where they were not asked for
};

// Starts the daemon with these arguments, its name not among them, and runs the boot to its end.
SimulatedBoot boot(const orv::sim::Scenario &scenario, const std::vector<std::string> &arguments,
                   bool withTrace = true);

// Runs operations of the daemon's alone, as the process's first thread would, after an early start-up.
SimulatedBoot simulate(const orv::sim::Scenario &scenario, const std::function<void()> &operations);

// The variables in which the daemon keeps what its command line said, as at its start.
void resetDaemon();

#endif
