// What a fuzz target insists on.
#ifndef ORV_FUZZ_REQUIRE_H
#define ORV_FUZZ_REQUIRE_H

#include <cstdlib>

namespace orvfuzz {

// Ends the run as a finding: the stack in libFuzzer's report names the line.
inline void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace orvfuzz

#endif
