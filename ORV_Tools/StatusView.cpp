#include "StatusView.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>

#include "Clock.h"
#include "HexText.h"
#include "Json.h"
#include "LogView.h"
#include "Terminal.h"
#include "Utf8.h"
#include "Words.h"

namespace orv {
namespace {

constexpr uint64_t MS_PER_S = 1000;

// --- Words ----------------------------------------------------------------------------------------------------------

struct RunWords {
  RunState state;
  const char *daemonAlive;
  const char *daemonDead;
};

constexpr RunWords RUN_WORDS[] = {
    {RunState::EARLY, "starting", "down: the daemon ended during its start-up"},
    {RunState::UP, "up", "down: the daemon died without a shutdown"},
    {RunState::DOWN, "shut down, the daemon is about to end", "shut down"},
};

std::string runText(const NodeStatus &status) {
  for (const RunWords &words : RUN_WORDS) {
    if (words.state == status.run->state) return status.daemonIsAlive ? words.daemonAlive : words.daemonDead;
  }
  return "?";  // not reached: the store refuses other states
}

struct StateWords {
  ProgramState state;
  const char *name;
  const char *text;  // null: made from the record
  std::optional<Colour> colour;
  int interest;  // where not all programs fit on a screen, those of the lowest number stay
};

constexpr StateWords STATE_WORDS[] = {
    {ProgramState::NO_PROGRAM, "no_program", "has no program", Colour::DIM, 4},
    {ProgramState::WAITS_FOR_TURN, "waits_for_turn", "waits for its turn", Colour::CYAN, 2},
    {ProgramState::SKIPPED, "not_started", "not started", Colour::DIM, 3},
    {ProgramState::STARTING, "starting", "is being started", Colour::YELLOW, 1},
    {ProgramState::AWAITING_TAG, "awaiting_tag", nullptr, Colour::YELLOW, 1},
    {ProgramState::LATE, "late", nullptr, Colour::RED, 0},
    {ProgramState::ONLINE, "online", "online", Colour::GREEN, 3},
    {ProgramState::RUNNING, "running", "running", Colour::GREEN, 3},
    {ProgramState::FINISHED, "finished", nullptr, Colour::DIM, 4},
    {ProgramState::FAILED, "failed", nullptr, Colour::RED, 0},
    {ProgramState::LAUNCH_FAILED, "launch_failed", nullptr, Colour::RED, 0},
    {ProgramState::SHUT_DOWN, "shut_down", "ended by the shutdown", Colour::DIM, 4},
    {ProgramState::ENDED_WITH_DAEMON, "ended_with_daemon", "ended with the daemon", Colour::RED, 3},
};
static_assert(std::size(STATE_WORDS) == static_cast<size_t>(ProgramState::ENDED_WITH_DAEMON) + 1);

const StateWords &wordsOf(ProgramState state) {
  return STATE_WORDS[static_cast<size_t>(state)];
}

std::string bareStateText(const ProgramStatus &program) {
  if (const char *text = wordsOf(program.state).text; text != nullptr) return text;
  switch (program.state) {
    case ProgramState::AWAITING_TAG:
      return "awaiting tag " + printable(program.onlineTag);
    case ProgramState::LATE:
      return "running, tag " + printable(program.onlineTag) + " not set in time";
    case ProgramState::LAUNCH_FAILED:
      return launchFailureText(program.result);
    case ProgramState::FINISHED:
      return program.hasEnded ? endText(program.waitStatus) : "finished";
    default:
      return endText(program.waitStatus);
  }
}

std::string sinceText(const NodeStatus &status, PassingTimes times) {
  const RunInfo &run = *status.run;
  std::string text = timeText(run.startedRealtimeNs);
  if (times == PassingTimes::LEFT_OUT) return text;
  const uint64_t ageNs = status.nowNs > run.startedNs ? status.nowNs - run.startedNs : 0;
  return text + " (" + durationText(ageNs / NS_PER_S) + " ago)";
}

std::string roleText(const NodeStatus &status) {
  // Before the CE start-up nobody has been told.
  if (status.run->state == RunState::EARLY) return "-";
  return status.isMaster() ? "master" : "slave of " + nidText(status.run->masterNid);
}

std::string daemonText(const NodeStatus &status) {
  const std::string pid = std::to_string(status.run->daemonPid);
  if (!status.daemonIsAlive) return "pid " + pid + ", dead";
  if (!status.daemonIsStopped) return "pid " + pid + ", alive";
  return "pid " + pid + ", stopped: it does nothing until it is continued (kill -CONT " + pid + ")";
}

// --- Text -----------------------------------------------------------------------------------------------------------

struct Cell {
  std::string text;
  std::optional<Colour> colour;
};
using Row = std::vector<Cell>;

std::vector<Row> headRows(const NodeStatus &status, PassingTimes times) {
  const bool isUp = status.daemonIsAlive && !status.daemonIsStopped;
  return {{{"state", {}}, {runText(status), isUp ? Colour::GREEN : Colour::RED}},
          {{"daemon", {}}, {daemonText(status), isUp ? std::nullopt : std::optional(Colour::RED)}},
          {{"node id", {}}, {nidText(status.run->nid), {}}},
          {{"CE name", {}}, {status.run->ceName.empty() ? "-" : printable(status.run->ceName), {}}},
          {{"role", {}}, {roleText(status), {}}},
          {{"since", {}}, {sinceText(status, times), {}}},
          {{"start-up", {}},
           {startupText(status, times), status.startup == StartupState::COMPLETE   ? std::nullopt
                                        : status.startup == StartupState::GOING_ON ? std::optional(Colour::YELLOW)
                                                                                   : std::optional(Colour::RED)}},
          {{"restarts", {}}, {"none: a program that has ended is not started again", {}}}};
}

std::string programText(const ProgramStatus &program) {
  if (program.path.empty()) return "-";
  return printable(program.args.empty() ? program.path : program.path + " " + program.args);
}

std::string orDash(const std::string &text) {
  return text.empty() ? "-" : text;
}

Row programRow(const NodeStatus &status, const ProgramStatus &program) {
  return {{program.euId == 0 ? "-" : std::to_string(program.euId), {}},
          {printable(program.name), Colour::BOLD},
          {programStateText(program), wordsOf(program.state).colour},
          {momentText(status, program.sinceNs), {}},
          {program.pid == 0 ? "-" : std::to_string(program.pid), {}},
          {orDash(consequenceText(program)), {}},
          {programText(program), {}}};
}

std::vector<Row> programRows(const NodeStatus &status, const std::vector<size_t> &shown) {
  std::vector<Row> rows = {
      {{"ID", {}}, {"EU", {}}, {"STATE", {}}, {"SINCE", {}}, {"PID", {}}, {"ON FAILURE", {}}, {"PROGRAM", {}}}};
  for (Cell &cell : rows.front())
    cell.colour = Colour::DIM;
  for (const size_t index : shown)
    rows.push_back(programRow(status, status.programs[index]));
  return rows;
}

std::vector<size_t> allPrograms(const NodeStatus &status) {
  std::vector<size_t> indices(status.programs.size());
  std::iota(indices.begin(), indices.end(), size_t{0});
  return indices;
}

// `text` in at most so many columns; what is cut off leaves a mark.
std::string cut(const std::string &text, size_t columns) {
  if (shownWidth(text) <= columns) return text;
  std::string_view rest = text;
  std::string result;
  for (size_t taken = 0; taken + 1 < columns && !rest.empty(); ++taken) {
    const size_t length = std::max(utf8Length(rest), size_t{1});
    result += rest.substr(0, length);
    rest.remove_prefix(length);
  }
  return columns == 0 ? "" : result + "~";
}

// Each row a line of at most `columns`; the colours do not count.
std::vector<std::string> linesOf(const std::vector<Row> &rows, size_t columns) {
  std::vector<size_t> widths;
  for (const Row &row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i)
      widths[i] = std::max(widths[i], shownWidth(row[i].text));
  }
  std::vector<std::string> lines;
  for (const Row &row : rows) {
    std::string line;
    size_t left = columns;
    for (size_t i = 0; i < row.size() && left != 0; ++i) {
      const bool isLast = i + 1 == row.size();
      const std::string text = cut(row[i].text, left);
      line += row[i].colour ? coloured(*row[i].colour, text) : text;
      left -= shownWidth(text);
      if (isLast) break;
      const size_t blanks = std::min(left, widths[i] - std::min(widths[i], shownWidth(text)) + 2);
      line += std::string(blanks, ' ');
      left -= blanks;
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string joined(const std::vector<std::string> &lines) {
  std::string text;
  for (const std::string &line : lines)
    text += line + "\n";
  return text;
}

// --- Screen ---------------------------------------------------------------------------------------------------------

// "[#########-------------]  3 of 7 programs".
std::string progressText(const NodeStatus &status) {
  constexpr unsigned LENGTH = 30;
  const unsigned done = status.planned == 0 ? LENGTH : status.started * LENGTH / status.planned;
  return "[" + coloured(Colour::GREEN, std::string(done, '#')) + std::string(LENGTH - done, '-') + "]  " +
         std::to_string(status.started) + " of " + std::to_string(status.planned) +
         (status.planned == 1 ? " program" : " programs");
}

// The programs for so many lines, in their order.
std::vector<size_t> mostInteresting(const NodeStatus &status, size_t count) {
  std::vector<size_t> indices = allPrograms(status);
  if (indices.size() <= count) return indices;
  std::stable_sort(indices.begin(), indices.end(), [&](size_t one, size_t other) {
    return wordsOf(status.programs[one].state).interest < wordsOf(status.programs[other].state).interest;
  });
  indices.resize(count);
  std::sort(indices.begin(), indices.end());
  return indices;
}

}  // namespace

std::string programStateText(const ProgramStatus &program) {
  return bareStateText(program) + (program.says.empty() ? "" : ": " + printable(program.says));
}

const char *programStateName(ProgramState state) {
  return wordsOf(state).name;
}

std::string consequenceText(const ProgramStatus &program) {
  if (!program.raisesError()) return program.resetsBoard() ? "resets the board" : "";
  return program.resetsBoard() ? "raises an error, resets the board" : "raises an error";
}

std::string momentText(const NodeStatus &status, std::optional<uint64_t> monotonicNs) {
  if (!monotonicNs) return "-";
  const std::string text = timeText(realtimeOf(*status.run, *monotonicNs));
  const std::string today = timeText(realtimeOf(*status.run, status.nowNs));
  constexpr size_t DATE_LENGTH = std::string_view("2026-11-21").size();
  constexpr size_t TIME_LENGTH = std::string_view("18:06:14").size();
  const bool isToday = text.compare(0, DATE_LENGTH, today, 0, DATE_LENGTH) == 0;
  return isToday ? text.substr(DATE_LENGTH + 1, TIME_LENGTH) : text.substr(0, DATE_LENGTH + 1 + TIME_LENGTH);
}

std::string startupText(const NodeStatus &status, PassingTimes times) {
  std::string text;
  if (status.startup == StartupState::COMPLETE) {
    text = "complete" + (status.startupMs == 0 ? "" : " after " + preciseDurationText(status.startupMs));
  } else if (status.startup == StartupState::INTERRUPTED) {
    text = "interrupted: the daemon ended before it was complete";
  } else if (status.startup == StartupState::UNKNOWN) {
    text = "not known: the events that would tell are no longer kept";
  } else if (!status.awaited) {
    text = "going on";
  } else {
    const AwaitedNow &awaited = *status.awaited;
    text = "waiting for " + (awaited.name.empty() ? "" : printable(awaited.name) + " ") + "(tag " +
           printable(awaited.tag) + ")";
    if (times == PassingTimes::SHOWN) {
      text += " for " + durationText(awaited.waitedMs / MS_PER_S) + ", another " +
              durationText(awaited.leftMs / MS_PER_S) + " at most";
    }
  }
  const std::string skipped = skipText(status.skipped, printable(status.definitionFile));
  return skipped.empty() ? text : text + "; " + skipped;
}

std::string statusText(const NodeStatus &status, PassingTimes times) {
  if (!status.run) return "No run of this node has begun yet.\n";
  constexpr size_t ANY_WIDTH = 100000;
  return joined(linesOf(headRows(status, times), ANY_WIDTH)) + "\n" +
         joined(linesOf(programRows(status, allPrograms(status)), ANY_WIDTH));
}

std::vector<std::string> statusScreen(const NodeStatus &status, unsigned columns, unsigned lines) {
  if (!status.run) return {cut("No run of this node has begun yet.", columns)};
  std::vector<std::string> screen = linesOf(headRows(status, PassingTimes::SHOWN), columns);
  // The colours in it do not count; a terminal that is narrower than the bar does without.
  constexpr unsigned BAR_COLUMNS = 60;
  screen.push_back(columns < BAR_COLUMNS ? "" : "progress  " + progressText(status));
  screen.emplace_back();
  constexpr size_t TABLE_HEAD = 1;
  const size_t room = lines > screen.size() + TABLE_HEAD ? lines - screen.size() - TABLE_HEAD : 0;
  const bool allFit = status.programs.size() <= room;
  const std::vector<size_t> shown = mostInteresting(status, allFit || room == 0 ? room : room - 1);
  for (std::string &line : linesOf(programRows(status, shown), columns))
    screen.push_back(std::move(line));
  if (!allFit) {
    screen.push_back(cut("... and " + std::to_string(status.programs.size() - shown.size()) + " more", columns));
  }
  screen.resize(std::min(screen.size(), size_t{lines}));
  return screen;
}

}  // namespace orv
