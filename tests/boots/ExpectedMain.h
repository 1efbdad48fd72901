// What the process's first thread does from beginning to end.
#ifndef ORV_BOOTS_EXPECTEDMAIN_H
#define ORV_BOOTS_EXPECTEDMAIN_H

#include <optional>

#include "EuWalk.h"
#include "ExpectedOptions.h"

namespace boots {

struct MainResult {
  std::optional<uint32_t> ceStarted;  // the line of the CE's start-up, if it came to that
  std::optional<uint32_t> startupEu;  // the number of the start-up EU, and the line of its creation
  std::optional<uint32_t> euCreatedAt;
  std::optional<int> exitStatus;  // where it came to its end
  bool shutdownReturned = false;
};

// Throws Cut or a Violation; `result` holds what there was up to then.
void walkMain(EuWalk &walk, const ExpectedOptions &options, MainResult &result);

}  // namespace boots

#endif
