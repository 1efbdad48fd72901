// What there is to say about one boot.
#ifndef ORV_BOOTS_REPORT_H
#define ORV_BOOTS_REPORT_H

#include <cstdint>
#include <string>

#include "Node.h"
#include "Rules.h"
#include "SimulatedBoot.h"

namespace boots {

// Each broken rule with the trace's lines around the place.
std::string violationsText(const Violations &violations, const SimulatedBoot &boot);

// The command line, the scenario and the whole trace.
std::string bootText(const Node &node, const SimulatedBoot &boot);

}  // namespace boots

#endif
