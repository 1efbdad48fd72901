// Threads that the platform runs for its own purposes.
#ifndef ORV_LINUX_SERVICETHREAD_H
#define ORV_LINUX_SERVICETHREAD_H

#include <pthread.h>

#include <cstddef>

namespace orv {

// LMDB is the largest user; sanitizers multiply that.
constexpr size_t SERVICE_STACK_BYTES = 256UL * 1024;

// Starts a joinable thread of that name (15 bytes at most) with every signal blocked: the daemon's handlers run on the
// daemon's threads. Returns 0 or the errno.
int startServiceThread(const char *name, void *(*entry)(void *), void *argument, pthread_t &thread);

}  // namespace orv

#endif
