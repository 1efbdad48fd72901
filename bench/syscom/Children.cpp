#include "Children.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <system_error>

namespace syscombench {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;

void interrupt(int) {
  gInterrupted = 1;
}

pid_t forkFrom(pid_t parent) {
  const pid_t pid = fork();
  if (pid < 0) throw std::system_error(errno, std::generic_category(), "cannot fork");
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    for (const int number : {SIGINT, SIGTERM})
      std::signal(number, SIG_DFL);
  }
  return pid;
}

[[noreturn]] void becomeProgram(const std::vector<std::string> &arguments, const std::vector<std::string> &variables,
                                const std::string &logFile) {
  setpgid(0, 0);
  const int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (log < 0 || dup2(nothing, STDIN_FILENO) < 0 || dup2(log, STDOUT_FILENO) < 0 || dup2(log, STDERR_FILENO) < 0) {
    _exit(126);
  }
  for (const std::string &variable : variables) {
    const size_t end = variable.find('=');
    setenv(variable.substr(0, end).c_str(), variable.substr(end + 1).c_str(), 1);
  }
  unsetenv("NOTIFY_SOCKET");
  std::vector<char *> pointers;
  for (const std::string &argument : arguments)
    pointers.push_back(const_cast<char *>(argument.c_str()));
  pointers.push_back(nullptr);
  execv(pointers[0], pointers.data());
  std::perror(pointers[0]);
  _exit(127);
}

}  // namespace

pid_t forkChild(const std::function<int()> &body) {
  const pid_t pid = forkFrom(getpid());
  if (pid != 0) return pid;
  try {
    _exit(body());
  } catch (const std::exception &error) {
    std::fprintf(stderr, "SyscomBench: %s\n", error.what());
    _exit(1);
  }
}

pid_t startProgram(const std::vector<std::string> &arguments, const std::vector<std::string> &variables,
                   const std::string &logFile) {
  const pid_t pid = forkFrom(getpid());
  if (pid == 0) becomeProgram(arguments, variables, logFile);
  return pid;
}

bool hasEnded(pid_t pid, int &waitStatus) {
  return waitpid(pid, &waitStatus, WNOHANG) == pid;
}

size_t waitForAll(std::vector<pid_t> pids, unsigned limitMs) {
  constexpr unsigned INTERVAL_MS = 5;
  size_t failed = 0;
  for (unsigned waitedMs = 0; !pids.empty(); waitedMs += INTERVAL_MS) {
    std::erase_if(pids, [&](pid_t pid) {
      int waitStatus = 0;
      if (!hasEnded(pid, waitStatus)) return false;
      if (waitStatus != 0) ++failed;
      return true;
    });
    if (pids.empty()) break;
    if (waitedMs >= limitMs) {
      for (const pid_t pid : pids)
        kill(pid, SIGKILL);
    }
    sleepMs(INTERVAL_MS);
  }
  return failed;
}

bool isInterrupted() {
  [[maybe_unused]] static const bool listening = [] {
    struct sigaction action {};
    action.sa_handler = interrupt;
    return sigaction(SIGINT, &action, nullptr) == 0 && sigaction(SIGTERM, &action, nullptr) == 0;
  }();
  return gInterrupted != 0;
}

void sleepMs(unsigned ms) {
  const timespec time{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1'000'000};
  nanosleep(&time, nullptr);
}

}  // namespace syscombench
