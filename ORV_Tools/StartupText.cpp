#include "StartupText.h"

#include <algorithm>

#include "StartupView.h"
#include "Terminal.h"
#include "TimeAxis.h"
#include "Utf8.h"
#include "Words.h"

namespace orv {
namespace {

constexpr size_t LONGEST_NAME = 24;
constexpr size_t LEAST_BAR = 20;
constexpr size_t GAP = 2;
constexpr const char *DAEMON_NAME = "(the daemon itself)";

// What a column of a bar shows; the later in this list, the more important.
enum class Cell : uint8_t { NOTHING, RUNNING, ONLINE, CREATED, STARTING, WAITED, MARK };

struct CellLook {
  const char *character;
  Colour colour;
};

CellLook lookOf(Cell cell) {
  switch (cell) {
    case Cell::RUNNING:
      return {"·", Colour::DIM};
    case Cell::ONLINE:
      return {"░", Colour::GREEN};
    case Cell::CREATED:
      return {"╌", Colour::DIM};
    case Cell::STARTING:
      return {"▒", Colour::BLUE};
    case Cell::WAITED:
      return {"█", Colour::YELLOW};
    case Cell::MARK:
      return {"!", Colour::RED};
    case Cell::NOTHING:
      break;
  }
  return {" ", Colour::DIM};
}

Cell cellOf(Phase phase) {
  switch (phase) {
    case Phase::CREATED:
      return Cell::CREATED;
    case Phase::STARTING:
      return Cell::STARTING;
    case Phase::RUNNING:
      return Cell::RUNNING;
    case Phase::ONLINE:
      break;
  }
  return Cell::ONLINE;
}

struct Row {
  std::string name;
  std::vector<Cell> cells;
  std::string outcome;
  Colour outcomeColour = Colour::DIM;
  std::string delay;
  std::string share;
};

class Chart {
 public:
  Chart(const StartupModel &model, unsigned columns) : model_(model), lengthNs_(chartLengthNs(model)) {
    addRows();
    for (const Row &row : rows_) {
      nameWidth_ = std::max(nameWidth_, utf8Characters(row.name));
      outcomeWidth_ = std::max(outcomeWidth_, utf8Characters(row.outcome));
      delayWidth_ = std::max(delayWidth_, row.delay.size());
    }
    const size_t rest = nameWidth_ + outcomeWidth_ + delayWidth_ + SHARE_WIDTH + 4 * GAP;
    barWidth_ = columns > rest + LEAST_BAR ? columns - rest : LEAST_BAR;
  }

  std::string text() {
    drawBars();
    std::string text = "Start-up of " + startupName(model_) + ": " + startupStateText(model_) + "\n";
    if (model_.beginningIsLost) text += "The node no longer keeps the first events of this run.\n";
    text += "\n" + axisText();
    for (const Row &row : rows_)
      text += rowText(row);
    return text + marksText() + "\n" + legendText();
  }

 private:
  static constexpr size_t SHARE_WIDTH = 5;

  void addRows() {
    Row daemon;
    daemon.name = DAEMON_NAME;
    setDelay(daemon, daemonsOwnNs(model_));
    rows_.push_back(std::move(daemon));
    for (const StartupProgram &program : model_.programs) {
      Row row;
      row.name = shortened(printable(program.name), LONGEST_NAME);
      const OutcomeText outcome = outcomeOf(model_, program, lengthNs_);
      row.outcome = outcome.text;
      if (outcome.outcome == Outcome::ONLINE) row.outcome += " " + shortDuration(*program.readyNs);
      const bool isBad = outcome.outcome == Outcome::FAILED || outcome.outcome == Outcome::TIMED_OUT;
      row.outcomeColour = isBad ? Colour::RED : Colour::DIM;
      if (program.delayNs != 0) setDelay(row, program.delayNs);
      rows_.push_back(std::move(row));
    }
  }

  void setDelay(Row &row, uint64_t delayNs) const {
    row.delay = shortDuration(delayNs);
    row.share = shareText(delayNs, model_.lengthNs);
  }

  size_t columnOf(uint64_t atNs) const {
    const double part = static_cast<double>(std::min(atNs, lengthNs_)) / static_cast<double>(lengthNs_);
    return std::min(static_cast<size_t>(part * static_cast<double>(barWidth_)), barWidth_ - 1);
  }

  // Less than half a column.
  bool isShort(uint64_t beganNs, uint64_t endedNs) const {
    return static_cast<double>(endedNs - beganNs) * static_cast<double>(barWidth_) * 2 < static_cast<double>(lengthNs_);
  }

  // What is drawn has a column at least.
  void draw(Row &row, Cell cell, uint64_t beganNs, uint64_t endedNs) const {
    const size_t begin = columnOf(beganNs);
    const size_t end = endedNs >= lengthNs_ ? barWidth_ : std::max(columnOf(endedNs), begin + 1);
    for (size_t column = begin; column < end; ++column)
      row.cells[column] = std::max(row.cells[column], cell);
  }

  void drawBars() {
    for (Row &row : rows_)
      row.cells.assign(barWidth_, Cell::NOTHING);
    for (size_t i = 0; i < model_.programs.size(); ++i) {
      for (const PhaseSpan &span : phasesOf(model_.programs[i], lengthNs_)) {
        if (isShort(span.beganNs, span.endedNs)) continue;
        draw(rows_[i + 1], cellOf(span.phase), span.beganNs, span.endedNs);
      }
    }
    for (size_t i = 0; i < model_.programs.size(); ++i) {
      const bool hasFailed = outcomeOf(model_, model_.programs[i], lengthNs_).outcome == Outcome::FAILED;
      if (hasFailed) draw(rows_[i + 1], Cell::MARK, *model_.programs[i].endedNs, *model_.programs[i].endedNs);
    }
    for (const StartupStep &step : model_.criticalPath) {
      if (!step.program && isShort(step.beganNs, step.endedNs)) continue;
      draw(rows_[step.program ? *step.program + 1 : 0], Cell::WAITED, step.beganNs, step.endedNs);
    }
    for (const StartupMark &mark : model_.marks) {
      if (mark.atNs <= lengthNs_) draw(rows_[mark.program ? *mark.program + 1 : 0], Cell::MARK, mark.atNs, mark.atNs);
    }
  }

  static std::string paddedLeft(const std::string &text, size_t width) {
    return std::string(width - std::min(width, utf8Characters(text)), ' ') + text;
  }
  static std::string withoutTail(std::string text) {
    text.erase(text.find_last_not_of(' ') + 1);
    return text + "\n";
  }

  std::string rowText(const Row &row) const {
    std::string bar;
    for (size_t begin = 0; begin < row.cells.size();) {
      size_t end = begin;
      std::string run;
      const CellLook look = lookOf(row.cells[begin]);
      for (; end < row.cells.size() && row.cells[end] == row.cells[begin]; ++end)
        run += look.character;
      bar += row.cells[begin] == Cell::NOTHING ? run : coloured(look.colour, run);
      begin = end;
    }
    const std::string gap(GAP, ' ');
    const std::string outcome =
        coloured(row.outcomeColour, row.outcome) + std::string(outcomeWidth_ - utf8Characters(row.outcome), ' ');
    return withoutTail(padded(row.name, nameWidth_) + gap + bar + gap + outcome + gap +
                       paddedLeft(row.delay, delayWidth_) + gap + paddedLeft(row.share, SHARE_WIDTH));
  }

  // Labels that begin at their ticks, as many as have room, above a line with the ticks.
  std::string axisText() const {
    constexpr size_t COLUMNS_A_LABEL = 11;
    std::string labels;
    std::string line;
    size_t lineWidth = 0;
    for (const Tick &tick : timeTicks(lengthNs_, std::max<size_t>(barWidth_ / COLUMNS_A_LABEL, 1))) {
      const size_t column = columnOf(tick.atNs);
      while (lineWidth < column) {
        line += "─";
        ++lineWidth;
      }
      line += "┬";
      ++lineWidth;
      if (column + tick.label.size() > barWidth_) continue;
      labels.append(column - std::min(column, labels.size()), ' ');
      labels += tick.label;
    }
    for (; lineWidth < barWidth_; ++lineWidth)
      line += "─";
    const std::string indent(nameWidth_ + GAP, ' ');
    const std::string gap(GAP, ' ');
    const std::string heading = gap + padded("", outcomeWidth_) + gap + paddedLeft("HELD UP", delayWidth_);
    return withoutTail(indent + labels) + withoutTail(indent + coloured(Colour::DIM, line) + heading);
  }

  std::string marksText() const {
    std::string text;
    for (const StartupMark &mark : model_.marks) {
      if (mark.atNs <= lengthNs_) text += coloured(Colour::RED, "!") + " " + markText(mark) + "\n";
    }
    return text.empty() ? text : "\n" + text;
  }

  static std::string legendText() {
    std::string text;
    const struct {
      Cell cell;
      const char *meaning;
    } legend[] = {{Cell::WAITED, "the start-up waits for it"},
                  {Cell::CREATED, "not started yet"},
                  {Cell::STARTING, "starting"},
                  {Cell::ONLINE, "online"},
                  {Cell::RUNNING, "running"},
                  {Cell::MARK, "failed"}};
    for (const auto &each : legend) {
      const CellLook look = lookOf(each.cell);
      text += (text.empty() ? "" : "   ") + coloured(look.colour, look.character) + " " + each.meaning;
    }
    return text + "\n";
  }

  const StartupModel &model_;
  uint64_t lengthNs_;
  std::vector<Row> rows_;
  size_t nameWidth_ = 0;
  size_t outcomeWidth_ = 0;
  size_t delayWidth_ = std::string_view("HELD UP").size();
  size_t barWidth_ = 0;
};

}  // namespace

std::string startupChartText(const StartupModel &model, unsigned columns) {
  return Chart(model, columns).text();
}

}  // namespace orv
