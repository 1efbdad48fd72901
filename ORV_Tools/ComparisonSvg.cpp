#include "ComparisonSvg.h"

#include <algorithm>
#include <cmath>

#include "StartupView.h"
#include "Svg.h"
#include "TimeAxis.h"
#include "Words.h"

namespace orv {
namespace {

constexpr double WIDTH = 1280;
constexpr double MARGIN = 28;
constexpr double TITLE_Y = 42;
constexpr double SUBTITLE_Y = 64;
constexpr double LEGEND_Y = 94;
constexpr double PLOT_TOP = 146;
constexpr double ROW_HEIGHT = 26;
constexpr double BASELINE = 4;
constexpr double SPREAD_HEIGHT = 12;
constexpr double COLUMN_GAP = 18;
constexpr double COLUMN_WIDTH = 84;
constexpr double PERCENT_WIDTH = 62;
constexpr double BELOW_PLOT = 28;
constexpr double AXIS_BELOW_PLOT = 20;
constexpr double PIXELS_A_TICK = 85;
constexpr double BASE_RADIUS = 3;
constexpr double NEW_RADIUS = 5;
constexpr size_t LONGEST_NAME = 32;

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
    for (const ComparisonRow &row : comparison.rows) {
      names_.push_back(shortened(printable(row.name), LONGEST_NAME));
      nameLength = std::max(nameLength, characters(names_.back()));
      if (!isDrawn(row)) continue;
      for (const std::optional<uint64_t> &delay : row.delaysNs)
        longestNs_ = std::max(longestNs_, delay.value_or(0));
    }
    longestNs_ += longestNs_ / 32;  // so that no mark lies on the edge
    plotLeft_ = MARGIN + static_cast<double>(nameLength) * NAME_CHARACTER_WIDTH + COLUMN_GAP;
    plotRight_ = WIDTH - MARGIN - PERCENT_WIDTH - 3 * COLUMN_WIDTH - COLUMN_GAP;
    plotBottom_ = PLOT_TOP + ROW_HEIGHT * static_cast<double>(comparison.rows.size());
  }

  std::string svg() const {
    const std::string title = std::to_string(comparison_.runs.size()) + " start-ups side by side";
    const double height = plotBottom_ + BELOW_PLOT + (isTall() ? AXIS_BELOW_PLOT : 0);
    std::string text = svgBegin(WIDTH, height, title, description()) + svgText(MARGIN, TITLE_Y, "title", title) +
                       svgText(MARGIN, SUBTITLE_Y, "subtitle", subtitle()) + legend();
    for (size_t row = 0; row < comparison_.rows.size(); ++row) {
      text += svgRect(MARGIN - 8, yOf(row) - ROW_HEIGHT / 2, WIDTH - 2 * MARGIN + 16, ROW_HEIGHT,
                      row % 2 == 0 ? "stripe" : "plain");
    }
    text += axis();
    for (size_t row = 0; row < comparison_.rows.size(); ++row)
      text += rowSvg(row);
    return text + svgEnd();
  }

 private:
  double xOf(uint64_t delayNs) const {
    const auto longest = static_cast<double>(std::max<uint64_t>(longestNs_, NS_PER_MS));
    return plotLeft_ + static_cast<double>(delayNs) / longest * (plotRight_ - plotLeft_);
  }
  static double yOf(size_t row) {
    return PLOT_TOP + (static_cast<double>(row) + 0.5) * ROW_HEIGHT;
  }
  bool isTall() const {
    constexpr size_t MOST_ROWS = 20;
    return comparison_.rows.size() > MOST_ROWS;
  }
  // The columns at the right by their right edges: median, new, change, per cent.
  static double columnX(size_t column) {
    return WIDTH - MARGIN - (column == 3 ? 0 : PERCENT_WIDTH + COLUMN_WIDTH * static_cast<double>(2 - column));
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
    constexpr double SPACE = 26;
    constexpr double LABEL_CHARACTER_WIDTH = 5.8;
    constexpr double LABEL_GAP = 8;
    std::string text;
    double x = MARGIN;
    const auto add = [&](const std::string &sign, double width, const char *words) {
      text += "<g transform=\"translate(" + svgNumber(x) + " " + svgNumber(LEGEND_Y) + ")\">\n" + sign + svgGroupEnd();
      text += svgText(x + width + LABEL_GAP, LEGEND_Y + BASELINE, "label", words);
      x += width + LABEL_GAP + static_cast<double>(characters(words)) * LABEL_CHARACTER_WIDTH + SPACE;
    };
    add(svgCircle(BASE_RADIUS, 0, BASE_RADIUS, "base"), 2 * BASE_RADIUS, "a start-up of the base");
    add(svgRect(0, -SPREAD_HEIGHT / 2, 20, SPREAD_HEIGHT, "spread"), 20, "from the least to the 95th of 100");
    add(svgLine(1, -SPREAD_HEIGHT / 2, 1, SPREAD_HEIGHT / 2, "median"), 2, "median of the base");
    add(svgCircle(NEW_RADIUS, 0, NEW_RADIUS, "same"), 2 * NEW_RADIUS, "new, no change");
    add(svgCircle(NEW_RADIUS, 0, NEW_RADIUS, "slower"), 2 * NEW_RADIUS, "new, slower");
    add(svgCircle(NEW_RADIUS, 0, NEW_RADIUS, "faster"), 2 * NEW_RADIUS, "new, faster");
    return svgGroupBegin("legend") + text + svgGroupEnd();
  }

  std::string axis() const {
    constexpr double TICK = 5;
    const double labelY = PLOT_TOP - TICK - BASELINE;
    std::string text;
    for (const Tick &tick : timeTicks(longestNs_, static_cast<size_t>((plotRight_ - plotLeft_) / PIXELS_A_TICK))) {
      const double x = std::round(xOf(tick.atNs)) + 0.5;
      text += svgLine(x, PLOT_TOP - TICK, x, plotBottom_, "grid");
      text += svgText(x, labelY, "label tick", tick.label, Anchor::MIDDLE);
      if (isTall()) text += svgText(x, plotBottom_ + 16, "label tick", tick.label, Anchor::MIDDLE);
    }
    text += svgLine(plotLeft_, PLOT_TOP + 0.5, plotRight_, PLOT_TOP + 0.5, "axis");
    text += svgText(MARGIN, labelY, "label", "held up by");
    text += svgText(columnX(0), labelY, "label", "median", Anchor::END);
    text += svgText(columnX(1), labelY, "label", "new", Anchor::END);
    text += svgText(columnX(2), labelY, "label", "change", Anchor::END);
    return svgGroupBegin("time-axis") + text + svgGroupEnd();
  }

  std::string rowSvg(size_t index) const {
    const ComparisonRow &row = comparison_.rows[index];
    const double y = yOf(index);
    const bool isProgram = row.kind == ComparisonRow::Kind::PROGRAM;
    std::string text = svgGroupBegin("row", printable(row.name));
    text += svgText(MARGIN, y + BASELINE, isProgram ? "name" : "muted name", names_[index]);
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
            svgCircle(xOf(*row.delaysNs[i]), y, ofNew ? NEW_RADIUS : BASE_RADIUS, ofNew ? classOf(row.change) : "base",
                      shortName(run) + ": " + shortDuration(*row.delaysNs[i]));
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
    const double x = xOf(leastNs);
    return svgRect(x, y - SPREAD_HEIGHT / 2, std::max(xOf(*row.baseP95Ns) - x, 1.0), SPREAD_HEIGHT, "spread") +
           svgLine(xOf(*row.baseMedianNs), y - SPREAD_HEIGHT / 2, xOf(*row.baseMedianNs), y + SPREAD_HEIGHT / 2,
                   "median");
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
  uint64_t longestNs_ = 0;
  double plotLeft_ = 0;
  double plotRight_ = 0;
  double plotBottom_ = 0;
};

}  // namespace

std::string comparisonSvg(const Comparison &comparison) {
  return Picture(comparison).svg();
}

}  // namespace orv
