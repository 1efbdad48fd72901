// The signs in a chart's rows: what failed, ended, was raised or reset, and when.
#ifndef ORV_TOOLS_CHARTSIGNS_H
#define ORV_TOOLS_CHARTSIGNS_H

#include <cstdint>
#include <string>
#include <vector>

#include "StartupModel.h"

namespace orv {

// The room that a sign takes in its row.
constexpr double SIGN_WIDTH = 13;

enum class SignKind : uint8_t { CROSS, DONE, ERROR_RAISED, RESET_REQUESTED, RESET_HELD };

SignKind signKindOf(MarkKind kind);

struct Sign {
  SignKind kind = SignKind::CROSS;
  double x = 0;
  std::string title;
};

// Adds a sign to a row; where one of its kind is that near already, that one tells of both.
void addSign(std::vector<Sign> &row, Sign sign);

// Puts the signs of a row side by side where they would lie on each other, within `left` and `right` as far as there is
// room for all of them.
void spreadSigns(std::vector<Sign> &row, double left, double right);

std::string signSvg(SignKind kind, double x, double y, const std::string &title);

}  // namespace orv

#endif
