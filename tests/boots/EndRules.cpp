#include "EndRules.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace boots {
namespace {

using orv::sim::End;

const uint64_t ALL_OPERATIONS = orv::sim::Scenario().maxOperations;

// A line behind which the EU waits for what may never come, or has ended.
bool isWaiting(std::string_view text) {
  if (text == "ends") return true;
  if (!text.ends_with(")")) return false;  // answered
  return text.starts_with("sem_wait(") || text.starts_with("AaProCmdExec(") || text.starts_with("AaStartupCeShutdown(");
}

bool isKill(const TraceLine &line) {
  return line.who == Who::NODE && line.text.starts_with("SIG") && line.text.ends_with(" ends the daemon");
}

class Judge {
 public:
  Judge(const BootEnd &boot, Violations &violations) : boot_(boot), lines_(boot.trace.lines), violations_(violations) {}

  void all() {
    if (lines_.empty()) return violated(Rule::END, 0, "there is no line at all");
    lastLine();
    daemonsLastLine();
    exitStatus();
    idle();
    if (boot_.startup.complete) nothingLeft();
  }

 private:
  void violated(Rule rule, size_t line, const std::string &words) {
    violations_.push_back({rule, line, words});
  }

  std::string endText() const {
    const orv::sim::Outcome &outcome = boot_.outcome;
    switch (outcome.end) {
      case End::EXIT:
        return "exit status " + std::to_string(outcome.exitStatus);
      case End::RESET:
        return "board reset";
      case End::SIGNAL:
        return std::string("killed by SIG") + sigabbrev_np(outcome.signalNumber);
      case End::STUCK:
        return "nothing can happen any more";
      case End::TIME_UP:
        return "the time is up";
      case End::LOOP:
        return "more than " + std::to_string(boot_.scenario.maxOperations) + " operations, caught in a loop";
    }
    return "";
  }

  void lastLine() {
    const TraceLine &last = lines_.back();
    const std::string due = "end: " + endText();
    if (last.who != Who::NODE || last.text != due) violated(Rule::END, lines_.size() - 1, "due: node " + due);
    for (size_t i = 0; i + 1 < lines_.size(); ++i) {
      if (lines_[i].who == Who::NODE && lines_[i].text.starts_with("end: "))
        violated(Rule::END, i, "not the last line");
    }
  }

  // What the daemon did last has to be what ended the boot.
  void daemonsLastLine() {
    const size_t index = lines_.size() < 2 ? 0 : lines_.size() - 2;
    const TraceLine &line = lines_[index];
    const orv::sim::Outcome &outcome = boot_.outcome;
    bool fits = true;
    switch (outcome.end) {
      case End::EXIT:
        fits = line.who == Who::MAIN;
        break;
      case End::RESET:
        fits = line.text == "ddal_watchdog_reboot() = 0" && boot_.scenario.reset.takesEffect;
        break;
      case End::SIGNAL:
        fits = isKill(line);
        break;
      case End::STUCK:
        fits = boot_.scenario.endSignal == 0 || operatorsLine() != lines_.size();
        break;
      case End::TIME_UP:
        fits = boot_.scenario.endAtMs != 0 && outcome.atMs >= boot_.scenario.endAtMs;
        break;
      case End::LOOP:
        fits = boot_.scenario.maxOperations < ALL_OPERATIONS;
        break;
    }
    if (!fits) violated(Rule::END, index, "not what a boot ends with that way: " + endText());
    for (size_t i = 0; i < index; ++i) {
      if (lines_[i].text.starts_with("ddal_watchdog_reboot() = 0") && boot_.scenario.reset.takesEffect)
        violated(Rule::END, i, "the board went down here");
      if (isKill(lines_[i])) violated(Rule::END, i, "the daemon was killed here");
    }
  }

  void exitStatus() {
    const bool exited = boot_.outcome.end == End::EXIT;
    const auto due = boot_.main.exitStatus;
    if (exited && due != boot_.outcome.exitStatus)
      violated(Rule::EXIT_STATUS, lines_.size() - 1, due ? "due: " + std::to_string(*due) : "due: no exit");
    if (!exited && due) violated(Rule::EXIT_STATUS, lines_.size() - 1, "the daemon was through and did not exit");
    const auto &calls = boot_.scenario.calls;
    const bool refused = std::any_of(calls.begin(), calls.end(),
                                     [](const auto &answer) { return answer.call == "AaStartupCeShutdown"; });
    if (!boot_.main.shutdownReturned || refused) return;
    const LineNumbers *own = linesOf(*boot_.main.startupEu);
    if (own == nullptr || lines_[own->back()].text != "ends")
      violated(Rule::EXIT_STATUS, lines_.size() - 1, "the shutdown came back before the start-up EU had ended");
  }

  const LineNumbers *linesOf(uint32_t eu) const {
    const auto &eus = boot_.trace.eus;
    return eu < eus.size() && !eus[eu].empty() ? &eus[eu] : nullptr;
  }

  size_t operatorsLine() const {
    const auto found = std::find_if(lines_.begin(), lines_.end(), [](const TraceLine &line) {
      return line.who == Who::NODE && line.text.starts_with("nothing more is going to happen");
    });
    return static_cast<size_t>(found - lines_.begin());
  }

  void idle() {
    const size_t index = operatorsLine();
    if (index != lines_.size()) idleAt(index);
    if (boot_.outcome.end == End::STUCK) idleAt(lines_.size());
  }

  void idleAt(size_t index) {
    idleAt(index, &boot_.trace.main, "the first thread");
    if (boot_.main.startupEu && *boot_.main.euCreatedAt < index)
      idleAt(index, linesOf(*boot_.main.startupEu), "the start-up EU");
    for (const Sentinel &sentinel : boot_.startup.sentinels) {
      if (sentinel.createdAt < index) idleAt(index, linesOf(sentinel.eu), "EU " + std::to_string(sentinel.eu));
    }
  }

  void idleAt(size_t index, const LineNumbers *own, const std::string &who) {
    std::optional<uint32_t> last;
    if (own != nullptr) {
      const auto behind = std::lower_bound(own->begin(), own->end(), index);
      if (behind != own->begin()) last = *(behind - 1);
    }
    if (!last) {
      violated(Rule::IDLE, std::min(index, lines_.size() - 1), who + " has never begun");
    } else if (!isWaiting(lines_[*last].text)) {
      violated(Rule::IDLE, *last, who + " does not go on from here");
    }
  }

  void nothingLeft() {
    const orv::sim::Outcome &outcome = boot_.outcome;
    const auto none = [this](uint32_t count, const char *what) {
      if (count != 0) violated(Rule::NOTHING_LEFT, lines_.size() - 1, std::to_string(count) + " " + what);
    };
    none(outcome.buffersHeld, "buffers held");
    none(outcome.filesOpen, "files open");
    none(outcome.messagesUnsent, "messages not sent");
    none(outcome.usersRegistered, "users registered");
  }

  const BootEnd &boot_;
  const std::vector<TraceLine> &lines_;
  Violations &violations_;
};

}  // namespace

void judgeEnd(const BootEnd &boot, Violations &violations) {
  Judge(boot, violations).all();
}

}  // namespace boots
