// Makes the programs of a node: the texts that define them, right and wrong, and how they behave.
#ifndef ORV_BOOTS_PROGRAMMAKER_H
#define ORV_BOOTS_PROGRAMMAKER_H

#include <string>

#include "Random.h"
#include "Scenario.h"

namespace boots {

// The value of the start-up key for executables; empty: none. Adds the programs' behaviours.
std::string makeExecutables(Random &random, orv::sim::Scenario &scenario);

// The content of an application definition file. Adds the programs' behaviours.
std::string makeDefinitionFile(Random &random, orv::sim::Scenario &scenario);

}  // namespace boots

#endif
