#include "ResetStory.h"

#include <algorithm>

#include "Clock.h"
#include "LastRun.h"
#include "Words.h"

namespace orv {
namespace {

bool isReset(FlightKind kind) {
  return kind == FlightKind::RESET_REQUESTED || kind == FlightKind::RESET_FAILED || kind == FlightKind::RESET_HELD;
}

bool isStart(const FlightEntry &entry) {
  return entry.kind == FlightKind::STARTED;
}

// How long the run had been up, and how far its start-up was.
std::string circumstances(const ResetStory &story) {
  const FlightEntry &request = *story.request;
  std::string text = timeText(request.realtimeNs);
  if (story.lastStart && story.lastStart->bootId == request.bootId &&
      story.lastStart->boottimeNs <= request.boottimeNs) {
    const uint64_t ageS = (request.boottimeNs - story.lastStart->boottimeNs) / NS_PER_S;
    text += ", " + durationText(ageS) + " after the CE start-up";
  }
  return request.stage.empty() ? text : text + ", " + request.stage;
}

std::string whatText(const ResetStory &story) {
  std::string text = lastEndText(story.start.lastEnd);
  if (story.request) return text + " (" + circumstances(story) + ")";
  if (story.lastStart) text += " (it had begun at " + timeText(story.lastStart->realtimeNs) + ")";
  return text;
}

std::string requestText(const FlightEntry &request) {
  switch (request.kind) {
    case FlightKind::RESET_FAILED:
      return requesterText(request) + "; " + request.means;
    case FlightKind::RESET_HELD:
      return requesterText(request) + "; the reset by " + request.means + " was held off";
    default:
      return requesterText(request) + "; reset by " + request.means;
  }
}

std::string joined(const std::vector<std::string> &parts, const std::string &separator) {
  std::string text;
  for (const std::string &part : parts)
    text += (text.empty() ? "" : separator) + part;
  return text;
}

std::string lastWordsText(const ResetStory &story) {
  if (!story.request || story.request->lastWords.empty()) return "none recorded";
  // Three are as much as fits on a line.
  constexpr size_t SHOWN = 3;
  const std::vector<std::string> &words = story.request->lastWords;
  const size_t first = words.size() > SHOWN ? words.size() - SHOWN : 0;
  return joined({words.begin() + static_cast<std::ptrdiff_t>(first), words.end()}, " | ");
}

std::string counted(size_t count, const char *one, const char *many) {
  return ", " + std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string sinceText(const ResetStory &story) {
  const auto count = [&](FlightKind kind) {
    return static_cast<size_t>(std::count_if(story.since.begin(), story.since.end(),
                                             [kind](const FlightEntry &entry) { return entry.kind == kind; }));
  };
  std::string text = "started at " + timeText(story.start.realtimeNs);
  if (story.start.resetsInARow != 0) {
    text += counted(story.start.resetsInARow, "requested reset in a row", "requested resets in a row");
  }
  if (const size_t held = count(FlightKind::RESET_HELD); held != 0) {
    text += counted(held, "reset held off", "resets held off");
  }
  if (const size_t failed = count(FlightKind::RESET_FAILED); failed != 0) {
    text += counted(failed, "reset failed", "resets failed");
  }
  if (story.damagedEntries != 0)
    text += counted(story.damagedEntries, "damaged entry skipped", "damaged entries skipped");
  return text;
}

}  // namespace

std::optional<ResetStory> resetStoryOf(const FlightRecord &record) {
  const std::vector<FlightEntry> &entries = record.entries;
  const auto start = std::find_if(entries.rbegin(), entries.rend(), isStart);
  if (start == entries.rend()) return std::nullopt;
  ResetStory story;
  story.start = *start;
  story.damagedEntries = std::max(record.damagedEntries, start->damagedEntries);
  for (auto entry = start + 1; entry != entries.rend(); ++entry) {
    if (isReset(entry->kind) && !story.request) story.request = *entry;
    if (!isStart(*entry)) continue;
    story.lastStart = *entry;
    break;
  }
  std::copy_if(start.base(), entries.end(), std::back_inserter(story.since),
               [](const FlightEntry &entry) { return isReset(entry.kind); });
  return story;
}

std::string resetStoryText(const ResetStory &story) {
  const std::string board = joined(story.start.boardWords, "; ");
  return tableText({{"the last run", printable(whatText(story))},
                    {"who asked", story.request ? printable(requestText(*story.request)) : "nobody of this node"},
                    {"last words", printable(lastWordsText(story))},
                    {"the board says", board.empty() ? "nothing" : printable(board)},
                    {"this run", printable(sinceText(story))}});
}

}  // namespace orv
