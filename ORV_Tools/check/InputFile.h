// Reading what is to be checked.
#ifndef ORV_TOOLS_CHECK_INPUTFILE_H
#define ORV_TOOLS_CHECK_INPUTFILE_H

#include <cstddef>
#include <string>

#include "Status.h"

namespace orv::checking {

// A definition file with 64 lines of the greatest length has less than a tenth of it.
constexpr size_t MAX_INPUT_BYTES = size_t{1} << 20;

// Reads all of the file at `path`, or of standard input where that is "-". Fails with the errno and a sentence: what
// cannot be read, and EFBIG beyond MAX_INPUT_BYTES.
Status readInput(const std::string &path, std::string &text);

}  // namespace orv::checking

#endif
