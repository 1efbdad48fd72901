#include "TagList.h"

#include "Clock.h"
#include "Json.h"
#include "Words.h"

namespace orv {
namespace {

// The kernel counts the start of a process in ticks of 10 ms, rounded down.
constexpr uint64_t TICK_MARGIN_NS = 20 * NS_PER_MS;

bool isOfThisRun(const TagListing &listing, const Tag &tag) {
  return listing.run && tag.run == listing.run->number;
}

bool isOlderThanItsRun(const TagListing &listing, const Tag &tag) {
  return isOfThisRun(listing, tag) && tag.setter.startTicks != 0 && tag.setter.pid != listing.run->daemonPid &&
         startedMonotonicNs(tag.setter.startTicks) + TICK_MARGIN_NS < listing.run->startedNs;
}

const char *stateName(SetterState state) {
  switch (state) {
    case SetterState::ALIVE:
      return "alive";
    case SetterState::GONE:
      return "gone";
    case SetterState::REUSED:
      return "reused";
    case SetterState::UNKNOWN:
      return "unknown";
  }
  return "";
}

std::string orDash(const std::string &text) {
  return text.empty() ? "-" : printable(text);
}

std::string afterText(const TagListing &listing, const Tag &tag) {
  const std::optional<uint64_t> afterMs = afterStartMs(listing, tag);
  return afterMs ? preciseDurationText(*afterMs) : "-";
}

std::string warningText(const TagListing &listing, const Tag &tag) {
  std::string text;
  for (const std::string &warning : tagWarnings(listing, tag))
    text += (text.empty() ? "" : "; ") + warning;
  return text.empty() ? "-" : text;
}

std::string runLine(const TagListing &listing) {
  if (!listing.run) return "No run of this node has begun yet.\n";
  return "Run " + std::to_string(listing.run->number) + " of the node since " +
         timeText(listing.run->startedRealtimeNs) + ", daemon pid " + std::to_string(listing.run->daemonPid) +
         (listing.daemonIsAlive ? ", alive" : ", dead: this is what it left") + "\n";
}

std::string runJson(const TagListing &listing) {
  if (!listing.run) return "null";
  return JsonObject()
      .number("number", listing.run->number)
      .number("daemon_pid", listing.run->daemonPid)
      .flag("daemon_alive", listing.daemonIsAlive)
      .number("started_monotonic_ns", listing.run->startedNs)
      .number("started_realtime_ns", listing.run->startedRealtimeNs)
      .str();
}

}  // namespace

std::optional<uint64_t> afterStartMs(const TagListing &listing, const Tag &tag) {
  if (!isOfThisRun(listing, tag) || tag.setNs < listing.run->startedNs) return std::nullopt;
  return (tag.setNs - listing.run->startedNs) / NS_PER_MS;
}

SetterState setterState(const TagListing &listing, const Setter &setter) {
  if (setter.pid == 0 || setter.startTicks == 0) return SetterState::UNKNOWN;
  const std::optional<ProcessStat> process = listing.processes(setter.pid);
  if (!process) return SetterState::GONE;
  if (process->startTicks != setter.startTicks) return SetterState::REUSED;
  return process->state == 'Z' || process->state == 'X' ? SetterState::GONE : SetterState::ALIVE;
}

std::vector<std::string> tagWarnings(const TagListing &listing, const Tag &tag) {
  std::vector<std::string> warnings;
  if (listing.run && !isOfThisRun(listing, tag)) warnings.emplace_back("earlier run");
  if (isOlderThanItsRun(listing, tag)) warnings.emplace_back("set by a process older than this run");
  const SetterState state = setterState(listing, tag.setter);
  if (state == SetterState::GONE) warnings.emplace_back("process gone");
  if (state == SetterState::REUSED) warnings.emplace_back("process gone, another has its pid");
  return warnings;
}

std::string longTagList(const TagListing &listing) {
  // The value, which may be long, stands last.
  std::vector<std::vector<std::string>> rows = {
      {"NAME", "TYPE", "RUN", "AFTER", "EU", "PID", "UID", "EXECUTABLE", "BEWARE", "VALUE"}};
  for (const Tag &tag : listing.tags) {
    rows.push_back({printable(tag.name), typeText(tag.value.type), tag.run == 0 ? "-" : std::to_string(tag.run),
                    afterText(listing, tag), orDash(tag.setter.euName), std::to_string(tag.setter.pid),
                    std::to_string(tag.setter.uid), orDash(tag.setter.executable), warningText(listing, tag),
                    printable(valueText(tag.value))});
  }
  return runLine(listing) + tableText(rows);
}

JsonObject tagFields(const TagListing &listing, const Tag &tag) {
  JsonObject object;
  object.text("name", tag.name).text("type", typeText(tag.value.type));
  if (tag.value.type == TagType::STRING) {
    object.text("value", tag.value.text);
  } else {
    object.number("value", tag.value.number);
  }
  return object.number("pid", tag.setter.pid)
      .number("pid_start_ticks", tag.setter.startTicks)
      .text("process", stateName(setterState(listing, tag.setter)))
      .text("executable", tag.setter.executable)
      .number("uid", tag.setter.uid)
      .textOrNull("eu", tag.setter.euName)
      .number("set_monotonic_ns", tag.setNs)
      .numberOrNull("after_start_ms", afterStartMs(listing, tag))
      .number("run", tag.run)
      .flag("this_run", isOfThisRun(listing, tag))
      .raw("warnings", jsonArray(tagWarnings(listing, tag), jsonString));
}

std::string tagListJson(const TagListing &listing) {
  std::string text = "{\"run\": " + runJson(listing) + ",\n\"tags\": [";
  const char *separator = "\n";
  for (const Tag &tag : listing.tags) {
    text += separator + tagFields(listing, tag).str();
    separator = ",\n";
  }
  return text + "\n]}\n";
}

}  // namespace orv
