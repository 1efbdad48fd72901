// The child processes of the run: each ends with the driver, whatever becomes of it.
#ifndef ORV_BENCH_CHILDREN_H
#define ORV_BENCH_CHILDREN_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace syscombench {

// Forks a process that runs `body` and ends with what it returns. Throws std::system_error. The caller has no other
// threads.
pid_t forkChild(const std::function<int()> &body);

// Starts a program in a process group of its own, so that a signal from the terminal does not reach it; its standard
// output and error go to `logFile`. Throws std::system_error.
pid_t startProgram(const std::vector<std::string> &arguments, const std::vector<std::string> &variables,
                   const std::string &logFile);

// True once `pid` has ended; `waitStatus` is then set and the process is gone for good.
bool hasEnded(pid_t pid, int &waitStatus);

// Waits until all of `pids` have ended, kills those that take longer than `limitMs`, and returns how many have not
// ended with exit status 0.
size_t waitForAll(std::vector<pid_t> pids, unsigned limitMs);

// True when SIGINT or SIGTERM has asked the driver to end. The first call begins to listen to them.
bool isInterrupted();

void sleepMs(unsigned ms);

}  // namespace syscombench

#endif
