// Processes as the kernel shows them, and the ones that a test must not leave behind.
//
// A test's process adopts the orphans among its descendants: a program whose daemon has died becomes its child, so that
// every process a test has caused to exist is found, waited for and, at the test's end, killed.
#ifndef ORV_TESTS_PROCESSTABLE_H
#define ORV_TESTS_PROCESSTABLE_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

// How long a test waits for what has to happen. Generous: a loaded machine, a sanitizer.
constexpr std::chrono::seconds WAIT_LIMIT{60};

struct ProcessInfo {
  pid_t pid = 0;
  char state = 0;  // as in /proc/<pid>/stat: R, S, D, T (stopped), Z (ended, not waited for)
  pid_t parent = 0;
  pid_t group = 0;
};

// Nothing when there is no such process.
std::optional<ProcessInfo> processInfo(pid_t pid);

// Orphaned descendants become children of this process from here on.
void adoptOrphans();

// All descendants of this process that still run.
std::vector<pid_t> livingDescendants();

// The same without the guards of daemons, which start and end when their daemons see fit.
std::vector<pid_t> livingPrograms();

// Waits until no descendant runs any more: for those that somebody else is about to end. Throws after WAIT_LIMIT.
void waitForNoDescendants();

// Kills all descendants and waits for them.
void killDescendants();

// Waits until a child of this process, adopted ones included, has ended. Returns its wait status. Throws after
// WAIT_LIMIT.
int waitForEnd(pid_t child);

// Waits until the process is in one of `states`. Throws after WAIT_LIMIT and when it ends instead.
void waitForState(pid_t pid, const std::string &states);

// The context switches, voluntary and not, that the threads of a process have made so far. A thread that a sanitizer
// keeps in the process for itself is left out.
unsigned long contextSwitches(pid_t pid);

#endif
