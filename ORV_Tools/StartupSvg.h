// A start-up as a picture: a row for each program, and who held whom up.
#ifndef ORV_TOOLS_STARTUPSVG_H
#define ORV_TOOLS_STARTUPSVG_H

#include <string>

#include "StartupModel.h"

namespace orv {

// A whole SVG document. Any model makes one, be it empty.
std::string startupSvg(const StartupModel &model);

}  // namespace orv

#endif
