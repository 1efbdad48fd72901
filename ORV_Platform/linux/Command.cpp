#include "Command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string_view>
#include <vector>

#include "ArgumentList.h"
#include "JournalStream.h"
#include "NodePaths.h"
#include "ProcessGroups.h"
#include "Spawn.h"

namespace orv {
namespace {

// What runs, for the shutdown to end. Never destroyed: EUs may still wait on it while the process exits.
struct ProgramTable {
  std::mutex mutex;
  std::condition_variable changed;
  bool shuttingDown = false;
  unsigned starting = 0;     // starts under way
  std::set<pid_t> running;   // programs, which lead the groups of the same number, until they have been waited for
  std::set<pid_t> leftOver;  // groups whose program has ended and that still had members then
};

ProgramTable &programTable() {
  static auto *table = new ProgramTable;
  return *table;
}

[[noreturn]] void blockForEver() {
  for (;;)
    pause();
}

// Told by an init system to the daemon and meant for nobody else.
bool isDaemonsOwn(std::string_view variable) {
  for (const std::string_view name : {"NOTIFY_SOCKET=", "WATCHDOG_PID=", "WATCHDOG_USEC=", "LISTEN_PID=", "LISTEN_FDS=",
                                      "LISTEN_FDNAMES=", "JOURNAL_STREAM=", "ORV_NODE_DIR=", "ORV_EU_NAME="}) {
    if (variable.starts_with(name)) return true;
  }
  return false;
}

std::vector<std::string> programEnvironment(const std::string &euName) {
  std::vector<std::string> environment;
  for (char **variable = environ; *variable != nullptr; ++variable) {
    if (!isDaemonsOwn(*variable)) environment.emplace_back(*variable);
  }
  environment.push_back("ORV_NODE_DIR=" + nodeDirectory());
  environment.push_back("ORV_EU_NAME=" + euName);
  return environment;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
  std::vector<char *> result;
  result.reserve(texts.size() + 1);
  for (std::string &text : texts)
    result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

// The file that `path` names: itself when it has a "/", else the first executable of that name in PATH. A name that is
// nowhere stays as it is, for the start to fail with.
std::string lookUp(const std::string &path) {
  const char *searchPath = std::getenv("PATH");
  if (path.find('/') != std::string::npos || path.empty() || searchPath == nullptr) return path;
  std::string_view rest = searchPath;
  for (;;) {
    const size_t colon = rest.find(':');
    std::string candidate = std::string(rest.substr(0, colon)) + "/" + path;
    if (candidate.front() == '/' && access(candidate.c_str(), X_OK) == 0) return candidate;
    if (colon == std::string_view::npos) return path;
    rest.remove_prefix(colon + 1);
  }
}

std::string launchAdvice(int error) {
  switch (error) {
    case ENOENT:
      return " (is the path right, and the interpreter that the file names on this machine?)";
    case EACCES:
      return " (a directory, or no permission to execute: chmod +x)";
    case ENOEXEC:
      return " (a program for another processor, or a script without a #! line)";
    case EAGAIN:
    case ENOMEM:
      return " (out of processes or memory)";
    default:
      return "";
  }
}

Status launch(const Program &program, pid_t &pid) {
  std::vector<std::string> arguments;
  Status status = splitArguments(program.args, arguments);
  if (!status.ok()) return status;
  arguments.insert(arguments.begin(), program.path);
  std::vector<std::string> environment = programEnvironment(program.euName);
  const std::string file = lookUp(program.path);
  const Descriptor journal = openJournalStream(program.euName);

  std::vector<char *> argumentPointers = pointers(arguments);
  std::vector<char *> environmentPointers = pointers(environment);
  SpawnRequest request;
  request.file = file.c_str();
  request.arguments = argumentPointers.data();
  request.environment = environmentPointers.data();
  request.outputDescriptor = journal.get();
  const int error = spawnProgram(request, pid);
  if (error == 0) return Status::success();
  return Status::failure(error == EIO ? -EIO : error,
                         "cannot start " + program.path + ": " + std::strerror(error) + launchAdvice(error));
}

// Starts a program and puts it on the list, as one step for the shutdown.
Status launchListed(const Program &program, pid_t &pid) {
  ProgramTable &table = programTable();
  {
    std::unique_lock lock(table.mutex);
    if (table.shuttingDown) {
      lock.unlock();
      blockForEver();
    }
    ++table.starting;
  }
  Status status = launch(program, pid);
  const std::lock_guard lock(table.mutex);
  --table.starting;
  if (status.ok()) table.running.insert(pid);
  table.changed.notify_all();
  return status;
}

int32_t waitForEnd(pid_t pid) {
  int waitStatus = 0;
  while (waitpid(pid, &waitStatus, 0) < 0 && errno == EINTR) {
  }
  return waitStatus;
}

// Takes an ended program off the list. True when the shutdown has begun.
bool unlist(pid_t pid) {
  ProgramTable &table = programTable();
  const std::lock_guard lock(table.mutex);
  table.running.erase(pid);
  // The group's number is not used again while it has members.
  if (groupExists(pid)) table.leftOver.insert(pid);
  table.changed.notify_all();
  return table.shuttingDown;
}

}  // namespace

Status runProgram(const Program &program, const std::function<void(int32_t pid)> &onStart, int32_t &waitStatus,
                  const std::function<void(int32_t waitStatus)> &onShutdown) {
  pid_t pid = 0;
  Status status = launchListed(program, pid);
  if (!status.ok()) return status;
  onStart(pid);
  const int32_t ended = waitForEnd(pid);
  if (unlist(pid)) {
    onShutdown(ended);
    blockForEver();
  }
  waitStatus = ended;
  return Status::success();
}

Status endPrograms(uint32_t graceMs) {
  using Clock = std::chrono::steady_clock;
  // SIGKILL leaves nobody but who waits inside the kernel for a device.
  constexpr auto KILL_TIMEOUT = std::chrono::seconds(5);
  // How often groups without a program are looked at; programs are waited for without polling.
  constexpr auto GROUP_POLL_INTERVAL = std::chrono::milliseconds(5);

  ProgramTable &table = programTable();
  std::unique_lock lock(table.mutex);
  table.shuttingDown = true;
  table.changed.wait(lock, [&] { return table.starting == 0; });

  const auto allGroups = [&] {
    std::set<pid_t> groups = table.leftOver;
    groups.insert(table.running.begin(), table.running.end());
    return groups;
  };
  const auto waitUntilGone = [&](Clock::time_point deadline) {
    if (!table.changed.wait_until(lock, deadline, [&] { return table.running.empty(); })) return false;
    for (;;) {
      std::erase_if(table.leftOver, [](pid_t group) { return !groupHasLivingMember(group); });
      if (table.leftOver.empty()) return true;
      if (Clock::now() >= deadline) return false;
      table.changed.wait_for(lock, GROUP_POLL_INTERVAL);
    }
  };

  for (const pid_t group : allGroups()) {
    kill(-group, SIGTERM);
    kill(-group, SIGCONT);  // a stopped program sees its SIGTERM only when it goes on
  }
  if (waitUntilGone(Clock::now() + std::chrono::milliseconds(graceMs))) return Status::success();
  for (const pid_t group : allGroups())
    kill(-group, SIGKILL);
  if (waitUntilGone(Clock::now() + KILL_TIMEOUT)) return Status::success();
  return Status::failure(ETIMEDOUT, "programs survive SIGKILL, waiting inside the kernel: " +
                                        std::to_string(allGroups().size()) + " process groups");
}

void prepareForPrograms() {
  std::signal(SIGCHLD, SIG_DFL);
}

}  // namespace orv
