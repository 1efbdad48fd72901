// Acting as an ordinary user, whoever runs the test.
#ifndef ORV_TESTS_OTHERUSER_H
#define ORV_TESTS_OTHERUSER_H

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>

// True for root where there are other users at all: in a user namespace there may be root alone.
inline bool canActAsAnotherUser() {
  constexpr long NOBODY = 65534;
  long first = 0;
  long outside = 0;
  long count = 0;
  std::ifstream("/proc/self/uid_map") >> first >> outside >> count;
  return geteuid() == 0 && first == 0 && count > NOBODY;
}

// An ordinary user can be had by being one, or by root's turning into one.
inline bool canActAsSomebody() {
  return geteuid() != 0 || canActAsAnotherUser();
}

// Runs `body` in a process of an ordinary user: user 12345 where root runs the test, else who runs it. Returns what
// `body` returns, below 99; 99 where it was not run.
inline int asSomebody(const std::function<int()> &body) {
  constexpr uid_t SOMEBODY = 12345;
  constexpr int NOT_RUN = 99;
  const pid_t child = fork();
  if (child == 0) _exit(geteuid() != 0 || setuid(SOMEBODY) == 0 ? body() : NOT_RUN);
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : NOT_RUN;
}

#endif
