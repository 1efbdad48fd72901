// The calls that a scenario can answer for, by name.
#ifndef ORV_SIMULATED_CALLS_H
#define ORV_SIMULATED_CALLS_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Scenario.h"

namespace orv::sim {

enum class Call {
  EARLY_STARTUP,
  CE_STARTUP,
  CE_SHUTDOWN,
  UNGRACEFUL_COUNT,
  EU_CREATE,
  EU_CREATE_JOINABLE,
  EU_CURRENT,
  CMD_EXEC,
  TAG_SET_STRING,
  TAG_SET_U16,
  TAG_SET_U32,
  TAG_READ_FILE,
  TAG_IS_SET,
  TAG_GET_STRING,
  RAD_GET,
  USER_REGISTER,
  USER_DEREGISTER,
  MSG_CREATE,
  MSG_SEND,
  OWN_NID,
  FILE_OPEN,
  FILE_READ,
  FILE_CLOSE,
  SLEEP,
  LOG_PRINT,
  NOTIFY_READY,
  WATCHDOG_REBOOT,
  SEM_INIT,
  SEM_WAIT,
  SEM_POST,
  COUNT
};

const char *callName(Call call);

// The calls' answers in one boot, with the counts of their occurrences.
class CallAnswers {
 public:
  // Keeps pointers into `answers`. A call that is not known here is never asked for.
  void begin(const std::vector<CallResult> &answers);

  // What the scenario answers to this call, if anything. Counts the occurrence.
  std::optional<int64_t> answer(Call call) {
    return byCall_[static_cast<size_t>(call)].empty() ? std::nullopt : find(call, {});
  }
  std::optional<int64_t> answer(Call call, const char *argument) {
    return byCall_[static_cast<size_t>(call)].empty() ? std::nullopt : find(call, argument);
  }
  // The argument in hexadecimal, "0x10063".
  std::optional<int64_t> answer(Call call, uint32_t argument);

 private:
  struct Counted {
    const CallResult *answer = nullptr;
    uint32_t seen = 0;
  };
  std::optional<int64_t> find(Call call, std::string_view argument);

  std::vector<Counted> byCall_[static_cast<size_t>(Call::COUNT)];
};

}  // namespace orv::sim

#endif
