// What the daemon calls; what it logs and what happens around it is in TimelineBuilderLines.cpp.
#include "TimelineBuilder.h"

#include <sys/wait.h>

#include <algorithm>
#include <utility>

#include "HexText.h"
#include "Words.h"

namespace orv::rehearsal {
namespace {

constexpr int32_t SUCCEEDED = 0;
constexpr int32_t RAN = 5;  // a command's result: the wait status tells how it ended
constexpr int64_t RAD_BOARD_RESET_FORBIDDEN = 0x10077;

struct KnownMessage {
  int64_t id;
  const char *name;
};

constexpr KnownMessage KNOWN_MESSAGES[] = {
    {0x1b9d, " (initialisation finished)"},
    {0xfd28, " (applications started)"},
};

std::string messageText(int64_t id) {
  const auto *const known = std::find_if(std::begin(KNOWN_MESSAGES), std::end(KNOWN_MESSAGES),
                                         [id](const KnownMessage &message) { return message.id == id; });
  return "message " + hexText(static_cast<uint64_t>(id)) + (known == std::end(KNOWN_MESSAGES) ? "" : known->name);
}

int64_t numberIn(std::string_view text) {
  return takeNumber(text).value_or(0);
}

// The number behind `label` in the first argument that holds it.
int64_t labelledNumber(const TraceCall &call, std::string_view label) {
  for (const std::string &argument : call.arguments) {
    const size_t place = argument.find(label);
    if (place != std::string::npos) return numberIn(std::string_view(argument).substr(place + label.size()));
  }
  return 0;
}

std::string argumentOf(const TraceCall &call, size_t index) {
  return index < call.arguments.size() ? call.arguments[index] : "";
}

}  // namespace

struct TimelineBuilder::CallRow {
  std::string_view function;
  void (TimelineBuilder::*handle)(const TraceCall &call);
};

constexpr TimelineBuilder::CallRow TimelineBuilder::CALL_ROWS[] = {
    {"AaSysLogPrint", &TimelineBuilder::logged},
    {"AaProEuCreateAndStart", &TimelineBuilder::euCreated},
    {"AaProEuCreateAndStartJoinable", &TimelineBuilder::startupEuCreated},
    {"AaProCmdExec", &TimelineBuilder::commandRun},
    {"AaStartupCeStartup", &TimelineBuilder::ceStarted},
    {"ddal_system_notify_ready", &TimelineBuilder::noticeSent},
    {"AaConfigTagReadFile", &TimelineBuilder::configurationRead},
    {"AaConfigTagSetString", &TimelineBuilder::tagSetByDaemon},
    {"AaConfigTagSetU16", &TimelineBuilder::tagSetByDaemon},
    {"AaConfigTagSetU32", &TimelineBuilder::tagSetByDaemon},
    {"AaConfigRadGetValue", &TimelineBuilder::radRead},
    {"AaFileOpen", &TimelineBuilder::fileOpened},
    {"AaErrorExceptionRaise", &TimelineBuilder::errorRaised},
    {"ddal_watchdog_reboot", &TimelineBuilder::resetCalled},
    {"AaSysComMsgCreate", &TimelineBuilder::messageCreated},
    {"AaSysComMsgSendWithPriority", &TimelineBuilder::messageSent},
};

void TimelineBuilder::add(const TraceLine &line) {
  line_ = line;
  if (line.actor == TraceLine::Actor::NODE) return addNode(line.text);
  const std::string_view function = calledFunction(line.text);
  if (function.empty()) return addConsole(line.text);
  for (const CallRow &row : CALL_ROWS) {
    if (row.function != function) continue;
    if (const std::optional<TraceCall> call = parseTraceCall(line.text)) (this->*row.handle)(*call);
    return;
  }
}

Event &TimelineBuilder::push(EventKind kind, Mark mark, const std::string &who, const std::string &text) {
  Event &event = timeline_.events.emplace_back();
  event.atMs = line_.atMs;
  event.kind = kind;
  event.mark = mark;
  event.who = who;
  event.text = text;
  return event;
}

std::string TimelineBuilder::euName(uint32_t eu) const {
  const auto found = programs_.find(eu);
  return found == programs_.end() ? "daemon" : found->second.name;
}

std::string TimelineBuilder::actorName() const {
  return line_.actor == TraceLine::Actor::EU ? euName(line_.eu) : "daemon";
}

// --- programs -------------------------------------------------------------------------------------------------------

void TimelineBuilder::euCreated(const TraceCall &call) {
  lastProgram_ = argumentOf(call, 0);
  std::string_view outcome = call.outcome;
  const int64_t result = takeNumber(outcome).value_or(0);
  if (take(outcome, ", EU ")) {
    programs_[static_cast<uint32_t>(numberIn(outcome))].name = lastProgram_;
    return;
  }
  Event &event = push(EventKind::EU_FAILED, Mark::FAILURE, lastProgram_,
                      "its EU cannot be started: " + resultText(static_cast<int32_t>(result)));
  event.problem = lastProgram_ + " has no EU";
  event.details = {{"result", result}};
}

void TimelineBuilder::startupEuCreated(const TraceCall &call) {
  const int64_t result = numberIn(call.outcome);
  if (result == 0) return;
  Event &event = push(EventKind::EU_FAILED, Mark::FAILURE, "daemon",
                      "the start-up EU cannot be started: " + resultText(static_cast<int32_t>(result)));
  event.problem = "the start-up has no EU";
  event.details = {{"result", result}};
}

// A run is two lines, one for its beginning and one for its end; one alone with a result is no run.
void TimelineBuilder::commandRun(const TraceCall &call) {
  if (line_.actor != TraceLine::Actor::EU) return;
  if (call.arguments.size() > 1) programStarted(call);
  if (call.outcome.empty()) return;
  std::string_view outcome = call.outcome;
  const auto result = static_cast<int32_t>(takeNumber(outcome).value_or(0));
  const auto waitStatus = static_cast<int32_t>(take(outcome, ", status ") ? numberIn(outcome) : 0);
  Program &program = programs_[line_.eu];
  if (program.path.empty()) return;  // an end without a beginning
  if (result == SUCCEEDED || result == RAN) {
    programEnded(program, result, waitStatus);
  } else {
    programNotStarted(program, result);
  }
}

void TimelineBuilder::programStarted(const TraceCall &call) {
  Program &program = programs_[line_.eu];
  program.path = argumentOf(call, 0);
  program.startedMs = line_.atMs;
  program.startEvent = timeline_.events.size();
  const std::string arguments = argumentOf(call, 1);
  Event &event = push(EventKind::PROGRAM_STARTED, Mark::NONE, program.name,
                      "started: " + program.path + (arguments.empty() ? "" : " " + arguments));
  event.details = {{"eu", line_.eu}, {"path", program.path}, {"arguments", arguments}};
}

void TimelineBuilder::programEnded(Program &program, int32_t result, int32_t waitStatus) {
  const uint64_t ranMs = line_.atMs - program.startedMs;
  const std::string how = endText(waitStatus);
  Event &event = push(EventKind::PROGRAM_ENDED, waitStatus == 0 ? Mark::NONE : Mark::FAILURE, program.name,
                      how + " after " + preciseDurationText(ranMs));
  if (waitStatus != 0) event.problem = program.problem = program.name + (WIFSIGNALED(waitStatus) ? " was " : " ") + how;
  event.details = {
      {"eu", line_.eu}, {"ran_ms", static_cast<int64_t>(ranMs)}, {"result", result}, {"wait_status", waitStatus}};
}

// The event of its start becomes this one: it was not started after all.
void TimelineBuilder::programNotStarted(Program &program, int32_t result) {
  program.problem = program.name + " could not be started";
  Event &event = timeline_.events[program.startEvent];
  event.kind = EventKind::PROGRAM_NOT_STARTED;
  event.mark = Mark::FAILURE;
  event.text = launchFailureText(result) + " (" + program.path + ")";
  event.problem = program.problem;
  event.details = {{"eu", line_.eu}, {"path", program.path}, {"result", result}};
}

void TimelineBuilder::errorRaised(const TraceCall &call) {
  const std::string text = argumentOf(call, 4);
  push(EventKind::ERROR_RAISED, Mark::FAILURE, actorName(), "raises an error: " + text).details = {
      {"kind", numberIn(argumentOf(call, 0))}, {"code", numberIn(argumentOf(call, 1))}, {"error", text}};
}

// --- the node -------------------------------------------------------------------------------------------------------

void TimelineBuilder::ceStarted(const TraceCall &call) {
  ceStarted_ = call.outcome == "0";
}

void TimelineBuilder::noticeSent(const TraceCall &call) {
  const int64_t result = numberIn(call.outcome);
  if (result == 0) return;
  push(EventKind::NOTICE_FAILED, Mark::NOTE, "daemon",
       "cannot tell systemd that it is ready: " + resultText(static_cast<int32_t>(result)))
      .details = {{"result", result}};
}

void TimelineBuilder::configurationRead(const TraceCall &call) {
  const int64_t result = numberIn(call.outcome);
  if (result == 0) return;
  const std::string file = argumentOf(call, 0);
  push(EventKind::CONFIGURATION_FAILED, Mark::NOTE, "daemon",
       "cannot read the configuration file " + file + ": " + resultText(static_cast<int32_t>(result)))
      .details = {{"file", file}, {"result", result}};
}

void TimelineBuilder::tagSetByDaemon(const TraceCall &call) {
  const int64_t result = numberIn(call.outcome);
  if (result == 0) return;
  const std::string tag = argumentOf(call, 0);
  push(EventKind::CONFIGURATION_FAILED, Mark::NOTE, "daemon",
       "cannot set tag " + tag + ": " + resultText(static_cast<int32_t>(result)))
      .details = {{"tag", tag}, {"result", result}};
}

void TimelineBuilder::radRead(const TraceCall &call) {
  if (numberIn(argumentOf(call, 0)) == RAD_BOARD_RESET_FORBIDDEN) resetForbidden_ = call.outcome != "0";
}

void TimelineBuilder::fileOpened(const TraceCall &call) {
  lastFile_ = argumentOf(call, 0);
  if (call.outcome == "null") return;  // the daemon's log tells what that means
  push(EventKind::DEFINITIONS_READ, Mark::NONE, "daemon", "reads the applications from " + lastFile_).details = {
      {"file", lastFile_}};
}

// A request that fails is told from the log.
void TimelineBuilder::resetCalled(const TraceCall &call) {
  if (call.outcome != "0") return;
  const auto program = line_.actor == TraceLine::Actor::EU ? programs_.find(line_.eu) : programs_.end();
  timeline_.resetReason = program == programs_.end() ? lastTimeOut_ : program->second.problem;
  push(EventKind::RESET_REQUESTED, Mark::FAILURE, actorName(), "resets the board");
}

// --- messages -------------------------------------------------------------------------------------------------------

void TimelineBuilder::messageCreated(const TraceCall &call) {
  if (call.outcome != "null") return;
  const int64_t id = numberIn(argumentOf(call, 0));
  Event &event = push(EventKind::MESSAGE_FAILED, Mark::FAILURE, actorName(), "cannot make " + messageText(id));
  event.problem = messageText(id) + " is not sent";
  event.details = {{"id", id}, {"receiver", numberIn(argumentOf(call, 2))}};
}

void TimelineBuilder::messageSent(const TraceCall &call) {
  const int64_t id = labelledNumber(call, "id ");
  const int64_t receiver = labelledNumber(call, "receiver ");
  const int64_t result = numberIn(call.outcome);
  const std::string text = messageText(id) + " to " + hexText(static_cast<uint64_t>(receiver));
  Event &event = result == 0 ? push(EventKind::MESSAGE_SENT, Mark::NONE, actorName(), "sends " + text)
                             : push(EventKind::MESSAGE_FAILED, Mark::FAILURE, actorName(),
                                    "cannot send " + text + ": " + resultText(static_cast<int32_t>(result)));
  if (result != 0) event.problem = messageText(id) + " is not sent";
  event.details = {{"id", id}, {"receiver", receiver}, {"sender", labelledNumber(call, "sender ")}};
}

void TimelineBuilder::logged(const TraceCall &call) {
  std::string_view outcome = call.outcome;
  const size_t begin = outcome.find(": \"");
  if (begin == std::string_view::npos) return;
  outcome.remove_prefix(begin + 2);
  const std::optional<std::string> line = takeQuoted(outcome);
  if (!line) return;
  std::string_view message = *line;
  if (take(message, "ORV/OrvDaemon, ")) addLog(numberIn(argumentOf(call, 0)), message);
}

}  // namespace orv::rehearsal
