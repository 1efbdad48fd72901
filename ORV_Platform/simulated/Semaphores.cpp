// The C library's semaphores, defined here as well: who waits for one gives the turn away, as in every other wait.
// Where no boot is under way they are the C library's.
//
// Only what a process with one semaphore of its own needs: none is shared between processes, none has a time limit.
#include <semaphore.h>

#include <cerrno>
#include <climits>

#include "NextDefinition.h"
#include "Operation.h"

using namespace orv::sim;

namespace {

std::string name(const Simulation::Semaphore &semaphore) {
  return "semaphore " + std::to_string(semaphore.number);
}

// The scenario's answer is the errno.
int failed(int64_t error) {
  errno = static_cast<int>(error);
  return -1;
}

}  // namespace

extern "C" {

// Nothing is thrown here and in sem_post: the C library's declarations promise it.
int sem_init(sem_t *address, int shared, unsigned value) noexcept {
  if (!Simulation::running()) return nextDefinition(sem_init, "sem_init")(address, shared, value);
  Simulation &simulation = Simulation::instance();
  Simulation::Semaphore &semaphore = simulation.semaphore(address);
  const std::string arguments = name(semaphore) + ", " + std::to_string(shared) + ", " + std::to_string(value);
  if (const auto error = simulation.answers().answer(Call::SEM_INIT); error && *error != 0) {
    recordCall(simulation, Call::SEM_INIT, arguments, -1);
    return failed(*error);
  }
  semaphore.value = value;
  recordCall(simulation, Call::SEM_INIT, arguments, 0);
  return 0;
}

int sem_wait(sem_t *address) {
  if (!Simulation::running()) return nextDefinition(sem_wait, "sem_wait")(address);
  Simulation &simulation = beginOperation();
  Simulation::Semaphore &semaphore = simulation.semaphore(address);
  simulation.record("sem_wait(" + name(semaphore) + ")");
  if (const auto error = simulation.answers().answer(Call::SEM_WAIT); error && *error != 0) {
    recordCall(simulation, Call::SEM_WAIT, name(semaphore), -1);
    return failed(*error);
  }
  while (semaphore.value == 0) {
    semaphore.waiters.push_back(&simulation.scheduler().current());
    simulation.scheduler().wait();
  }
  --semaphore.value;
  recordCall(simulation, Call::SEM_WAIT, name(semaphore), 0);
  return 0;
}

int sem_post(sem_t *address) noexcept {
  if (!Simulation::running()) return nextDefinition(sem_post, "sem_post")(address);
  Simulation &simulation = Simulation::instance();
  Simulation::Semaphore &semaphore = simulation.semaphore(address);
  if (const auto error = simulation.answers().answer(Call::SEM_POST); error && *error != 0) {
    recordCall(simulation, Call::SEM_POST, name(semaphore), -1);
    return failed(*error);
  }
  ++semaphore.value;
  recordCall(simulation, Call::SEM_POST, name(semaphore), 0);
  if (!semaphore.waiters.empty()) {
    simulation.scheduler().wake(*semaphore.waiters.front(), 0);
    semaphore.waiters.erase(semaphore.waiters.begin());
  }
  return 0;
}

}  // extern "C"
