// What the daemon logs and prints, and what happens around it.
#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "TimelineBuilder.h"
#include "Words.h"

namespace orv::rehearsal {
namespace {

constexpr int64_t SEVERITY_WARNING = 3;
constexpr int64_t SEVERITY_ERROR = 4;

// Takes `suffix` from the end of `text`; false where it does not end so.
bool takeEnd(std::string_view &text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

// What the daemon logs begins with the name of the function that does.
std::string withoutFunction(std::string_view message) {
  constexpr std::string_view SEPARATOR = ": ";
  const size_t end = message.find(SEPARATOR);
  return std::string(end == std::string_view::npos ? message : message.substr(end + SEPARATOR.size()));
}

// "tag NAME = VALUE"; the value that a tag usually has goes without saying.
std::string tagText(const std::string &tag, std::string_view value) {
  return "tag " + tag + (value == "u32 1" ? "" : " = " + std::string(value));
}

const std::string *tagOf(const Event &event) {
  for (const Detail &detail : event.details) {
    if (detail.name == "tag") return &std::get<std::string>(detail.value);
  }
  return nullptr;
}

}  // namespace

struct TimelineBuilder::LogRow {
  std::string_view begin;
  void (TimelineBuilder::*handle)(std::string_view rest);
};

// The first that fits counts.
constexpr TimelineBuilder::LogRow TimelineBuilder::LOG_ROWS[] = {
    {"readyWait: ", &TimelineBuilder::waited},
    {"appStart: application start-up complete", &TimelineBuilder::nothingMore},
    {"appStart: application start-up", &TimelineBuilder::applicationsBegin},
    {"appStart: ", &TimelineBuilder::applicationsSkipped},
    {"ceInternalStartup: CE start-up complete", &TimelineBuilder::complete},
    {"ceInternalStartup: ungraceful shutdown, ", &TimelineBuilder::applicationsSkipped},
    {"ceInternalStartup: executable start-up failed, ", &TimelineBuilder::applicationsSkipped},
    {"exeStart: ungraceful shutdown, ", &TimelineBuilder::executablesNotWaitedFor},
    {"parseExeDefs: Executable '", &TimelineBuilder::executableDefined},
    {"parseAppExeDefFile: application definition file inaccessible", &TimelineBuilder::definitionsMissing},
    {"boardReset: hardware reset requested, but disabled", &TimelineBuilder::resetDisabled},
    {"boardReset: adding ", &TimelineBuilder::resetAnnounced},
    {"boardReset: reset failed ", &TimelineBuilder::resetFailed},
    // Told from the calls before them.
    {"exeRun: ", &TimelineBuilder::nothingMore},
    {"appStartAll: timed out waiting ", &TimelineBuilder::nothingMore},
    {"exeStartAll: Exe sentinel EU creation failed ", &TimelineBuilder::nothingMore},
    {"fullStartup: start-up EU creation failed", &TimelineBuilder::nothingMore},
    {"initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG creation failed", &TimelineBuilder::nothingMore},
};

struct TimelineBuilder::NodeRow {
  std::string_view begin;
  void (TimelineBuilder::*handle)(std::string_view rest);
};

constexpr TimelineBuilder::NodeRow TimelineBuilder::NODE_ROWS[] = {
    {"program ", &TimelineBuilder::programEvent},
    {"tag ", &TimelineBuilder::tagFromOutside},
    {"start-up record: ", &TimelineBuilder::startupRecord},
    {"nothing more is going to happen: ", &TimelineBuilder::operatorEnds},
    {"expected ", &TimelineBuilder::messageMissing},
    {"end: ", &TimelineBuilder::bootEnded},
};

struct TimelineBuilder::ConsoleRow {
  std::string_view begin;
};

// Complaints about the command line and its like, which the daemon prints and does not log.
constexpr TimelineBuilder::ConsoleRow TimelineBuilder::CONSOLE_ROWS[] = {
    {"Unknown option "},
    {"ORVDaemonExe: "},
    {"Failed to get node id for slave "},
    {"AddSlave/ Failed to get "},
    {"Not able to trigger CE level shutdown "},
};

void TimelineBuilder::nothingMore(std::string_view) {}

void TimelineBuilder::addLog(int64_t severity, std::string_view message) {
  severity_ = severity;
  message_ = message;
  for (const LogRow &row : LOG_ROWS) {
    std::string_view rest = message;
    if (take(rest, row.begin)) return (this->*row.handle)(rest);
  }
  if (severity < SEVERITY_WARNING) return;
  const std::string text = withoutFunction(message);
  const bool isError = severity >= SEVERITY_ERROR;
  Event &event = push(EventKind::LOG, isError ? Mark::FAILURE : Mark::NOTE, actorName(), text);
  if (isError) event.problem = text;
  event.details = {{"severity", severity}, {"message", std::string(message)}};
}

void TimelineBuilder::addConsole(std::string_view text) {
  if (!take(text, "err: ") && !take(text, "out: ")) return;
  for (const ConsoleRow &row : CONSOLE_ROWS) {
    if (!text.starts_with(row.begin)) continue;
    const std::string line(text);
    push(EventKind::OPTION_REFUSED, Mark::FAILURE, "daemon", "says: " + line).problem =
        "the daemon says \"" + line + "\"";
    return;
  }
}

void TimelineBuilder::addNode(std::string_view text) {
  for (const NodeRow &row : NODE_ROWS) {
    std::string_view rest = text;
    if (take(rest, row.begin)) return (this->*row.handle)(rest);
  }
  if (text.starts_with("SIG") || text.starts_with("signal ")) signalCame(text);
}

// --- the start-up ---------------------------------------------------------------------------------------------------

void TimelineBuilder::startupRecord(std::string_view rest) {
  if (!ceStarted_ || !take(rest, "nid=")) return;
  const std::string nid(rest.substr(0, rest.find(' ')));
  push(EventKind::CE_STARTED, Mark::NONE, "daemon", "starts the CE of node " + nid).details = {
      {"nid", takeNumber(rest).value_or(0)}};
}

void TimelineBuilder::applicationsBegin(std::string_view) {
  applicationsBegun_ = true;
}

void TimelineBuilder::applicationsSkipped(std::string_view) {
  push(EventKind::APPLICATIONS_SKIPPED, Mark::FAILURE, "daemon", withoutFunction(message_)).problem =
      "no application is started";
}

void TimelineBuilder::executablesNotWaitedFor(std::string_view) {
  executables_.clear();
  push(EventKind::LOG, Mark::NOTE, "daemon", withoutFunction(message_)).details = {{"severity", severity_},
                                                                                   {"message", std::string(message_)}};
}

void TimelineBuilder::complete(std::string_view) {
  timeline_.completeMs = line_.atMs;
  push(EventKind::COMPLETE, Mark::NONE, "daemon", "CE start-up complete");
}

void TimelineBuilder::definitionsMissing(std::string_view) {
  const bool isError = severity_ >= SEVERITY_ERROR;
  Event &event =
      push(EventKind::DEFINITIONS_MISSING, isError ? Mark::FAILURE : Mark::NOTE, "daemon",
           "cannot open the application definition file " + lastFile_ + (isError ? "" : ", which is optional"));
  if (isError) event.problem = "there is no " + lastFile_;
  event.details = {{"file", lastFile_}};
}

// PATH' has arguments 'PATH' and online tag to wait 'TAG'
void TimelineBuilder::executableDefined(std::string_view rest) {
  constexpr std::string_view BEFORE_TAG = "' and online tag to wait '";
  const size_t pathEnd = rest.find("' has arguments '");
  const size_t tagBegin = rest.rfind(BEFORE_TAG);
  if (pathEnd == std::string_view::npos || tagBegin == std::string_view::npos || !takeEnd(rest, "'")) return;
  const std::string_view tag = rest.substr(tagBegin + BEFORE_TAG.size());
  if (!tag.empty()) executables_.push_back({std::string(rest.substr(0, pathEnd)), std::string(tag)});
}

// --- waiting for a tag ----------------------------------------------------------------------------------------------

void TimelineBuilder::waited(std::string_view rest) {
  std::string_view budget = rest;
  if (take(budget, "waiting ") && takeNumber(budget) && take(budget, " ms for ") && takeEnd(budget, " to be set")) {
    return beginWait(std::string(budget));
  }
  if (takeEnd(rest, " tag not set in time")) return endWait(std::string(rest), false);
  if (takeEnd(rest, " tag set in time")) endWait(std::string(rest), true);
}

// Executables are waited for in the order of their definitions, an application right after its EU was created.
void TimelineBuilder::beginWait(const std::string &tag) {
  std::string who = lastProgram_;
  if (!applicationsBegun_ && !executables_.empty()) {
    who = executables_.front().path;
    executables_.pop_front();
  }
  wait_ = Wait{who, tag, line_.atMs};
}

void TimelineBuilder::endWait(const std::string &tag, bool inTime) {
  if (!wait_) return;
  const uint64_t waitedMs = line_.atMs - wait_->sinceMs;
  const std::string duration = preciseDurationText(waitedMs);
  const std::string who = wait_->who;
  wait_.reset();
  const std::vector<Detail> details = {{"tag", tag}, {"waited_ms", static_cast<int64_t>(waitedMs)}};
  if (inTime) {
    const std::string when = waitedMs == 0 ? "at once" : "after " + duration;
    push(EventKind::ONLINE, Mark::NONE, who, "online " + when + " (" + tag + ")").details = details;
    return;
  }
  lastTimeOut_ = who + " does not come online in time";
  Event &event =
      push(EventKind::TIMED_OUT, Mark::FAILURE, who, "not online after " + duration + " (" + tag + "): given up");
  event.problem = lastTimeOut_;
  event.details = details;
}

// --- resets ---------------------------------------------------------------------------------------------------------

void TimelineBuilder::resetDisabled(std::string_view) {
  push(EventKind::RESET_DISABLED, Mark::FAILURE, actorName(),
       std::string("a board reset is asked for and not made: ") +
           (resetForbidden_ ? "RAD parameter 0x10077 forbids it" : "the watchdog is not enabled"));
}

void TimelineBuilder::resetAnnounced(std::string_view rest) {
  const int64_t delayS = takeNumber(rest).value_or(0);
  push(EventKind::RESET_ANNOUNCED, Mark::FAILURE, actorName(),
       "a board reset is asked for, in " + std::to_string(delayS) + " s")
      .details = {{"delay_ms", delayS * 1000}};
}

// (RESULT)
void TimelineBuilder::resetFailed(std::string_view rest) {
  take(rest, "(");
  const bool isNegative = take(rest, "-");
  const int64_t number = takeNumber(rest).value_or(0);
  const int64_t result = isNegative ? -number : number;
  push(EventKind::RESET_FAILED, Mark::FAILURE, actorName(),
       "the board cannot be reset: " + resultText(static_cast<int32_t>(result)))
      .details = {{"result", result}};
}

// --- around the daemon ----------------------------------------------------------------------------------------------

// "PATH" under EU NUMBER sets tag "NAME" = VALUE | ends: ... | ends with the shutdown | is killed by the shutdown
void TimelineBuilder::programEvent(std::string_view rest) {
  if (!takeQuoted(rest) || !take(rest, " under EU ")) return;
  const auto eu = static_cast<uint32_t>(takeNumber(rest).value_or(0));
  const std::string who = euName(eu);
  if (take(rest, " sets tag ")) {
    const std::string tag = takeQuoted(rest).value_or("");
    take(rest, " = ");
    push(EventKind::TAG_SET, Mark::NONE, who, "sets " + tagText(tag, rest)).details = {{"tag", tag},
                                                                                       {"value", std::string(rest)}};
  } else if (rest == " ends with the shutdown") {
    push(EventKind::PROGRAM_SHUT_DOWN, Mark::NONE, who, "ended with the shutdown").details = {{"eu", eu}};
  } else if (rest == " is killed by the shutdown") {
    push(EventKind::PROGRAM_KILLED, Mark::NOTE, who, "did not end with the shutdown and is killed").details = {
        {"eu", eu}};
  }
  // Its own end is told from the call that comes back with it.
}

void TimelineBuilder::tagFromOutside(std::string_view rest) {
  const std::string tag = takeQuoted(rest).value_or("");
  if (!take(rest, " = ") || !takeEnd(rest, " is set from outside")) return;
  push(EventKind::TAG_SET, Mark::NONE, "node", tagText(tag, rest) + " is set from outside").details = {
      {"tag", tag}, {"value", std::string(rest)}};
}

void TimelineBuilder::operatorEnds(std::string_view) {
  operatorEnds_ = true;
}

void TimelineBuilder::signalCame(std::string_view rest) {
  const bool isIgnored = takeEnd(rest, " is ignored");
  const bool isDeadly = !isIgnored && takeEnd(rest, " ends the daemon");
  const std::string name(rest);
  const std::string text = isIgnored ? "ignores " + name : isDeadly ? "is not prepared for " + name : "gets " + name;
  Event &event = push(EventKind::SIGNAL, isDeadly ? Mark::FAILURE : Mark::NONE, "daemon",
                      text + (operatorEnds_ ? ": nothing more is going to happen, the operator ends it" : ""));
  event.details = {{"signal", name}};
  operatorEnds_ = false;
}

void TimelineBuilder::messageMissing(std::string_view rest) {
  if (!takeEnd(rest, " was not sent")) return;
  const std::string message(rest);
  push(EventKind::MESSAGE_MISSING, Mark::FAILURE, "node", message + " was expected and not sent").problem =
      message + " is not sent";
}

struct TimelineBuilder::EndRow {
  std::string_view begin;
  const char *how;   // for programs
  const char *up;    // what the daemon does where it was up; null: a failure in any case
  const char *down;  // and where it was not
};

constexpr TimelineBuilder::EndRow TimelineBuilder::END_ROWS[] = {
    {"exit status 0", "exit", "ends with exit status 0", "ends before it is up, with exit status 0"},
    {"exit status ", "exit", nullptr, "ends with exit status "},
    {"killed by ", "signal", nullptr, "is killed by "},
    {"nothing can happen any more", "stuck", "runs on, and nothing more is going to happen",
     "is stuck before it is up: nothing can happen any more"},
    {"the time is up", "time-up", "runs on when the time is up", "is not up when the time is"},
    {"", "loop", nullptr, "makes "},
};

void TimelineBuilder::bootEnded(std::string_view rest) {
  ended_ = true;
  if (rest == "board reset") {
    push(EventKind::RESET_DONE, Mark::FAILURE, "node", "the board is reset");
    return;
  }
  if (wait_) {
    const std::string problem = wait_->who + " was not online yet";
    Event &event = push(EventKind::STILL_WAITING, Mark::FAILURE, wait_->who, "still not online (" + wait_->tag + ")");
    event.problem = problem;
    event.details = {{"tag", wait_->tag}, {"waited_ms", static_cast<int64_t>(line_.atMs - wait_->sinceMs)}};
  }
  const std::string whole(rest);
  const auto *const row = std::find_if(std::begin(END_ROWS), std::end(END_ROWS) - 1,
                                       [&](const EndRow &each) { return take(rest, each.begin); });
  const bool isFine = timeline_.completeMs && row->up != nullptr;
  const std::string text = isFine ? row->up : row->down + std::string(rest);
  Event &event = push(EventKind::END, isFine ? Mark::NONE : Mark::FAILURE, "daemon", text);
  if (!isFine) event.problem = "the daemon " + text;
  event.details = {{"how", row->how}, {"end", whole}};
}

// A tag that comes in time is told of by the wait for it.
void TimelineBuilder::settleTags() {
  std::set<std::string> late;
  for (Event &event : timeline_.events) {
    if (event.kind == EventKind::TIMED_OUT) late.insert(*tagOf(event));
    if (event.kind != EventKind::TAG_SET || !late.contains(*tagOf(event))) continue;
    event.mark = Mark::NOTE;
    event.text += ", too late";
  }
  // From the last event to the first: what has an ONLINE behind it goes.
  std::set<std::string> online;
  std::vector<Event> kept;
  for (auto event = timeline_.events.rbegin(); event != timeline_.events.rend(); ++event) {
    if (event->kind == EventKind::ONLINE) online.insert(*tagOf(*event));
    if (event->kind == EventKind::TAG_SET && online.contains(*tagOf(*event))) continue;
    kept.push_back(std::move(*event));
  }
  timeline_.events.assign(std::make_move_iterator(kept.rbegin()), std::make_move_iterator(kept.rend()));
}

Timeline TimelineBuilder::finish() {
  settleTags();
  return std::move(timeline_);
}

}  // namespace orv::rehearsal
