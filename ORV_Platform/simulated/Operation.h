// What each function of the simulated platform begins and ends with.
#ifndef ORV_SIMULATED_OPERATION_H
#define ORV_SIMULATED_OPERATION_H

#include <string>

#include "Simulation.h"

namespace orv::sim {

// The simulation, at the beginning of an operation. Throws BootEnded, also where no boot is under way.
inline Simulation &beginOperation() {
  if (!Simulation::running()) throw BootEnded{};
  Simulation &simulation = Simulation::instance();
  simulation.operation();
  return simulation;
}

inline std::string text(const char *characters) {
  return characters == nullptr ? "null" : quoted(characters);
}

// Writes "CALL(ARGUMENTS) = RESULT" to the trace.
inline void recordCall(Simulation &simulation, Call call, const std::string &arguments, int64_t result) {
  simulation.record(std::string(callName(call)) + "(" + arguments + ") = " + std::to_string(result));
}

// A call that returns a status and does nothing but what the scenario answers.
inline int32_t statusOperation(Call call, const std::string &arguments = "") {
  Simulation &simulation = beginOperation();
  const auto result = static_cast<int32_t>(simulation.answers().answer(call).value_or(0));
  recordCall(simulation, call, arguments, result);
  return result;
}

}  // namespace orv::sim

#endif
