// Starts a process as a program of the node is started (Command.h), which posix_spawn cannot: it has no means to have
// the kernel end the process with its parent.
#ifndef ORV_LINUX_SPAWN_H
#define ORV_LINUX_SPAWN_H

#include <sys/types.h>

#include <array>

namespace orv {

struct SpawnRequest {
  const char *file = nullptr;
  char *const *arguments = nullptr;     // ends with a null
  char *const *environment = nullptr;   // ends with a null
  int outputDescriptor = -1;            // standard output and error; -1: those of this process
  std::array<int, 2> passedOn{-1, -1};  // become descriptors 3 and 4; -1: none
  bool outlivesParent = false;          // else the kernel ends the process with this one
};

// Returns 0 and the process id when the file is being executed; else the errno, and there is no process. The caller has
// to wait for the process. Unless the process outlives its parent, the thread that called must live as long as the
// process does: to the kernel the parent is the thread.
int spawnProgram(const SpawnRequest &request, pid_t &pid);

}  // namespace orv

#endif
