// A time line for programs, as JSON. The fields are described in docs/rehearsal.md; none changes its meaning.
#ifndef ORV_TOOLS_TIMELINEJSON_H
#define ORV_TOOLS_TIMELINEJSON_H

#include <cstdint>
#include <string>
#include <string_view>

#include "Timeline.h"

namespace orv::rehearsal {

// One object, an event a line, with a line end behind it.
std::string timelineJson(const Timeline &timeline, const std::string &scenarioName, uint64_t seed);

// `text` as a JSON string, quotes included. Bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace orv::rehearsal

#endif
