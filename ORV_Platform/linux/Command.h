// Programs of the node: how one is started, and how all of them are ended.
//
// A program runs in a process group of its own, with signal mask and dispositions reset, /dev/null as standard input,
// no descriptor but the standard three, and the daemon's environment without what an init system told the daemon alone.
// Its output goes to the journal under its EU's name where the daemon's own goes there, else to where the daemon's
// goes. The kernel kills it when the daemon dies: the request is bound to the thread that starts the program, which
// therefore stays in runProgram until the program has ended.
#ifndef ORV_LINUX_COMMAND_H
#define ORV_LINUX_COMMAND_H

#include <cstdint>
#include <functional>
#include <string>

#include "Status.h"

namespace orv {

struct Program {
  std::string path;  // looked up in PATH when it has no "/"
  std::string args;  // see ArgumentList.h
  std::string euName;
};

// Runs a program to its end.
//   onStart      called with the process id once it runs
//   waitStatus   out: how it ended; left alone when it was not started
//   onShutdown   called with the wait status when the program was ended by endPrograms
// Fails with what hindered the start: the errno, or -EIO for an input/output error (5 would say that the program ran).
// Does not return when the program was ended by endPrograms, or when that has begun before the start: a shutdown is no
// failure of the program's, and nobody is to act as if it were.
Status runProgram(const Program &program, const std::function<void(int32_t pid)> &onStart, int32_t &waitStatus,
                  const std::function<void(int32_t waitStatus)> &onShutdown);

// Ends all programs, with the process groups that they leave behind: SIGTERM to all at once, SIGKILL to those that are
// still there after `graceMs`. No program can be started from here on. Returns when all are gone; fails with ETIMEDOUT
// when some are there for all that.
Status endPrograms(uint32_t graceMs);

// Undoes an inherited SIG_IGN of SIGCHLD, with which the kernel would throw away how programs end.
void prepareForPrograms();

}  // namespace orv

#endif
