#include "Board.h"

#include "Operation.h"

using namespace orv::sim;

extern "C" {

int32_t orvSimulatedNotifyReady(void) {
  return statusOperation(Call::NOTIFY_READY);
}

int32_t orvSimulatedWatchdogReboot(void) {
  Simulation &simulation = beginOperation();
  const ResetBehaviour &reset = simulation.scenario().reset;
  const auto answer = simulation.answers().answer(Call::WATCHDOG_REBOOT);
  const auto result = static_cast<int32_t>(answer.value_or(reset.result));
  recordCall(simulation, Call::WATCHDOG_REBOOT, "", result);
  if (result == 0 && reset.takesEffect) simulation.resetBoard();
  return result;
}

}  // extern "C"
