#include "ErrorList.h"

#include <algorithm>
#include <map>

#include "Clock.h"
#include "HexText.h"
#include "Json.h"
#include "Words.h"

namespace orv {
namespace {

// The runs that the events tell of, backwards from the latest.
std::optional<uint64_t> numberOfFirstRun(const LogSource &source) {
  const auto starts =
      static_cast<uint64_t>(std::count_if(source.events.begin(), source.events.end(),
                                          [](const Event &event) { return event.kind == EventKind::RUN_STARTED; }));
  if (!source.run || source.run->number < starts) return std::nullopt;
  return source.run->number - starts;
}

std::string errorJson(const RunInfo &run, const ListedError &listed) {
  JsonObject object;
  object.number("sequence", listed.sequence).numberOrNull("run", listed.run);
  object.number("monotonic_ns", listed.monotonicNs).number("realtime_ns", realtimeOf(run, listed.monotonicNs));
  object.numberOrNull("after_start_ms", listed.afterStartMs);
  object.textOrNull("eu", listed.euName).number("pid", listed.pid);
  object.raw("kind", listed.isRead ? std::to_string(listed.error.kind) : "null").number("code", listed.error.code);
  object.text("text", listed.error.text).textOrNull("file", listed.error.file);
  return object.raw("line", listed.isRead ? std::to_string(listed.error.line) : "null").str();
}

}  // namespace

std::vector<ListedError> listErrors(const LogSource &source, uint64_t sinceNs) {
  std::vector<ListedError> errors;
  const std::map<uint64_t, std::string> names = euNamesOfEvents(source);
  std::optional<uint64_t> run = numberOfFirstRun(source);
  std::optional<uint64_t> startedNs;
  for (const Event &event : source.events) {
    if (event.kind == EventKind::RUN_STARTED) {
      if (run) ++*run;
      startedNs = event.monotonicNs;
    }
    if (event.kind != EventKind::ERROR_RAISED || event.monotonicNs < sinceNs) continue;
    ListedError listed;
    const std::optional<RaisedError> read = decodeRaisedError(event.text);
    listed.isRead = read.has_value();
    listed.error = read.value_or(RaisedError{0, event.code, event.text, "", 0});
    listed.sequence = event.sequence;
    listed.monotonicNs = event.monotonicNs;
    listed.pid = event.pid;
    if (const auto name = names.find(event.sequence); name != names.end()) listed.euName = name->second;
    listed.run = run;
    if (startedNs && event.monotonicNs >= *startedNs) {
      listed.afterStartMs = (event.monotonicNs - *startedNs) / NS_PER_MS;
    }
    errors.push_back(std::move(listed));
  }
  return errors;
}

std::string errorsText(const RunInfo &run, const std::vector<ListedError> &errors) {
  if (errors.empty()) return "No error was raised.\n";
  std::vector<std::vector<std::string>> rows = {{"WHEN", "RUN", "AFTER", "EU", "KIND", "CODE", "POSITION", "TEXT"}};
  for (const ListedError &listed : errors) {
    const RaisedError &error = listed.error;
    rows.push_back({timeText(realtimeOf(run, listed.monotonicNs)), listed.run ? std::to_string(*listed.run) : "-",
                    listed.afterStartMs ? preciseDurationText(*listed.afterStartMs) : "-",
                    listed.euName.empty() ? "-" : printable(listed.euName),
                    listed.isRead ? std::to_string(error.kind) : "-", hexText(error.code),
                    listed.isRead ? printable(error.file) + ":" + std::to_string(error.line) : "-",
                    printable(error.text)});
  }
  return tableText(rows);
}

std::string errorsJson(const RunInfo &run, const std::vector<ListedError> &errors) {
  const auto json = [&run](const ListedError &listed) { return errorJson(run, listed); };
  return JsonObject().raw("errors", jsonLines(errors, 0, json)).str() + "\n";
}

}  // namespace orv
