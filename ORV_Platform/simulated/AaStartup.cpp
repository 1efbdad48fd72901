#include "AaStartup.h"

#include <cerrno>

#include "Operation.h"
#include "StartupRecord.h"

using namespace orv::sim;

extern "C" {

int32_t AaStartupEarlyStartup(void) {
  return statusOperation(Call::EARLY_STARTUP);
}

int32_t AaStartupCeStartup(void) {
  const int32_t result = statusOperation(Call::CE_STARTUP);
  Simulation &simulation = Simulation::instance();
  simulation.recordNode("start-up record: " + startupRecordText());
  if (result != 0) return result;
  const auto &files = simulation.scenario().configFiles;
  if (const auto found = files.find(gOrvStartupConfig.rtConfigFile); found != files.end()) {
    for (const auto &[name, value] : found->second)
      simulation.setTag(name, value);
  }
  return 0;
}

int32_t AaStartupCeShutdown(void) {
  Simulation &simulation = beginOperation();
  simulation.record("AaStartupCeShutdown()");
  if (const auto answer = simulation.answers().answer(Call::CE_SHUTDOWN)) {
    recordCall(simulation, Call::CE_SHUTDOWN, "", *answer);
    return static_cast<int32_t>(*answer);
  }
  simulation.joinAll();
  simulation.programs().endAll();
  recordCall(simulation, Call::CE_SHUTDOWN, "", 0);
  return 0;
}

uint32_t AaStartupCeUngracefulShutdownCount(uint32_t context) {
  Simulation &simulation = beginOperation();
  const int64_t result =
      simulation.answers().answer(Call::UNGRACEFUL_COUNT).value_or(simulation.scenario().ungracefulCount);
  recordCall(simulation, Call::UNGRACEFUL_COUNT, simulation.contextText(context), result);
  return static_cast<uint32_t>(result);
}

}  // extern "C"
