// Makes what goes wrong on a node: calls of the platform that fail, resets that do not work, signals at any time.
#ifndef ORV_BOOTS_FAULTMAKER_H
#define ORV_BOOTS_FAULTMAKER_H

#include "Random.h"
#include "Scenario.h"

namespace boots {

void makeFaults(Random &random, orv::sim::Scenario &scenario);

// Signals, the operator's at the end included.
void makeSignals(Random &random, orv::sim::Scenario &scenario);

}  // namespace boots

#endif
