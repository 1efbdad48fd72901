// How a boot ends: its last line, who may still have done something, who waits for what, and what is left behind.
#ifndef ORV_BOOTS_ENDRULES_H
#define ORV_BOOTS_ENDRULES_H

#include "ExpectedMain.h"
#include "ExpectedStartup.h"
#include "Rules.h"
#include "Scenario.h"
#include "Simulation.h"
#include "TraceReader.h"

namespace boots {

struct BootEnd {
  const orv::sim::Scenario &scenario;
  const orv::sim::Outcome &outcome;
  const ReadTrace &trace;
  const MainResult &main;
  const StartupResult &startup;
};

void judgeEnd(const BootEnd &boot, Violations &violations);

}  // namespace boots

#endif
