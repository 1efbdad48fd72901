#include "Board.h"

#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <new>
#include <system_error>

#include "Clock.h"

namespace syscombench {
namespace {

// The address of the futex word: an atomic of this size is the bare word.
uint32_t *wordOf(std::atomic<uint32_t> &word) {
  static_assert(sizeof(word) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free);
  return reinterpret_cast<uint32_t *>(&word);
}

}  // namespace

void UnmapBoard::operator()(Board *board) const {
  munmap(board, sizeof(Board));
}

BoardMemory makeBoard() {
  void *memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "no shared memory");
  return BoardMemory(new (memory) Board);
}

void waitForChange(std::atomic<uint32_t> &word, uint32_t expected) {
  syscall(SYS_futex, wordOf(word), FUTEX_WAIT, expected, nullptr, nullptr, 0);
}

void wakeAll(std::atomic<uint32_t> &word) {
  syscall(SYS_futex, wordOf(word), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void takeArrival(Board &board, Worker &receiver, const Stamp &stamp) {
  const uint64_t now = orv::monotonicNs();
  // Of the run that is, or was the last: what is still under way when it ends has to be counted too.
  const uint32_t run = board.run.load();
  if (stamp.source >= MAX_WORKERS || (stamp.run != run && stamp.run + 1 != run)) return;
  if (stamp.sentNs >= board.measureFromNs.load() && now <= board.measureToNs.load()) {
    receiver.latencies.add(now - stamp.sentNs);
    receiver.measured.fetch_add(1);
  }
  Worker &sender = board.workers.at(stamp.source);
  sender.arrived.fetch_add(1);
  if (sender.isWaiting.load() != 0) wakeAll(sender.arrived);
}

bool waitForRoom(Board &board, Worker &self, uint32_t run) {
  const uint32_t window = board.window.load();
  for (;;) {
    if (board.run.load() != run) return false;
    const uint32_t arrived = self.arrived.load();
    if (window == 0 || self.sent.load() - arrived < window) return true;
    self.isWaiting.store(1);
    // The run may end right here: whoever ends it wakes the senders until none is left.
    if (self.arrived.load() == arrived && board.run.load() == run) waitForChange(self.arrived, arrived);
    self.isWaiting.store(0);
  }
}

void pauseAfterRefusal() {
  constexpr timespec PAUSE{0, 100'000};
  nanosleep(&PAUSE, nullptr);
}

}  // namespace syscombench
