// Threads that the platform runs for its own purposes.
#ifndef ORV_LINUX_SERVICETHREAD_H
#define ORV_LINUX_SERVICETHREAD_H

#include <pthread.h>

#include <cstddef>

namespace orv {

// LMDB is the largest user; sanitizers multiply that.
constexpr size_t SERVICE_STACK_BYTES = 256UL * 1024;

// Starts a joinable thread with every signal blocked: the daemon's handlers run on the daemon's threads. Returns 0 or
// the errno.
int startServiceThread(void *(*entry)(void *), void *argument, pthread_t &thread);

// What each of them does first. The kernel takes 15 bytes of a name, and a name from another thread by a file in /proc
// alone, which would hold up whoever starts it.
void nameThisThread(const char *name);

}  // namespace orv

#endif
