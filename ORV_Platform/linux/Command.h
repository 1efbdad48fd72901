// Programs of the node: how one is started. RunningPrograms.h says how all of them are ended.
//
// A program runs in a process group of its own, with signal mask and dispositions reset, /dev/null as standard input,
// no descriptor but the standard three, and the daemon's environment without what an init system told the daemon alone,
// with ORV_NODE_DIR, ORV_EU_NAME and a NOTIFY_SOCKET of the node's own (Readiness.h). The caretaker takes its output
// (Caretaker.h). The kernel kills it when the daemon dies: the request is bound to the thread that starts the program,
// which therefore stays in runProgram until the program has ended.
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
  uint32_t euId = 0;
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

// Undoes an inherited SIG_IGN of SIGCHLD, with which the kernel would throw away how programs end, and blocks the
// signal in the calling thread and all that it starts from then on, for the caretaker to have it.
void prepareForPrograms();

}  // namespace orv

#endif
