#include <iterator>

#include "Json.h"
#include "LastRun.h"
#include "NodeStore.h"
#include "ResetStory.h"

namespace orv {
namespace {

// By the numbers of LastEnd, FlightKind, ResetCause and EventKind, from 1 on.
constexpr const char *END_NAMES[] = {"unknown",        "stopped", "daemon_died", "reset_made",
                                     "reset_not_made", "panic",   "watchdog",    "outside"};
static_assert(std::size(END_NAMES) == static_cast<size_t>(LastEnd::OUTSIDE));
constexpr const char *KIND_NAMES[] = {"started", "reset_requested", "reset_failed", "reset_held", "stopped"};
static_assert(std::size(KIND_NAMES) == static_cast<size_t>(FlightKind::STOPPED));
constexpr const char *CAUSE_NAMES[] = {"unknown", "program_ended", "launch_failed", "not_online"};
static_assert(std::size(CAUSE_NAMES) == static_cast<size_t>(ResetCause::NOT_ONLINE));
constexpr const char *EVENT_NAMES[] = {
    "run_started",         "ce_started",      "ce_stopped",      "eu_created",    "eu_finished",  "program_started",
    "program_ended",       "launch_failed",   "tag_set",         "log",           "error_raised", "message_sent",
    "message_undelivered", "reset_requested", "last_words",      "program_ready", "gateway",      "reset_held",
    "wait_began",          "wait_ended",      "startup_complete"};
static_assert(std::size(EVENT_NAMES) == static_cast<size_t>(EventKind::STARTUP_COMPLETE));

template <size_t COUNT>
std::string nameOf(const char *const (&names)[COUNT], size_t number) {
  return jsonString(number >= 1 && number <= COUNT ? names[number - 1] : "unknown");
}

template <typename Item, typename Text>
std::string listOf(const std::vector<Item> &items, Text text) {
  std::string list;
  for (const Item &item : items)
    list += (list.empty() ? "" : ", ") + text(item);
  return "[" + list + "]";
}

std::string field(const char *name, const std::string &value) {
  return "\"" + std::string(name) + "\": " + value;
}

std::string number(uint64_t value) {
  return std::to_string(value);
}

std::string eventJson(const FlightEvent &event) {
  return "{" + field("monotonic_ns", number(event.monotonicNs)) + ", " + field("eu", number(event.euId)) + ", " +
         field("kind", nameOf(EVENT_NAMES, event.kind)) + ", " + field("code", number(event.code)) + ", " +
         field("text", jsonString(event.text)) + "}";
}

std::string timesJson(const FlightEntry &entry) {
  return field("boot_id", jsonString(entry.bootId)) + ", " + field("realtime_ns", number(entry.realtimeNs)) + ", " +
         field("boottime_ns", number(entry.boottimeNs));
}

std::string requestJson(const FlightEntry &entry) {
  std::string text = "{" + field("kind", nameOf(KIND_NAMES, static_cast<size_t>(entry.kind)));
  text += ", " + timesJson(entry);
  text += ", " + field("stage", jsonString(entry.stage));
  text += ", " + field("means", jsonString(entry.means));
  text += ", " + field("cause", nameOf(CAUSE_NAMES, static_cast<size_t>(entry.cause)));
  text += ", " + field("eu", jsonString(entry.euName));
  text += ", " + field("path", jsonString(entry.path));
  text += ", " + field("args", jsonString(entry.args));
  text += ", " + field("tag", jsonString(entry.tag));
  text += ", " + field("result", std::to_string(entry.result));
  text += ", " + field("wait_status", std::to_string(entry.waitStatus));
  text += ", " + field("text", jsonString(requesterText(entry)));
  text += ", " + field("last_words", listOf(entry.lastWords, [](const std::string &line) { return jsonString(line); }));
  text += ", " + field("events", listOf(entry.events, eventJson));
  return text + "}";
}

}  // namespace

std::string resetStoryJson(const ResetStory &story) {
  const FlightEntry &start = story.start;
  std::string text = "{" + field("last_run", nameOf(END_NAMES, static_cast<size_t>(start.lastEnd)));
  text += ", " + field("text", jsonString(lastEndText(start.lastEnd)));
  text += ", " + field("began", story.lastStart ? "{" + timesJson(*story.lastStart) + "}" : "null");
  text += ", " + field("request", story.request ? requestJson(*story.request) : "null");
  text += ", " + field("board", listOf(start.boardWords, [](const std::string &word) { return jsonString(word); }));
  text += ", " + field("start", "{" + timesJson(start) + ", " + field("resets_in_a_row", number(start.resetsInARow)) +
                                    ", " + field("ungraceful", number(start.ungracefulCount)) + "}");
  text += ", " + field("since", listOf(story.since, requestJson));
  text += ", " + field("damaged_entries", number(story.damagedEntries));
  return text + "}\n";
}

}  // namespace orv
