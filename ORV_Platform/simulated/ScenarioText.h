// Writes a scenario as the TOML that ScenarioFile reads.
#ifndef ORV_SIMULATED_SCENARIOTEXT_H
#define ORV_SIMULATED_SCENARIOTEXT_H

#include <string>

#include "Scenario.h"

namespace orv::sim {

// What differs from the default, in the order of the format's description: equal scenarios give equal texts, and
// parseScenario reads the same scenario from it. Exceptions are what the format has no words for:
//   - how a program ends that cannot be started, and the line of a signal that comes at a time: left out
//   - text that is not UTF-8, a file's content apart: each byte that is not becomes U+FFFD
std::string toToml(const Scenario &scenario);

}  // namespace orv::sim

#endif
