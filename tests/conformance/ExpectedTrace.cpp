#include "ExpectedTrace.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "Trace.h"

extern "C" const char *ORV_VER;

namespace {

constexpr unsigned POLL_INTERVAL_MS = 50;

struct Line {
  unsigned long atMs = 0;
  std::string actor;
  std::string text;
};

// "SECONDS.mmm ACTOR TEXT"; an actor's name may stand in quotes.
std::optional<Line> splitLine(const std::string &line) {
  unsigned long seconds = 0;
  unsigned milliseconds = 0;
  int length = 0;
  if (std::sscanf(line.c_str(), "%lu.%3u %n", &seconds, &milliseconds, &length) != 2) return std::nullopt;
  const auto begin = static_cast<size_t>(length);
  size_t end = line.find_first_of(" \"", begin);
  if (end != std::string::npos && line[end] == '"') {
    const size_t closing = line.find("\" ", end);
    if (closing == std::string::npos) return std::nullopt;
    end = closing + 1;
  }
  if (end == std::string::npos) return std::nullopt;
  return Line{seconds * 1000 + milliseconds, line.substr(begin, end - begin), line.substr(end + 1)};
}

std::string join(unsigned long atMs, const std::string &actor, const std::string &text) {
  char time[32];
  std::snprintf(time, sizeof time, "%lu.%03lu ", atMs / 1000, atMs % 1000);
  return time + actor + " " + text;
}

bool expandLog(const Line &line, TraceLines &lines) {
  const char *const labels[] = {"Info", "Warning", "Error"};
  for (unsigned i = 0; i < 3; ++i) {
    const std::string label = labels[i];
    if (!line.text.starts_with(label + ": ")) continue;
    const std::string text = "ORV/OrvDaemon, " + line.text.substr(label.size() + 2);
    std::string console = "err: " + label;
    console += "/" + text;
    lines.push_back(join(line.atMs, line.actor, console));
    lines.push_back(
        join(line.atMs, line.actor,
             "AaSysLogPrint(" + std::to_string(i + 2) + ", \"ORV/OrvDaemon, %s\") = 0: " + orv::sim::quoted(text)));
    return true;
  }
  return false;
}

bool expandPolls(const Line &line, TraceLines &lines) {
  if (!line.text.starts_with("polls \"")) return false;
  const size_t end = line.text.rfind("\" ");
  const std::string tag = line.text.substr(6, end - 5);
  const unsigned long count = std::stoul(line.text.substr(end + 2));
  for (unsigned long i = 0; i < count; ++i) {
    const unsigned long atMs = line.atMs + i * POLL_INTERVAL_MS;
    lines.push_back(join(atMs, line.actor, "AaConfigTagIsSet(" + tag + ") = 0"));
    lines.push_back(join(atMs, line.actor, "AaSysTimeSleep(50, 3) = 0"));
  }
  return true;
}

bool expandReads(const Line &line, TraceLines &lines) {
  if (!line.text.starts_with("reads file ")) return false;
  const size_t colon = line.text.find(": \"");
  const std::string file = line.text.substr(6, colon - 6);
  size_t next = colon + 3;
  while (next + 1 < line.text.size()) {
    size_t length = 1;
    if (line.text[next] == '\\') length = line.text[next + 1] == 'x' ? 4 : 2;
    const std::string character = "\"" + line.text.substr(next, length) + "\"";
    lines.push_back(join(line.atMs, line.actor, "AaFileRead(1, 1, " + file + ") = 1, " + character));
    next += length;
  }
  lines.push_back(join(line.atMs, line.actor, "AaFileRead(1, 1, " + file + ") = 0"));
  return true;
}

std::string trimmed(const std::string &line) {
  const size_t begin = line.find_first_not_of(' ');
  return begin == std::string::npos ? "" : line.substr(begin);
}

}  // namespace

TraceLines expandTrace(const std::string &expected) {
  TraceLines lines;
  std::istringstream stream(expected);
  for (std::string raw; std::getline(stream, raw);) {
    std::string text = trimmed(raw);
    if (text.empty()) continue;
    if (const size_t banner = text.find("BANNER"); banner != std::string::npos) text.replace(banner, 6, ORV_VER);
    const auto line = splitLine(text);
    if (!line) throw std::invalid_argument("no line of a trace: " + text);
    if (expandLog(*line, lines) || expandPolls(*line, lines) || expandReads(*line, lines)) continue;
    lines.push_back(text);
  }
  return lines;
}

TraceLines linesOf(const TraceLines &trace, const std::string &actor) {
  TraceLines lines;
  std::copy_if(trace.begin(), trace.end(), std::back_inserter(lines), [&](const std::string &text) {
    const auto line = splitLine(text);
    return line && line->actor == actor;
  });
  return lines;
}

TraceLines linesBetween(const TraceLines &trace, const std::string &first, const std::string &last) {
  const auto begin =
      std::find_if(trace.begin(), trace.end(), [&](const std::string &line) { return line.ends_with(first); });
  const auto end = std::find_if(begin, trace.end(), [&](const std::string &line) { return line.ends_with(last); });
  return TraceLines(begin, end == trace.end() ? end : end + 1);
}

TraceLines linesWith(const TraceLines &trace, const std::string &part) {
  TraceLines lines;
  std::copy_if(trace.begin(), trace.end(), std::back_inserter(lines),
               [&](const std::string &line) { return line.find(part) != std::string::npos; });
  return lines;
}

testing::AssertionResult isTrace(const TraceLines &lines, const std::string &expected) {
  const TraceLines wanted = expandTrace(expected);
  const auto [line, want] = std::mismatch(lines.begin(), lines.end(), wanted.begin(), wanted.end());
  if (line == lines.end() && want == wanted.end()) return testing::AssertionSuccess();
  auto result = testing::AssertionFailure();
  result << "the trace differs in line " << line - lines.begin() + 1;
  result << "\n  expected: " << (want == wanted.end() ? "nothing more" : *want);
  result << "\n  got:      " << (line == lines.end() ? "nothing more" : *line) << "\nafter";
  for (auto before = lines.begin() + std::max<std::ptrdiff_t>(0, line - lines.begin() - 5); before != line; ++before)
    result << "\n  " << *before;
  return result;
}
