#include "StartupSvg.h"

#include <algorithm>
#include <cmath>

#include "ChartSigns.h"
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
constexpr double LEGEND_TO_PLOT = 56;
constexpr double ROW_HEIGHT = 24;
constexpr double BAR_HEIGHT = 14;
constexpr double BASELINE = 4;  // from the middle of a row to the line its texts stand on
constexpr double COLUMN_GAP = 18;
constexpr double DELAY_WIDTH = 84;
constexpr double SHARE_WIDTH = 44;
constexpr double BELOW_PLOT = 28;
constexpr double AXIS_BELOW_PLOT = 20;
constexpr double LABEL_CHARACTER_WIDTH = 5.8;
constexpr double READY_HEIGHT = BAR_HEIGHT + 4;
constexpr double LEAST_BAR_WIDTH = 1.5;
constexpr double PIXELS_A_TICK = 85;
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

class Picture {
 public:
  explicit Picture(const StartupModel &model) : model_(model), lengthNs_(chartLengthNs(model)) {
    size_t nameLength = characters(DAEMON_NAME);
    size_t outcomeLength = std::string_view("what became of it").size();
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
    findSigns();
    double legendBottomY = 0;
    legend_ = legend(legendBottomY);
    plotTop_ = legendBottomY + LEGEND_TO_PLOT;
    plotBottom_ = plotTop_ + ROW_HEIGHT * static_cast<double>(model_.programs.size() + 1);
  }

  std::string svg() const {
    const std::string title = "Start-up of " + startupName(model_);
    return svgBegin(WIDTH, plotBottom_ + BELOW_PLOT + (isTall() ? AXIS_BELOW_PLOT : 0),
                    title + ": " + startupStateText(model_), description()) +
           svgText(MARGIN, TITLE_Y, "title", title) + svgText(MARGIN, SUBTITLE_Y, "subtitle", subtitle()) + legend_ +
           stripes() + axis() + rows() + pathSvg() + signs() + completeLine() + svgEnd();
  }

 private:
  double xOf(uint64_t atNs) const {
    const double part = static_cast<double>(std::min(atNs, lengthNs_)) / static_cast<double>(lengthNs_);
    return plotLeft_ + part * (plotRight_ - plotLeft_);
  }
  // The middle of a row: that of the daemon is the first.
  double yOf(size_t row) const {
    return plotTop_ + (static_cast<double>(row) + 0.5) * ROW_HEIGHT;
  }
  static size_t rowOf(const StartupStep &step) {
    return step.program ? *step.program + 1 : 0;
  }

  // What the waits for the program, which lie on its phases, leave to be seen of them.
  std::vector<PhaseSpan> visibleSpans(size_t program) const {
    std::vector<PhaseSpan> visible;
    const auto add = [&](PhaseSpan span, uint64_t beganNs, uint64_t endedNs) {
      span.beganNs = beganNs;
      span.endedNs = endedNs;
      if (endedNs > beganNs && xOf(endedNs) - xOf(beganNs) >= 1) visible.push_back(span);
    };
    for (const PhaseSpan &span : phasesOf(model_.programs[program], lengthNs_)) {
      uint64_t atNs = span.beganNs;
      for (const StartupStep &step : model_.criticalPath) {
        if (step.program != program || step.endedNs <= atNs || step.beganNs >= span.endedNs) continue;
        add(span, atNs, step.beganNs);
        atNs = step.endedNs;
      }
      add(span, atNs, span.endedNs);
    }
    return visible;
  }

  // Too long to read the bars at the bottom by the labels at the top.
  bool isTall() const {
    constexpr size_t MOST_ROWS = 20;
    return model_.programs.size() > MOST_ROWS;
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

  struct LegendEntry {
    std::string sign;  // drawn around 0, 0
    double width = 0;
    const char *text = "";
  };

  // What occurs in the picture, line by line.
  std::string legend(double &bottomY) const {
    constexpr double SPACE = 22;
    constexpr double LINE_HEIGHT = 20;
    constexpr double LABEL_GAP = 6;
    std::string text;
    double x = MARGIN;
    double y = LEGEND_Y;
    for (const LegendEntry &entry : legendEntries()) {
      const double width =
          entry.width + LABEL_GAP + static_cast<double>(characters(entry.text)) * LABEL_CHARACTER_WIDTH;
      if (x + width > WIDTH - MARGIN) {
        x = MARGIN;
        y += LINE_HEIGHT;
      }
      text += "<g transform=\"translate(" + svgNumber(x) + " " + svgNumber(y) + ")\">\n" + entry.sign + svgGroupEnd();
      text += svgText(x + entry.width + LABEL_GAP, y + BASELINE, "label", entry.text);
      x += width + SPACE;
    }
    bottomY = y;
    return svgGroupBegin("legend") + text + svgGroupEnd();
  }

  std::vector<LegendEntry> legendEntries() const {
    constexpr double SWATCH_WIDTH = 20;
    constexpr double SWATCH_HEIGHT = 10;
    std::vector<LegendEntry> entries;
    const auto add = [&](bool occurs, const std::string &sign, double width, const char *text) {
      if (occurs) entries.push_back({sign, width, text});
    };
    const auto addBar = [&](bool occurs, const char *kind, const char *text) {
      add(occurs, svgRect(0, -SWATCH_HEIGHT / 2, SWATCH_WIDTH, SWATCH_HEIGHT, kind), SWATCH_WIDTH, text);
    };
    const auto addSignKind = [&](SignKind kind, const char *text) {
      const bool occurs = std::any_of(signs_.begin(), signs_.end(), [kind](const auto &row) {
        return std::any_of(row.begin(), row.end(), [kind](const Sign &sign) { return sign.kind == kind; });
      });
      add(occurs, signSvg(kind, SIGN_WIDTH / 2, 0, ""), SIGN_WIDTH, text);
    };
    const auto hasPhase = [this](Phase phase) {
      for (size_t i = 0; i < model_.programs.size(); ++i) {
        for (const PhaseSpan &span : visibleSpans(i)) {
          if (span.phase == phase) return true;
        }
      }
      return false;
    };
    const auto hasOutcome = [this](Outcome outcome) {
      return std::any_of(outcomes_.begin(), outcomes_.end(),
                         [outcome](const OutcomeText &each) { return each.outcome == outcome; });
    };
    addBar(true, "waited", "the start-up waits for it");
    addBar(hasOutcome(Outcome::TIMED_OUT), "late", "waits in vain");
    addBar(hasPhase(Phase::CREATED), "created", "not started yet");
    addBar(hasPhase(Phase::STARTING), "starting", "starting");
    add(hasPhase(Phase::ONLINE), svgRect(0, -READY_HEIGHT / 2, 2, READY_HEIGHT, "ready"), 2, "comes online");
    addBar(hasPhase(Phase::ONLINE), "online", "online");
    addBar(hasPhase(Phase::RUNNING), "running", "running");
    addSignKind(SignKind::CROSS, "failed");
    addSignKind(SignKind::DONE, "exited with 0");
    addSignKind(SignKind::ERROR_RAISED, "error raised");
    addSignKind(SignKind::RESET_REQUESTED, "board reset");
    addSignKind(SignKind::RESET_HELD, "reset held off");
    return entries;
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
    std::string text;
    for (const Tick &tick : timeTicks(lengthNs_, most)) {
      const double x = std::round(xOf(tick.atNs)) + 0.5;
      text += svgLine(x, plotTop_ - TICK, x, plotBottom_, "grid");
      text += svgText(x, plotTop_ - TICK - BASELINE, "label tick", tick.label, Anchor::MIDDLE);
      if (isTall()) text += svgText(x, plotBottom_ + 16, "label tick", tick.label, Anchor::MIDDLE);
    }
    text += svgLine(plotLeft_, plotTop_ + 0.5, plotRight_, plotTop_ + 0.5, "axis");
    text += svgText(MARGIN, plotTop_ - TICK - BASELINE, "label", "program");
    text += svgText(outcomeX_, plotTop_ - TICK - BASELINE, "label", "what became of it");
    text += svgText(delayX_, plotTop_ - TICK - BASELINE, "label", "held up", Anchor::END);
    text += svgText(shareX_, plotTop_ - TICK - BASELINE, "label", "share", Anchor::END);
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
    for (const PhaseSpan &span : visibleSpans(index))
      text += barSvg(row, classOf(span.phase), span.beganNs, span.endedNs);
    text += steps(index);
    const bool showsReady = program.readyNs && program.startedNs && *program.readyNs >= *program.startedNs;
    if (showsReady && *program.readyNs <= lengthNs_) {
      text += svgRect(xOf(*program.readyNs) - 1, y - READY_HEIGHT / 2, 2, READY_HEIGHT, "ready");
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
      const double width = xOf(step.endedNs) - xOf(step.beganNs);
      if (!program && width < 1) continue;  // between two waits the daemon mostly does next to nothing
      const size_t row = rowOf(step);
      const bool isLate = program && outcomes_[*program].outcome == Outcome::TIMED_OUT;
      text += barSvg(row, isLate ? "late" : "waited", step.beganNs, step.endedNs);
      // The sign of coming online lies on the bar as well: the text has what is before it.
      const bool comesOnline = program && model_.programs[*program].readyNs;
      const uint64_t endNs =
          comesOnline ? std::clamp(*model_.programs[*program].readyNs, step.beganNs, step.endedNs) : step.endedNs;
      const double room = xOf(endNs) - xOf(step.beganNs);
      if (room < ROOM_FOR_TEXT) continue;
      text += svgText(xOf(step.beganNs) + room / 2, yOf(row) + 3.5, "inbar", shortDuration(step.endedNs - step.beganNs),
                      Anchor::MIDDLE);
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

  void findSigns() {
    signs_.resize(model_.programs.size() + 1);
    for (size_t i = 0; i < model_.programs.size(); ++i) {
      const StartupProgram &program = model_.programs[i];
      if (!program.endedNs || *program.endedNs > lengthNs_ || program.state == EuState::SHUT_DOWN) continue;
      const bool isDone = program.state == EuState::PROGRAM_ENDED && program.waitStatus == 0;
      signs_[i + 1].push_back({isDone ? SignKind::DONE : SignKind::CROSS, xOf(*program.endedNs),
                               isDone ? "exited with 0" : outcomeOf(model_, program, lengthNs_).text});
    }
    for (const StartupMark &mark : model_.marks) {
      if (mark.atNs > lengthNs_) continue;
      addSign(signs_[mark.program ? *mark.program + 1 : 0], {signKindOf(mark.kind), xOf(mark.atNs), markText(mark)});
    }
    for (std::vector<Sign> &row : signs_)
      spreadSigns(row, plotLeft_, plotRight_);
  }

  std::string signs() const {
    std::string text;
    for (size_t row = 0; row < signs_.size(); ++row) {
      for (const Sign &sign : signs_[row])
        text += signSvg(sign.kind, sign.x, yOf(row), sign.title);
    }
    return svgGroupBegin("signs") + text + svgGroupEnd();
  }

  std::string completeLine() const {
    if (model_.state != StartupState::COMPLETE) return "";
    const double x = xOf(model_.lengthNs);
    return svgLine(x, plotTop_, x, plotBottom_, "complete") +
           svgText(x, plotTop_ - 26, "label", "complete " + shortDuration(model_.lengthNs), Anchor::MIDDLE);
  }

  const StartupModel &model_;
  uint64_t lengthNs_;
  std::vector<std::string> names_;
  std::vector<OutcomeText> outcomes_;
  std::vector<std::vector<Sign>> signs_;  // by row
  std::string legend_;
  double plotLeft_ = 0;
  double plotTop_ = 0;
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
