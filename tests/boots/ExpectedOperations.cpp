#include "ExpectedOperations.h"

#include "HexText.h"
#include "Trace.h"

namespace boots {
namespace {

using orv::hexText;
using orv::sim::quoted;

// As the log has it, where 0 is bare.
std::string withBase(uint32_t number) {
  return number == 0 ? "0" : hexText(number);
}

std::string failureOf(const std::string &named, int64_t result, int64_t status) {
  if (result != 0 && result != 5) return named + "launch failed with status " + std::to_string(result);
  const int64_t low = status & 0x7f;
  const int64_t exitCode = (status >> 8) & 0xff;
  if (low == 0) return exitCode == 0 ? "" : named + "failed with status " + std::to_string(exitCode);
  if (low != 0x7f) return named + "exited due to signal " + std::to_string(low);
  return named + "exited abnormally";
}

}  // namespace

bool walkOnlineWait(EuWalk &walk, const std::string &tag, uint32_t &remainingMs) {
  constexpr Rule RULE = Rule::ONLINE_WAIT;
  walk.log(RULE, Severity::INFO, "readyWait: waiting " + std::to_string(remainingMs) + " ms for " + tag + " to be set");
  const std::string test = "AaConfigTagIsSet(" + quoted(tag) + ")";
  while (walk.answer(RULE, test) == 0) {
    if (remainingMs == 0) {
      walk.log(RULE, Severity::ERROR, "readyWait: " + tag + " tag not set in time");
      return false;
    }
    walk.answer(RULE, "AaSysTimeSleep(50, 3)");
    remainingMs -= remainingMs < 50 ? remainingMs : 50;
  }
  walk.log(RULE, Severity::INFO, "readyWait: " + tag + " tag set in time");
  return true;
}

void walkBoardReset(EuWalk &walk) {
  constexpr Rule RULE = Rule::BOARD_RESET;
  const auto info = [&walk](const std::string &text) { walk.log(RULE, Severity::INFO, "boardReset: " + text); };
  const bool enabled = walk.answer(RULE, "AaConfigTagIsSet(\"orv.service.aapro.watchdog_enabled\")") != 0;
  if (!enabled || walk.answer(RULE, "AaConfigRadGetValue(0x10077)") != 0)
    return info("hardware reset requested, but disabled");
  info("adding 30 s delay before reset");
  walk.answer(RULE, "AaSysTimeSleep(30, 4)");
  info("doing hardware reset");
  const int64_t result = walk.answer(RULE, "ddal_watchdog_reboot()");
  if (result != 0) info("reset failed (" + std::to_string(result) + ")");
}

bool walkRun(EuWalk &walk, uint32_t flags, const std::string &path, const std::string &args) {
  const auto eu = static_cast<uint32_t>(walk.answer(Rule::RUN, "AaProEuCurrent()"));
  const std::string named = "exeRun: executable '" + path + "'";
  walk.log(Rule::RUN, Severity::INFO,
           named + "(" + args + ") starting under sentinel EU " + withBase(eu) + " with supervision flags " +
               withBase(flags));
  const std::string call = "AaProCmdExec(" + quoted(path);
  std::string_view rest = walk.begins(Rule::RUN, call + ", " + quoted(args) + ", " + hexText(flags) + ")");
  int64_t result = 0;
  int64_t status = 0;
  if (takeOff(rest, " = ")) {  // refused by the platform; nothing ran, and the status is as it was
    result = wholeNumber(rest).value_or(0);
  } else {
    if (!rest.empty()) walk.violated(Rule::RUN, "due: the call without more");
    rest = walk.begins(Rule::RUN, call + ") = ");
    const size_t comma = rest.find(", status ");
    if (comma == std::string_view::npos) walk.violated(Rule::RUN, "due: a result and a status");
    result = wholeNumber(rest.substr(0, comma)).value_or(0);
    status = wholeNumber(rest.substr(comma + 9)).value_or(0);
  }
  const std::string failure = failureOf(named + " ", result, status);
  if (failure.empty()) {
    walk.log(Rule::RUN_OUTCOME, Severity::INFO, named + " terminated successfully");
  } else {
    walk.log(Rule::RUN_OUTCOME, Severity::ERROR, failure);
  }
  return failure.empty();
}

void walkRaise(EuWalk &walk, Rule rule, const std::string &kindAndCode, const std::string &text, uint32_t line) {
  walk.is(rule, "AaErrorExceptionRaise(" + kindAndCode + ", 0, 0, " + quoted(text) + ", " + SOURCE_PATH + ", " +
                    std::to_string(line) + ")");
}

}  // namespace boots
