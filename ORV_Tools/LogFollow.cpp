#include "LogFollow.h"

#include <algorithm>
#include <utility>

namespace orv {
namespace {

bool isStart(const Event &event) {
  return event.kind == EventKind::RUN_STARTED;
}

// How many events the ring has dropped between the cursor and what is there. Before the first look there is nothing
// that could be missed.
uint64_t lostEvents(const LogCursor &cursor, const std::vector<Event> &events) {
  if (cursor.lastSequence == 0 || events.empty()) return 0;
  return events.front().sequence - cursor.lastSequence - 1;
}

LogLine lossLine(uint64_t count, uint64_t monotonicNs) {
  LogLine line;
  line.kind = LogLine::Kind::DROPPED;
  line.severity = LogSeverity::WARNING;
  line.monotonicNs = monotonicNs;
  line.dropped = count;
  line.text = "... " + std::to_string(count) + (count == 1 ? " event" : " events") + " dropped ...";
  return line;
}

// Leaves the lines behind `lastLine`, which moves on, and counts those in between that are not kept.
void skipOutput(ProgramOutput &output, uint64_t &lastLine) {
  const uint64_t seen = lastLine;
  const auto isShown = [seen](const OutputLine &line) { return line.number <= seen; };
  std::erase_if(output.first, isShown);
  std::erase_if(output.last, isShown);
  uint64_t newest = seen;
  if (!output.first.empty()) newest = output.first.back().number;
  if (!output.last.empty()) newest = output.last.back().number;
  output.dropped = newest - seen - (output.first.size() + output.last.size());
  lastLine = newest;
}

void noteNames(LogCursor &cursor, const LogSource &source) {
  for (const Event &event : source.events) {
    if (isStart(event)) cursor.euNames.clear();
    if (event.kind == EventKind::EU_CREATED) cursor.euNames[event.euId] = event.text;
  }
  for (const EuRecord &eu : source.eus)
    cursor.euNames[eu.id] = eu.name;
}

// What came before the latest run began. By its time no program of it lives, and what is left of their output is gone
// with their records.
LogPart takeEndOfEarlierRun(LogCursor &cursor, std::vector<Event> events, const LogFilter &filter) {
  LogSource source;
  source.run = cursor.run;
  source.events = std::move(events);
  source.earlierEuNames = std::exchange(cursor.euNames, {});
  LogPart part;
  part.run = cursor.run.value_or(RunInfo{});
  part.lines = logLines(source, filter);
  return part;
}

}  // namespace

std::vector<LogPart> takeNewLines(LogCursor &cursor, LogSource source, const LogFilter &filter) {
  std::vector<LogPart> parts;
  std::erase_if(source.events, [&](const Event &event) { return event.sequence <= cursor.lastSequence; });
  const uint64_t lost = lostEvents(cursor, source.events);
  const uint64_t lostBeforeNs = source.events.empty() ? 0 : source.events.front().monotonicNs;
  if (!source.events.empty()) cursor.lastSequence = source.events.back().sequence;
  if (cursor.run && source.run && source.run->number != cursor.run->number) {
    const auto start = std::find_if(source.events.rbegin(), source.events.rend(), isStart).base();
    const auto begin = start == source.events.begin() ? start : start - 1;
    parts.push_back(takeEndOfEarlierRun(cursor, {source.events.begin(), begin}, filter));
    source.events.erase(source.events.begin(), begin);
    cursor.lastOutputLine.clear();
  }
  source.earlierEuNames = cursor.euNames;
  for (auto &[euId, output] : source.outputs)
    skipOutput(output, cursor.lastOutputLine[euId]);
  LogPart part;
  part.run = source.run.value_or(RunInfo{});
  part.lines = logLines(source, filter);
  noteNames(cursor, source);
  cursor.run = source.run;
  parts.push_back(std::move(part));
  if (lost != 0) parts.front().lines.insert(parts.front().lines.begin(), lossLine(lost, lostBeforeNs));
  return parts;
}

}  // namespace orv
