// What the charts with a row for each program share: their measures, the plot with its stripes and its time axis, and
// the legend. Lengths are in user units, as in Svg.h.
#ifndef ORV_TOOLS_CHARTFRAME_H
#define ORV_TOOLS_CHARTFRAME_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv {

constexpr double CHART_WIDTH = 1280;
constexpr double CHART_MARGIN = 28;
constexpr double COLUMN_GAP = 18;
constexpr double BASELINE = 4;       // from the middle of a row to the line its texts stand on
constexpr size_t LONGEST_NAME = 32;  // characters of a program's name; what is longer is shortened

// The whole width of a row, which is a little more than that of its texts.
constexpr double ROW_LEFT = CHART_MARGIN - 8;
constexpr double ROW_WIDTH = CHART_WIDTH - 2 * ROW_LEFT;

std::string chartTitles(std::string_view title, std::string_view subtitle);

// Where the rows of a chart lie, and in them what is shown over time.
struct Plot {
  double left = 0;
  double top = 0;
  double right = 0;
  double rowHeight = 0;
  size_t rows = 0;
  uint64_t lengthNs = 1;  // from left to right; never 0

  double xOf(uint64_t atNs) const;  // the right edge for what is later than that
  double yOf(size_t row) const;     // the middle of the row
  double bottom() const;
  double columnTitleY() const;
  double chartHeight() const;

  // What lies below the rows: stripes, and the lines of the time axis with their labels.
  std::string stripes() const;
  std::string timeAxis() const;

 private:
  bool isTall() const;
};

// An entry of a legend: a sign that is drawn around 0, 0, how wide it is, and what it stands for.
struct LegendEntry {
  std::string sign;
  double width = 0;
  const char *text = "";
};

struct LegendSpacing {
  double betweenEntries = 0;
  double behindSign = 0;
};

// The legend, on as many lines as it takes. `bottomY` becomes the middle of the last one.
std::string chartLegend(const std::vector<LegendEntry> &entries, const LegendSpacing &spacing, double &bottomY);

}  // namespace orv

#endif
