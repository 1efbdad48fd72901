// A scenario made of an application definition file and of the faults that somebody wants to see.
//
// Every application that has an online tag sets it a second after its start and runs on, as do those without a tag; the
// faults change that for the applications that they name.
#ifndef ORV_TOOLS_DEFINITIONSCENARIO_H
#define ORV_TOOLS_DEFINITIONSCENARIO_H

#include <string>
#include <vector>

#include "Scenario.h"

namespace orv::rehearsal {

struct Faults {
  std::vector<std::string> fail;   // NAME: it cannot be started
  std::vector<std::string> late;   // NAME=TIME: it comes online that long after its start, or "never"
  std::vector<std::string> crash;  // NAME=TIME: it ends with exit code 1 that long after its start
  bool watchdog = false;           // the board's watchdog is enabled: resets take effect
};

// Makes the scenario of the file whose text is `definitions`. `fileName` is what messages call it. False, and the
// reason in `problem`, where a fault makes no sense.
bool makeScenario(const std::string &definitions, const std::string &fileName, const Faults &faults,
                  sim::Scenario &scenario, std::string &problem);

}  // namespace orv::rehearsal

#endif
