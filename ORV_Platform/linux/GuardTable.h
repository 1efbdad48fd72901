// What the daemon shares with its guard: the processes that are to end with the daemon (see Guard.h).
#ifndef ORV_LINUX_GUARDTABLE_H
#define ORV_LINUX_GUARDTABLE_H

#include <sys/types.h>

#include <atomic>
#include <cstddef>

namespace orv {

// Descriptors that the guard is started with.
constexpr int GUARD_LIFE_LINE = 3;  // a pipe whose other end the daemon holds, and with it the kernel, until it is dead
constexpr int GUARD_TABLE = 4;      // memory with a GuardTable

// 64 applications, 3 executables, and processes that have left them; who finds no place here is still found by its
// parents, its group, its session or its environment.
constexpr size_t GUARD_TABLE_SIZE = 256;

struct GuardTable {
  std::atomic<pid_t> pids[GUARD_TABLE_SIZE];  // 0: none
};

static_assert(std::atomic<pid_t>::is_always_lock_free);

}  // namespace orv

#endif
