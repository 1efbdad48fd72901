#include "GuideRunner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "ProcessTable.h"

namespace {

using Lines = std::vector<std::string>;
namespace fs = std::filesystem;

// A shell that takes commands from a pipe, each ended by a NUL, and marks the end of each one's output. It stands in a
// session of its own, to whose programs Ctrl-C goes; the shell itself has a use for it only as any interactive one has.
constexpr const char *SHELL = R"(
exec 3<>"$1" 2>&1
trap : INT
status=0
while IFS= read -r -d '' command <&3; do
  (exit $status)
  eval "$command" </dev/null 3<&-
  status=$?
  printf '\n@end %s\n' "$status"
done
)";
constexpr std::chrono::seconds OUTPUT_LIMIT{60};  // a machine that stands still for a while is no failure
constexpr const char *MARK = "@end ";

std::string shownText(const Lines &lines) {
  std::string text;
  for (const std::string &line : lines)
    text += "    " + line + "\n";
  return text.empty() ? "    (nothing)\n" : text;
}

bool isTyped(const GuideStep &step) {
  return step.kind == GuideStep::Kind::COMMAND || step.kind == GuideStep::Kind::INTERRUPT ||
         step.kind == GuideStep::Kind::MORE_OUTPUT;
}

void linkAll(const fs::path &from, const fs::path &to) {
  for (const auto &entry : fs::directory_iterator(from)) {
    if (entry.path().extension() == ".h") fs::create_symlink(entry.path(), to / entry.path().filename());
  }
}

// The installation as it would be, of links into the build.
void makeInstallation(const fs::path &root) {
  const fs::path build = fs::path(ORV_BIN_DIR).parent_path();
  fs::create_directories(root / "include/orv");
  for (const char *name : {"bin", "lib", "share"})
    fs::create_symlink(build / name, root / name);
  linkAll(fs::path(ORV_SOURCE_DIR) / "ORV_Daemon/platform", root / "include/orv");
  fs::create_symlink(fs::path(ORV_SOURCE_DIR) / "ORV_Platform/linux/SysComReceive.h",
                     root / "include/orv/SysComReceive.h");
}

}  // namespace

struct GuideRunner::Terminal {
  explicit Terminal(const std::string &directory, unsigned number)
      : pipeName(directory + "/.terminal-" + std::to_string(number)) {
    if (mkfifo(pipeName.c_str(), 0600) != 0) throw std::runtime_error("cannot make " + pipeName);
    const char *const path = std::getenv("PATH");
    const std::string bin = directory + "/orv/bin";
    ProcessStart start;
    start.arguments = {"/usr/bin/setsid", "/bin/bash", "--norc", "-c", SHELL, "bash", pipeName};
    start.directory = directory;
    start.environment = {"HOME=" + directory,
                         "TZ=UTC",
                         "LC_ALL=C.UTF-8",
                         "TERM=dumb",
                         "ORV_NODE_DIR=" + directory + "/node",
                         "ORV_STATE_DIR=" + directory + "/state",
                         "ORV_SOURCE_DIR=" ORV_SOURCE_DIR,
                         "PATH=" + bin + ":" + (path == nullptr ? "/usr/bin:/bin" : path)};
    shell = std::make_unique<DaemonProcess>(start);
    pipe = open(pipeName.c_str(), O_RDWR | O_CLOEXEC);
    if (pipe < 0) throw std::runtime_error("cannot open " + pipeName);
  }
  ~Terminal() {
    close(pipe);
  }
  Terminal(const Terminal &) = delete;
  Terminal &operator=(const Terminal &) = delete;

  void type(const std::string &command) const {
    if (write(pipe, command.c_str(), command.size() + 1) != static_cast<ssize_t>(command.size() + 1))
      throw std::runtime_error("cannot write to " + pipeName);
  }
  // What has been printed since the last command ended.
  Lines sinceLast() const {
    const Lines all = shell->outputLines();
    return {all.begin() + static_cast<std::ptrdiff_t>(taken), all.end()};
  }
  // Waits for the end of the command, and returns its output and its exit status.
  Lines waitForEnd(std::string &status) {
    const std::string mark = shell->waitForOutputLineWith(MARK, ++commands);
    Lines lines = sinceLast();
    const auto end = std::find(lines.begin(), lines.end(), mark);
    taken += static_cast<size_t>(end - lines.begin()) + 1;
    lines.erase(end, lines.end());
    if (!lines.empty() && lines.back().empty()) lines.pop_back();  // the one before the mark
    status = mark.substr(std::string(MARK).size());
    return lines;
  }

  std::string pipeName;
  std::unique_ptr<DaemonProcess> shell;
  int pipe = -1;
  size_t taken = 0;       // lines of its output
  unsigned commands = 0;  // that have ended
};

GuideRunner::GuideRunner() {
  adoptOrphans();
  makeInstallation(fs::path(directory_.path()) / "orv");
}

GuideRunner::~GuideRunner() {
  killDescendants();
}

GuideRunner::Terminal &GuideRunner::terminal(unsigned number) {
  std::unique_ptr<Terminal> &found = terminals_[number];
  if (!found) found = std::make_unique<Terminal>(directory_.path(), number);
  return *found;
}

std::vector<std::string> GuideRunner::run(const std::vector<GuideStep> &steps) {
  // What comes behind a step that went wrong rests on it.
  for (size_t i = 0; i < steps.size() && problems_.empty(); ++i) {
    const auto next =
        std::find_if(steps.begin() + static_cast<std::ptrdiff_t>(i) + 1, steps.end(),
                     [&](const GuideStep &each) { return isTyped(each) && each.terminal == steps[i].terminal; });
    try {
      take(steps[i], next != steps.end() && next->kind != GuideStep::Kind::COMMAND);
    } catch (const std::exception &error) {
      report(steps[i], error.what());
    }
  }
  return problems_;
}

void GuideRunner::take(const GuideStep &step, bool runsOn) {
  std::string status;
  switch (step.kind) {
    case GuideStep::Kind::WRITTEN_FILE:
      return writeFile(step);
    case GuideStep::Kind::HIDDEN:
      return takeHidden(step);
    case GuideStep::Kind::ELSEWHERE:
      if (access((std::string(ORV_SOURCE_DIR "/") + step.source).c_str(), R_OK) != 0)
        report(step, "there is no script " + step.source);
      return;
    case GuideStep::Kind::MORE_OUTPUT:
      return runsOn ? waitForOutput(step) : compare(step, terminal(step.terminal).waitForEnd(status));
    case GuideStep::Kind::COMMAND:
      return takeCommand(step, runsOn);
    case GuideStep::Kind::INTERRUPT:
      kill(-terminal(step.terminal).shell->pid(), SIGINT);
      return compare(step, terminal(step.terminal).waitForEnd(status));
  }
}

void GuideRunner::takeCommand(const GuideStep &step, bool runsOn) {
  Terminal &where = terminal(step.terminal);
  std::string status;
  where.type(step.text);
  if (!runsOn) return compare(step, where.waitForEnd(status));
  waitForOutput(step);
}

void GuideRunner::waitForOutput(const GuideStep &step) {
  Terminal &where = terminal(step.terminal);
  const auto deadline = std::chrono::steady_clock::now() + OUTPUT_LIMIT;
  std::optional<size_t> matched;
  while (!(matched = beginsAsShown(step.output, where.sinceLast(), directory()))) {
    if (std::chrono::steady_clock::now() > deadline) return compare(step, where.sinceLast());
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  where.taken += *matched;
}

void GuideRunner::takeHidden(const GuideStep &step) {
  std::string status;
  terminal(0).type(step.text);
  const Lines lines = terminal(0).waitForEnd(status);
  if (status != "0") report(step, step.text + ": exit status " + status + "\n" + shownText(lines));
}

void GuideRunner::writeFile(const GuideStep &step) {
  const fs::path file = fs::path(directory()) / step.name;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << step.text;
  if (step.text.starts_with("#!")) fs::permissions(file, fs::perms(0755));
  if (step.source.empty()) return;
  std::ostringstream source;
  source << std::ifstream(fs::path(ORV_SOURCE_DIR) / step.source, std::ios::binary).rdbuf();
  if (source.str() != step.text) report(step, step.name + " is not what stands in " + step.source);
}

void GuideRunner::compare(const GuideStep &step, const Lines &lines) {
  if (matchesShown(step.output, lines, directory())) return;
  report(step,
         "$ " + step.text + "\n  is shown to print\n" + shownText(step.output) + "  and prints\n" + shownText(lines));
}

void GuideRunner::report(const GuideStep &step, const std::string &what) {
  problems_.push_back("line " + std::to_string(step.lineNumber) + ": " + what);
}
