#include "SignalRules.h"

#include <csignal>
#include <cstring>
#include <map>

namespace boots {
namespace {

enum class Action { DEFAULT, IGNORE, HANDLER };

bool isIgnoredByDefault(std::string_view name) {
  for (const char *ignored : {"SIGCHLD", "SIGCONT", "SIGURG", "SIGWINCH", "SIGSTOP", "SIGTSTP", "SIGTTIN", "SIGTTOU"}) {
    if (name == ignored) return true;
  }
  return false;
}

std::string nameOf(int number) {
  return std::string("SIG") + sigabbrev_np(number);
}

class Judge {
 public:
  Judge(const orv::sim::Scenario &scenario, const ReadTrace &trace, Violations &violations)
      : scenario_(scenario), trace_(trace), violations_(violations) {}

  void all(uint64_t endMs) {
    for (at_ = 0; at_ < trace_.lines.size(); ++at_) {
      const TraceLine &line = trace_.lines[at_];
      if (!due_.empty() || line.who == Who::HANDLER) {
        handlerLine(line);
      } else if (line.who == Who::NODE) {
        nodeLine(line.text);
      } else if (!line.text.empty() && line.text.front() == 's') {
        daemonLine(line.text);
      }
    }
    if (!due_.empty()) violated("a handler did not come to its end: due: " + due_.front());
    countSignals(endMs);
  }

 private:
  void violated(const std::string &words) {
    violations_.push_back({Rule::SIGNAL, at_ < trace_.lines.size() ? std::optional(at_) : std::nullopt, words});
  }

  void daemonLine(std::string_view text) {
    if (text == "sem_wait(semaphore 1) = 0") {
      if (posts_-- == 0) {
        violations_.push_back({Rule::TERMINATION, at_, "nobody has posted"});
        posts_ = 0;
      }
    } else if (takeOff(text, "sigaction(")) {
      actions_[std::string(text.substr(0, text.find(',')))] = Action::HANDLER;
    } else if (takeOff(text, "signal(")) {
      actions_[std::string(text.substr(0, text.find(',')))] = Action::IGNORE;
    }
  }

  void nodeLine(std::string_view text) {
    if (text.starts_with("nothing more is going to happen")) {
      if (scenario_.endSignal == 0 || operatorCame_) violated("the operator was not to come");
      operatorCame_ = true;
      return;
    }
    if (!text.starts_with("SIG")) return;
    const std::string_view name = text.substr(0, text.find(' '));
    text.remove_prefix(name.size());
    ++came_[std::string(name)];
    const auto found = actions_.find(name);
    Action action = found == actions_.end() ? Action::DEFAULT : found->second;
    if (action == Action::DEFAULT && isIgnoredByDefault(name)) action = Action::IGNORE;
    const std::string_view effect = action == Action::DEFAULT  ? " ends the daemon"
                                    : action == Action::IGNORE ? " is ignored"
                                                               : "";
    if (text != effect) return violated("due: " + std::string(name) + std::string(effect));
    if (action != Action::HANDLER) return;
    due_ = {"err: OrvDaemon - Got " + std::string(name), "err: Initiated ORV-RT CE level shutdown",
            "sem_post(semaphore 1) = "};
  }

  void handlerLine(const TraceLine &line) {
    if (due_.empty() || line.who != Who::HANDLER) {
      violated(due_.empty() ? "no signal came" : "due: handler " + due_.front());
      due_.clear();
      return;
    }
    const std::string due = due_.front();
    due_.erase(due_.begin());
    std::string_view rest = line.text;
    const bool post = due.starts_with("sem_post");
    if (!takeOff(rest, due) || (!post && !rest.empty()) || (post && rest != "0" && rest != "-1")) {
      violated("due: handler " + due);
      due_.clear();
      return;
    }
    if (!post) return;
    ++postCalls_;
    if (rest == "0") {
      ++posts_;
    } else {
      due_.push_back("err: Not able to trigger CE level shutdown (sem_post errno: " + postErrno() + ")");
    }
  }

  // The errno of the last post, which has failed.
  std::string postErrno() const {
    for (const orv::sim::CallResult &answer : scenario_.calls) {
      if (answer.call == "sem_post" && (answer.occurrence == 0 || answer.occurrence == postCalls_))
        return std::to_string(answer.result);
    }
    return "none";
  }

  void countSignals(uint64_t endMs) {
    std::map<std::string, uint32_t> due;
    std::map<std::string, uint32_t> most;
    for (const orv::sim::SignalEvent &signal : scenario_.signals) {
      ++most[nameOf(signal.number)];
      if (signal.atMs && *signal.atMs < endMs) ++due[nameOf(signal.number)];
    }
    if (operatorCame_) ++most[nameOf(scenario_.endSignal)];
    for (const auto &[name, count] : due) {
      if (came_[name] < count) violated(name + " was due and never came");
    }
    for (const auto &[name, count] : came_) {
      if (count > most[name]) violated(name + " came more often than it was sent");
    }
  }

  const orv::sim::Scenario &scenario_;
  const ReadTrace &trace_;
  Violations &violations_;
  size_t at_ = 0;
  std::map<std::string, Action, std::less<>> actions_;
  std::map<std::string, uint32_t> came_;
  std::vector<std::string> due_;  // lines of the handler that runs
  uint32_t posts_ = 0;
  uint32_t postCalls_ = 0;
  bool operatorCame_ = false;
};

}  // namespace

void judgeSignals(const orv::sim::Scenario &scenario, const orv::sim::Outcome &outcome, const ReadTrace &trace,
                  Violations &violations) {
  Judge(scenario, trace, violations).all(outcome.atMs);
}

}  // namespace boots
