// The processes of the machine, as /proc tells of them: for finding everything that a program has started.
//
// No more than the C library is used here: the guard (OrvGuard.cpp) has no other.
#ifndef ORV_LINUX_PROCESSSCAN_H
#define ORV_LINUX_PROCESSSCAN_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace orv {

struct ProcessFacts {
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  bool ended = false;       // a zombie: not waited for yet
  uint64_t startTicks = 0;  // since the machine's start, in units of 1/sysconf(_SC_CLK_TCK) s
};

// Parses the content of /proc/<pid>/stat, `length` bytes at `text`. False when it is none.
bool parseProcessStat(const char *text, size_t length, ProcessFacts &facts);

// Whether the environment that process `pid` was started with has the entry `entry` ("NAME=value"; with `prefix`, one
// that begins like that). False as well where it cannot be read.
bool startedWith(pid_t pid, const char *entry, bool prefix);

// Calls visit(facts, context) for every process. False when /proc cannot be read.
bool forEachProcess(void (*visit)(const ProcessFacts &facts, void *context), void *context);

}  // namespace orv

#endif
