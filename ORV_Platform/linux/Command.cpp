#include "Command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "ArgumentList.h"
#include "Caretaker.h"
#include "ExecutionUnits.h"
#include "NodePaths.h"
#include "Readiness.h"
#include "RunningPrograms.h"
#include "Spawn.h"

namespace orv {
namespace {

// Told by an init system to the daemon and meant for nobody else.
bool isDaemonsOwn(std::string_view variable) {
  for (const std::string_view name : {"NOTIFY_SOCKET=", "WATCHDOG_PID=", "WATCHDOG_USEC=", "LISTEN_PID=", "LISTEN_FDS=",
                                      "LISTEN_FDNAMES=", "JOURNAL_STREAM=", "ORV_NODE_DIR=", "ORV_EU_NAME="}) {
    if (variable.starts_with(name)) return true;
  }
  return false;
}

// The variables of a program: the daemon's where they are for everybody, and its own.
class ProgramEnvironment {
 public:
  explicit ProgramEnvironment(const std::string &euName)
      : own_{"ORV_NODE_DIR=" + nodeDirectory(), "ORV_EU_NAME=" + euName, "NOTIFY_SOCKET=" + readinessAddress()} {
    for (char **variable = environ; *variable != nullptr; ++variable) {
      if (!isDaemonsOwn(*variable)) pointers_.push_back(*variable);
    }
    for (std::string &variable : own_) {
      if (variable.back() != '=') pointers_.push_back(variable.data());
    }
    pointers_.push_back(nullptr);
  }
  ProgramEnvironment(const ProgramEnvironment &) = delete;
  ProgramEnvironment &operator=(const ProgramEnvironment &) = delete;

  char *const *get() const {
    return pointers_.data();
  }

 private:
  std::array<std::string, 3> own_;
  std::vector<char *> pointers_;
};

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
    case ENOTDIR:
      return " (is the path right, and the interpreter that the file names on this machine?)";
    case EACCES:
      return " (a directory, or no permission to execute: chmod +x; or a file system mounted noexec)";
    case ENOEXEC:
      return " (a program for another processor, or a script without a #! line)";
    case EAGAIN:
    case ENOMEM:
      return " (out of processes or memory: see TasksMax= and MemoryMax= of the unit, ulimit -u)";
    case EMFILE:
    case ENFILE:
      return " (out of descriptors: see LimitNOFILE= of the unit, ulimit -n)";
    case E2BIG:
      return " (arguments and environment together are too long)";
    case ETXTBSY:
      return " (the file is being written: replace programs by renaming, not by copying over them)";
    default:
      return "";
  }
}

// The pipe that a program writes to. Without one, for want of descriptors or of a caretaker that would read it, the
// program writes where the daemon writes.
struct OutputPipe {
  Descriptor reading{-1};
  Descriptor writing{-1};

  OutputPipe() {
    int ends[2];
    if (!startCaretaker().ok() || pipe2(ends, O_CLOEXEC) != 0) return;
    reading.reset(ends[0]);
    writing.reset(ends[1]);
  }
};

Status launch(const Program &program, RunningProgram &started) {
  std::vector<std::string> arguments;
  Status status = splitArguments(program.args, arguments);
  if (!status.ok()) return status;
  arguments.insert(arguments.begin(), program.path);
  OutputPipe output;
  const ProgramEnvironment environment(program.euName);
  const std::string file = lookUp(program.path);

  const std::vector<char *> argumentPointers = pointers(arguments);
  SpawnRequest request;
  request.file = file.c_str();
  request.arguments = argumentPointers.data();
  request.environment = environment.get();
  request.outputDescriptor = output.writing.get();
  const int error = spawnProgram(request, started.pid);
  if (error != 0) {
    return Status::failure(error == EIO ? -EIO : error,
                           "cannot start " + program.path + ": " + std::strerror(error) + launchAdvice(error));
  }
  if (output.reading.get() >= 0) watchOutput(std::move(output.reading), started.pid, program.euId, program.euName);
  return Status::success();
}

// Starts a program and puts it on the list, as one step for the shutdown.
Status launchListed(const Program &program, RunningProgram &started) {
  beginProgramStart();
  started.euId = program.euId;
  started.euName = program.euName;
  Status status = launch(program, started);
  if (status.ok()) {
    endProgramStart(started);
  } else {
    endProgramStart();
  }
  return status;
}

int32_t waitForEnd(pid_t pid) {
  int waitStatus = 0;
  while (waitpid(pid, &waitStatus, 0) < 0 && errno == EINTR) {
  }
  return waitStatus;
}

}  // namespace

Status runProgram(const Program &program, const std::function<void(int32_t pid)> &onStart, int32_t &waitStatus,
                  const std::function<void(int32_t waitStatus)> &onShutdown) {
  RunningProgram started;
  Status status = launchListed(program, started);
  if (!status.ok()) return status;
  onStart(started.pid);
  releaseUnusedStack();
  const int32_t ended = waitForEnd(started.pid);
  if (programHasEnded(started.pid)) {
    onShutdown(ended);
    outputOwnerEnded(started.pid, false);
    blockForEver();
  }
  waitStatus = ended;
  return Status::success();
}

void prepareForPrograms() {
  std::signal(SIGCHLD, SIG_DFL);
  sigset_t childSignal;
  sigemptyset(&childSignal);
  sigaddset(&childSignal, SIGCHLD);
  pthread_sigmask(SIG_BLOCK, &childSignal, nullptr);
}

}  // namespace orv
