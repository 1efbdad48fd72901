#include "AaPro.h"

#include <cstring>

#include "HexText.h"
#include "Operation.h"

using namespace orv::sim;
using orv::hexText;

namespace {

// The argument block begins with the start-up context word; what follows may hold anything.
std::string blockText(Simulation &simulation, const void *argument, uint32_t bytes) {
  uint32_t context = 0;
  if (bytes < sizeof context) return std::to_string(bytes) + " bytes";
  std::memcpy(&context, argument, sizeof context);
  return simulation.contextText(context) + " + " + std::to_string(bytes - sizeof context) + " bytes";
}

int32_t create(Call call, uint32_t *euId, const char *name, AaProEuEntry entry, const void *argument,
               uint32_t argumentSize, bool joinable, const std::string &arguments) {
  Simulation &simulation = Simulation::instance();
  if (const auto answer = simulation.answers().answer(call, name); answer && *answer != 0) {
    recordCall(simulation, call, arguments, *answer);
    return static_cast<int32_t>(*answer);
  }
  Unit &unit = simulation.scheduler().create(entry, argument, argumentSize, joinable);
  unit.actor = simulation.trace().addActor(unit.id, name);
  *euId = unit.id;
  simulation.record(std::string(callName(call)) + "(" + arguments + ") = 0, EU " + std::to_string(unit.id));
  return 0;
}

}  // namespace

extern "C" {

int32_t AaProEuCreateAndStart(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                              uint32_t priority, const void *argument, uint32_t argumentSize) {
  Simulation &simulation = beginOperation();
  const std::string arguments = text(name) + ", " + std::to_string(stackSize) + ", " + std::to_string(priority) + ", " +
                                blockText(simulation, argument, argumentSize);
  return create(Call::EU_CREATE, euId, name, entry, argument, argumentSize, false, arguments);
}

int32_t AaProEuCreateAndStartJoinable(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                                      uint32_t priority, const void *argument, uint32_t argumentSize,
                                      uint32_t joinable) {
  Simulation &simulation = beginOperation();
  const std::string arguments = text(name) + ", " + std::to_string(stackSize) + ", " + std::to_string(priority) + ", " +
                                blockText(simulation, argument, argumentSize) + ", " + std::to_string(joinable);
  return create(Call::EU_CREATE_JOINABLE, euId, name, entry, argument, argumentSize, joinable != 0, arguments);
}

uint32_t AaProEuCurrent(void) {
  Simulation &simulation = beginOperation();
  const int64_t result = simulation.answers().answer(Call::EU_CURRENT).value_or(simulation.scheduler().current().id);
  recordCall(simulation, Call::EU_CURRENT, "", result);
  return static_cast<uint32_t>(result);
}

int32_t AaProCmdExec(const char *path, const char *args, uint32_t supervisionFlags, int32_t *waitStatus) {
  Simulation &simulation = beginOperation();
  const std::string arguments = text(path) + ", " + text(args) + ", " + hexText(supervisionFlags);
  if (const auto answer = simulation.answers().answer(Call::CMD_EXEC, path)) {
    recordCall(simulation, Call::CMD_EXEC, arguments, *answer);
    return static_cast<int32_t>(*answer);
  }
  simulation.record("AaProCmdExec(" + arguments + ")");
  const int32_t result = simulation.programs().run(path, args, *waitStatus);
  simulation.record("AaProCmdExec(" + text(path) + ") = " + std::to_string(result) + ", status " +
                    std::to_string(*waitStatus));
  return result;
}

}  // extern "C"
