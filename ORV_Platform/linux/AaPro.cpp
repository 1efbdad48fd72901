#include "AaPro.h"

#include <cerrno>
#include <exception>
#include <string>
#include <utility>

#include "Caretaker.h"
#include "Clock.h"
#include "Command.h"
#include "ExecutionUnits.h"
#include "Platform.h"
#include "StoreWriter.h"

namespace orv {
namespace {

constexpr int32_t RAN_AND_SUCCEEDED = 0;
constexpr int32_t RAN_AND_FAILED = 5;

int32_t createFromInterface(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                            const void *argument, uint32_t argumentSize, bool joinable) {
  if (euId == nullptr || name == nullptr || entry == nullptr || (argument == nullptr && argumentSize != 0)) {
    return EINVAL;
  }
  try {
    EuRequest request;
    request.name = name;
    request.entry = entry;
    request.stackBytes = stackSize;
    request.argument = argument;
    request.argumentBytes = argumentSize;
    request.joinable = joinable;
    return createEu(request, *euId);
  } catch (const std::exception &) {
    return ENOMEM;
  }
}

// The record of a command: the calling EU's own where there is one, so that the EU shows what it runs.
class CommandRecord {
 public:
  CommandRecord(const Program &program, uint32_t supervisionFlags) {
    if (EuRecord *own = currentEuRecord()) record_ = own;
    record_->path = program.path;
    record_->args = program.args;
    record_->supervisionFlags = supervisionFlags;
  }
  CommandRecord(const CommandRecord &) = delete;
  CommandRecord &operator=(const CommandRecord &) = delete;

  void started(int32_t pid) {
    record_->state = EuState::RUNNING;
    record_->pid = static_cast<uint32_t>(pid);
    record_->startedNs = monotonicNs();
    write(EventKind::PROGRAM_STARTED, "pid " + std::to_string(pid) + ": " + record_->path);
  }

  void ended(EuState state, int32_t result, int32_t waitStatus) {
    record_->state = state;
    record_->result = result;
    record_->waitStatus = waitStatus;
    record_->endedNs = monotonicNs();
    write(EventKind::PROGRAM_ENDED,
          "pid " + std::to_string(record_->pid) + ": wait status " + std::to_string(waitStatus));
  }

  pid_t pid() const {
    return static_cast<pid_t>(record_->pid);
  }

  void launchFailed(const Status &status) {
    record_->state = EuState::LAUNCH_FAILED;
    record_->result = status.code;
    record_->endedNs = monotonicNs();
    write(EventKind::LAUNCH_FAILED, status.message);
  }

 private:
  void write(EventKind kind, std::string text) {
    if (record_->id != 0) return recordEu(*record_, kind, std::move(text));
    Event event;
    event.kind = kind;
    event.text = std::move(text);
    recordEvent(std::move(event));
  }

  EuRecord fallback_;  // for a thread that is no EU
  EuRecord *record_ = &fallback_;
};

int32_t execute(const Program &program, uint32_t supervisionFlags, int32_t &waitStatus) {
  CommandRecord record(program, supervisionFlags);
  int32_t status = 0;
  const Status started = runProgram(
      program, [&](int32_t pid) { record.started(pid); }, status,
      [&](int32_t endedWith) { record.ended(EuState::SHUT_DOWN, RAN_AND_FAILED, endedWith); });
  if (!started.ok()) {
    record.launchFailed(started);
    platformLog(SEVERITY_ERROR, started.message);
    return started.code;
  }
  waitStatus = status;
  const int32_t result = status == 0 ? RAN_AND_SUCCEEDED : RAN_AND_FAILED;
  record.ended(EuState::PROGRAM_ENDED, result, status);
  outputOwnerEnded(record.pid(), status != 0);
  return result;
}

}  // namespace
}  // namespace orv

// The priority is accepted and has no effect: an EU of this platform waits for a program or polls, and runs when it has
// something to do.
extern "C" int32_t AaProEuCreateAndStart(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                                         uint32_t, const void *argument, uint32_t argumentSize) {
  return orv::createFromInterface(euId, name, entry, stackSize, argument, argumentSize, false);
}

extern "C" int32_t AaProEuCreateAndStartJoinable(uint32_t *euId, const char *name, AaProEuEntry entry,
                                                 uint32_t stackSize, uint32_t, const void *argument,
                                                 uint32_t argumentSize, uint32_t joinable) {
  return orv::createFromInterface(euId, name, entry, stackSize, argument, argumentSize, joinable != 0);
}

extern "C" uint32_t AaProEuCurrent(void) {
  return orv::currentEu();
}

// The supervision flags are recorded; what a failure leads to is the caller's doing.
extern "C" int32_t AaProCmdExec(const char *path, const char *args, uint32_t supervisionFlags, int32_t *waitStatus) {
  if (path == nullptr || args == nullptr || waitStatus == nullptr) return EINVAL;
  try {
    return orv::execute({path, args, orv::currentEuName(), orv::currentEu()}, supervisionFlags, *waitStatus);
  } catch (const std::exception &) {
    return ENOMEM;
  }
}
