// Whose turn it is: threads that run one at a time hand the turn from one to the next.
//
// A futex and not a semaphore of the C library, since the simulation defines those itself.
#ifndef ORV_SIMULATED_TURN_H
#define ORV_SIMULATED_TURN_H

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace orv::sim {

class Turn {
 public:
  // Wakes the thread that waits in take, or lets its next take return at once. What the giver did before is seen by the
  // taker.
  void give() {
    granted_.store(1, std::memory_order_release);
    syscall(SYS_futex, &granted_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  }

  // Waits until the turn is given. One thread at a time.
  void take() {
    while (granted_.exchange(0, std::memory_order_acquire) == 0) {
      syscall(SYS_futex, &granted_, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
    }
  }

 private:
  static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "the kernel looks at the word itself");
  std::atomic<uint32_t> granted_{0};
};

}  // namespace orv::sim

#endif
