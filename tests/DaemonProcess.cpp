#include "DaemonProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#include "ProcessTable.h"

extern char **environ;

namespace {

struct Pipe {
  int readEnd = -1;
  int writeEnd = -1;
};

Pipe makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno));
  return {ends[0], ends[1]};
}

std::vector<std::string> wholeEnvironment(const std::vector<std::string> &added) {
  std::map<std::string, std::string> variables;
  const auto put = [&](const std::string &variable) { variables[variable.substr(0, variable.find('='))] = variable; };
  for (char **variable = environ; *variable != nullptr; ++variable)
    put(*variable);
  // What the process that runs the tests was told is not meant for the daemon.
  for (const char *name :
       {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID", "JOURNAL_STREAM", "ORV_CE_NAME", "ORV_EU_NAME"}) {
    variables.erase(name);
  }
  for (const std::string &variable : added)
    put(variable);
  std::vector<std::string> environment;
  for (const auto &[name, variable] : variables)
    environment.push_back(variable);
  return environment;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
  std::vector<char *> result;
  for (std::string &text : texts)
    result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

void setUpSignals(const ProcessStart &start) {
  for (int number = 1; number < NSIG; ++number)
    ::signal(number, SIG_DFL);
  for (const int number : start.ignoredSignals)
    ::signal(number, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int number : start.blockedSignals)
    sigaddset(&blocked, number);
  sigprocmask(SIG_SETMASK, &blocked, nullptr);
}

// What the forked child does; it does not come back. The parent has other threads, so nothing here may allocate.
[[noreturn]] void becomeProcess(const ProcessStart &start, char *const *arguments, char *const *environment,
                                int outputEnd, int errorEnd, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(127);
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  setUpSignals(start);
  if (!start.directory.empty() && chdir(start.directory.c_str()) != 0) _exit(127);
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  dup2(start.output >= 0 ? start.output : outputEnd, STDOUT_FILENO);
  dup2(errorEnd, STDERR_FILENO);
  for (const int descriptor : start.openDescriptors)
    dup2(nothing, descriptor);
  execve(arguments[0], arguments, environment);
  _exit(127);
}

}  // namespace

DaemonProcess::DaemonProcess(const ProcessStart &start) {
  std::vector<std::string> arguments = start.arguments;
#ifdef ORV_ADOPT_ORPHANS
  arguments.insert(arguments.begin(), ORV_ADOPT_ORPHANS);  // programs/adopt-orphans.c
#endif
  std::vector<std::string> environment = wholeEnvironment(start.environment);
  const std::vector<char *> argumentPointers = pointers(arguments);
  const std::vector<char *> environmentPointers = pointers(environment);
  const Pipe output = makePipe();
  const Pipe error = makePipe();
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    becomeProcess(start, argumentPointers.data(), environmentPointers.data(), output.writeEnd, error.writeEnd, parent);
  }
  const int forkError = errno;
  close(output.writeEnd);
  close(error.writeEnd);
  output_ = std::make_unique<LineReader>(output.readEnd);
  error_ = std::make_unique<LineReader>(error.readEnd);
  if (pid_ < 0) throw std::runtime_error(std::string("cannot fork: ") + std::strerror(forkError));
}

DaemonProcess::~DaemonProcess() {
  if (ended_) return;
  kill(pid_, SIGKILL);
  try {
    ::waitForEnd(pid_);
  } catch (const std::exception &) {
    // It has been waited for already, or is beyond a test's reach; the test has failed by then.
  }
}

void DaemonProcess::signal(int number) const {
#if defined(__SANITIZE_THREAD__)
  // The run-time of ThreadSanitizer calls the handlers, and it does not know waitpid as a call that blocks: a signal
  // that the kernel gives to a thread which waits for its program would be kept until the program ends.
  const bool sent = tgkill(pid_, pid_, number) == 0;
#else
  const bool sent = kill(pid_, number) == 0;
#endif
  if (!sent) throw std::runtime_error(std::string("cannot send a signal: ") + std::strerror(errno));
}

int DaemonProcess::waitForExit() {
  if (ended_) return waitStatus_;
  try {
    waitStatus_ = ::waitForEnd(pid_);
  } catch (const std::runtime_error &hangs) {
    std::string text = std::string(hangs.what()) + "\nIts lines:";
    for (const std::string &line : errorLines())
      text += "\n  " + line;
    throw std::runtime_error(text);
  }
  ended_ = true;
  output_->waitForEnd();
  error_->waitForEnd();
  return waitStatus_;
}

std::vector<std::string> DaemonProcess::errorLines() const {
  return error_->lines();
}

std::vector<std::string> DaemonProcess::outputLines() const {
  return output_->lines();
}

std::string DaemonProcess::waitForLine(const LineReader &reader,
                                       const std::function<bool(const std::string &)> &matches, unsigned count,
                                       const std::string &wanted) const {
  try {
    return reader.waitFor(matches, count, wanted);
  } catch (const std::exception &error) {
    const auto info = processInfo(pid_);
    siginfo_t end = {};
    std::string state = info ? std::string(1, info->state) : "none";
    if (waitid(P_PID, static_cast<id_t>(pid_), &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid == pid_) {
      state = (end.si_code == CLD_EXITED ? "exited with " : "ended by signal ") + std::to_string(end.si_status);
    }
    throw std::runtime_error(std::string(error.what()) + "\n  (state of the process: " + state + ")");
  }
}

void DaemonProcess::waitForErrorLine(const std::string &line, unsigned count) const {
  waitForLine(
      *error_, [&](const std::string &candidate) { return candidate == line; }, count, "\"" + line + "\"");
}

std::string DaemonProcess::waitForErrorLineWith(const std::string &part, unsigned count) const {
  const auto matches = [&](const std::string &candidate) { return candidate.find(part) != std::string::npos; };
  return waitForLine(*error_, matches, count, "line with \"" + part + "\"");
}

std::string DaemonProcess::waitForOutputLineWith(const std::string &part, unsigned count) const {
  const auto matches = [&](const std::string &candidate) { return candidate.find(part) != std::string::npos; };
  return waitForLine(*output_, matches, count, "line with \"" + part + "\"");
}

CommandResult runCommand(const ProcessStart &start) {
  DaemonProcess process(start);
  CommandResult result;
  result.waitStatus = process.waitForExit();
  result.output = process.outputLines();
  result.errors = process.errorLines();
  return result;
}
