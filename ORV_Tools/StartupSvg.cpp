#include "StartupSvg.h"

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
constexpr double ROW_HEIGHT = 24;
constexpr double BAR_HEIGHT = 14;
constexpr double BASELINE = 4;  // from the middle of a row to the line its texts stand on
constexpr double COLUMN_GAP = 18;
constexpr double DELAY_WIDTH = 84;
constexpr double SHARE_WIDTH = 44;
constexpr double BELOW_PLOT = 46;
constexpr double LEAST_BAR_WIDTH = 1.5;
constexpr double SIGN_WIDTH = 13;
constexpr double PIXELS_A_TICK = 110;
constexpr size_t LONGEST_NAME = 32;
constexpr const char *DAEMON_NAME = "the daemon itself";

const char *classOf(Phase phase) {
  switch (phase) {
    case Phase::CREATED:
      return "created";
    case Phase::STARTING:
      return "starting";
    case Phase::RUNNING:
      return "running";
    case Phase::ONLINE:
      break;
  }
  return "online";
}

enum class SignKind : uint8_t { CROSS, DONE, ERROR_RAISED, RESET_REQUESTED, RESET_HELD };

struct Sign {
  SignKind kind = SignKind::CROSS;
  double x = 0;
  std::string title;
};

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

class Picture {
 public:
  explicit Picture(const StartupModel &model) : model_(model), lengthNs_(chartLengthNs(model)) {
    size_t nameLength = characters(DAEMON_NAME);
    size_t outcomeLength = 0;
    for (const StartupProgram &program : model_.programs) {
      names_.push_back(shortened(printable(program.name), LONGEST_NAME));
      nameLength = std::max(nameLength, characters(names_.back()));
      outcomes_.push_back(outcomeOf(model_, program, lengthNs_));
      if (outcomes_.back().outcome == Outcome::ONLINE) outcomes_.back().text += " " + shortDuration(*program.readyNs);
      outcomeLength = std::max(outcomeLength, characters(outcomes_.back().text));
    }
    shareX_ = WIDTH - MARGIN;
    delayX_ = shareX_ - SHARE_WIDTH;
    outcomeX_ = delayX_ - DELAY_WIDTH - static_cast<double>(outcomeLength) * TEXT_CHARACTER_WIDTH;
    plotLeft_ = MARGIN + static_cast<double>(nameLength) * NAME_CHARACTER_WIDTH + COLUMN_GAP;
    plotRight_ = outcomeX_ - COLUMN_GAP;
    plotBottom_ = PLOT_TOP + ROW_HEIGHT * static_cast<double>(model_.programs.size() + 1);
  }

  std::string svg() const {
    const std::string title = "Start-up of " + startupName(model_);
    return svgBegin(WIDTH, plotBottom_ + BELOW_PLOT, title + ": " + startupStateText(model_), description()) +
           svgText(MARGIN, TITLE_Y, "title", title) + svgText(MARGIN, SUBTITLE_Y, "subtitle", subtitle()) + legend() +
           stripes() + axis() + rows() + pathSvg() + signs() + completeLine() + svgEnd();
  }

 private:
  double xOf(uint64_t atNs) const {
    const double part = static_cast<double>(std::min(atNs, lengthNs_)) / static_cast<double>(lengthNs_);
    return plotLeft_ + part * (plotRight_ - plotLeft_);
  }
  // The middle of a row: that of the daemon is the first.
  static double yOf(size_t row) {
    return PLOT_TOP + (static_cast<double>(row) + 0.5) * ROW_HEIGHT;
  }
  static size_t rowOf(const StartupStep &step) {
    return step.program ? *step.program + 1 : 0;
  }

  std::string subtitle() const {
    std::string text = timeText(model_.startedRealtimeNs) + "  ·  " + startupStateText(model_) + "  ·  " +
                       std::to_string(model_.programs.size()) +
                       (model_.programs.size() == 1 ? " program" : " programs");
    if (model_.beginningIsLost) text += "  ·  the first events are no longer kept";
    return text;
  }

  std::string description() const {
    std::string text = "A time line with a row for each program, in the order of their start. ";
    const auto longest =
        std::max_element(model_.programs.begin(), model_.programs.end(),
                         [](const auto &one, const auto &other) { return one.delayNs < other.delayNs; });
    if (longest != model_.programs.end() && longest->delayNs != 0) {
      text += printable(longest->name) + " held the start-up up for longest: " + shortDuration(longest->delayNs) +
              ", " + shareText(longest->delayNs, model_.lengthNs) + " of it. ";
    }
    for (size_t i = 0; i < outcomes_.size(); ++i) {
      const Outcome outcome = outcomes_[i].outcome;
      if (outcome != Outcome::FAILED && outcome != Outcome::TIMED_OUT) continue;
      text += printable(model_.programs[i].name) + ": " + outcomes_[i].text + ". ";
    }
    return text + "The daemon itself took " + shortDuration(daemonsOwnNs(model_)) + ".";
  }

  static std::string legend() {
    const struct {
      const char *kind;
      const char *text;
    } bars[] = {{"waited", "the start-up waits for it"},
                {"late", "waited in vain"},
                {"created", "not started yet"},
                {"starting", "starting"},
                {"online", "online"},
                {"running", "running"}};
    const struct {
      SignKind kind;
      const char *text;
    } signKinds[] = {{SignKind::CROSS, "failed"},
                     {SignKind::DONE, "exited with 0"},
                     {SignKind::ERROR_RAISED, "error raised"},
                     {SignKind::RESET_REQUESTED, "board reset"},
                     {SignKind::RESET_HELD, "reset held off"}};
    constexpr double SWATCH = 20;
    constexpr double SWATCH_HEIGHT = 10;
    constexpr double SPACE = 24;
    std::string text;
    double x = MARGIN;
    const auto label = [&](double swatch, const char *words) {
      text += svgText(x + swatch + 6, LEGEND_Y + BASELINE, "label", words);
      x += swatch + 6 + static_cast<double>(std::string_view(words).size()) * 6 + SPACE;
    };
    for (const auto &each : bars) {
      text += svgRect(x, LEGEND_Y - SWATCH_HEIGHT / 2, SWATCH, SWATCH_HEIGHT, each.kind);
      label(SWATCH, each.text);
    }
    for (const auto &each : signKinds) {
      text += signSvg(each.kind, x + SIGN_WIDTH / 2, LEGEND_Y, "");
      label(SIGN_WIDTH, each.text);
    }
    return svgGroupBegin("legend") + text + svgGroupEnd();
  }

  // What lies below the grid. A row's title shows wherever one points in it.
  std::string stripes() const {
    std::string text;
    for (size_t row = 0; row <= model_.programs.size(); ++row) {
      text += svgRect(MARGIN - 8, yOf(row) - ROW_HEIGHT / 2, WIDTH - 2 * MARGIN + 16, ROW_HEIGHT,
                      row % 2 == 0 ? "stripe" : "plain");
    }
    return text;
  }

  std::string axis() const {
    const auto most = static_cast<size_t>((plotRight_ - plotLeft_) / PIXELS_A_TICK);
    constexpr double TICK = 5;
    constexpr size_t ROWS_WITH_AN_AXIS_BELOW = 20;
    const bool isTall = model_.programs.size() > ROWS_WITH_AN_AXIS_BELOW;
    std::string text;
    for (const Tick &tick : timeTicks(lengthNs_, most)) {
      const double x = std::round(xOf(tick.atNs)) + 0.5;
      text += svgLine(x, PLOT_TOP - TICK, x, plotBottom_, "grid");
      text += svgText(x, PLOT_TOP - TICK - BASELINE, "label tick", tick.label, Anchor::MIDDLE);
      if (isTall) text += svgText(x, plotBottom_ + 16, "label tick", tick.label, Anchor::MIDDLE);
    }
    text += svgLine(plotLeft_, PLOT_TOP + 0.5, plotRight_, PLOT_TOP + 0.5, "axis");
    text += svgText(delayX_, PLOT_TOP - TICK - BASELINE, "label", "held up", Anchor::END);
    text += svgText(shareX_, PLOT_TOP - TICK - BASELINE, "label", "share", Anchor::END);
    return svgGroupBegin("time-axis") + text + svgGroupEnd();
  }

  std::string barSvg(size_t row, const char *kind, uint64_t beganNs, uint64_t endedNs) const {
    const double x = std::min(xOf(beganNs), plotRight_ - LEAST_BAR_WIDTH);
    const double width = std::max(xOf(endedNs) - x, LEAST_BAR_WIDTH);
    return svgRect(x, yOf(row) - BAR_HEIGHT / 2, width, BAR_HEIGHT, kind);
  }

  std::string delayTexts(size_t row, uint64_t delayNs) const {
    return svgText(delayX_, yOf(row) + BASELINE, "delay", shortDuration(delayNs), Anchor::END) +
           svgText(shareX_, yOf(row) + BASELINE, "muted share", shareText(delayNs, model_.lengthNs), Anchor::END);
  }

  std::string rows() const {
    std::string text = svgGroupBegin("row", "the daemon itself: what is no wait for a program") +
                       svgText(MARGIN, yOf(0) + BASELINE, "muted name", DAEMON_NAME) + steps(std::nullopt) +
                       delayTexts(0, daemonsOwnNs(model_)) + svgGroupEnd();
    for (size_t i = 0; i < model_.programs.size(); ++i)
      text += programRow(i);
    return text;
  }

  std::string programRow(size_t index) const {
    const StartupProgram &program = model_.programs[index];
    const size_t row = index + 1;
    const double y = yOf(row);
    std::string text = svgGroupBegin("row", programDetails(model_, program));
    // Nothing to see, but to point at.
    text += "<rect x=\"" + svgNumber(MARGIN - 8) + "\" y=\"" + svgNumber(y - ROW_HEIGHT / 2) + "\" width=\"" +
            svgNumber(WIDTH - 2 * MARGIN + 16) + "\" height=\"" + svgNumber(ROW_HEIGHT) + "\" fill-opacity=\"0\"/>\n";
    text += svgText(MARGIN, y + BASELINE, "name", names_[index]);
    for (const PhaseSpan &span : phasesOf(program, lengthNs_))
      text += barSvg(row, classOf(span.phase), span.beganNs, span.endedNs);
    text += steps(index);
    const bool showsReady = program.readyNs && program.startedNs && *program.readyNs >= *program.startedNs;
    if (showsReady && *program.readyNs <= lengthNs_) {
      text += svgRect(xOf(*program.readyNs) - 1, y - BAR_HEIGHT / 2 - 2, 2, BAR_HEIGHT + 4, "ready");
    }
    const OutcomeText &outcome = outcomes_[index];
    const bool isBad = outcome.outcome == Outcome::FAILED || outcome.outcome == Outcome::TIMED_OUT;
    text += svgText(outcomeX_, y + BASELINE, isBad ? "bad outcome" : "muted outcome", outcome.text);
    if (program.delayNs != 0) text += delayTexts(row, program.delayNs);
    return text + svgGroupEnd();
  }

  // The steps of the critical path that are of one row, and how long they are where there is room to say it.
  std::string steps(std::optional<size_t> program) const {
    constexpr double ROOM_FOR_TEXT = 52;
    std::string text;
    for (const StartupStep &step : model_.criticalPath) {
      if (step.program != program) continue;
      const size_t row = rowOf(step);
      const bool isLate = program && outcomes_[*program].outcome == Outcome::TIMED_OUT;
      text += barSvg(row, isLate ? "late" : "waited", step.beganNs, step.endedNs);
      const double width = xOf(step.endedNs) - xOf(step.beganNs);
      if (width < ROOM_FOR_TEXT) continue;
      text += svgText(xOf(step.beganNs) + width / 2, yOf(row) + 3.5, "inbar",
                      shortDuration(step.endedNs - step.beganNs), Anchor::MIDDLE);
    }
    return text;
  }

  // From where one was waited for to where the next is; what the daemon does in between lies on the way.
  std::string pathSvg() const {
    std::string text;
    const StartupStep *before = nullptr;
    for (const StartupStep &step : model_.criticalPath) {
      if (!step.program && before != nullptr) continue;
      if (before != nullptr) text += connection(*before, step);
      before = &step;
    }
    return svgGroupBegin("critical-path") + text + svgGroupEnd();
  }

  std::string connection(const StartupStep &from, const StartupStep &to) const {
    constexpr double ARROW = 4;
    const double fromX = xOf(from.endedNs);
    const double toX = xOf(to.beganNs);
    const double fromY = yOf(rowOf(from));
    const bool goesDown = rowOf(to) > rowOf(from);
    const double tipY = yOf(rowOf(to)) + (goesDown ? -BAR_HEIGHT / 2 : BAR_HEIGHT / 2);
    const double baseY = tipY + (goesDown ? -ARROW : ARROW);
    std::string line = "M" + svgNumber(fromX) + " " + svgNumber(fromY);
    if (toX > fromX) line += "L" + svgNumber(toX) + " " + svgNumber(fromY);
    line += "L" + svgNumber(toX) + " " + svgNumber(baseY);
    return svgPath(line, "path") +
           svgPath("M" + svgNumber(toX - ARROW) + " " + svgNumber(baseY) + "L" + svgNumber(toX + ARROW) + " " +
                       svgNumber(baseY) + "L" + svgNumber(toX) + " " + svgNumber(tipY + (goesDown ? 1 : -1)) + "Z",
                   "arrow");
  }

  std::string signs() const {
    std::vector<std::vector<Sign>> ofRows(model_.programs.size() + 1);
    for (size_t i = 0; i < model_.programs.size(); ++i) {
      const StartupProgram &program = model_.programs[i];
      if (!program.endedNs || *program.endedNs > lengthNs_ || program.state == EuState::SHUT_DOWN) continue;
      const bool isDone = program.state == EuState::PROGRAM_ENDED && program.waitStatus == 0;
      ofRows[i + 1].push_back({isDone ? SignKind::DONE : SignKind::CROSS, xOf(*program.endedNs),
                               isDone ? "exited with 0" : outcomeOf(model_, program, lengthNs_).text});
    }
    for (const StartupMark &mark : model_.marks) {
      if (mark.atNs > lengthNs_) continue;
      addSign(ofRows[mark.program ? *mark.program + 1 : 0], {signKindOf(mark.kind), xOf(mark.atNs), markText(mark)});
    }
    std::string text;
    for (size_t row = 0; row < ofRows.size(); ++row) {
      spread(ofRows[row]);
      for (const Sign &sign : ofRows[row])
        text += signSvg(sign.kind, sign.x, yOf(row), sign.title);
    }
    return svgGroupBegin("signs") + text + svgGroupEnd();
  }

  // Several of one kind at one place are one sign that tells of all.
  static void addSign(std::vector<Sign> &row, Sign sign) {
    const auto same = std::find_if(row.begin(), row.end(), [&](const Sign &each) {
      return each.kind == sign.kind && std::abs(each.x - sign.x) < SIGN_WIDTH;
    });
    if (same == row.end()) return row.push_back(std::move(sign));
    same->title += "\n" + sign.title;
    }

  // Signs side by side where they would lie on each other, all of them within the plot.
  void spread(std::vector<Sign> &row) const {
    std::stable_sort(row.begin(), row.end(), [](const Sign &one, const Sign &other) { return one.x < other.x; });
    for (size_t i = 1; i < row.size(); ++i)
      row[i].x = std::max(row[i].x, row[i - 1].x + SIGN_WIDTH);
    double most = plotRight_;
    for (auto sign = row.rbegin(); sign != row.rend(); ++sign) {
      sign->x = std::max(std::min(sign->x, most), plotLeft_);
      most = sign->x - SIGN_WIDTH;
    }
  }

  std::string completeLine() const {
    if (model_.state != StartupState::COMPLETE) return "";
    const double x = xOf(model_.lengthNs);
    return svgLine(x, PLOT_TOP - 22, x, plotBottom_, "complete") +
           svgText(x, PLOT_TOP - 26, "label", "complete " + shortDuration(model_.lengthNs), Anchor::MIDDLE);
  }

  const StartupModel &model_;
  uint64_t lengthNs_;
  std::vector<std::string> names_;
  std::vector<OutcomeText> outcomes_;
  double plotLeft_ = 0;
  double plotRight_ = 0;
  double plotBottom_ = 0;
  double outcomeX_ = 0;
  double delayX_ = 0;
  double shareX_ = 0;
};

}  // namespace

std::string startupSvg(const StartupModel &model) {
  return Picture(model).svg();
}

}  // namespace orv
