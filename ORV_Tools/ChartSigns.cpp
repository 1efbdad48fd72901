#include "ChartSigns.h"

#include <algorithm>
#include <cmath>

#include "Svg.h"

namespace orv {

SignKind signKindOf(MarkKind kind) {
  switch (kind) {
    case MarkKind::ERROR_RAISED:
      return SignKind::ERROR_RAISED;
    case MarkKind::RESET_REQUESTED:
      return SignKind::RESET_REQUESTED;
    case MarkKind::RESET_HELD:
      break;
  }
  return SignKind::RESET_HELD;
}

void addSign(std::vector<Sign> &row, Sign sign) {
  const auto same = std::find_if(row.begin(), row.end(), [&](const Sign &each) {
    return each.kind == sign.kind && std::abs(each.x - sign.x) < SIGN_WIDTH;
  });
  if (same == row.end()) return row.push_back(std::move(sign));
  same->title += "\n" + sign.title;
}

void spreadSigns(std::vector<Sign> &row, double left, double right) {
  std::stable_sort(row.begin(), row.end(), [](const Sign &one, const Sign &other) { return one.x < other.x; });
  for (size_t i = 1; i < row.size(); ++i)
    row[i].x = std::max(row[i].x, row[i - 1].x + SIGN_WIDTH);
  double most = right;
  for (auto sign = row.rbegin(); sign != row.rend(); ++sign) {
    sign->x = std::max(std::min(sign->x, most), left);
    most = sign->x - SIGN_WIDTH;
  }
}

std::string signSvg(SignKind kind, double x, double y, const std::string &title) {
  constexpr double SMALL = 3;
  constexpr double LARGE = 5;
  switch (kind) {
    case SignKind::CROSS:
      return svgCross(x, y, title);
    case SignKind::DONE:
      return svgCircle(x, y, SMALL, "done", title);
    case SignKind::ERROR_RAISED:
      return svgDiamond(x, y, "error", title);
    case SignKind::RESET_REQUESTED:
      return svgCircle(x, y, LARGE, "reset", title);
    case SignKind::RESET_HELD:
      return svgCircle(x, y, LARGE, "held", title);
  }
  return "";  // not reached
}

}  // namespace orv
