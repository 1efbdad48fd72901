// The built daemon, or another program, run as a process, with its output collected.
//
// Whatever a process waits for has a limit; after it the wait throws, which ends the test with the reason and the
// output so far. The kernel kills the process when the test's own process dies.
#ifndef ORV_TESTS_DAEMONPROCESS_H
#define ORV_TESTS_DAEMONPROCESS_H

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LineReader.h"

// What the process inherits. All signals have their default disposition and none is blocked unless named here.
struct ProcessStart {
  std::vector<std::string> arguments;    // the first is the file to execute
  std::vector<std::string> environment;  // NAME=value, added to the test's own; a later one of a name counts
  std::vector<int> blockedSignals;
  std::vector<int> ignoredSignals;
  std::vector<int> openDescriptors;  // open in the process, on /dev/null
  std::string directory;             // to start in; empty: the test's own
  int output = -1;                   // its standard output; -1: collected
};

class DaemonProcess {
 public:
  explicit DaemonProcess(const ProcessStart &start);
  // Kills the process when it still runs.
  ~DaemonProcess();
  DaemonProcess(const DaemonProcess &) = delete;
  DaemonProcess &operator=(const DaemonProcess &) = delete;

  pid_t pid() const {
    return pid_;
  }
  // Throws when there is no such process.
  void signal(int number) const;

  // Waits until the process has ended and nobody writes to its output any more. Returns the wait status.
  int waitForExit();

  // The output so far.
  std::vector<std::string> errorLines() const;
  std::vector<std::string> outputLines() const;

  // Wait for whole lines on standard error: for one, and for the `count`th.
  void waitForErrorLine(const std::string &line, unsigned count = 1) const;
  // Wait for a line that holds `part`, and return it.
  std::string waitForErrorLineWith(const std::string &part, unsigned count = 1) const;
  std::string waitForOutputLineWith(const std::string &part, unsigned count = 1) const;

 private:
  // LineReader::waitFor, with the state of the process in the message.
  std::string waitForLine(const LineReader &reader, const std::function<bool(const std::string &)> &matches,
                          unsigned count, const std::string &wanted) const;

  pid_t pid_ = -1;
  bool ended_ = false;
  int waitStatus_ = 0;
  std::unique_ptr<LineReader> error_;
  std::unique_ptr<LineReader> output_;
};

struct CommandResult {
  int waitStatus = 0;
  std::vector<std::string> output;
  std::vector<std::string> errors;
};

// Runs a program to its end.
CommandResult runCommand(const ProcessStart &start);

#endif
