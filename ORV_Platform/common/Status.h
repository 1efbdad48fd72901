// The outcome of an operation that can fail for reasons of the outside world: a code and the sentence that goes with
// it.
#ifndef ORV_LINUX_STATUS_H
#define ORV_LINUX_STATUS_H

#include <cstdint>
#include <string>
#include <utility>

namespace orv {

// `code` is 0 for success, else an errno value, or a value below 0 of the library that failed (LMDB's are -30799 and
// up). `message` is empty for success; otherwise it says what failed, on what, why, and what to do about it.
struct [[nodiscard]] Status {
  int32_t code = 0;
  std::string message;

  static Status success() {
    return {};
  }
  static Status failure(int32_t failureCode, std::string text) {
    return {failureCode, std::move(text)};
  }
  bool ok() const {
    return code == 0;
  }
};

}  // namespace orv

#endif
