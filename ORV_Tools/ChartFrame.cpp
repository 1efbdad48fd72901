#include "ChartFrame.h"

#include <algorithm>
#include <cmath>

#include "Svg.h"
#include "TimeAxis.h"
#include "Utf8.h"

namespace orv {
namespace {

constexpr double TITLE_Y = 42;
constexpr double SUBTITLE_Y = 64;
constexpr double LEGEND_Y = 94;
constexpr double TICK = 5;
constexpr double BELOW_PLOT = 28;
constexpr double AXIS_BELOW_PLOT = 20;

}  // namespace

std::string chartTitles(std::string_view title, std::string_view subtitle) {
  return svgText(CHART_MARGIN, TITLE_Y, "title", title) + svgText(CHART_MARGIN, SUBTITLE_Y, "subtitle", subtitle);
}

double Plot::xOf(uint64_t atNs) const {
  return left + static_cast<double>(std::min(atNs, lengthNs)) / static_cast<double>(lengthNs) * (right - left);
}

double Plot::yOf(size_t row) const {
  return top + (static_cast<double>(row) + 0.5) * rowHeight;
}

double Plot::bottom() const {
  return top + rowHeight * static_cast<double>(rows);
}

double Plot::columnTitleY() const {
  return top - TICK - BASELINE;
}

double Plot::chartHeight() const {
  return bottom() + BELOW_PLOT + (isTall() ? AXIS_BELOW_PLOT : 0);
}

std::string Plot::stripes() const {
  std::string text;
  for (size_t row = 0; row < rows; ++row)
    text += svgRect(ROW_LEFT, yOf(row) - rowHeight / 2, ROW_WIDTH, rowHeight, row % 2 == 0 ? "stripe" : "plain");
  return text;
}

std::string Plot::timeAxis() const {
  constexpr double PIXELS_A_TICK = 85;
  constexpr double LABEL_BELOW = 16;
  std::string text;
  for (const Tick &tick : timeTicks(lengthNs, static_cast<size_t>((right - left) / PIXELS_A_TICK))) {
    const double x = std::round(xOf(tick.atNs)) + 0.5;
    text += svgLine(x, top - TICK, x, bottom(), "grid");
    text += svgText(x, columnTitleY(), "label tick", tick.label, Anchor::MIDDLE);
    if (isTall()) text += svgText(x, bottom() + LABEL_BELOW, "label tick", tick.label, Anchor::MIDDLE);
  }
  return text + svgLine(left, top + 0.5, right, top + 0.5, "axis");
}

// Too long to read the rows at the bottom by the labels at the top.
bool Plot::isTall() const {
  constexpr size_t MOST_ROWS = 21;
  return rows > MOST_ROWS;
}

std::string chartLegend(const std::vector<LegendEntry> &entries, const LegendSpacing &spacing, double &bottomY) {
  constexpr double LINE_HEIGHT = 20;
  constexpr double LABEL_CHARACTER_WIDTH = 5.8;
  std::string text;
  double x = CHART_MARGIN;
  bottomY = LEGEND_Y;
  for (const LegendEntry &entry : entries) {
    const double textX = entry.width + spacing.behindSign;
    const double width = textX + static_cast<double>(utf8Characters(entry.text)) * LABEL_CHARACTER_WIDTH;
    if (x + width > CHART_WIDTH - CHART_MARGIN) {
      x = CHART_MARGIN;
      bottomY += LINE_HEIGHT;
    }
    text +=
        "<g transform=\"translate(" + svgNumber(x) + " " + svgNumber(bottomY) + ")\">\n" + entry.sign + svgGroupEnd();
    text += svgText(x + textX, bottomY + BASELINE, "label", entry.text);
    x += width + spacing.betweenEntries;
  }
  return svgGroupBegin("legend") + text + svgGroupEnd();
}

}  // namespace orv
