#include "LogView.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <set>

#include "Clock.h"
#include "Json.h"
#include "Terminal.h"
#include "Words.h"

namespace orv {
namespace {

struct KindWords {
  EventKind kind;
  const char *name;    // in JSON
  const char *prefix;  // in front of the text
  LogSeverity severity;
  bool concernsNode;  // shown without --eu
};

constexpr KindWords KIND_WORDS[] = {
    {EventKind::RUN_STARTED, "run_started", "run started: ", LogSeverity::INFO, true},
    {EventKind::CE_STARTED, "ce_started", "CE started: ", LogSeverity::INFO, true},
    {EventKind::CE_STOPPED, "ce_stopped", "CE stopped", LogSeverity::INFO, true},
    {EventKind::EU_CREATED, "eu_created", "EU created: ", LogSeverity::INFO, false},
    {EventKind::EU_FINISHED, "eu_finished", "EU finished: ", LogSeverity::INFO, false},
    {EventKind::PROGRAM_STARTED, "program_started", "program started: ", LogSeverity::INFO, true},
    {EventKind::PROGRAM_ENDED, "program_ended", "program ended: ", LogSeverity::INFO, true},
    {EventKind::LAUNCH_FAILED, "launch_failed", "program not started: ", LogSeverity::ERROR, true},
    {EventKind::TAG_SET, "tag_set", "tag set: ", LogSeverity::INFO, false},
    {EventKind::LOG, "log", "", LogSeverity::INFO, true},
    {EventKind::ERROR_RAISED, "error_raised", "error raised: ", LogSeverity::ERROR, true},
    {EventKind::MESSAGE_SENT, "message_sent", "message sent: ", LogSeverity::INFO, false},
    {EventKind::MESSAGE_UNDELIVERED, "message_undelivered", "message not delivered: ", LogSeverity::WARNING, true},
    {EventKind::RESET_REQUESTED, "reset_requested", "reset: ", LogSeverity::WARNING, true},
    {EventKind::LAST_WORDS, "last_words", "last words: ", LogSeverity::WARNING, true},
    {EventKind::PROGRAM_READY, "program_ready", "program ready: ", LogSeverity::INFO, true},
    {EventKind::GATEWAY, "gateway", "gateway: ", LogSeverity::INFO, true},
    {EventKind::RESET_HELD, "reset_held", "reset held off: ", LogSeverity::WARNING, true},
    // The daemon's own lines say these to who reads the whole log.
    {EventKind::WAIT_BEGAN, "wait_began", "the start-up waits for ", LogSeverity::INFO, false},
    {EventKind::WAIT_ENDED, "wait_ended", "the start-up no longer waits for ", LogSeverity::INFO, false},
    {EventKind::STARTUP_COMPLETE, "startup_complete", "start-up complete", LogSeverity::INFO, false},
};
static_assert(std::size(KIND_WORDS) == static_cast<size_t>(EventKind::STARTUP_COMPLETE),
              "a kind of events has no words");

const KindWords &wordsOf(EventKind kind) {
  return KIND_WORDS[static_cast<size_t>(kind) - 1];
}

const char *severityName(LogSeverity severity) {
  switch (severity) {
    case LogSeverity::INFO:
      return "info";
    case LogSeverity::WARNING:
      return "warning";
    case LogSeverity::ERROR:
      return "error";
  }
  return "";
}

// The number behind "wait status " at the end of a text.
std::optional<int32_t> waitStatusIn(const std::string &text, size_t &begin) {
  constexpr std::string_view LABEL = "wait status ";
  begin = text.rfind(LABEL);
  if (begin == std::string::npos) return std::nullopt;
  int32_t status = 0;
  const char *end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data() + begin + LABEL.size(), end, status);
  return error == std::errc() && last == end ? std::optional(status) : std::nullopt;
}

LogSeverity severityOfLog(uint32_t code) {
  constexpr uint32_t WARNING_CODE = 3;  // as AaSysLogPrint takes them
  if (code < WARNING_CODE) return LogSeverity::INFO;
  return code == WARNING_CODE ? LogSeverity::WARNING : LogSeverity::ERROR;
}

bool isTimeOut(const Event &event) {
  return event.kind == EventKind::WAIT_ENDED && event.code == static_cast<uint32_t>(WaitOutcome::TIMED_OUT);
}

// A program that ended otherwise than with exit code 0 is worth a warning, unless the shutdown has ended it.
LogSeverity severityOf(const LogSource &source, const Event &event) {
  if (event.kind == EventKind::LOG) return severityOfLog(event.code);
  if (isTimeOut(event)) return LogSeverity::ERROR;
  size_t begin = 0;
  if (event.kind != EventKind::PROGRAM_ENDED || waitStatusIn(event.text, begin).value_or(0) == 0) {
    return wordsOf(event.kind).severity;
  }
  const bool isThisRun = source.run && event.monotonicNs >= source.run->startedNs;
  const bool wasShutDown = std::any_of(source.eus.begin(), source.eus.end(), [&](const EuRecord &eu) {
    return eu.id == event.euId && eu.state == EuState::SHUT_DOWN;
  });
  return isThisRun && wasShutDown ? LogSeverity::INFO : LogSeverity::WARNING;
}

std::string textOf(const Event &event) {
  std::string text = event.text;
  size_t begin = 0;
  if (event.kind == EventKind::PROGRAM_ENDED) {
    if (const std::optional<int32_t> status = waitStatusIn(text, begin))
      text.replace(begin, text.size(), endText(*status));
  }
  text.insert(0, wordsOf(event.kind).prefix);
  if (event.kind == EventKind::WAIT_ENDED) text += isTimeOut(event) ? ": not online in time" : ": online";
  if (text.ends_with(": ")) text.erase(text.size() - 2);
  return text;
}

void addEvents(const LogSource &source, const LogFilter &filter, std::vector<LogLine> &lines) {
  const std::map<uint64_t, std::string> names = euNamesOfEvents(source);
  for (const Event &event : source.events) {
    LogLine line;
    const auto name = names.find(event.sequence);
    if (name != names.end()) line.euName = name->second;
    if (filter.euName ? line.euName != *filter.euName : !wordsOf(event.kind).concernsNode) continue;
    line.severity = severityOf(source, event);
    line.monotonicNs = event.monotonicNs;
    line.text = textOf(event);
    line.event = event;
    lines.push_back(std::move(line));
  }
}

void addOutputLines(const std::string &euName, const std::vector<OutputLine> &written, std::vector<LogLine> &lines) {
  for (const OutputLine &output : written) {
    LogLine line;
    line.kind = LogLine::Kind::OUTPUT;
    line.monotonicNs = output.monotonicNs;
    line.euName = euName;
    line.text = output.text;
    line.output = output;
    lines.push_back(std::move(line));
  }
}

void addOutput(const std::string &euName, const ProgramOutput &output, std::vector<LogLine> &lines) {
  addOutputLines(euName, output.first, lines);
  if (output.dropped != 0) {
    LogLine line;
    line.kind = LogLine::Kind::DROPPED;
    line.euName = euName;
    line.dropped = output.dropped;
    line.text = "... " + std::to_string(output.dropped) + (output.dropped == 1 ? " line" : " lines") + " dropped ...";
    if (!output.first.empty()) line.monotonicNs = output.first.back().monotonicNs;
    if (!output.last.empty()) line.monotonicNs = output.last.front().monotonicNs;
    lines.push_back(std::move(line));
  }
  addOutputLines(euName, output.last, lines);
}

const char *label(const LogLine &line) {
  if (line.kind != LogLine::Kind::EVENT) return "output";
  return severityName(line.severity);
}

const char *kindName(const LogLine &line) {
  switch (line.kind) {
    case LogLine::Kind::EVENT:
      return eventKindName(line.event.kind);
    case LogLine::Kind::OUTPUT:
      return "output";
    case LogLine::Kind::DROPPED:
      return "dropped";
  }
  return "";
}

// "2026-11-21 18:06:14.123", local time.
std::string momentText(uint64_t realtimeNs) {
  // Of "2026-11-21 18:06:14 +0000".
  const std::string text = timeText(realtimeNs);
  char milliseconds[8];
  std::snprintf(milliseconds, sizeof milliseconds, ".%03u", static_cast<unsigned>(realtimeNs % NS_PER_S / NS_PER_MS));
  return text.substr(0, text.rfind(' ')) + milliseconds;
}

int64_t sinceStartMs(const RunInfo &run, uint64_t monotonicNs) {
  return (static_cast<int64_t>(monotonicNs) - static_cast<int64_t>(run.startedNs)) / static_cast<int64_t>(NS_PER_MS);
}

std::string offsetText(const RunInfo &run, uint64_t monotonicNs) {
  char text[32];
  std::snprintf(text, sizeof text, "%+11.3f", static_cast<double>(sinceStartMs(run, monotonicNs)) / 1000);
  return text;
}

std::string shownText(const LogLine &line) {
  const bool isUnfinished = line.kind == LogLine::Kind::OUTPUT && line.output.partial;
  return printable(line.text) + (isUnfinished ? " [no line end]" : "");
}

std::string shownName(const LogLine &line) {
  return line.euName.empty() ? "-" : printable(line.euName);
}

std::string inColourOf(const LogLine &line, const std::string &text) {
  if (line.severity == LogSeverity::ERROR) return coloured(Colour::RED, text);
  if (line.severity == LogSeverity::WARNING) return coloured(Colour::YELLOW, text);
  return line.kind == LogLine::Kind::EVENT ? text : coloured(Colour::DIM, text);
}

}  // namespace

const char *eventKindName(EventKind kind) {
  return wordsOf(kind).name;
}

uint64_t realtimeOf(const RunInfo &run, uint64_t monotonicNs) {
  return run.startedRealtimeNs + monotonicNs - run.startedNs;
}

std::map<uint64_t, std::string> euNamesOfEvents(const LogSource &source) {
  std::map<uint64_t, std::string> names;
  std::map<uint32_t, std::string> ofRun = source.earlierEuNames;
  // Where the ring has forgotten how the current run began, all of it is of that run.
  const auto isStart = [](const Event &event) { return event.kind == EventKind::RUN_STARTED; };
  const auto lastStart = std::find_if(source.events.rbegin(), source.events.rend(), isStart).base();
  const auto takeCurrent = [&] {
    ofRun.clear();
    for (const EuRecord &eu : source.eus)
      ofRun[eu.id] = eu.name;
  };
  if (lastStart == source.events.begin() && ofRun.empty()) takeCurrent();
  for (auto event = source.events.begin(); event != source.events.end(); ++event) {
    if (isStart(*event)) ofRun.clear();
    if (event + 1 == lastStart) takeCurrent();
    if (event->kind == EventKind::EU_CREATED) ofRun[event->euId] = event->text;
    const auto name = ofRun.find(event->euId);
    if (event->euId != 0 && name != ofRun.end()) names[event->sequence] = name->second;
  }
  return names;
}

std::vector<std::string> knownEuNames(const LogSource &source) {
  std::set<std::string> names;
  for (const EuRecord &eu : source.eus)
    names.insert(eu.name);
  for (const auto &[sequence, name] : euNamesOfEvents(source))
    names.insert(name);
  return {names.begin(), names.end()};
}

std::vector<LogLine> logLines(const LogSource &source, const LogFilter &filter) {
  std::vector<LogLine> lines;
  addEvents(source, filter, lines);
  for (const EuRecord &eu : source.eus) {
    const auto output = source.outputs.find(eu.id);
    if (filter.euName == eu.name && output != source.outputs.end()) addOutput(eu.name, output->second, lines);
  }
  std::erase_if(lines,
                [&](const LogLine &line) { return line.severity < filter.least || line.monotonicNs < filter.sinceNs; });
  // The daemon writes its events later than they happen; those of one moment stay in the order of the store.
  std::stable_sort(lines.begin(), lines.end(),
                   [](const LogLine &one, const LogLine &other) { return one.monotonicNs < other.monotonicNs; });
  return lines;
}

void LogColumns::widen(const RunInfo &run, const std::vector<LogLine> &lines) {
  for (const LogLine &line : lines) {
    offset = std::max(offset, shownWidth(offsetText(run, line.monotonicNs)));
    severity = std::max(severity, shownWidth(label(line)));
    euName = std::max(euName, shownWidth(shownName(line)));
  }
}

std::string logText(const RunInfo &run, const std::vector<LogLine> &lines, const LogColumns &columns) {
  std::string text;
  for (const LogLine &line : lines) {
    text += momentText(realtimeOf(run, line.monotonicNs)) + "  " +
            padded(offsetText(run, line.monotonicNs), columns.offset) + "  " +
            inColourOf(line, padded(label(line), columns.severity)) + "  " + padded(shownName(line), columns.euName) +
            "  " + inColourOf(line, shownText(line)) + "\n";
  }
  return text;
}

std::string logJson(const RunInfo &run, const std::vector<LogLine> &lines) {
  std::string text;
  for (const LogLine &line : lines) {
    JsonObject object;
    object.text("kind", kindName(line));
    object.text("severity", severityName(line.severity)).number("monotonic_ns", line.monotonicNs);
    object.number("realtime_ns", realtimeOf(run, line.monotonicNs));
    object.raw("since_start_ms", std::to_string(sinceStartMs(run, line.monotonicNs)));
    object.textOrNull("eu", line.euName);
    if (line.kind == LogLine::Kind::EVENT) {
      object.number("sequence", line.event.sequence).number("pid", line.event.pid).number("code", line.event.code);
    } else if (line.kind == LogLine::Kind::OUTPUT) {
      object.number("line", line.output.number).flag("partial", line.output.partial);
    } else {
      object.number("lines", line.dropped);
    }
    text += object.text("text", line.text).str() + "\n";
  }
  return text;
}

}  // namespace orv
