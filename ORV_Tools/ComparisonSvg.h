// Start-ups side by side as a picture: a row for each program, and a mark for each start-up.
#ifndef ORV_TOOLS_COMPARISONSVG_H
#define ORV_TOOLS_COMPARISONSVG_H

#include <string>

#include "Comparison.h"

namespace orv {

// A whole SVG document.
std::string comparisonSvg(const Comparison &comparison);

}  // namespace orv

#endif
