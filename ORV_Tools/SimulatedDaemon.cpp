#include "SimulatedDaemon.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Words.h"

#ifndef ORV_LIBRARY_DIR
#error "ORV_LIBRARY_DIR is the folder of the libraries in the installation, seen from the one above the programs'"
#endif

namespace orv::rehearsal {
namespace {

constexpr const char *EXECUTABLE_NAME = "ORVDaemonExe";
constexpr const char *LIBRARY_NAMES[] = {"libORV.so", "libTARNDDAL.so"};
constexpr int CANNOT_EXECUTE = 127;

// A file in memory, which leaves nothing behind however this process ends. The simulation knows it by a name that is
// good in any process that has it open under the same number.
class MemoryFile {
 public:
  explicit MemoryFile(const char *name) : descriptor_(memfd_create(name, MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "no memory for a file");
  }
  ~MemoryFile() {
    close(descriptor_);
  }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  int descriptor() const {
    return descriptor_;
  }
  std::string path() const {
    return "/proc/self/fd/" + std::to_string(descriptor_);
  }

  void write(const std::string &text) const {
    for (size_t written = 0; written < text.size();) {
      const ssize_t count = ::write(descriptor_, text.data() + written, text.size() - written);
      if (count < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "no memory for a file");
      written += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
  }

  std::string read() const {
    constexpr size_t CHUNK = size_t{1} << 20;
    std::string text;
    for (;;) {
      const size_t length = text.size();
      text.resize(length + CHUNK);
      const ssize_t count = pread(descriptor_, text.data() + length, CHUNK, static_cast<off_t>(length));
      text.resize(length + static_cast<size_t>(std::max<ssize_t>(count, 0)));
      if (count == 0 || (count < 0 && errno != EINTR)) return text;
    }
  }

 private:
  int descriptor_;
};

std::filesystem::path ownFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

Status findExecutable(const std::string &given, std::string &executable) {
  executable = given;
  if (given.empty()) {
    const std::filesystem::path beside = ownFolder() / EXECUTABLE_NAME;
    const std::filesystem::path installed = ownFolder() / ".." / "bin" / EXECUTABLE_NAME;
    executable = access(beside.c_str(), X_OK) == 0 ? beside : installed;
  }
  std::error_code ignored;
  if (std::filesystem::is_directory(executable, ignored)) {
    return Status::failure(EISDIR, executable + " is a directory (name the daemon's executable with --daemon)");
  }
  if (access(executable.c_str(), X_OK) == 0) return Status::success();
  return Status::failure(errno, "cannot run the daemon " + executable + ": " + std::generic_category().message(errno) +
                                    " (name its executable with --daemon)");
}

bool hasLibraries(const std::filesystem::path &folder) {
  return std::all_of(std::begin(LIBRARY_NAMES), std::end(LIBRARY_NAMES),
                     [&](const char *name) { return access((folder / name).c_str(), R_OK) == 0; });
}

// Nothing is run without them: the executable would find the real ones.
Status findLibraries(std::string &folder) {
  const std::filesystem::path above = ownFolder().parent_path();
  const std::filesystem::path candidates[] = {above / "lib" / "simulated",
                                              above / ORV_LIBRARY_DIR / "orv" / "simulated"};
  const auto *const found = std::find_if(std::begin(candidates), std::end(candidates), hasLibraries);
  if (found == std::end(candidates)) {
    return Status::failure(ENOENT, "there is no simulated platform in " + candidates[0].string() +
                                       " (it is built and installed together with orvctl)");
  }
  folder = *found;
  return Status::success();
}

// The environment is the rehearsal's alone: what the caller has in its own does not change what happens. The node's
// places are where no node can be: should an executable take other libraries than those that it is told to, they have
// nowhere to start one.
std::vector<std::string> environmentOf(const SimulatedDaemon &daemon, const std::string &libraries,
                                       const std::string &scenario, const std::string &trace) {
  const char *const given = std::getenv("LD_LIBRARY_PATH");
  std::vector<std::string> environment = {
      "LD_LIBRARY_PATH=" + libraries + (given == nullptr || *given == '\0' ? "" : std::string(":") + given),
      "ORV_SIM_SCENARIO=" + scenario,
      "ORV_SIM_TRACE=" + trace,
      "ORV_SIM_QUIET=1",
      "ORV_NODE_DIR=/dev/null",
      "ORV_STATE_DIR=/dev/null",
      "ORV_CONFIG=/dev/null"};
  if (daemon.seed) environment.push_back("ORV_SIM_SEED=" + std::to_string(*daemon.seed));
  return environment;
}

std::vector<char *> pointersTo(std::vector<std::string> &texts) {
  std::vector<char *> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string &text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// In the child. Only calls that are safe there.
[[noreturn]] void execute(const char *executable, char **arguments, char **environment, int scenario, int trace,
                          int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  fcntl(scenario, F_SETFD, 0);
  fcntl(trace, F_SETFD, 0);
  signal(SIGPIPE, SIG_DFL);
  execve(executable, arguments, environment);
  _exit(CANNOT_EXECUTE);
}

// What the process itself said, or else how it ended.
std::string lastWords(const std::string &output, int waitStatus) {
  const std::string line = output.substr(0, output.find('\n'));
  return line.empty() ? endText(waitStatus) : line;
}

}  // namespace

Status runSimulated(const SimulatedDaemon &daemon, std::string &trace) {
  std::string executable;
  std::string libraries;
  if (Status found = findExecutable(daemon.executable, executable); !found.ok()) return found;
  if (Status found = findLibraries(libraries); !found.ok()) return found;

  const MemoryFile scenarioFile("orv-scenario");
  const MemoryFile traceFile("orv-trace");
  const MemoryFile outputFile("orv-output");
  scenarioFile.write(daemon.scenarioText);
  std::vector<std::string> arguments = {EXECUTABLE_NAME};
  arguments.insert(arguments.end(), daemon.arguments.begin(), daemon.arguments.end());
  std::vector<std::string> environment = environmentOf(
      daemon, libraries, daemon.scenarioFile.empty() ? scenarioFile.path() : daemon.scenarioFile, traceFile.path());
  const std::vector<char *> argumentPointers = pointersTo(arguments);
  const std::vector<char *> environmentPointers = pointersTo(environment);

  const pid_t child = fork();
  if (child < 0) return Status::failure(errno, "cannot start a process: " + std::generic_category().message(errno));
  if (child == 0) {
    execute(executable.c_str(), const_cast<char **>(argumentPointers.data()),
            const_cast<char **>(environmentPointers.data()), scenarioFile.descriptor(), traceFile.descriptor(),
            outputFile.descriptor());
  }
  int waitStatus = 0;
  while (waitpid(child, &waitStatus, 0) < 0 && errno == EINTR) {
  }
  trace = traceFile.read();
  if (!trace.empty()) return Status::success();
  return Status::failure(ECHILD,
                         "the daemon " + executable + " left no trace: " + lastWords(outputFile.read(), waitStatus));
}

}  // namespace orv::rehearsal
