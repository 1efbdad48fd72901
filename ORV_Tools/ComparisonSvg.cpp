#include "ComparisonSvg.h"

#include <algorithm>

#include "ChartFrame.h"
#include "Clock.h"
#include "StartupView.h"
#include "Svg.h"
#include "TimeAxis.h"
#include "Utf8.h"
#include "Words.h"

namespace orv {
namespace {

constexpr double PLOT_TOP = 146;
constexpr double ROW_HEIGHT = 26;
constexpr double SPREAD_HEIGHT = 12;
constexpr double COLUMN_WIDTH = 84;
constexpr double PERCENT_WIDTH = 62;
constexpr double BASE_RADIUS = 3;
constexpr double NEW_RADIUS = 5;

const char *classOf(Change change) {
  if (change == Change::SLOWER) return "slower";
  return change == Change::FASTER ? "faster" : "same";
}

// The whole start-up is many times as long as what it waits for: its figures have to do.
bool isDrawn(const ComparisonRow &row) {
  return row.kind != ComparisonRow::Kind::TOTAL;
}

// Of a file without its folder.
std::string shortName(const ComparedRun &run) {
  return printable(run.name.substr(run.name.rfind('/') + 1));
}

class Picture {
 public:
  explicit Picture(const Comparison &comparison) : comparison_(comparison) {
    size_t nameLength = 0;
    uint64_t longestNs = 0;
    for (const ComparisonRow &row : comparison.rows) {
      names_.push_back(shortened(printable(row.name), LONGEST_NAME));
      nameLength = std::max(nameLength, utf8Characters(names_.back()));
      if (!isDrawn(row)) continue;
      for (const std::optional<uint64_t> &delay : row.delaysNs)
        longestNs = std::max(longestNs, delay.value_or(0));
    }
    plot_.left = CHART_MARGIN + static_cast<double>(nameLength) * NAME_CHARACTER_WIDTH + COLUMN_GAP;
    plot_.top = PLOT_TOP;
    plot_.right = CHART_WIDTH - CHART_MARGIN - PERCENT_WIDTH - 3 * COLUMN_WIDTH - COLUMN_GAP;
    plot_.rowHeight = ROW_HEIGHT;
    plot_.rows = comparison.rows.size();
    plot_.lengthNs = std::max(longestNs + longestNs / 32, NS_PER_MS);  // so that no mark lies on the edge
  }

  std::string svg() const {
    const std::string title = std::to_string(comparison_.runs.size()) + " start-ups side by side";
    std::string text = svgBegin(CHART_WIDTH, plot_.chartHeight(), title, description()) +
                       chartTitles(title, subtitle()) + legend() + plot_.stripes() + axis();
    for (size_t row = 0; row < comparison_.rows.size(); ++row)
      text += rowSvg(row);
    return text + svgEnd();
  }

 private:
  // The columns at the right by their right edges: median, new, change, per cent.
  static double columnX(size_t column) {
    return CHART_WIDTH - CHART_MARGIN -
           (column == 3 ? 0 : PERCENT_WIDTH + COLUMN_WIDTH * static_cast<double>(2 - column));
  }

  std::string runNames(bool ofNew) const {
    constexpr size_t MOST_CHARACTERS = 80;
    std::string names;
    for (const ComparedRun &run : comparison_.runs) {
      if (run.isNew == ofNew) names += (names.empty() ? "" : ", ") + shortName(run);
    }
    return shortened(names, MOST_CHARACTERS);
  }

  std::string subtitle() const {
    return runNames(true) + "  against  " + runNames(false);
  }

  std::string description() const {
    std::string text =
        "A row for each program with a mark for each start-up, at the time by which the program held it up. ";
    for (const ComparisonRow &row : comparison_.rows) {
      if (row.change != Change::SLOWER && row.change != Change::FASTER) continue;
      text += printable(row.name) + (row.change == Change::SLOWER ? " got slower: from " : " got faster: from ") +
              shortDuration(*row.baseMedianNs) + " to " + shortDuration(*row.newMedianNs) + ". ";
    }
    return text;
  }

  static std::string legend() {
    const std::vector<LegendEntry> entries = {
        {svgCircle(BASE_RADIUS, 0, BASE_RADIUS, "base"), 2 * BASE_RADIUS, "a start-up of the base"},
        {svgRect(0, -SPREAD_HEIGHT / 2, 20, SPREAD_HEIGHT, "spread"), 20, "from the least to the 95th of 100"},
        {svgLine(1, -SPREAD_HEIGHT / 2, 1, SPREAD_HEIGHT / 2, "median"), 2, "median of the base"},
        {svgCircle(NEW_RADIUS, 0, NEW_RADIUS, "same"), 2 * NEW_RADIUS, "new, no change"},
        {svgCircle(NEW_RADIUS, 0, NEW_RADIUS, "slower"), 2 * NEW_RADIUS, "new, slower"},
        {svgCircle(NEW_RADIUS, 0, NEW_RADIUS, "faster"), 2 * NEW_RADIUS, "new, faster"}};
    double bottomY = 0;  // it fits on one line
    return chartLegend(entries, {26, 8}, bottomY);
  }

  std::string axis() const {
    const double y = plot_.columnTitleY();
    return svgGroupBegin("time-axis") + plot_.timeAxis() + svgText(CHART_MARGIN, y, "label", "held up by") +
           svgText(columnX(0), y, "label", "median", Anchor::END) +
           svgText(columnX(1), y, "label", "new", Anchor::END) +
           svgText(columnX(2), y, "label", "change", Anchor::END) + svgGroupEnd();
  }

  std::string rowSvg(size_t index) const {
    const ComparisonRow &row = comparison_.rows[index];
    const double y = plot_.yOf(index);
    const bool isProgram = row.kind == ComparisonRow::Kind::PROGRAM;
    std::string text = svgGroupBegin("row", printable(row.name));
    text += svgText(CHART_MARGIN, y + BASELINE, isProgram ? "name" : "muted name", names_[index]);
    if (isDrawn(row)) text += spread(row, y) + marks(row, y);
    return text + figures(row, y) + svgGroupEnd();
  }

  // Those of the new start-ups lie above the others.
  std::string marks(const ComparisonRow &row, double y) const {
    std::string text;
    for (const bool ofNew : {false, true}) {
      for (size_t i = 0; i < comparison_.runs.size(); ++i) {
        const ComparedRun &run = comparison_.runs[i];
        if (run.isNew != ofNew || !row.delaysNs[i]) continue;
        text +=
            svgCircle(plot_.xOf(*row.delaysNs[i]), y, ofNew ? NEW_RADIUS : BASE_RADIUS,
                      ofNew ? classOf(row.change) : "base", shortName(run) + ": " + shortDuration(*row.delaysNs[i]));
      }
    }
    return text;
  }

  std::string spread(const ComparisonRow &row, double y) const {
    if (!row.baseMedianNs) return "";
    uint64_t leastNs = *row.baseP95Ns;
    for (size_t i = 0; i < comparison_.runs.size(); ++i) {
      if (!comparison_.runs[i].isNew && row.delaysNs[i]) leastNs = std::min(leastNs, *row.delaysNs[i]);
    }
    const double x = plot_.xOf(leastNs);
    return svgRect(x, y - SPREAD_HEIGHT / 2, std::max(plot_.xOf(*row.baseP95Ns) - x, 1.0), SPREAD_HEIGHT, "spread") +
           svgLine(plot_.xOf(*row.baseMedianNs), y - SPREAD_HEIGHT / 2, plot_.xOf(*row.baseMedianNs),
                   y + SPREAD_HEIGHT / 2, "median");
  }

  static std::string figures(const ComparisonRow &row, double y) {
    const auto figure = [&](size_t column, const char *kind, const std::string &text) {
      return text.empty() ? text : svgText(columnX(column), y + BASELINE, kind, text, Anchor::END);
    };
    const auto delay = [](const std::optional<uint64_t> &ns) { return ns ? shortDuration(*ns) : std::string("-"); };
    const char *kind = row.change == Change::SLOWER ? "bad change" : "change";
    std::string change = row.change == Change::ADDED ? "added" : "removed";
    if (row.baseMedianNs && row.newMedianNs) change = changeText(row);
    return figure(0, "muted", delay(row.baseMedianNs)) + figure(1, "delay", delay(row.newMedianNs)) +
           figure(2, kind, change) + figure(3, kind, changePercentText(row));
  }

  const Comparison &comparison_;
  std::vector<std::string> names_;
  Plot plot_;
};

}  // namespace

std::string comparisonSvg(const Comparison &comparison) {
  return Picture(comparison).svg();
}

}  // namespace orv
