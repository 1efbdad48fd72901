// orvctl why-reset and orvctl reset: why the board was reset, and holding resets off while somebody debugs. The same
// form as in Commands.h.
#ifndef ORV_TOOLS_RESETCOMMAND_H
#define ORV_TOOLS_RESETCOMMAND_H

#include <string>

#include "Commands.h"

namespace orv {

// The story of the last start; EXIT_NO where no start is recorded.
int whyReset(const Arguments &arguments, std::string &output);

// Holds resets off, or lets them through again (`resetHoldOff`; EXIT_NO where they were not held).
int resetHold(const Arguments &arguments, std::string &output);

// Whether resets are held; EXIT_NO where they are not.
int resetStatus(const Arguments &arguments, std::string &output);

}  // namespace orv

#endif
