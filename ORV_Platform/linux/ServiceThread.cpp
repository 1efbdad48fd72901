#include "ServiceThread.h"

#include <csignal>

namespace orv {

int startServiceThread(void *(*entry)(void *), void *argument, pthread_t &thread) {
  sigset_t all;
  sigset_t previous;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &previous);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, SERVICE_STACK_BYTES);
  const int error = pthread_create(&thread, &attributes, entry, argument);
  pthread_attr_destroy(&attributes);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return error;
}

void nameThisThread(const char *name) {
  pthread_setname_np(pthread_self(), name);
}

}  // namespace orv
