#include "Clock.h"

#include <time.h>

namespace orv {
namespace {

uint64_t now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<uint64_t>(time.tv_sec) * NS_PER_S + static_cast<uint64_t>(time.tv_nsec);
}

}  // namespace

uint64_t monotonicNs() {
  return now(CLOCK_MONOTONIC);
}

uint64_t boottimeNs() {
  return now(CLOCK_BOOTTIME);
}

uint64_t realtimeNs() {
  return now(CLOCK_REALTIME);
}

}  // namespace orv
