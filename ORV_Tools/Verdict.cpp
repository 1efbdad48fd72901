#include "Verdict.h"

#include <algorithm>
#include <string>
#include <vector>

#include "Words.h"

namespace orv::rehearsal {
namespace {

constexpr size_t MOST_PROBLEMS = 3;  // that are named; one reads the time line for more

size_t count(const Timeline &timeline, EventKind kind) {
  return static_cast<size_t>(std::count_if(timeline.events.begin(), timeline.events.end(),
                                           [kind](const Event &event) { return event.kind == kind; }));
}

// "a; b; c and 2 more".
std::string problemsText(const Timeline &timeline) {
  std::vector<std::string> problems;
  for (const Event &event : timeline.events) {
    if (event.problem.empty()) continue;
    if (std::find(problems.begin(), problems.end(), event.problem) == problems.end()) problems.push_back(event.problem);
  }
  std::string text;
  for (size_t i = 0; i < std::min(problems.size(), MOST_PROBLEMS); ++i)
    text += (i == 0 ? "" : "; ") + problems[i];
  if (problems.size() > MOST_PROBLEMS) text += " and " + std::to_string(problems.size() - MOST_PROBLEMS) + " more";
  return text;
}

std::string programsText(const Timeline &timeline) {
  const size_t started = count(timeline, EventKind::PROGRAM_STARTED);
  const size_t online = count(timeline, EventKind::ONLINE);
  if (started == 0) return "no program is started";
  const std::string programs = std::to_string(started) + (started == 1 ? " program" : " programs") + " started, ";
  return programs + (online == 0 ? "none waited for" : std::to_string(online) + " waited for and online in time");
}

std::string resetSentence(const Timeline &timeline) {
  const std::string when = preciseDurationText(timeline.events.back().atMs);
  const std::string reset =
      "the board is reset after " + when + (timeline.resetReason.empty() ? "" : ": " + timeline.resetReason) + ".";
  if (timeline.completeMs) {
    return "The node comes up after " + preciseDurationText(*timeline.completeMs) + ", but " + reset;
  }
  return "The node does not come up: " + reset;
}

std::string failureSentence(const Timeline &timeline) {
  const std::string problems = problemsText(timeline);
  const std::string because = problems.empty() ? "." : ": " + problems + ".";
  if (!timeline.completeMs) return "The node does not come up" + because;
  return "The node comes up after " + preciseDurationText(*timeline.completeMs) + ", but not whole" + because;
}

}  // namespace

void judge(Timeline &timeline) {
  if (count(timeline, EventKind::RESET_DONE) != 0) {
    timeline.verdict = Verdict::RESET;
    timeline.sentence = resetSentence(timeline);
    return;
  }
  const bool failed = std::any_of(timeline.events.begin(), timeline.events.end(),
                                  [](const Event &event) { return event.mark == Mark::FAILURE; });
  if (failed || !timeline.completeMs) {
    timeline.verdict = Verdict::FAILURES;
    timeline.sentence = failureSentence(timeline);
    return;
  }
  timeline.verdict = Verdict::WHOLE;
  timeline.sentence = "The node comes up whole after " + preciseDurationText(*timeline.completeMs) + ": " +
                      programsText(timeline) + ".";
}

}  // namespace orv::rehearsal
