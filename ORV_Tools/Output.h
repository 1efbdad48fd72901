// What goes to standard output.
#ifndef ORV_TOOLS_OUTPUT_H
#define ORV_TOOLS_OUTPUT_H

#include <string>

namespace orv {

// Writes all of `text` to standard output. Returns 0 or the errno.
int writeOutput(const std::string &text);

}  // namespace orv

#endif
