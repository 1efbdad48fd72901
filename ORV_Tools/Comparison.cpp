#include "Comparison.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "Applications.h"
#include "Clock.h"
#include "Json.h"
#include "StartupView.h"
#include "Terminal.h"
#include "TimeAxis.h"
#include "Words.h"

namespace orv {
namespace {

const char *changeName(Change change) {
  switch (change) {
    case Change::NONE:
      return "none";
    case Change::SLOWER:
      return "slower";
    case Change::FASTER:
      return "faster";
    case Change::ADDED:
      return "added";
    case Change::REMOVED:
      return "removed";
  }
  return "";  // not reached
}

const char *kindName(ComparisonRow::Kind kind) {
  switch (kind) {
    case ComparisonRow::Kind::PROGRAM:
      return "program";
    case ComparisonRow::Kind::DAEMON:
      return "daemon";
    case ComparisonRow::Kind::TOTAL:
      return "total";
  }
  return "";  // not reached
}

// The programs of a start-up by names of which each is there once.
std::vector<std::string> uniqueNames(const StartupModel &model) {
  std::map<std::string, size_t> counts;
  std::vector<std::string> names;
  for (const StartupProgram &program : model.programs) {
    const size_t count = ++counts[program.name];
    names.push_back(count == 1 ? program.name : program.name + " (" + std::to_string(count) + ")");
  }
  return names;
}

// The rows without figures: first the programs of the newest start-up, then what is in others alone.
std::vector<ComparisonRow> emptyRows(const std::vector<ComparedRun> &runs) {
  std::vector<ComparisonRow> rows;
  const auto add = [&](ComparisonRow::Kind kind, const std::string &name) {
    ComparisonRow row;
    row.kind = kind;
    row.name = name;
    row.delaysNs.resize(runs.size());
    rows.push_back(std::move(row));
  };
  for (auto run = runs.rbegin(); run != runs.rend(); ++run) {
    for (const std::string &name : uniqueNames(run->model)) {
      const bool isThere =
          std::any_of(rows.begin(), rows.end(), [&](const ComparisonRow &row) { return row.name == name; });
      if (!isThere) add(ComparisonRow::Kind::PROGRAM, name);
    }
  }
  add(ComparisonRow::Kind::DAEMON, "the daemon itself");
  add(ComparisonRow::Kind::TOTAL, "in all");
  return rows;
}

void takeDelays(const std::vector<ComparedRun> &runs, std::vector<ComparisonRow> &rows) {
  for (size_t i = 0; i < runs.size(); ++i) {
    const StartupModel &model = runs[i].model;
    const std::vector<std::string> names = uniqueNames(model);
    for (ComparisonRow &row : rows) {
      if (row.kind == ComparisonRow::Kind::TOTAL) row.delaysNs[i] = model.lengthNs;
      if (row.kind == ComparisonRow::Kind::DAEMON) row.delaysNs[i] = daemonsOwnNs(model);
      if (row.kind != ComparisonRow::Kind::PROGRAM) continue;
      const auto name = std::find(names.begin(), names.end(), row.name);
      if (name != names.end()) {
        row.delaysNs[i] = model.programs[static_cast<size_t>(name - names.begin())].delayNs;
      }
    }
  }
}

std::vector<uint64_t> delaysOf(const ComparisonRow &row, const std::vector<ComparedRun> &runs, bool ofNew) {
  std::vector<uint64_t> delays;
  for (size_t i = 0; i < runs.size(); ++i) {
    if (runs[i].isNew == ofNew && row.delaysNs[i]) delays.push_back(*row.delaysNs[i]);
  }
  return delays;
}

Change changeOf(const ComparisonRow &row, const ComparisonLimits &limits) {
  if (!row.baseMedianNs) return Change::ADDED;
  if (!row.newMedianNs) return Change::REMOVED;
  const int64_t change = changeNs(row);
  const auto size = static_cast<uint64_t>(std::abs(change));
  const double limitNs = limits.percent.value_or(0) / 100 * static_cast<double>(*row.baseMedianNs);
  if (size <= limits.floorNs || static_cast<double>(size) <= limitNs) return Change::NONE;
  return change > 0 ? Change::SLOWER : Change::FASTER;
}

std::string orDash(const std::optional<uint64_t> &delayNs) {
  return delayNs ? shortDuration(*delayNs) : "-";
}

std::string namesOf(const Comparison &comparison, bool ofNew) {
  std::string names;
  for (const ComparedRun &run : comparison.runs) {
    if (run.isNew == ofNew) names += (names.empty() ? "" : ", ") + printable(run.name);
  }
  return names;
}

std::string percentText(double percent) {
  char text[40];
  std::snprintf(text, sizeof text, "%g %%", percent);
  return text;
}

std::string verdictText(const Comparison &comparison) {
  const size_t slower = slowerRows(comparison);
  const ComparisonLimits &limits = comparison.limits;
  const std::string limit =
      "more than " + (limits.percent ? percentText(*limits.percent) + " and " : "") + shortDuration(limits.floorNs);
  if (slower == 0) return "Nothing got slower by " + limit + ".\n";
  return coloured(Colour::RED,
                  std::to_string(slower) + (slower == 1 ? " line is" : " lines are") + " slower by " + limit + ".") +
         "\n";
}

Colour colourOf(Change change) {
  if (change == Change::SLOWER) return Colour::RED;
  return change == Change::FASTER ? Colour::GREEN : Colour::DIM;
}

std::string rowJson(const ComparisonRow &row) {
  const auto delayJson = [](const std::optional<uint64_t> &ns) { return ns ? std::to_string(*ns) : "null"; };
  JsonObject object;
  object.text("kind", kindName(row.kind)).text("name", row.name).raw("delays_ns", jsonArray(row.delaysNs, delayJson));
  object.numberOrNull("base_median_ns", row.baseMedianNs).numberOrNull("base_p95_ns", row.baseP95Ns);
  object.numberOrNull("new_median_ns", row.newMedianNs).numberOrNull("new_p95_ns", row.newP95Ns);
  const bool hasBoth = row.baseMedianNs && row.newMedianNs;
  object.raw("change_ns", hasBoth ? std::to_string(changeNs(row)) : "null");
  return object.text("change", changeName(row.change)).str();
}

std::string runJson(const ComparedRun &run) {
  JsonObject object;
  object.text("name", run.name).number("run", run.model.run).flag("new", run.isNew);
  return object.number("length_ns", run.model.lengthNs).str();
}

}  // namespace

uint64_t defaultFloorNs() {
  return 2 * READY_POLL_INTERVAL_MS * NS_PER_MS;
}

std::optional<uint64_t> median(std::vector<uint64_t> values) {
  if (values.empty()) return std::nullopt;
  std::sort(values.begin(), values.end());
  const uint64_t upper = values[values.size() / 2];
  const uint64_t lower = values[(values.size() - 1) / 2];
  return lower + (upper - lower) / 2;
}

std::optional<uint64_t> percentile95(std::vector<uint64_t> values) {
  if (values.empty()) return std::nullopt;
  std::sort(values.begin(), values.end());
  return values[(values.size() * 95 + 99) / 100 - 1];
}

int64_t changeNs(const ComparisonRow &row) {
  if (!row.baseMedianNs || !row.newMedianNs) return 0;
  return static_cast<int64_t>(*row.newMedianNs) - static_cast<int64_t>(*row.baseMedianNs);
}

std::string changeText(const ComparisonRow &row) {
  if (!row.baseMedianNs || !row.newMedianNs) return "-";
  const int64_t change = changeNs(row);
  const char *sign = change < 0 ? "-" : change > 0 ? "+" : "";
  return sign + shortDuration(static_cast<uint64_t>(std::abs(change)));
}

std::string changePercentText(const ComparisonRow &row) {
  if (!row.baseMedianNs || !row.newMedianNs || *row.baseMedianNs == 0) return "";
  const double percent = 100 * static_cast<double>(changeNs(row)) / static_cast<double>(*row.baseMedianNs);
  if (std::abs(percent) < 0.5) return "0 %";
  char text[48];
  std::snprintf(text, sizeof text, "%+.0f %%", percent);
  return text;
}

Comparison compareStartups(std::vector<ComparedRun> runs, const ComparisonLimits &limits) {
  Comparison comparison;
  std::stable_partition(runs.begin(), runs.end(), [](const ComparedRun &run) { return !run.isNew; });
  comparison.runs = std::move(runs);
  comparison.limits = limits;
  comparison.rows = emptyRows(comparison.runs);
  takeDelays(comparison.runs, comparison.rows);
  for (ComparisonRow &row : comparison.rows) {
    row.baseMedianNs = median(delaysOf(row, comparison.runs, false));
    row.baseP95Ns = percentile95(delaysOf(row, comparison.runs, false));
    row.newMedianNs = median(delaysOf(row, comparison.runs, true));
    row.newP95Ns = percentile95(delaysOf(row, comparison.runs, true));
    row.change = changeOf(row, limits);
  }
  return comparison;
}

size_t slowerRows(const Comparison &comparison) {
  return static_cast<size_t>(std::count_if(comparison.rows.begin(), comparison.rows.end(),
                                           [](const ComparisonRow &row) { return row.change == Change::SLOWER; }));
}

std::string comparisonText(const Comparison &comparison) {
  std::vector<std::vector<std::string>> rows = {{"PROGRAM", "MEDIAN", "P95", "NEW", "CHANGE", "", ""}};
  for (const ComparisonRow &row : comparison.rows) {
    const bool isNoted = row.change != Change::NONE;
    rows.push_back({printable(row.name), orDash(row.baseMedianNs), orDash(row.baseP95Ns), orDash(row.newMedianNs),
                    changeText(row), changePercentText(row),
                    isNoted ? coloured(colourOf(row.change), changeName(row.change)) : ""});
  }
  for (size_t column = 1; column + 1 < rows.front().size(); ++column)
    alignRight(rows, column);
  std::string table;
  for (std::string line = tableText(rows); !line.empty();) {
    const size_t end = line.find('\n');
    std::string one = line.substr(0, end);
    one.erase(one.find_last_not_of(' ') + 1);
    table += one + "\n";
    line.erase(0, end + 1);
  }
  return "base: " + namesOf(comparison, false) + "\nnew:  " + namesOf(comparison, true) + "\n\n" + table + "\n" +
         verdictText(comparison);
}

std::string comparisonJson(const Comparison &comparison) {
  JsonObject object;
  const std::optional<double> &percent = comparison.limits.percent;
  char limit[48] = "null";
  if (percent) std::snprintf(limit, sizeof limit, "%.17g", *percent);
  object.raw("limit_percent", limit).number("floor_ns", comparison.limits.floorNs);
  object.number("slower", slowerRows(comparison)).raw("runs", jsonLines(comparison.runs, 4, runJson));
  return object.raw("rows", jsonLines(comparison.rows, 4, rowJson)).str() + "\n";
}

}  // namespace orv
