// The C library's signal actions, defined here as well: a simulated signal meets the handler that the daemon installed
// for it, and the process's own signals are left alone, so that Ctrl-C ends a simulation. Where no boot is under way
// they are the C library's.
#include <csignal>

#include <cerrno>

#include "NextDefinition.h"
#include "Operation.h"
#include "ScenarioWords.h"

using namespace orv::sim;

namespace {

bool isValid(int number) {
  return number > 0 && number <= LAST_SIGNAL && number != SIGKILL && number != SIGSTOP;
}

std::string handlerText(void (*handler)(int)) {
  if (handler == SIG_DFL) return "SIG_DFL";
  return handler == SIG_IGN ? "SIG_IGN" : "handler";
}

bool isEmpty(const sigset_t &mask) {
  for (int number = 1; number <= LAST_SIGNAL; ++number) {
    if (sigismember(&mask, number) == 1) return false;
  }
  return true;
}

std::string flagsText(int flags) {
  return flags == SA_RESTART ? "SA_RESTART" : std::to_string(flags);
}

}  // namespace

extern "C" {

int sigaction(int number, const struct sigaction *action, struct sigaction *previous) noexcept {
  if (!Simulation::running()) {
    using Function = int(int, const struct sigaction *, struct sigaction *);
    return nextDefinition<Function>(sigaction, "sigaction")(number, action, previous);
  }
  Simulation &simulation = Simulation::instance();
  if (!isValid(number)) {
    errno = EINVAL;
    return -1;
  }
  struct sigaction &current = simulation.signalAction(number);
  if (previous != nullptr) *previous = current;
  if (action == nullptr) return 0;
  current = *action;
  simulation.record("sigaction(" + signalName(number) + ", " + handlerText(action->sa_handler) + ", mask " +
                    (isEmpty(action->sa_mask) ? "empty" : "not empty") + ", flags " + flagsText(action->sa_flags) +
                    ") = 0");
  return 0;
}

__sighandler_t signal(int number, __sighandler_t handler) noexcept {
  if (!Simulation::running()) return nextDefinition(signal, "signal")(number, handler);
  Simulation &simulation = Simulation::instance();
  if (!isValid(number)) {
    errno = EINVAL;
    return SIG_ERR;
  }
  struct sigaction &current = simulation.signalAction(number);
  const __sighandler_t previous = current.sa_handler;
  current = {};
  current.sa_handler = handler;
  simulation.record("signal(" + signalName(number) + ", " + handlerText(handler) + ")");
  return previous;
}

}  // extern "C"
