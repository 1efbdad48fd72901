#include "Simulation.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "HexText.h"
#include "ScenarioWords.h"
#include "StartupRecord.h"

namespace orv::sim {
namespace {

// The exit status of a process whose simulation has nothing more to show.
constexpr int NOTHING_MORE = 3;

bool isIgnoredByDefault(int number) {
  return number == SIGCHLD || number == SIGCONT || number == SIGURG || number == SIGWINCH || number == SIGSTOP ||
         number == SIGTSTP || number == SIGTTIN || number == SIGTTOU;
}

std::string endText(const Outcome &outcome) {
  switch (outcome.end) {
    case End::EXIT:
      return "exit status " + std::to_string(outcome.exitStatus);
    case End::RESET:
      return "board reset";
    case End::SIGNAL:
      return "killed by " + signalName(outcome.signalNumber);
    case End::STUCK:
      return "nothing can happen any more";
    case End::TIME_UP:
      return "the time is up";
    case End::LOOP:
      return "more than " + std::to_string(outcome.operations - 1) + " operations, caught in a loop";
  }
  return "";
}

[[noreturn]] void endThisProcess(const Outcome &outcome) {
  if (outcome.end == End::RESET) kill(getpid(), SIGKILL);
  // The signal's real action was never touched; where the process had inherited that it is ignored, the exit tells.
  if (outcome.end == End::SIGNAL) {
    kill(getpid(), outcome.signalNumber);
    _exit(128 + outcome.signalNumber);
  }
  _exit(NOTHING_MORE);
}

}  // namespace

std::string signalName(int number) {
  const std::string name = signalText(number);
  return name.empty() ? "signal " + std::to_string(number) : name;
}

std::string tagText(const TagValue &value) {
  switch (value.type) {
    case TagType::STRING:
      return quoted(value.text);
    case TagType::U16:
      return "u16 " + std::to_string(value.number);
    case TagType::U32:
      return "u32 " + std::to_string(value.number);
  }
  return "";
}

constinit bool Simulation::running_ = false;

// Never destroyed: EUs may still wait in it while the process exits.
Simulation &Simulation::instance() {
  static auto *simulation = new Simulation;
  return *simulation;
}

void Simulation::begin(const Scenario &scenario, bool passConsoleOn) {
  scenario_ = &scenario;
  outcome_ = {};
  trace_.clear();
  answers_.begin(scenario.calls);
  programs_.begin();
  tags_.clear();
  for (const auto &[name, value] : scenario.tags)
    tags_[name] = value;
  signalActions_.assign(LAST_SIGNAL + 1, {});
  linesSeen_.assign(scenario.signals.size(), 0);
  pendingSignals_.clear();
  handling_ = false;
  endSignalSent_ = false;
  semaphores_.clear();
  context_.reset();
  joiner_ = nullptr;
  files.clear();
  filesOpened = 0;
  users.clear();
  usersMade = 0;
  messages.clear();
  messagesCreated = 0;
  sentMessages.clear();
  buffers.clear();
  buffersMade = 0;
  resetStartupRecord();

  scheduler_.begin(
      scenario.seed, scenario.endAtMs, [this] { endWhenIdle(); }, [this] { end(End::TIME_UP, 0); });
  scheduler_.onFinished = [this](Unit &unit) { unitFinished(unit); };
  for (const TimedTag &tag : scenario.timedTags) {
    scheduler_.at(tag.afterMs, [this, &tag] {
      recordNode("tag " + quoted(tag.name) + " = " + tagText(tag.value) + " is set from outside");
      setTag(tag.name, tag.value);
    });
  }
  for (const SignalEvent &signal : scenario.signals) {
    if (signal.atMs) scheduler_.at(*signal.atMs, [this, &signal] { deliver(signal.number); });
  }
  console_.capture([this](Console::Stream stream, const std::string &line) { consoleLine(stream, line); },
                   passConsoleOn);
  running_ = true;
}

Outcome Simulation::run(const Scenario &scenario, const std::function<int()> &daemon) {
  process_ = false;
  begin(scenario, false);
  try {
    const int exitStatus = daemon();
    if (!scheduler_.ending()) end(End::EXIT, exitStatus);
  } catch (const BootEnded &) {
    // How it ended is in the outcome.
  }
  scheduler_.unwindAll();
  return finish();
}

void Simulation::beginProcess(const Scenario &scenario, bool passConsoleOn,
                              std::function<void(const Outcome &)> onEnd) {
  process_ = true;
  onEnd_ = std::move(onEnd);
  begin(scenario, passConsoleOn);
}

// Not before the process has begun: what a library registers while it is loaded is called too late at the exit, when
// the libraries' own objects are gone.
void Simulation::watchExit() {
  on_exit([](int exitStatus, void *) { instance().endProcess(exitStatus); }, nullptr);
}

void Simulation::endProcess(int exitStatus) {
  if (running_) end(End::EXIT, exitStatus);
}

void Simulation::end(End how, int number) {
  outcome_.end = how;
  if (how == End::EXIT) outcome_.exitStatus = number;
  if (how == End::SIGNAL) outcome_.signalNumber = number;
  scheduler_.end();
  if (!process_) return;
  const Outcome outcome = finish();
  onEnd_(outcome);
  if (how != End::EXIT) endThisProcess(outcome);
}

Outcome Simulation::finish() {
  outcome_.atMs = scheduler_.nowMs();
  outcome_.buffersHeld = static_cast<uint32_t>(buffers.size());
  outcome_.filesOpen = static_cast<uint32_t>(files.size());
  outcome_.messagesUnsent = static_cast<uint32_t>(messages.size());
  outcome_.usersRegistered = static_cast<uint32_t>(users.size());
  outcome_.missingMessages = missing(scenario_->expectedMessages, sentMessages);
  console_.release();
  for (const std::string &message : outcome_.missingMessages)
    recordNode("expected " + message + " was not sent");
  recordNode("end: " + endText(outcome_));
  running_ = false;
  for (const auto &[address, number] : buffers)
    std::free(const_cast<void *>(address));
  for (const auto &[address, number] : messages)
    std::free(const_cast<void *>(address));
  return outcome_;
}

std::vector<std::string> Simulation::missing(const std::vector<ExpectedMessage> &expected,
                                             const std::vector<SentMessage> &sent) {
  std::vector<std::string> result;
  std::vector<bool> taken(sent.size(), false);
  for (const ExpectedMessage &message : expected) {
    bool found = false;
    for (size_t i = 0; i < sent.size() && !found; ++i) {
      found = !taken[i] && sent[i].id == message.id &&
              message.receiver.value_or(sent[i].receiver) == sent[i].receiver &&
              message.sender.value_or(sent[i].sender) == sent[i].sender;
      if (found) taken[i] = true;
    }
    if (found) continue;
    std::string text = "message " + hexText(message.id);
    if (message.sender) text += " from " + hexText(*message.sender);
    if (message.receiver) text += " to " + hexText(*message.receiver);
    result.push_back(text);
  }
  return result;
}

void Simulation::operation() {
  if (scheduler_.ending()) throw BootEnded{};
  ++outcome_.operations;
  if (process_ && outcome_.operations == 1) watchExit();
  if (outcome_.operations > scenario_->maxOperations) {
    end(End::LOOP, 0);
    throw BootEnded{};
  }
  deliverPending();
  scheduler_.preempt();
}

Trace::Actor Simulation::actor() const {
  return handling_ ? Trace::HANDLER : const_cast<Scheduler &>(scheduler_).current().actor;
}

void Simulation::record(const std::string &text) {
  trace_.add(scheduler_.nowMs(), actor(), text);
}

void Simulation::recordNode(const std::string &text) {
  trace_.add(scheduler_.nowMs(), Trace::NODE, text);
}

void Simulation::consoleLine(Console::Stream stream, const std::string &line) {
  record((stream == Console::Stream::ERR ? "err: " : "out: ") + line);
  for (size_t i = 0; i < scenario_->signals.size(); ++i) {
    const SignalEvent &signal = scenario_->signals[i];
    if (signal.atMs || line.find(signal.afterLine) == std::string::npos) continue;
    if (++linesSeen_[i] == signal.occurrence) pendingSignals_.push_back(signal.number);
  }
}

void Simulation::deliverPending() {
  while (!pendingSignals_.empty() && !handling_) {
    const int number = pendingSignals_.front();
    pendingSignals_.erase(pendingSignals_.begin());
    deliver(number);
    if (scheduler_.ending()) throw BootEnded{};
  }
}

void Simulation::deliver(int number) {
  const auto handler = signalAction(number).sa_handler;
  if (handler == SIG_IGN || (handler == SIG_DFL && isIgnoredByDefault(number))) {
    recordNode(signalName(number) + " is ignored");
    return;
  }
  if (handler == SIG_DFL) {
    recordNode(signalName(number) + " ends the daemon");
    end(End::SIGNAL, number);
    return;
  }
  recordNode(signalName(number));
  handling_ = true;
  handler(number);
  handling_ = false;
}

void Simulation::endWhenIdle() {
  // A line may have asked for a signal and nothing have happened since.
  if (!pendingSignals_.empty()) {
    const int number = pendingSignals_.front();
    pendingSignals_.erase(pendingSignals_.begin());
    deliver(number);
    return;
  }
  if (scenario_->endSignal == 0 || endSignalSent_) {
    end(End::STUCK, 0);
    return;
  }
  endSignalSent_ = true;
  recordNode("nothing more is going to happen: the operator ends the daemon");
  deliver(scenario_->endSignal);
}

void Simulation::setTag(const std::string &name, const TagValue &value) {
  tags_[name] = value;
}

const TagValue *Simulation::tag(const char *name) const {
  const auto found = tags_.find(std::string_view(name));
  return found == tags_.end() ? nullptr : &found->second;
}

Simulation::Semaphore &Simulation::semaphore(const void *address) {
  Semaphore &result = semaphores_[address];
  if (result.number == 0) result.number = static_cast<uint32_t>(semaphores_.size());
  return result;
}

void Simulation::joinAll() {
  while (!scheduler_.joinablesFinished()) {
    joiner_ = &scheduler_.current();
    scheduler_.wait();
  }
}

void Simulation::unitFinished(const Unit &unit) {
  record("ends");
  if (unit.joinable && joiner_ != nullptr) scheduler_.wake(*std::exchange(joiner_, nullptr), 0);
}

void Simulation::resetBoard() {
  end(End::RESET, 0);
  throw BootEnded{};
}

std::string Simulation::contextText(uint32_t word) {
  if (!context_) context_ = word;
  return *context_ == word ? "context" : hexText(word);
}

}  // namespace orv::sim
