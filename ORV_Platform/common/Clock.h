// The clocks of the machine, all in nanoseconds, and what these are counted in for people.
#ifndef ORV_COMMON_CLOCK_H
#define ORV_COMMON_CLOCK_H

#include <cstdint>

namespace orv {

constexpr uint64_t NS_PER_US = 1000;
constexpr uint64_t NS_PER_MS = 1000 * NS_PER_US;
constexpr uint64_t NS_PER_S = 1000 * NS_PER_MS;
constexpr uint64_t NS_PER_MIN = 60 * NS_PER_S;
constexpr uint64_t NS_PER_H = 60 * NS_PER_MIN;

// CLOCK_MONOTONIC: since the boot, without the time that the machine was suspended.
uint64_t monotonicNs();

// CLOCK_BOOTTIME: since the boot.
uint64_t boottimeNs();

// CLOCK_REALTIME: since 1970; it can be set.
uint64_t realtimeNs();

}  // namespace orv

#endif
