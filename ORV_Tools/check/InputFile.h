// Reading what is to be checked.
#ifndef ORV_TOOLS_CHECK_INPUTFILE_H
#define ORV_TOOLS_CHECK_INPUTFILE_H

#include <cstddef>
#include <string>

#include "Status.h"

namespace orv::checking {

// 64 lines of the greatest length are less than a quarter of it. Each finding holds its line.
constexpr size_t MAX_INPUT_BYTES = size_t{1} << 18;

// Reads all of the file at `path`, or of standard input where that is "-". Fails with the errno and a sentence: what
// cannot be read, and EFBIG beyond MAX_INPUT_BYTES.
Status readInput(const std::string &path, std::string &text);

}  // namespace orv::checking

#endif
