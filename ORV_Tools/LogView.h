// The log of a node as its store tells it: log lines and what happened beside them, and for one EU the output of its
// program, all in the order of their time.
#ifndef ORV_TOOLS_LOGVIEW_H
#define ORV_TOOLS_LOGVIEW_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "NodeStore.h"

namespace orv {

enum class LogSeverity : uint8_t { INFO, WARNING, ERROR };

// What the store holds, read by whoever wants a log of it.
struct LogSource {
  std::optional<RunInfo> run;
  std::vector<EuRecord> eus;
  std::vector<Event> events;
  std::map<uint32_t, ProgramOutput> outputs;  // by EU; of those that are asked for
  // Where the events do not begin with the first that the store holds: the names of the EUs of the run that was under
  // way before them.
  std::map<uint32_t, std::string> earlierEuNames;
};

// What belongs to the log.
struct LogFilter {
  std::optional<std::string> euName;  // all of this EU, its program's output included; else what concerns the node
  LogSeverity least = LogSeverity::INFO;
  uint64_t sinceNs = 0;  // CLOCK_MONOTONIC
};

struct LogLine {
  enum class Kind : uint8_t { EVENT, OUTPUT, DROPPED };
  Kind kind = Kind::EVENT;
  LogSeverity severity = LogSeverity::INFO;
  uint64_t monotonicNs = 0;
  std::string euName;  // empty: none
  std::string text;    // of OUTPUT: raw bytes
  Event event;         // of EVENT
  OutputLine output;   // of OUTPUT
  uint64_t dropped = 0;
};

// The name of the EU of each event, by its sequence number: the numbers of EUs begin anew with each run.
std::map<uint64_t, std::string> euNamesOfEvents(const LogSource &source);

// The names of all EUs that the store knows of, the current run's and those that events tell of; each once, sorted.
std::vector<std::string> knownEuNames(const LogSource &source);

std::vector<LogLine> logLines(const LogSource &source, const LogFilter &filter);

// How wide the columns are that differ from log to log.
struct LogColumns {
  size_t offset = 0;
  size_t severity = 0;
  size_t euName = 0;

  // As wide as these lines need it; never narrower than before.
  void widen(const RunInfo &run, const std::vector<LogLine> &lines);
};

// For people: local time, seconds since the start of the run, severity, EU, text; safe for any terminal. In colours
// where standard output has them.
std::string logText(const RunInfo &run, const std::vector<LogLine> &lines, const LogColumns &columns);

// For programs: an object a line. The fields are described in docs/orvctl-json.md.
std::string logJson(const RunInfo &run, const std::vector<LogLine> &lines);

// "program_started" and the like, as JSON has it.
const char *eventKindName(EventKind kind);

// A moment of CLOCK_MONOTONIC as CLOCK_REALTIME, in nanoseconds, by the clocks at the start of the run: later steps of
// the wall clock do not change the distances.
uint64_t realtimeOf(const RunInfo &run, uint64_t monotonicNs);

}  // namespace orv

#endif
