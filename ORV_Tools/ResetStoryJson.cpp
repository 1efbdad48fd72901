#include <iterator>

#include "Json.h"
#include "LastRun.h"
#include "LogView.h"
#include "NodeStore.h"
#include "ResetStory.h"

namespace orv {
namespace {

// By the numbers of LastEnd, FlightKind and ResetCause, from 1 on.
constexpr const char *END_NAMES[] = {"unknown",        "stopped", "daemon_died", "reset_made",
                                     "reset_not_made", "panic",   "watchdog",    "outside"};
static_assert(std::size(END_NAMES) == static_cast<size_t>(LastEnd::OUTSIDE));
constexpr const char *KIND_NAMES[] = {"started", "reset_requested", "reset_failed", "reset_held", "stopped"};
static_assert(std::size(KIND_NAMES) == static_cast<size_t>(FlightKind::STOPPED));
constexpr const char *CAUSE_NAMES[] = {"unknown", "program_ended", "launch_failed", "not_online"};
static_assert(std::size(CAUSE_NAMES) == static_cast<size_t>(ResetCause::NOT_ONLINE));
template <size_t COUNT>
const char *nameOf(const char *const (&names)[COUNT], size_t number) {
  return number >= 1 && number <= COUNT ? names[number - 1] : "unknown";
}

const char *eventNameOf(const FlightEvent &event) {
  const bool isKnown = event.kind >= 1 && event.kind <= static_cast<size_t>(EventKind::STARTUP_COMPLETE);
  return isKnown ? eventKindName(static_cast<EventKind>(event.kind)) : "unknown";
}

std::string eventJson(const FlightEvent &event) {
  return JsonObject()
      .number("monotonic_ns", event.monotonicNs)
      .number("eu", event.euId)
      .text("kind", eventNameOf(event))
      .number("code", event.code)
      .text("text", event.text)
      .str();
}

void addTimes(JsonObject &object, const FlightEntry &entry) {
  object.text("boot_id", entry.bootId).number("realtime_ns", entry.realtimeNs).number("boottime_ns", entry.boottimeNs);
}

std::string beginJson(const FlightEntry &start) {
  JsonObject object;
  addTimes(object, start);
  return object.str();
}

std::string startJson(const FlightEntry &start) {
  JsonObject object;
  addTimes(object, start);
  return object.number("resets_in_a_row", start.resetsInARow).number("ungraceful", start.ungracefulCount).str();
}

std::string requestJson(const FlightEntry &entry) {
  JsonObject object;
  object.text("kind", nameOf(KIND_NAMES, static_cast<size_t>(entry.kind)));
  addTimes(object, entry);
  return object.text("stage", entry.stage)
      .text("means", entry.means)
      .text("cause", nameOf(CAUSE_NAMES, static_cast<size_t>(entry.cause)))
      .text("eu", entry.euName)
      .text("path", entry.path)
      .text("args", entry.args)
      .text("tag", entry.tag)
      .raw("result", std::to_string(entry.result))
      .raw("wait_status", std::to_string(entry.waitStatus))
      .text("text", requesterText(entry))
      .raw("last_words", jsonArray(entry.lastWords, jsonString))
      .raw("events", jsonArray(entry.events, eventJson))
      .str();
}

}  // namespace

std::string resetStoryJson(const ResetStory &story) {
  const FlightEntry &start = story.start;
  return JsonObject()
             .text("last_run", nameOf(END_NAMES, static_cast<size_t>(start.lastEnd)))
             .text("text", lastEndText(start.lastEnd))
             .raw("began", story.lastStart ? beginJson(*story.lastStart) : "null")
             .raw("request", story.request ? requestJson(*story.request) : "null")
             .raw("board", jsonArray(start.boardWords, jsonString))
             .raw("start", startJson(start))
             .raw("since", jsonArray(story.since, requestJson))
             .number("damaged_entries", story.damagedEntries)
             .str() +
         "\n";
}

}  // namespace orv
