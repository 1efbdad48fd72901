#include "Calls.h"

#include <array>
#include <string>

#include "HexText.h"
#include "Trace.h"

namespace orv::sim {
namespace {

constexpr auto NAMES = std::to_array<const char *>({
    "AaStartupEarlyStartup",
    "AaStartupCeStartup",
    "AaStartupCeShutdown",
    "AaStartupCeUngracefulShutdownCount",
    "AaProEuCreateAndStart",
    "AaProEuCreateAndStartJoinable",
    "AaProEuCurrent",
    "AaProCmdExec",
    "AaConfigTagSetString",
    "AaConfigTagSetU16",
    "AaConfigTagSetU32",
    "AaConfigTagReadFile",
    "AaConfigTagIsSet",
    "AaConfigTagGetString",
    "AaConfigRadGetValue",
    "AaSysComEuUserRegister",
    "AaSysComUserDeregister",
    "AaSysComMsgCreate",
    "AaSysComMsgSendWithPriority",
    "AaSysComGetOwnNid",
    "AaFileOpen",
    "AaFileRead",
    "AaFileClose",
    "AaSysTimeSleep",
    "AaSysLogPrint",
    "ddal_system_notify_ready",
    "ddal_watchdog_reboot",
    "sem_init",
    "sem_wait",
    "sem_post",
});
static_assert(NAMES.size() == static_cast<size_t>(Call::COUNT), "a name for each call");

}  // namespace

const char *callName(Call call) {
  return NAMES[static_cast<size_t>(call)];
}

void CallAnswers::begin(const std::vector<CallResult> &answers) {
  for (size_t i = 0; i < NAMES.size(); ++i) {
    byCall_[i].clear();
    for (const CallResult &answer : answers) {
      if (answer.call == NAMES[i]) byCall_[i].push_back({&answer, 0});
    }
  }
}

std::optional<int64_t> CallAnswers::answer(Call call, uint32_t argument) {
  return byCall_[static_cast<size_t>(call)].empty() ? std::nullopt : find(call, hexText(argument));
}

// Every answer whose argument fits counts the call, so that its own occurrences are what its number means.
std::optional<int64_t> CallAnswers::find(Call call, std::string_view argument) {
  std::optional<int64_t> result;
  for (Counted &counted : byCall_[static_cast<size_t>(call)]) {
    const CallResult &answer = *counted.answer;
    if (answer.argument && *answer.argument != argument) continue;
    ++counted.seen;
    if (!result && (answer.occurrence == 0 || answer.occurrence == counted.seen)) result = answer.result;
  }
  return result;
}

}  // namespace orv::sim
