#include "AaSysTime.h"

#include <cerrno>
#include <ctime>
#include <limits>

namespace {

constexpr uint32_t UNIT_MS = 3;
constexpr uint32_t UNIT_S = 4;
constexpr long NS_PER_S = 1000000000;
constexpr long NS_PER_MS = 1000000;
constexpr uint32_t MS_PER_S = 1000;

// The longest sleep ends 136 years after now: only a time of 64 bits can hold that end.
static_assert(std::numeric_limits<time_t>::digits == 63);

timespec later(timespec time, uint32_t seconds, uint32_t milliseconds) {
  time.tv_sec += seconds;
  time.tv_nsec += static_cast<long>(milliseconds) * NS_PER_MS;
  if (time.tv_nsec >= NS_PER_S) {
    time.tv_nsec -= NS_PER_S;
    ++time.tv_sec;
  }
  return time;
}

}  // namespace

extern "C" int32_t AaSysTimeSleep(uint32_t amount, uint32_t unit) {
  if (unit != UNIT_MS && unit != UNIT_S) return EINVAL;
  timespec now{};
  if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) return errno;
  const timespec end = unit == UNIT_S ? later(now, amount, 0) : later(now, amount / MS_PER_S, amount % MS_PER_S);
  // Until a point in time, so that signals do not lengthen the sleep.
  int32_t result = EINTR;
  while (result == EINTR) {
    result = clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
  }
  return result;
}
