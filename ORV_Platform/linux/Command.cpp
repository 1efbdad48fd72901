#include "Command.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory_resource>
#include <new>
#include <string_view>
#include <thread>
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

// Told by an init system to the daemon and meant for nobody else. Most variables differ in the first letter already,
// and each is looked at for each program.
bool isDaemonsOwn(const char *variable) {
  for (const std::string_view name : {"NOTIFY_SOCKET=", "WATCHDOG_PID=", "WATCHDOG_USEC=", "LISTEN_PID=", "LISTEN_FDS=",
                                      "LISTEN_FDNAMES=", "JOURNAL_STREAM=", "ORV_NODE_DIR=", "ORV_EU_NAME="}) {
    if (*variable == name.front() && std::strncmp(variable, name.data(), name.size()) == 0) return true;
  }
  return false;
}

// The memory for one start: on the stack, which an EU gives back before it waits (releaseUnusedStack), while the heap
// would keep it for the EU's thread.
constexpr size_t START_MEMORY_BYTES = 4096;

using TextPointers = std::pmr::vector<char *>;

// The variables of a program: the daemon's where they are for everybody, and its own.
class ProgramEnvironment {
 public:
  ProgramEnvironment(const std::string &euName, std::pmr::memory_resource *memory)
      : own_{text({"ORV_NODE_DIR=", nodeDirectory()}, memory), text({"ORV_EU_NAME=", euName}, memory),
             text({"NOTIFY_SOCKET=", readinessAddress()}, memory)},
        pointers_(memory) {
    size_t count = own_.size() + 1;
    for (char **variable = environ; *variable != nullptr; ++variable)
      ++count;
    pointers_.reserve(count);
    for (char **variable = environ; *variable != nullptr; ++variable) {
      if (!isDaemonsOwn(*variable)) pointers_.push_back(*variable);
    }
    for (std::pmr::string &variable : own_) {
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
  static std::pmr::string text(std::initializer_list<std::string_view> parts, std::pmr::memory_resource *memory) {
    std::pmr::string result(memory);
    result.reserve(parts.begin()->size() + (parts.end() - 1)->size());
    for (const std::string_view part : parts)
      result += part;
    return result;
  }

  std::array<std::pmr::string, 3> own_;
  TextPointers pointers_;
};

// The arguments of a program, its name before the others.
TextPointers argumentPointers(const Program &program, std::vector<std::string> &arguments,
                              std::pmr::memory_resource *memory) {
  TextPointers result(memory);
  result.reserve(arguments.size() + 2);
  result.push_back(const_cast<char *>(program.path.c_str()));  // the kernel copies it
  for (std::string &argument : arguments)
    result.push_back(argument.data());
  result.push_back(nullptr);
  return result;
}

bool isExecutable(const std::string &path) {
  struct stat file {};
  return access(path.c_str(), X_OK) == 0 && stat(path.c_str(), &file) == 0 && S_ISREG(file.st_mode);
}

// The file that a name without a "/" stands for: the first executable of that name in the folders of PATH that do not
// depend on where the daemon was started. Empty where there is none.
std::string lookUp(const std::string &name) {
  const char *searchPath = std::getenv("PATH");
  std::string_view rest = searchPath == nullptr ? "" : searchPath;
  if (name.empty()) return "";
  for (;;) {
    const size_t colon = rest.find(':');
    const std::string_view folder = rest.substr(0, colon);
    std::string candidate = std::string(folder) + "/" + name;
    if (folder.starts_with('/') && isExecutable(candidate)) return candidate;
    if (colon == std::string_view::npos) return "";
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

Status launchFailure(const Program &program, int error) {
  return Status::failure(error == EIO ? -EIO : error,
                         "cannot start " + program.path + ": " + std::strerror(error) + launchAdvice(error));
}

Status launch(const Program &program, RunningProgram &started) {
  std::vector<std::string> arguments;
  Status status = splitArguments(program.args, arguments);
  if (!status.ok()) return status;
  OutputPipe output;
  std::array<std::byte, START_MEMORY_BYTES> buffer;
  std::pmr::monotonic_buffer_resource memory(buffer.data(), buffer.size());
  const ProgramEnvironment environment(program.euName, &memory);
  const TextPointers pointers = argumentPointers(program, arguments, &memory);
  const std::string found = program.path.find('/') == std::string::npos ? lookUp(program.path) : program.path;
  if (found.empty()) return launchFailure(program, ENOENT);

  SpawnRequest request;
  request.file = found.c_str();
  request.arguments = pointers.data();
  request.environment = environment.get();
  request.outputDescriptor = output.writing.get();
  const int error = spawnProgram(request, started.pid);
  if (error != 0) return launchFailure(program, error);
  // The program runs: EUs that are still starting theirs come before what is left to be done for it.
  std::this_thread::yield();
  if (output.reading.get() >= 0) watchOutput(std::move(output.reading), started.pid, program.euId, program.euName);
  return Status::success();
}

int32_t waitForEnd(pid_t pid) {
  int waitStatus = 0;
  while (waitpid(pid, &waitStatus, 0) < 0 && errno == EINTR) {
  }
  return waitStatus;
}

// Starts a program and puts it on the list, as one step for the shutdown.
Status launchListed(const Program &program, RunningProgram &started) {
  beginProgramStart();
  bool ranOutOfMemory = false;
  Status status;
  try {
    started.euId = program.euId;
    started.euName = program.euName;
    status = launch(program, started);
    if (status.ok()) {
      endProgramStart(started);
      return status;
    }
  } catch (const std::bad_alloc &) {
    ranOutOfMemory = true;
  }
  // One that runs already and cannot be put on the list would outlive the shutdown.
  if (ranOutOfMemory && started.pid > 0) {
    kill(-started.pid, SIGKILL);
    waitForEnd(started.pid);
  }
  endProgramStart();
  return ranOutOfMemory ? launchFailure(program, ENOMEM) : status;
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
  if (programHasEnded(started.pid, [&] { onShutdown(ended); })) blockForEver();
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
