#include "Timeline.h"

#include <iterator>

#include "TimelineBuilder.h"
#include "TraceLines.h"
#include "Verdict.h"

namespace orv::rehearsal {
namespace {

// In the order of EventKind. They stand in the JSON output, so none is ever changed.
constexpr const char *EVENT_NAMES[] = {
    "ce-started",
    "notice-failed",
    "configuration-failed",
    "option-refused",
    "definitions-read",
    "definitions-missing",
    "applications-skipped",
    "eu-failed",
    "program-started",
    "program-not-started",
    "program-ended",
    "program-shut-down",
    "program-killed",
    "tag-set",
    "online",
    "timed-out",
    "still-waiting",
    "error-raised",
    "reset-disabled",
    "reset-announced",
    "reset-requested",
    "reset-failed",
    "message-sent",
    "message-failed",
    "message-missing",
    "log",
    "complete",
    "signal",
    "reset",
    "end",
};
static_assert(std::size(EVENT_NAMES) == static_cast<size_t>(EventKind::END) + 1, "a name for each kind of event");

constexpr const char *VERDICT_NAMES[] = {"whole", "failures", "reset"};
static_assert(std::size(VERDICT_NAMES) == static_cast<size_t>(Verdict::RESET) + 1, "a name for each verdict");

}  // namespace

const char *eventName(EventKind kind) {
  return EVENT_NAMES[static_cast<size_t>(kind)];
}

const char *verdictName(Verdict verdict) {
  return VERDICT_NAMES[static_cast<size_t>(verdict)];
}

std::optional<Timeline> timelineOf(std::string_view trace, std::string &problem) {
  TimelineBuilder builder;
  for (size_t number = 1; !trace.empty(); ++number) {
    const size_t end = trace.find('\n');
    const std::optional<TraceLine> line = parseTraceLine(trace.substr(0, end));
    if (!line || end == std::string_view::npos) {
      problem = "line " + std::to_string(number) + " of the trace is " + (line ? "cut off" : "no line of a trace");
      return std::nullopt;
    }
    builder.add(*line);
    trace.remove_prefix(end + 1);
  }
  if (!builder.ended()) {
    problem = "the trace does not tell how the boot ended";
    return std::nullopt;
  }
  Timeline timeline = builder.finish();
  judge(timeline);
  return timeline;
}

}  // namespace orv::rehearsal
