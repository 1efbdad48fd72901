#include "ExpectedSentinel.h"

#include "ExpectedOperations.h"

namespace boots {
namespace {

constexpr uint32_t RAISE_FLAG = 1;
constexpr uint32_t RESET_FLAG = 2;

constexpr uint32_t EXE_RAISE_LINE = 1186;
constexpr uint32_t APP_RAISE_LINE = 900;

}  // namespace

void walkSentinel(EuWalk &walk, const Sentinel &sentinel) {
  const bool success = walkRun(walk, sentinel.flags, sentinel.path, sentinel.args);
  if (!sentinel.isApplication) {
    if (!success)
      walkRaise(walk, Rule::EXE_RAISE, "1, 0x1004b", "failure of executable " + sentinel.path, EXE_RAISE_LINE);
    return walk.ends(Rule::EXE_RAISE);
  }
  if (!success && (sentinel.flags & RAISE_FLAG) != 0)
    walkRaise(walk, Rule::APP_RAISE, "0, 0x12345678", "failure of application " + sentinel.name, APP_RAISE_LINE);
  if (!success && (sentinel.flags & RESET_FLAG) != 0) {
    walk.log(Rule::APP_RESET, Severity::INFO,
             "appSentinel: supervised application " + sentinel.name + " failed, requesting system reset");
    walkBoardReset(walk);
  }
  // A raise or a reset that nobody asked for stands where the end is due.
  walk.ends(walk.nextBegins("AaErrorExceptionRaise") ? Rule::APP_RAISE : Rule::APP_RESET);
}

}  // namespace boots
