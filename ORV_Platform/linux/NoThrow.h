// The border between this library and its callers, who may be C: no exception crosses it.
#ifndef ORV_LINUX_NOTHROW_H
#define ORV_LINUX_NOTHROW_H

#include <exception>

namespace orv {

// The result of `body`, or `failure` where an exception ended it (memory has run out: nothing else throws here). What
// unwinds a thread that is cancelled is no std::exception and passes, as it has to.
template <typename Result, typename Body>
Result withoutExceptions(Result failure, Body body) {
  try {
    return body();
  } catch (const std::exception &) {
    return failure;
  }
}

}  // namespace orv

#endif
