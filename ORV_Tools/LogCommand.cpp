#include "LogCommand.h"

#include <signal.h>
#include <time.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <vector>

#include "Clock.h"
#include "LogFollow.h"
#include "LogView.h"
#include "NodeWatch.h"
#include "Output.h"
#include "ParsedOption.h"
#include "Suggestion.h"

namespace orv {
namespace {

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
LogSource readSource(const NodeStore &store, const LogArguments &options, uint64_t afterSequence) {
  LogSource source;
  source.events = store.events(afterSequence);
  source.run = store.run();
  source.eus = store.eus();
  for (const EuRecord &eu : source.eus) {
    if (options.euName == eu.name) source.outputs[eu.id] = store.output(eu.id);
  }
  return source;
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

constexpr size_t EVERY_LINE = std::numeric_limits<size_t>::max();
constexpr size_t FOLLOWED_LINES = 10;  // as tail has it

bool takeLineCount(const std::string &text, std::optional<size_t> &lines) {
  const std::optional<uint32_t> number = parseNumber(text);
  if (!number && text != "all") return false;
  lines = number ? *number : EVERY_LINE;
  return true;
}

void keepLast(std::vector<LogLine> &lines, size_t count) {
  if (lines.size() > count) lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(count));
}

LogFilter filterOf(const LogArguments &options, const RunInfo &run) {
  LogFilter filter;
  filter.euName = options.euName;
  filter.least = SEVERITIES.at(options.severity);
  if (options.since) filter.sinceNs = monotonicOf(*options.since, run);
  return filter;
}

// A log that goes on.
class Following {
 public:
  Following(const std::string &nodeDirectory, const LogArguments &options)
      : options_(options), directory_(nodeDirectory), watch_(nodeDirectory) {
    columns_.offset = std::string_view("+12345.678 ").size();
    columns_.severity = std::string_view("warning").size();
  }

  int run() {
    // For the first look there may be no node yet; one that is there and cannot be read is a failure as ever.
    if (const Status opened = watch_.changeOver(); !opened.ok() && opened.code != ENOENT) {
      complain(opened.message);
      return EXIT_FAILED;
    }
    if (watch_.store() == nullptr) complain("there is no node in " + directory_ + " yet; waiting for it");
    if (watch_.store() == nullptr) isBeginning_ = false;
    for (;;) {
      if (const int error = printAll(); error != 0) return endOf(error);
      const NodeWatch::Woken woken = watch_.wait(LIMIT);
      if (woken == NodeWatch::Woken::END || woken == NodeWatch::Woken::READER_GONE) return EXIT_DONE;
      if (woken == NodeWatch::Woken::SUSPEND) raise(SIGSTOP);
    }
  }

 private:
  // The kernel tells of changes; this is for file systems on which it does not.
  static constexpr std::chrono::milliseconds LIMIT{1000};

  static int endOf(int error) {
    // A reader that has seen enough, such as head, is no failure.
    if (error == EPIPE) return EXIT_DONE;
    complain(std::string("cannot write standard output: ") + std::strerror(error));
    return EXIT_FAILED;
  }

  // What is new in the store, and in the one that has taken its place. Returns 0 or the errno of writing.
  int printAll() {
    for (;;) {
      // Asked for first: what is written to the old store is there before another takes its place.
      const bool mayBeAnother = watch_.store() == nullptr || watch_.isReplaced();
      if (watch_.store() != nullptr) {
        if (const int error = printNew(*watch_.store()); error != 0) return error;
      }
      // One that cannot be read is about to be made, or is set aside by the next daemon.
      if (!mayBeAnother || !watch_.changeOver().ok()) return 0;
      cursor_ = {};
    }
  }

  int printNew(const NodeStore &store) {
    LogSource source = readSource(store, options_, cursor_.lastSequence);
    sayOnceWhereEuIsUnknown(source);
    // Once: "10 s ago" is meant as of now.
    if (!filter_) filter_ = filterOf(options_, source.run.value_or(RunInfo{}));
    std::vector<LogPart> parts = takeNewLines(cursor_, std::move(source), *filter_);
    if (isBeginning_)
      keepLast(parts.back().lines, options_.lines.value_or(options_.since ? EVERY_LINE : FOLLOWED_LINES));
    isBeginning_ = false;
    std::string text;
    for (const LogPart &part : parts) {
      columns_.widen(part.run, part.lines);
      text += options_.json ? logJson(part.run, part.lines) : logText(part.run, part.lines, columns_);
    }
    return writeOutput(text);
  }

  void sayOnceWhereEuIsUnknown(const LogSource &source) {
    if (!isBeginning_ || !options_.euName) return;
    const std::vector<std::string> known = knownEuNames(source);
    if (std::find(known.begin(), known.end(), *options_.euName) != known.end()) return;
    complain(unknownEu(*options_.euName, known) + "; waiting for it");
  }

  const LogArguments &options_;
  std::string directory_;
  NodeWatch watch_;
  std::optional<LogFilter> filter_;
  LogCursor cursor_;
  LogColumns columns_;
  bool isBeginning_ = true;  // nothing has been shown, of a node that was there before
};

int followLog(const Arguments &arguments, const LogArguments &options) {
  return Following(nodeDirectoryOf(arguments), options).run();
}

// A number of seconds, or a local time: "HH:MM", "HH:MM:SS" (of the day of `nowRealtimeNs`), "YYYY-MM-DD HH:MM[:SS]"
// (also with a T in between). Nothing for anything else.
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

}  // namespace

uint64_t monotonicOf(const LogSince &since, const RunInfo &run) {
  const auto difference = [](uint64_t large, uint64_t small) { return large > small ? large - small : 0; };
  if (since.isAge) return difference(monotonicNs(), since.ns);
  return difference(since.ns + run.startedNs, run.startedRealtimeNs);
}

void addSinceOption(CLI::App &command, std::optional<LogSince> &since) {
  addParsed(command, "--since",
            "From so many seconds ago on, or from a local time: HH:MM[:SS], \"YYYY-MM-DD HH:MM[:SS]\"",
            "a number of seconds or a time such as 14:05 or \"2026-01-31 14:05\"",
            [&since](const std::string &text) {
              since = parseSince(text, realtimeNs());
              return since.has_value();
            })
      ->type_name("TIME");
}

void addLogOptions(CLI::App &command, LogArguments &options) {
  command.add_option("--eu", options.euName, "All of this EU, with what its program wrote")->type_name("NAME");
  command.add_option("--severity", options.severity, "The least: info, warning or error")
      ->check(CLI::IsMember({"info", "warning", "error"}).description(""))
      ->type_name("SEVERITY");
  addSinceOption(command, options.since);
  addParsed(command, "-n,--lines", "The last so many lines, or all (with --follow: 10, with --since all)",
            "a number of lines, or all",
            [&options](const std::string &text) { return takeLineCount(text, options.lines); })
      ->type_name("COUNT");
  command.add_flag("-f,--follow", options.follow,
                   "Go on with what comes, over restarts of the node, until SIGINT or SIGTERM");
  command.add_flag("--json", options.json, "For programs: an object a line");
}

int log(const Arguments &arguments, const LogArguments &options, std::string &output) {
  if (options.follow) return followLog(arguments, options);
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const LogSource source = readSource(*store, options, 0);
  if (options.euName) {
    const std::vector<std::string> known = knownEuNames(source);
    if (std::find(known.begin(), known.end(), *options.euName) == known.end()) {
      complain(unknownEu(*options.euName, known));
      return EXIT_NO;
    }
  }
  const RunInfo run = source.run.value_or(RunInfo{});
  std::vector<LogLine> lines = logLines(source, filterOf(options, run));
  keepLast(lines, options.lines.value_or(EVERY_LINE));
  LogColumns columns;
  columns.widen(run, lines);
  output += options.json ? logJson(run, lines) : logText(run, lines, columns);
  return EXIT_DONE;
}

}  // namespace orv
