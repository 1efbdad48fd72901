#include "ProcessTable.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto POLL_INTERVAL = std::chrono::milliseconds(5);

std::vector<ProcessInfo> allProcesses() {
  std::vector<ProcessInfo> processes;
  for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    if (const auto info = processInfo(std::stoi(name))) processes.push_back(*info);
  }
  return processes;
}

void reapEnded() {
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
}

// Makes an orphan and looks where it goes.
bool orphansComeHere() {
  struct Orphan {
    pid_t pid;
    pid_t parent;
  };
  int pipeEnds[2];
  if (pipe2(pipeEnds, O_CLOEXEC) != 0) return false;
  const pid_t child = fork();
  if (child == 0) {
    const pid_t firstParent = getpid();
    if (fork() != 0) _exit(0);
    while (getppid() == firstParent)
      std::this_thread::sleep_for(POLL_INTERVAL);
    const Orphan orphan{getpid(), getppid()};
    _exit(write(pipeEnds[1], &orphan, sizeof orphan) == sizeof orphan ? 0 : 1);
  }
  close(pipeEnds[1]);
  waitpid(child, nullptr, 0);
  Orphan orphan{};
  const bool isHere = read(pipeEnds[0], &orphan, sizeof orphan) == sizeof orphan && orphan.parent == getpid();
  close(pipeEnds[0]);
  if (isHere) waitpid(orphan.pid, nullptr, 0);
  return isHere;
}

std::string fieldOf(const std::string &statusFile, const std::string &field) {
  std::ifstream file(statusFile);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(field + ":")) return line.substr(line.find_first_not_of(" \t", field.size() + 1));
  }
  return "0";
}

bool isSanitizersOwn([[maybe_unused]] pid_t pid, [[maybe_unused]] const std::string &thread,
                     [[maybe_unused]] const std::string &statusFile) {
#ifdef __SANITIZE_THREAD__
  // Its background thread wakes up ten times a second. It has no name of its own, while every EU has.
  return thread != std::to_string(pid) &&
         fieldOf(statusFile, "Name") == fieldOf("/proc/" + std::to_string(pid) + "/status", "Name");
#else
  return false;
#endif
}

}  // namespace

std::optional<ProcessInfo> processInfo(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(file, text, '\0');
  // "pid (name) state parent group ...", where the name may hold anything.
  const size_t nameEnd = text.rfind(')');
  if (nameEnd == std::string::npos) return std::nullopt;
  ProcessInfo info;
  info.pid = pid;
  if (std::sscanf(text.c_str() + nameEnd + 1, " %c %d %d", &info.state, &info.parent, &info.group) != 3) {
    return std::nullopt;
  }
  return info;
}

void adoptOrphans() {
  if (prctl(PR_SET_CHILD_SUBREAPER, 1) == 0) return;
  // An emulator that refuses it may have been started by somebody who asked for it (programs/adopt-orphans.c).
  static const bool comeHere = orphansComeHere();
  if (!comeHere) throw std::runtime_error("cannot adopt orphaned processes");
}

std::vector<pid_t> livingDescendants() {
  const std::vector<ProcessInfo> processes = allProcesses();
  std::vector<pid_t> family = {getpid()};
  for (size_t i = 0; i < family.size(); ++i) {
    for (const ProcessInfo &process : processes) {
      const bool lives = process.state != 'Z' && process.state != 'X';
      if (lives && process.parent == family[i]) family.push_back(process.pid);
    }
  }
  family.erase(family.begin());
  return family;
}

std::vector<pid_t> livingPrograms() {
  std::vector<pid_t> programs = livingDescendants();
  std::erase_if(programs, [](pid_t pid) {
    std::ifstream name("/proc/" + std::to_string(pid) + "/comm");
    std::string text;
    return std::getline(name, text) && (text == "orv-guard" || text == "orvCaretaker");  // which is starting it
  });
  return programs;
}

void waitForNoDescendants() {
  const auto deadline = Clock::now() + WAIT_LIMIT;
  while (!livingDescendants().empty()) {
    if (Clock::now() > deadline) throw std::runtime_error("processes are left behind");
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
}

void killDescendants() {
  for (;;) {
    const std::vector<pid_t> descendants = livingDescendants();
    if (descendants.empty()) break;
    for (const pid_t pid : descendants)
      kill(pid, SIGKILL);
    reapEnded();
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
  reapEnded();
}

namespace {

std::string firstLine(const std::filesystem::path &file) {
  std::string line;
  std::getline(std::ifstream(file) >> std::ws, line);
  return line;
}

// What the threads of a process do, for the report that it hangs: their names, the kernel's functions in which they
// wait and the signals that are blocked and pending.
std::string threadsOf(pid_t pid) {
  std::string text;
  std::error_code failed;
  for (const auto &thread : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", failed)) {
    text += "\n  " + thread.path().filename().string() + " " + firstLine(thread.path() / "comm") + ": " +
            firstLine(thread.path() / "wchan");
    std::ifstream status(thread.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with("Sig") || line.starts_with("ShdPnd")) text += " " + line;
    }
  }
  return text;
}

}  // namespace

int waitForEnd(pid_t child) {
  // The process exists at least until it has been waited for, so the number is its own.
  const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  if (descriptor < 0) {
    throw std::runtime_error("process " + std::to_string(child) + ": " + std::strerror(errno));
  }
  pollfd waited = {descriptor, POLLIN, 0};
  const int ready = poll(&waited, 1, static_cast<int>(std::chrono::milliseconds(WAIT_LIMIT).count()));
  close(descriptor);
  int waitStatus = 0;
  if (ready != 1) throw std::runtime_error("process " + std::to_string(child) + " does not end" + threadsOf(child));
  if (waitpid(child, &waitStatus, 0) != child) {
    throw std::runtime_error("process " + std::to_string(child) + " is no child of the test: " + std::strerror(errno));
  }
  return waitStatus;
}

void waitForState(pid_t pid, const std::string &states) {
  const auto deadline = Clock::now() + WAIT_LIMIT;
  for (;;) {
    const auto info = processInfo(pid);
    if (info && states.find(info->state) != std::string::npos) return;
    if (!info || info->state == 'Z' || Clock::now() > deadline) {
      throw std::runtime_error("process " + std::to_string(pid) + " does not come to state " + states);
    }
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
}

unsigned long contextSwitches(pid_t pid) {
  unsigned long sum = 0;
  for (const auto &thread : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    const std::string statusFile = thread.path() / "status";
    if (isSanitizersOwn(pid, thread.path().filename(), statusFile)) continue;
    sum += std::stoul(fieldOf(statusFile, "voluntary_ctxt_switches"));
    sum += std::stoul(fieldOf(statusFile, "nonvoluntary_ctxt_switches"));
  }
  return sum;
}
