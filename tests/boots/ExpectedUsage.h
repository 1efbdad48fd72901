// The usage text, line by line.
#ifndef ORV_BOOTS_EXPECTEDUSAGE_H
#define ORV_BOOTS_EXPECTEDUSAGE_H

#include <span>

namespace boots {

std::span<const char *const> usageLines();

}  // namespace boots

#endif
