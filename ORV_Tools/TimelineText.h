// A time line for a person's eyes.
#ifndef ORV_TOOLS_TIMELINETEXT_H
#define ORV_TOOLS_TIMELINETEXT_H

#include <string>

#include "Timeline.h"

namespace orv::rehearsal {

// A line for each event: margin, time, who, what; then an empty line and the verdict. In the margin "!!" stands for a
// failure and "!" for what is to be looked at. With `colours` the terminal shows these lines in red and in yellow.
// Programs that end together with the shutdown share a line.
//   title  above it all, empty: none
std::string timelineText(const Timeline &timeline, const std::string &title, bool colours);

}  // namespace orv::rehearsal

#endif
