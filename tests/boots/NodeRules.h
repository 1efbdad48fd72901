// What the node around the daemon has to keep: time, tags, R&D parameters and programs behave as the scenario says, so
// that what the daemon was answered is what it should have been.
#ifndef ORV_BOOTS_NODERULES_H
#define ORV_BOOTS_NODERULES_H

#include "Rules.h"
#include "Scenario.h"
#include "TraceReader.h"

namespace boots {

void judgeNode(const orv::sim::Scenario &scenario, const std::string &rtConfigFile, const ReadTrace &trace,
               Violations &violations);

}  // namespace boots

#endif
