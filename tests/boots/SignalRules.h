// Signals and the semaphore across the whole trace: each signal meets the action that is armed when it comes, a handler
// does its lines in one piece, and nobody is released without a post.
#ifndef ORV_BOOTS_SIGNALRULES_H
#define ORV_BOOTS_SIGNALRULES_H

#include "Rules.h"
#include "Scenario.h"
#include "Simulation.h"
#include "TraceReader.h"

namespace boots {

void judgeSignals(const orv::sim::Scenario &scenario, const orv::sim::Outcome &outcome, const ReadTrace &trace,
                  Violations &violations);

}  // namespace boots

#endif
