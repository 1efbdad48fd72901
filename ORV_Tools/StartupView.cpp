#include "StartupView.h"

#include <algorithm>
#include <cstdio>

#include "Clock.h"
#include "HexText.h"
#include "TimeAxis.h"
#include "Utf8.h"
#include "Words.h"

namespace orv {
namespace {

// What a chart shows after the end of the start-up: a 16th.
constexpr uint64_t TAIL_DIVISOR = 16;

// From `beginsNs` on the last of the spans is in another phase.
void changePhase(std::vector<PhaseSpan> &spans, Phase phase, uint64_t beginsNs) {
  PhaseSpan &last = spans.back();
  if (beginsNs <= last.beganNs) {
    last.phase = phase;
    return;
  }
  const uint64_t endedNs = last.endedNs;
  if (beginsNs >= endedNs) return;
  last.endedNs = beginsNs;
  spans.push_back({phase, beginsNs, endedNs});
}

// What it waited for last.
std::string daemonText(const StartupModel &model) {
  std::string text;
  for (const StartupProgram &program : model.programs) {
    if (program.wait && program.wait->state == WaitState::STILL_WAITING)
      text = ", waiting for " + printable(program.name);
  }
  return text;
}

const char *onlineWord(const StartupProgram &program) {
  return program.wait ? "online" : "ready";
}

std::string waitText(const StartupWait &wait) {
  const std::string tag = "tag " + printable(wait.tag);
  switch (wait.state) {
    case WaitState::ONLINE:
      return "waited for " + tag + ": " + shortDuration(*wait.endedNs - wait.beganNs);
    case WaitState::TIMED_OUT:
      return "waited for " + tag + ", in vain: " + shortDuration(*wait.endedNs - wait.beganNs);
    case WaitState::STILL_WAITING:
      return "waited for " + tag + ", which times out after " + shortDuration(wait.budgetMs * NS_PER_MS);
  }
  return "";  // not reached
}

}  // namespace

uint64_t chartLengthNs(const StartupModel &model) {
  const bool isOver = model.state == StartupState::COMPLETE || model.state == StartupState::UNKNOWN;
  return std::max<uint64_t>(model.lengthNs + (isOver ? model.lengthNs / TAIL_DIVISOR : 0), NS_PER_MS);
}

std::vector<PhaseSpan> phasesOf(const StartupProgram &program, uint64_t lengthNs) {
  const uint64_t endedNs = std::min(program.endedNs.value_or(lengthNs), lengthNs);
  std::vector<PhaseSpan> spans = {{Phase::CREATED, std::min(program.createdNs, endedNs), endedNs}};
  const bool isAwaited = program.wait || program.readyNs;
  if (program.startedNs) changePhase(spans, isAwaited ? Phase::STARTING : Phase::RUNNING, *program.startedNs);
  // A tag that was set before the program ran says nothing of the program.
  if (program.startedNs && program.readyNs) {
    changePhase(spans, Phase::ONLINE, std::max(*program.readyNs, *program.startedNs));
  }
  if (spans.front().beganNs == spans.front().endedNs) spans.clear();
  return spans;
}

OutcomeText outcomeOf(const StartupModel &model, const StartupProgram &program, uint64_t lengthNs) {
  const bool hasEnded = program.endedNs && *program.endedNs <= lengthNs;
  if (hasEnded && program.state == EuState::LAUNCH_FAILED) return {Outcome::FAILED, "could not be started"};
  if (program.wait && program.wait->state == WaitState::TIMED_OUT) return {Outcome::TIMED_OUT, "not online in time"};
  if (hasEnded && program.state == EuState::SHUT_DOWN) return {Outcome::SHUT_DOWN, "ended by the shutdown"};
  if (hasEnded && program.waitStatus != 0) return {Outcome::FAILED, endText(program.waitStatus)};
  if (program.wait && program.wait->state == WaitState::STILL_WAITING) {
    return {Outcome::WAITED_FOR, model.state == StartupState::GOING_ON ? "is waited for" : "was waited for"};
  }
  if (hasEnded && program.state == EuState::PROGRAM_ENDED) return {Outcome::DONE, "exited with 0"};
  if (program.readyNs && *program.readyNs <= lengthNs) return {Outcome::ONLINE, onlineWord(program)};
  return {Outcome::RUNNING, program.startedNs ? "running" : "not started"};
}

std::string startupName(const StartupModel &model) {
  const std::string nid = model.nid ? " " + nidText(*model.nid) : "";
  const std::string name = model.ceName.empty() ? "" : " (" + printable(model.ceName) + ")";
  return "node" + nid + name + ", run " + std::to_string(model.run);
}

std::string startupStateText(const StartupModel &model) {
  switch (model.state) {
    case StartupState::COMPLETE:
      return "complete after " + shortDuration(model.lengthNs);
    case StartupState::GOING_ON:
      return "going on for " + shortDuration(model.lengthNs) + daemonText(model);
    case StartupState::INTERRUPTED:
      return "broken off after " + shortDuration(model.lengthNs) + daemonText(model);
    case StartupState::UNKNOWN:
      return "its events are no longer kept";
  }
  return "";  // not reached
}

std::string programDetails(const StartupModel &model, const StartupProgram &program) {
  std::string text = printable(program.name);
  const auto add = [&text](const std::string &line) { text += "\n" + line; };
  if (!program.path.empty()) add(printable(program.args.empty() ? program.path : program.path + " " + program.args));
  add("EU " + std::to_string(program.euId) + (program.pid == 0 ? "" : ", pid " + std::to_string(program.pid)) +
      ", supervision flags " + std::to_string(program.supervisionFlags));
  add("EU created at " + shortDuration(program.createdNs));
  if (program.startedNs) add("program started at " + shortDuration(*program.startedNs));
  if (program.readyNs) add(std::string(onlineWord(program)) + " at " + shortDuration(*program.readyNs));
  if (program.wait) add(waitText(*program.wait));
  if (program.endedNs) {
    const std::string what = program.state == EuState::LAUNCH_FAILED ? printable(program.failure)
                             : program.state == EuState::SHUT_DOWN   ? "ended by the shutdown"
                                                                     : endText(program.waitStatus);
    add(what + ", at " + shortDuration(*program.endedNs));
  }
  if (program.delayNs != 0) {
    add("held the start-up up by " + shortDuration(program.delayNs) + ", " +
        shareText(program.delayNs, model.lengthNs) + " of it");
  }
  return text;
}

std::string markText(const StartupMark &mark) {
  switch (mark.kind) {
    case MarkKind::ERROR_RAISED:
      return "error raised at " + shortDuration(mark.atNs) + ": " + printable(mark.text);
    case MarkKind::RESET_REQUESTED:
      return "reset at " + shortDuration(mark.atNs) + ": " + printable(mark.text);
    case MarkKind::RESET_HELD:
      return "reset held off at " + shortDuration(mark.atNs) + ": " + printable(mark.text);
  }
  return "";  // not reached
}

std::string shortened(const std::string &text, size_t limit) {
  if (utf8Characters(text) <= limit) return text;
  if (limit == 0) return "";
  size_t length = 0;
  for (size_t count = 1; count < limit; ++count)
    length += utf8Length(std::string_view(text).substr(length));
  return text.substr(0, length) + "\u2026";
}

uint64_t daemonsOwnNs(const StartupModel &model) {
  uint64_t ownNs = 0;
  for (const StartupStep &step : model.criticalPath) {
    if (!step.program) ownNs += step.endedNs - step.beganNs;
  }
  return ownNs;
}

std::string shareText(uint64_t partNs, uint64_t wholeNs) {
  char text[16] = "0 %";
  if (wholeNs == 0) return text;
  const double percent = 100 * static_cast<double>(partNs) / static_cast<double>(wholeNs);
  std::snprintf(text, sizeof text, partNs != 0 && percent < 1 ? "<1 %%" : "%.0f %%", percent);
  return text;
}

}  // namespace orv
