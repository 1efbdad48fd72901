// A time line for programs, as JSON. The fields are described in docs/rehearsal.md; none changes its meaning.
#ifndef ORV_TOOLS_TIMELINEJSON_H
#define ORV_TOOLS_TIMELINEJSON_H

#include <cstdint>
#include <string>

#include "Timeline.h"

namespace orv::rehearsal {

// One object, an event a line, with a line end behind it.
std::string timelineJson(const Timeline &timeline, const std::string &scenarioName, uint64_t seed);

}  // namespace orv::rehearsal

#endif
