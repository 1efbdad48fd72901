#include "AaSysTime.h"

#include <cerrno>

#include "Operation.h"

using namespace orv::sim;

namespace {

constexpr uint32_t UNIT_MS = 3;
constexpr uint32_t UNIT_S = 4;
constexpr uint64_t MS_PER_S = 1000;

}  // namespace

extern "C" int32_t AaSysTimeSleep(uint32_t amount, uint32_t unit) {
  Simulation &simulation = beginOperation();
  const int32_t status = unit == UNIT_MS || unit == UNIT_S ? 0 : EINVAL;
  const auto result = static_cast<int32_t>(simulation.answers().answer(Call::SLEEP).value_or(status));
  simulation.trace().addSleep(simulation.scheduler().nowMs(), simulation.actor(), amount, unit, result);
  if (result == 0) simulation.scheduler().sleep(unit == UNIT_S ? amount * MS_PER_S : amount);
  return result;
}
