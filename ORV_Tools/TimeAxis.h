// Durations and time axes for charts. Times are nanoseconds.
#ifndef ORV_TOOLS_TIMEAXIS_H
#define ORV_TOOLS_TIMEAXIS_H

#include <cstdint>
#include <string>
#include <vector>

#include "Clock.h"

namespace orv {

// As precise as one looks at it: "0 ms", "4.2 ms", "250 ms", "2.41 s", "1 min 41 s".
std::string shortDuration(uint64_t durationNs);

struct Tick {
  uint64_t atNs = 0;
  std::string label;  // "0 s", "0.5 s", "200 ms", "2 min 30 s"; all of an axis in one manner
};

// The ticks of an axis from 0 to `lengthNs`, both included: at most `most` intervals, of lengths that people count in.
std::vector<Tick> timeTicks(uint64_t lengthNs, size_t most);

}  // namespace orv

#endif
