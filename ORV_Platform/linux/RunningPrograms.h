// The programs of the node that run now: what the shutdown ends, what a message's sender is looked up in, what the
// guard is told of.
//
// Everything here may be called from any thread.
#ifndef ORV_LINUX_RUNNINGPROGRAMS_H
#define ORV_LINUX_RUNNINGPROGRAMS_H

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Status.h"

namespace orv {

struct RunningProgram {
  pid_t pid = 0;  // which leads the process group of the same number
  uint32_t euId = 0;
  std::string euName;
};

// Brackets the start of a program, as one step for the shutdown. Does not return when the shutdown has begun.
void beginProgramStart();
void endProgramStart();
void endProgramStart(const RunningProgram &program);

// Takes a program that has been waited for off the list. True when the shutdown has begun, in which case `onShutdown`
// has been called before.
bool programHasEnded(pid_t pid, const std::function<void()> &onShutdown);

std::vector<RunningProgram> runningPrograms();

// Waits until no start is under way, a second at most: a program may have something to say before the one who starts it
// has heard its pid.
void awaitProgramStarts();

// Whether `pid`, a child that has ended, may be a program, whose end is its EU's to collect. When it may, the caretaker
// is woken once that has been done.
bool mayBeProgram(pid_t pid);

// Ends all programs with everything that they started: SIGTERM to all at once, SIGKILL to what is still there after
// `graceMs`. Processes that left their program's group are found as descendants of this process. No program can be
// started from here on. Returns when all are gone; fails with ETIMEDOUT when some are there for all that.
Status endPrograms(uint32_t graceMs);

// Whether endPrograms has been called.
bool programsAreEnded();

// Stops the calling thread for good: for who must not act on an end that the shutdown brought about.
[[noreturn]] void blockForEver();

}  // namespace orv

#endif
