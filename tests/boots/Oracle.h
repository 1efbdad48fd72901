// The oracle: judges a boot from what it was given (scenario and command line) and from its trace, by what the daemon
// has to do and without a line of the daemon's code.
//
// Each EU is followed along its own lines: what it has to do next depends on the inputs and on what the platform has
// answered it so far, so that under any order of turns and any fault each line is either the one that is due or wrong.
// A boot that was cut short has done the beginning of what was due. Rules across EUs and about the node come on top.
#ifndef ORV_BOOTS_ORACLE_H
#define ORV_BOOTS_ORACLE_H

#include "Node.h"
#include "Rules.h"
#include "SimulatedBoot.h"

namespace boots {

// Empty: every rule holds. An EU that breaks one is not followed further.
Violations judge(const Node &node, const SimulatedBoot &boot);

}  // namespace boots

#endif
