#include "TimelineText.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include "Words.h"

namespace orv::rehearsal {
namespace {

constexpr const char *RED = "\x1b[1;31m";
constexpr const char *YELLOW = "\x1b[33m";
constexpr const char *GREEN = "\x1b[1;32m";
constexpr const char *PLAIN = "\x1b[0m";

const char *margin(Mark mark) {
  switch (mark) {
    case Mark::NONE:
      return "  ";
    case Mark::NOTE:
      return " !";
    case Mark::FAILURE:
      return "!!";
  }
  return "";
}

const char *colour(Mark mark) {
  switch (mark) {
    case Mark::NONE:
      return "";
    case Mark::NOTE:
      return YELLOW;
    case Mark::FAILURE:
      return RED;
  }
  return "";
}

std::string coloured(std::string_view line, const char *begin) {
  return *begin == '\0' ? std::string(line) : begin + std::string(line) + PLAIN;
}

struct Line {
  Mark mark = Mark::NONE;
  std::string time;
  std::string who;
  std::string text;
};

// How many events from `first` on are programs that end with the shutdown at the same time.
size_t shutDownTogether(const std::vector<Event> &events, size_t first) {
  const auto begin = events.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = std::find_if_not(begin, events.end(), [begin](const Event &event) {
    return event.kind == EventKind::PROGRAM_SHUT_DOWN && event.atMs == begin->atMs;
  });
  return static_cast<size_t>(end - begin);
}

std::vector<Line> linesOf(const std::vector<Event> &events) {
  std::vector<Line> lines;
  for (size_t i = 0; i < events.size(); ++i) {
    const Event &event = events[i];
    Line &line = lines.emplace_back();
    line = {event.mark, preciseDurationText(event.atMs), printable(event.who), printable(event.text)};
    if (const size_t together = shutDownTogether(events, i); together > 1) {
      line.who = std::to_string(together) + " programs";
      i += together - 1;
    }
  }
  return lines;
}

}  // namespace

std::string timelineText(const Timeline &timeline, const std::string &title, bool colours) {
  const std::vector<Line> lines = linesOf(timeline.events);
  size_t timeWidth = 0;
  for (const Line &line : lines)
    timeWidth = std::max(timeWidth, line.time.size());
  std::vector<std::vector<std::string>> rows;
  for (const Line &line : lines) {
    const std::string indent(timeWidth - line.time.size(), ' ');
    rows.push_back({margin(line.mark), indent + line.time, line.who, line.text});
  }

  std::string text = title.empty() ? "" : printable(title) + "\n\n";
  const std::string table = tableText(rows);
  std::string_view rest = table;
  for (const Line &line : lines) {
    const size_t end = rest.find('\n');
    text += coloured(rest.substr(0, end), colours ? colour(line.mark) : "") + "\n";
    rest.remove_prefix(end + 1);
  }
  const char *const verdictColour = timeline.verdict == Verdict::WHOLE ? GREEN : RED;
  return text + "\n" + coloured(printable(timeline.sentence), colours ? verdictColour : "") + "\n";
}

}  // namespace orv::rehearsal
