// The part of a scenario file that answers calls: [[call]].
//
// The functions differ in what they return and in what a call can be told apart by. What can never fit, such as a
// result that the function cannot return, is a mistake and not an answer that never comes.
#ifndef ORV_SIMULATED_SCENARIOCALLS_H
#define ORV_SIMULATED_SCENARIOCALLS_H

#include <string>
#include <vector>

#include "Scenario.h"
#include "ScenarioReader.h"

namespace orv::sim {

void readCalls(ScenarioReader &reader, const Item &item, std::vector<CallResult> &calls);

// The keys of a [[call]].
std::vector<std::string> callKeys();

}  // namespace orv::sim

#endif
