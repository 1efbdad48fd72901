// The simulation's time and turns. Units (the process's first thread and the EUs) are real threads of which exactly one
// runs; whoever waits gives the turn to the next that is ready, and when nobody is, the clock jumps to the next event.
//
// Everything here is called by the thread whose turn it is, so nothing is locked. Without a seed the units take turns
// in the order in which they became ready, and events of one time fire in the order in which they were made; with one,
// both are drawn at random from it, and a unit may lose its turn at any operation.
//
// A boot can end while units wait, with the daemon's frames on their stacks: BootEnded is then thrown in each of them.
#ifndef ORV_SIMULATED_SCHEDULER_H
#define ORV_SIMULATED_SCHEDULER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AaPro.h"
#include "Trace.h"
#include "Turn.h"

namespace orv::sim {

// No error, and none of the daemon's business: nothing of the daemon catches it.
struct BootEnded {};

class Worker;

struct Unit {
  uint32_t id = 0;
  Trace::Actor actor = Trace::MAIN;
  AaProEuEntry entry = nullptr;
  std::unique_ptr<std::byte[]> argument;
  bool joinable = false;
  bool finished = false;
  int64_t wakeValue = 0;  // what its wait returns
  Worker *worker = nullptr;
};

class Scheduler {
 public:
  Scheduler();
  ~Scheduler();
  Scheduler(const Scheduler &) = delete;
  Scheduler &operator=(const Scheduler &) = delete;

  // Begins a boot at time 0 with the calling thread as its first unit.
  //   onIdle  called when nothing can happen any more; makes something happen, or ends the boot
  void begin(uint64_t seed, uint64_t endAtMs, std::function<void()> onIdle, std::function<void()> onTimeUp);

  // Makes all waits end with BootEnded from here on. What must not be interrupted goes on to its next wait.
  void end();
  bool ending() const {
    return ending_;
  }

  // After the end, by the first unit: lets every other unit unwind.
  void unwindAll();

  uint64_t nowMs() const {
    return nowMs_;
  }
  Unit &current() {
    return *current_;
  }

  // Creates a unit, ready to run. Ids count from 1.
  Unit &create(AaProEuEntry entry, const void *argument, uint32_t argumentBytes, bool joinable);
  bool joinablesFinished() const;

  // Lets `action` happen at a time.
  void at(uint64_t atMs, std::function<void()> action);

  // Makes a waiting unit ready; its wait returns `value`.
  void wake(Unit &unit, int64_t value);

  // Gives the turn away until the unit is woken; returns the value it was woken with. Throws BootEnded.
  int64_t wait();

  // Throws BootEnded.
  void sleep(uint64_t forMs);

  // A point at which another unit may go first or an event of now may fire, where there is a seed. Throws BootEnded.
  void preempt();

  // The next number of the boot's random sequence, the same on every machine; 0 without a seed.
  uint64_t random();

  // What to do when a unit's entry has returned.
  std::function<void(Unit &)> onFinished;

 private:
  friend class Worker;
  struct Event {
    uint64_t atMs;
    uint64_t order;
    uint64_t sequence;
    std::function<void()> action;
    bool operator<(const Event &other) const {  // of the heap, whose top is its greatest
      if (atMs != other.atMs) return atMs > other.atMs;
      if (order != other.order) return order > other.order;
      return sequence > other.sequence;
    }
  };

  void run(Worker &worker);
  Unit *pickNext();
  void fireNext();
  void switchTo(Unit &next);
  Turn &turnOf(const Unit &unit);

  uint64_t nowMs_ = 0;
  uint64_t endAtMs_ = 0;
  bool random_ = false;
  uint64_t randomState_ = 0;
  bool ending_ = false;
  std::function<void()> onIdle_;
  std::function<void()> onTimeUp_;
  std::vector<std::unique_ptr<Unit>> units_;  // the first is the first unit
  Unit *current_ = nullptr;
  std::deque<Unit *> ready_;
  std::vector<Event> events_;  // a heap
  uint64_t sequence_ = 0;
  Turn mainTurn_;
  std::vector<Worker *> workers_;      // all threads, kept from boot to boot
  std::vector<Worker *> freeWorkers_;  // those without a unit
};

}  // namespace orv::sim

#endif
