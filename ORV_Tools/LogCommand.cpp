#include "LogCommand.h"

#include <time.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "LogView.h"
#include "Suggestion.h"

namespace orv {
namespace {

constexpr uint64_t NS_PER_S = 1'000'000'000;

const std::map<std::string, LogSeverity> SEVERITIES = {
    {"info", LogSeverity::INFO}, {"warning", LogSeverity::WARNING}, {"error", LogSeverity::ERROR}};

std::optional<LogSince> parseAge(const std::string &text) {
  double seconds = 0;
  const char *end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, seconds);
  constexpr double LONGEST_S = 1e9;
  if (error != std::errc() || last != end || !std::isfinite(seconds) || seconds < 0) return std::nullopt;
  return LogSince{true, static_cast<uint64_t>(std::min(seconds, LONGEST_S) * static_cast<double>(NS_PER_S))};
}

// What of `form` the whole text is read by; fields that the form does not name stay as they are.
bool readTime(const std::string &text, const char *form, tm &parts) {
  const char *end = strptime(text.c_str(), form, &parts);
  return end != nullptr && *end == '\0';
}

// The store in the order in which it may be read while a daemon writes: what events tell of is there by then.
LogSource readSource(const NodeStore &store, const LogArguments &options) {
  LogSource source;
  source.events = store.events();
  source.run = store.run();
  source.eus = store.eus();
  for (const EuRecord &eu : source.eus) {
    if (options.euName == eu.name) source.outputs[eu.id] = store.output(eu.id);
  }
  return source;
}

// By the clocks that the lines are shown with: see realtimeOf.
uint64_t monotonicOf(const LogSince &since, const RunInfo &run) {
  const auto difference = [](uint64_t large, uint64_t small) { return large > small ? large - small : 0; };
  if (since.isAge) return difference(monotonicNs(), since.ns);
  return difference(since.ns + run.startedNs, run.startedRealtimeNs);
}

std::string unknownEu(const std::string &name, const std::vector<std::string> &known) {
  if (known.empty()) return "there is no EU \"" + name + "\": the node has none yet";
  std::string all;
  for (const std::string &each : known)
    all += (all.empty() ? "" : ", ") + each;
  const std::string near = nearestName(name, known);
  return "there is no EU \"" + name + "\" (" + (near.empty() ? "" : "did you mean \"" + near + "\"? ") +
         "there are: " + all + ")";
}

}  // namespace

std::optional<LogSince> parseSince(const std::string &text, uint64_t nowRealtimeNs) {
  if (std::optional<LogSince> age = parseAge(text)) return age;
  const auto now = static_cast<time_t>(nowRealtimeNs / NS_PER_S);
  for (const char *form :
       {"%H:%M:%S", "%H:%M", "%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%M"}) {
    tm parts{};
    if (localtime_r(&now, &parts) == nullptr) return std::nullopt;
    parts.tm_sec = 0;
    if (!readTime(text, form, parts)) continue;
    parts.tm_isdst = -1;  // as it was then
    const time_t moment = mktime(&parts);
    if (moment >= 0) return LogSince{false, static_cast<uint64_t>(moment) * NS_PER_S};
  }
  return std::nullopt;
}

std::optional<LogSince> parseSince(const std::string &text) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return parseSince(text, static_cast<uint64_t>(now.tv_sec) * NS_PER_S);
}

int log(const Arguments &arguments, const LogArguments &options, std::string &output) {
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const LogSource source = readSource(*store, options);
  LogFilter filter;
  filter.euName = options.euName;
  filter.least = SEVERITIES.at(options.severity);
  if (options.since) filter.sinceNs = monotonicOf(*options.since, source.run.value_or(RunInfo{}));
  if (options.euName) {
    const std::vector<std::string> known = knownEuNames(source);
    if (std::find(known.begin(), known.end(), *options.euName) == known.end()) {
      complain(unknownEu(*options.euName, known));
      return EXIT_NO;
    }
  }
  const std::vector<LogLine> lines = logLines(source, filter);
  output += options.json ? logJson(source, lines) : logText(source, lines);
  return EXIT_DONE;
}

}  // namespace orv
