#include "StartupSvg.h"

#include <algorithm>

#include "ChartFrame.h"
#include "ChartSigns.h"
#include "StartupView.h"
#include "Svg.h"
#include "TimeAxis.h"
#include "Utf8.h"
#include "Words.h"

namespace orv {
namespace {

constexpr double LEGEND_TO_PLOT = 56;
constexpr double ROW_HEIGHT = 24;
constexpr double BAR_HEIGHT = 14;
constexpr double DELAY_WIDTH = 84;
constexpr double SHARE_WIDTH = 44;
constexpr double READY_HEIGHT = BAR_HEIGHT + 4;
constexpr double LEAST_BAR_WIDTH = 1.5;
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
    size_t nameLength = utf8Characters(DAEMON_NAME);
    size_t outcomeLength = std::string_view("what became of it").size();
    for (const StartupProgram &program : model_.programs) {
      names_.push_back(shortened(printable(program.name), LONGEST_NAME));
      nameLength = std::max(nameLength, utf8Characters(names_.back()));
      outcomes_.push_back(outcomeOf(model_, program, lengthNs_));
      if (outcomes_.back().outcome == Outcome::ONLINE) outcomes_.back().text += " " + shortDuration(*program.readyNs);
      outcomeLength = std::max(outcomeLength, utf8Characters(outcomes_.back().text));
    }
    shareX_ = CHART_WIDTH - CHART_MARGIN;
    delayX_ = shareX_ - SHARE_WIDTH;
    outcomeX_ = delayX_ - DELAY_WIDTH - static_cast<double>(outcomeLength) * TEXT_CHARACTER_WIDTH;
    plot_.left = CHART_MARGIN + static_cast<double>(nameLength) * NAME_CHARACTER_WIDTH + COLUMN_GAP;
    plot_.right = outcomeX_ - COLUMN_GAP;
    plot_.rowHeight = ROW_HEIGHT;
    plot_.rows = model_.programs.size() + 1;  // that of the daemon is the first
    plot_.lengthNs = lengthNs_;
    findSigns();
    double legendBottomY = 0;
    legend_ = chartLegend(legendEntries(), {22, 6}, legendBottomY);
    plot_.top = legendBottomY + LEGEND_TO_PLOT;
  }

  std::string svg() const {
    const std::string title = "Start-up of " + startupName(model_);
    return svgBegin(CHART_WIDTH, plot_.chartHeight(), title + ": " + startupStateText(model_), description()) +
           chartTitles(title, subtitle()) + legend_ + plot_.stripes() + axis() + rows() + pathSvg() + signs() +
           completeLine() + svgEnd();
  }

 private:
  static size_t rowOf(const StartupStep &step) {
    return step.program ? *step.program + 1 : 0;
  }

  // What the waits for the program, which lie on its phases, leave to be seen of them.
  std::vector<PhaseSpan> visibleSpans(size_t program) const {
    std::vector<PhaseSpan> visible;
    const auto add = [&](PhaseSpan span, uint64_t beganNs, uint64_t endedNs) {
      span.beganNs = beganNs;
      span.endedNs = endedNs;
      if (endedNs > beganNs && plot_.xOf(endedNs) - plot_.xOf(beganNs) >= 1) visible.push_back(span);
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

  // What occurs in the picture.
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

  std::string axis() const {
    const double y = plot_.columnTitleY();
    return svgGroupBegin("time-axis") + plot_.timeAxis() + svgText(CHART_MARGIN, y, "label", "program") +
           svgText(outcomeX_, y, "label", "what became of it") + svgText(delayX_, y, "label", "held up", Anchor::END) +
           svgText(shareX_, y, "label", "share", Anchor::END) + svgGroupEnd();
  }

  std::string barSvg(size_t row, const char *kind, uint64_t beganNs, uint64_t endedNs) const {
    const double x = std::min(plot_.xOf(beganNs), plot_.right - LEAST_BAR_WIDTH);
    const double width = std::max(plot_.xOf(endedNs) - x, LEAST_BAR_WIDTH);
    return svgRect(x, plot_.yOf(row) - BAR_HEIGHT / 2, width, BAR_HEIGHT, kind);
  }

  std::string delayTexts(size_t row, uint64_t delayNs) const {
    return svgText(delayX_, plot_.yOf(row) + BASELINE, "delay", shortDuration(delayNs), Anchor::END) +
           svgText(shareX_, plot_.yOf(row) + BASELINE, "muted share", shareText(delayNs, model_.lengthNs), Anchor::END);
  }

  std::string rows() const {
    std::string text = svgGroupBegin("row", "the daemon itself: what is no wait for a program") +
                       svgText(CHART_MARGIN, plot_.yOf(0) + BASELINE, "muted name", DAEMON_NAME) + steps(std::nullopt) +
                       delayTexts(0, daemonsOwnNs(model_)) + svgGroupEnd();
    for (size_t i = 0; i < model_.programs.size(); ++i)
      text += programRow(i);
    return text;
  }

  std::string programRow(size_t index) const {
    const StartupProgram &program = model_.programs[index];
    const size_t row = index + 1;
    const double y = plot_.yOf(row);
    std::string text = svgGroupBegin("row", programDetails(model_, program));
    // Nothing to see, but to point at.
    text += "<rect x=\"" + svgNumber(ROW_LEFT) + "\" y=\"" + svgNumber(y - ROW_HEIGHT / 2) + "\" width=\"" +
            svgNumber(ROW_WIDTH) + "\" height=\"" + svgNumber(ROW_HEIGHT) + "\" fill-opacity=\"0\"/>\n";
    text += svgText(CHART_MARGIN, y + BASELINE, "name", names_[index]);
    for (const PhaseSpan &span : visibleSpans(index))
      text += barSvg(row, classOf(span.phase), span.beganNs, span.endedNs);
    text += steps(index);
    const bool showsReady = program.readyNs && program.startedNs && *program.readyNs >= *program.startedNs;
    if (showsReady && *program.readyNs <= lengthNs_) {
      text += svgRect(plot_.xOf(*program.readyNs) - 1, y - READY_HEIGHT / 2, 2, READY_HEIGHT, "ready");
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
      const double width = plot_.xOf(step.endedNs) - plot_.xOf(step.beganNs);
      if (!program && width < 1) continue;  // between two waits the daemon mostly does next to nothing
      const size_t row = rowOf(step);
      const bool isLate = program && outcomes_[*program].outcome == Outcome::TIMED_OUT;
      text += barSvg(row, isLate ? "late" : "waited", step.beganNs, step.endedNs);
      // The sign of coming online lies on the bar as well: the text has what is before it.
      const bool comesOnline = program && model_.programs[*program].readyNs;
      const uint64_t endNs =
          comesOnline ? std::clamp(*model_.programs[*program].readyNs, step.beganNs, step.endedNs) : step.endedNs;
      const double room = plot_.xOf(endNs) - plot_.xOf(step.beganNs);
      if (room < ROOM_FOR_TEXT) continue;
      text += svgText(plot_.xOf(step.beganNs) + room / 2, plot_.yOf(row) + 3.5, "inbar",
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
    const double fromX = plot_.xOf(from.endedNs);
    const double toX = plot_.xOf(to.beganNs);
    const double fromY = plot_.yOf(rowOf(from));
    const bool goesDown = rowOf(to) > rowOf(from);
    const double tipY = plot_.yOf(rowOf(to)) + (goesDown ? -BAR_HEIGHT / 2 : BAR_HEIGHT / 2);
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
      signs_[i + 1].push_back({isDone ? SignKind::DONE : SignKind::CROSS, plot_.xOf(*program.endedNs),
                               isDone ? "exited with 0" : outcomeOf(model_, program, lengthNs_).text});
    }
    for (const StartupMark &mark : model_.marks) {
      if (mark.atNs > lengthNs_) continue;
      addSign(signs_[mark.program ? *mark.program + 1 : 0],
              {signKindOf(mark.kind), plot_.xOf(mark.atNs), markText(mark)});
    }
    for (std::vector<Sign> &row : signs_)
      spreadSigns(row, plot_.left, plot_.right);
  }

  std::string signs() const {
    std::string text;
    for (size_t row = 0; row < signs_.size(); ++row) {
      for (const Sign &sign : signs_[row])
        text += signSvg(sign.kind, sign.x, plot_.yOf(row), sign.title);
    }
    return svgGroupBegin("signs") + text + svgGroupEnd();
  }

  std::string completeLine() const {
    if (model_.state != StartupState::COMPLETE) return "";
    const double x = plot_.xOf(model_.lengthNs);
    return svgLine(x, plot_.top, x, plot_.bottom(), "complete") +
           svgText(x, plot_.top - 26, "label", "complete " + shortDuration(model_.lengthNs), Anchor::MIDDLE);
  }

  const StartupModel &model_;
  uint64_t lengthNs_;
  std::vector<std::string> names_;
  std::vector<OutcomeText> outcomes_;
  std::vector<std::vector<Sign>> signs_;  // by row
  std::string legend_;
  Plot plot_;
  double outcomeX_ = 0;
  double delayX_ = 0;
  double shareX_ = 0;
};

}  // namespace

std::string startupSvg(const StartupModel &model) {
  return Picture(model).svg();
}

}  // namespace orv
