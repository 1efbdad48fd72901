// A start-up as a chart of characters, for terminals and serial consoles.
#ifndef ORV_TOOLS_STARTUPTEXT_H
#define ORV_TOOLS_STARTUPTEXT_H

#include <string>

#include "StartupModel.h"

namespace orv {

// A line for each program, `columns` wide where that is enough for anything; safe for any terminal, with colours where
// the output has them.
std::string startupChartText(const StartupModel &model, unsigned columns);

}  // namespace orv

#endif
