// What a rehearsal came to.
#ifndef ORV_TOOLS_VERDICT_H
#define ORV_TOOLS_VERDICT_H

#include "Timeline.h"

namespace orv::rehearsal {

// Sets the time line's verdict and its sentence from its events.
void judge(Timeline &timeline);

}  // namespace orv::rehearsal

#endif
