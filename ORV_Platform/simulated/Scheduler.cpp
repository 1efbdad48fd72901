#include "Scheduler.h"

#include <pthread.h>

#include <algorithm>
#include <cstring>
#include <system_error>

namespace orv::sim {
namespace {

// Plenty for the daemon's start-up, whose tables are its largest frames; sanitizers multiply those.
constexpr size_t STACK_BYTES = size_t{512} * 1024;

// How often, one in so many, a unit loses its turn at an operation.
constexpr uint64_t PREEMPTION_RATE = 4;

// splitmix64: https://prng.di.unimi.it/splitmix64.c describes the constants.
uint64_t nextRandom(uint64_t &state) {
  state += 0x9e3779b97f4a7c15U;
  uint64_t value = state;
  value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
  value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
  return value ^ (value >> 31);
}

}  // namespace

// A thread that runs one unit after another.
class Worker {
 public:
  explicit Worker(Scheduler &scheduler) : scheduler_(scheduler) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, STACK_BYTES);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, main, this);
    pthread_attr_destroy(&attributes);
    if (error != 0) throw std::system_error(error, std::generic_category(), "no thread for a simulated EU");
  }

  Turn turn;
  Unit *unit = nullptr;

 private:
  static void *main(void *argument) {
    auto *self = static_cast<Worker *>(argument);
    for (;;) {
      self->turn.take();
      self->scheduler_.run(*self);
    }
  }

  Scheduler &scheduler_;
};

Scheduler::Scheduler() = default;

// The workers are never ended: a process that exits leaves them where they wait.
Scheduler::~Scheduler() = default;

void Scheduler::begin(uint64_t seed, uint64_t endAtMs, std::function<void()> onIdle, std::function<void()> onTimeUp) {
  nowMs_ = 0;
  endAtMs_ = endAtMs;
  random_ = seed != 0;
  randomState_ = seed;
  ending_ = false;
  onIdle_ = std::move(onIdle);
  onTimeUp_ = std::move(onTimeUp);
  ready_.clear();
  events_.clear();
  sequence_ = 0;
  units_.clear();
  units_.push_back(std::make_unique<Unit>());
  current_ = units_.front().get();
}

void Scheduler::end() {
  ending_ = true;
}

void Scheduler::unwindAll() {
  for (size_t i = 1; i < units_.size(); ++i) {
    Unit &unit = *units_[i];
    if (unit.finished) continue;
    switchTo(unit);
  }
}

Unit &Scheduler::create(AaProEuEntry entry, const void *argument, uint32_t argumentBytes, bool joinable) {
  if (freeWorkers_.empty()) {
    workers_.push_back(new Worker(*this));
    freeWorkers_.push_back(workers_.back());
  }
  auto unit = std::make_unique<Unit>();
  unit->id = static_cast<uint32_t>(units_.size());
  unit->entry = entry;
  if (argumentBytes != 0) {
    unit->argument = std::make_unique<std::byte[]>(argumentBytes);
    std::memcpy(unit->argument.get(), argument, argumentBytes);
  }
  unit->joinable = joinable;
  unit->worker = freeWorkers_.back();
  freeWorkers_.pop_back();
  unit->worker->unit = unit.get();
  units_.push_back(std::move(unit));
  ready_.push_back(units_.back().get());
  return *units_.back();
}

bool Scheduler::joinablesFinished() const {
  return std::all_of(units_.begin(), units_.end(), [](const auto &unit) { return !unit->joinable || unit->finished; });
}

void Scheduler::run(Worker &worker) {
  Unit &unit = *worker.unit;
  try {
    if (!ending_) {
      unit.entry(unit.argument.get());
      unit.finished = true;
      if (!ending_) onFinished(unit);
    }
  } catch (const BootEnded &) {
    // The unit has been left as if the process were gone.
  }
  unit.finished = true;
  worker.unit = nullptr;
  freeWorkers_.push_back(&worker);
  Unit *next = ending_ ? nullptr : pickNext();
  if (next == nullptr) next = units_.front().get();  // to end the boot
  current_ = next;
  turnOf(*next).give();
}

Turn &Scheduler::turnOf(const Unit &unit) {
  return unit.worker == nullptr ? mainTurn_ : unit.worker->turn;
}

void Scheduler::at(uint64_t atMs, std::function<void()> action) {
  const uint64_t order = random_ ? random() : 0;
  events_.push_back({atMs, order, sequence_++, std::move(action)});
  std::push_heap(events_.begin(), events_.end());
}

void Scheduler::wake(Unit &unit, int64_t value) {
  unit.wakeValue = value;
  ready_.push_back(&unit);
}

void Scheduler::fireNext() {
  std::pop_heap(events_.begin(), events_.end());
  Event event = std::move(events_.back());
  events_.pop_back();
  if (endAtMs_ != 0 && event.atMs > endAtMs_) {
    nowMs_ = std::max(nowMs_, endAtMs_);
    onTimeUp_();
    return;
  }
  nowMs_ = std::max(nowMs_, event.atMs);
  event.action();
}

// Null when the boot has ended.
Unit *Scheduler::pickNext() {
  while (ready_.empty() && !ending_) {
    if (events_.empty()) {
      onIdle_();
    } else {
      fireNext();
    }
  }
  if (ending_) return nullptr;
  const size_t index = random_ ? static_cast<size_t>(random() % ready_.size()) : 0;
  Unit *next = ready_[index];
  ready_.erase(ready_.begin() + static_cast<std::ptrdiff_t>(index));
  return next;
}

void Scheduler::switchTo(Unit &next) {
  Unit &self = *current_;
  if (&next == &self) return;
  current_ = &next;
  turnOf(next).give();
  turnOf(self).take();
}

int64_t Scheduler::wait() {
  Unit &self = *current_;
  if (ending_) throw BootEnded{};
  if (Unit *next = pickNext()) switchTo(*next);
  if (ending_) throw BootEnded{};
  return self.wakeValue;
}

void Scheduler::sleep(uint64_t forMs) {
  if (ending_) throw BootEnded{};
  const uint64_t endMs = nowMs_ + forMs;
  const bool alone = ready_.empty() && (events_.empty() || events_.front().atMs > endMs);
  if (alone && (endAtMs_ == 0 || endMs <= endAtMs_)) {
    nowMs_ = endMs;
    return;
  }
  Unit &self = *current_;
  at(endMs, [this, &self] { wake(self, 0); });
  wait();
}

void Scheduler::preempt() {
  if (ending_) throw BootEnded{};
  if (!random_) return;
  if (!events_.empty() && events_.front().atMs <= nowMs_ && random() % 2 == 0) fireNext();
  if (ending_) throw BootEnded{};
  if (ready_.empty() || random() % PREEMPTION_RATE != 0) return;
  ready_.push_back(current_);
  wait();
}

uint64_t Scheduler::random() {
  return random_ ? nextRandom(randomState_) : 0;
}

}  // namespace orv::sim
