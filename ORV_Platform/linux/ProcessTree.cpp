#include "ProcessTree.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "Clock.h"
#include "Descriptor.h"

namespace orv {
namespace {

// More than any process tree is deep; processes that come and go while they are looked at could make a circle of it.
constexpr int MAX_DEPTH = 64;

std::string procPath(uint32_t pid, const char *name) {
  return "/proc/" + std::to_string(pid) + "/" + name;
}

// An environment may have 2 MiB and more; what the daemon puts in is well within this.
constexpr size_t MAX_FILE_BYTES = 256UL * 1024;

// The field behind the next blanks; empty at the end.
std::string_view takeField(std::string_view &text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const std::string_view field = text.substr(0, text.find_first_of(" \t\n"));
  text.remove_prefix(field.size());
  return field;
}

template <typename Number>
bool takeNumber(std::string_view &text, Number &number) {
  const std::string_view field = takeField(text);
  const char *end = field.data() + field.size();
  const auto [last, error] = std::from_chars(field.data(), end, number);
  return error == std::errc() && last == end;
}

// "Uid: real effective saved file" in /proc/PID/status.
uint32_t effectiveUid(uint32_t pid) {
  constexpr std::string_view LABEL = "\nUid:";
  const std::string status = readProcFile(pid, "status").value_or("");
  const size_t found = status.find(LABEL);
  if (found == std::string::npos) return 0;
  std::string_view rest = std::string_view(status).substr(found + LABEL.size());
  uint32_t real = 0;
  uint32_t effective = 0;
  takeNumber(rest, real);
  takeNumber(rest, effective);
  return effective;
}

std::string executableOf(uint32_t pid, const std::string &kernelName) {
  char path[PATH_MAX];
  const ssize_t length = readlink(procPath(pid, "exe").c_str(), path, sizeof path);
  if (length <= 0) return kernelName.empty() ? "" : "[" + kernelName + "]";
  return std::string(path, std::min(static_cast<size_t>(length), MAX_SETTER_TEXT_LENGTH));
}

// The value of a variable in a block of NAME=VALUE texts with a NUL behind each.
std::string variableIn(const std::string &block, std::string_view name) {
  for (size_t begin = 0; begin < block.size();) {
    const size_t end = std::min(block.find('\0', begin), block.size());
    const std::string_view variable = std::string_view(block).substr(begin, end - begin);
    if (variable.size() > name.size() && variable.starts_with(name) && variable[name.size()] == '=') {
      return std::string(variable.substr(name.size() + 1));
    }
    begin = end + 1;
  }
  return "";
}

// What the daemon told the process when it started it, or one that it descends from.
struct Inherited {
  std::string nodeDirectory;
  std::string euName;
};

Inherited inheritedBy(uint32_t pid) {
  const std::string block = readProcFile(pid, "environ").value_or("");
  return {variableIn(block, "ORV_NODE_DIR"), variableIn(block, "ORV_EU_NAME")};
}

bool isSameDirectory(const std::string &one, const std::string &other) {
  std::error_code failed;  // of one that is not there
  return !one.empty() && (one == other || std::filesystem::equivalent(one, other, failed));
}

EuOfProcess asAnswer(const EuRecord &eu) {
  return {eu.name, eu.id};
}

// The last EU with such a program: the numbers of processes are used again.
template <typename Fits>
std::optional<EuOfProcess> lastEu(const EuProcesses &node, Fits fits) {
  const auto found = std::find_if(node.eus.rbegin(), node.eus.rend(), fits);
  return found == node.eus.rend() ? std::nullopt : std::optional(asAnswer(*found));
}

std::optional<EuOfProcess> euByProgram(uint32_t pid, const EuProcesses &node) {
  return lastEu(node, [pid](const EuRecord &eu) { return eu.pid == pid && eu.state == EuState::RUNNING; });
}

std::optional<EuOfProcess> euByName(const std::string &name, const EuProcesses &node) {
  if (name.empty()) return std::nullopt;
  return lastEu(node, [&name](const EuRecord &eu) { return eu.name == name; });
}

std::optional<EuOfProcess> euByGroup(uint32_t group, const EuProcesses &node) {
  // A leader that is there while the EU's program is not is another process with its number.
  const bool leaderLives = processStat(group).has_value();
  return lastEu(node, [&](const EuRecord &eu) {
    return group != 0 && eu.pid == group && (!leaderLives || eu.state == EuState::RUNNING);
  });
}

// A child of the daemon, whose record may not be written yet.
std::optional<EuOfProcess> euOfDaemonsChild(uint32_t pid, const EuProcesses &node) {
  const Inherited told = inheritedBy(pid);
  if (told.euName.empty() || !isSameDirectory(told.nodeDirectory, node.nodeDirectory)) return std::nullopt;
  std::optional<EuOfProcess> known = euByName(told.euName, node);
  return known ? known : EuOfProcess{told.euName, 0};
}

std::optional<EuOfProcess> euByAncestors(uint32_t pid, const EuProcesses &node) {
  for (int depth = 0; depth < MAX_DEPTH && pid != 0 && pid != node.daemonPid; ++depth) {
    if (std::optional<EuOfProcess> eu = euByProgram(pid, node)) return eu;
    const std::optional<ProcessStat> stat = processStat(pid);
    if (!stat) return std::nullopt;
    if (node.daemonPid != 0 && stat->parentPid == node.daemonPid) return euOfDaemonsChild(pid, node);
    pid = stat->parentPid;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> readProcFile(uint32_t pid, const char *name) {
  const Descriptor file(open(procPath(pid, name).c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return std::nullopt;
  std::string text;
  char piece[4096];
  while (text.size() < MAX_FILE_BYTES) {
    const ssize_t got = read(file.get(), piece, sizeof piece);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    text.append(piece, static_cast<size_t>(got));
  }
  return text;
}

std::optional<ProcessStat> processStat(uint32_t pid) {
  const std::optional<std::string> text = readProcFile(pid, "stat");
  if (!text) return std::nullopt;
  // "pid (name) state ppid pgrp ...", where the name may itself have blanks and parentheses.
  const size_t nameBegin = text->find('(');
  const size_t nameEnd = text->rfind(')');
  if (nameBegin == std::string::npos || nameEnd == std::string::npos) return std::nullopt;
  ProcessStat stat;
  stat.name = text->substr(nameBegin + 1, nameEnd - nameBegin - 1);
  std::string_view rest = std::string_view(*text).substr(nameEnd + 1);
  const std::string_view state = takeField(rest);
  if (state.size() != 1 || !takeNumber(rest, stat.parentPid) || !takeNumber(rest, stat.group)) return std::nullopt;
  stat.state = state.front();
  const auto skip = [&rest](int fields) {
    for (; fields > 0; --fields)
      takeField(rest);
  };
  uint64_t userTicks = 0;
  uint64_t systemTicks = 0;
  skip(8);  // the sixth to the 13th
  if (!takeNumber(rest, userTicks) || !takeNumber(rest, systemTicks)) return std::nullopt;
  stat.processorTicks = userTicks + systemTicks;
  skip(6);  // the 16th to the 21st
  return takeNumber(rest, stat.startTicks) ? std::optional(stat) : std::nullopt;
}

uint64_t startedMonotonicNs(uint64_t startTicks) {
  const uint64_t monotonic = monotonicNs();
  const uint64_t suspended = boottimeNs() - monotonic;
  const uint64_t started = startTicks * (NS_PER_S / static_cast<uint64_t>(sysconf(_SC_CLK_TCK)));
  return started > suspended ? started - suspended : 0;
}

Setter identify(uint32_t pid) {
  Setter setter;
  setter.pid = pid;
  const ProcessStat stat = processStat(pid).value_or(ProcessStat{});
  setter.startTicks = stat.startTicks;
  setter.uid = effectiveUid(pid);
  setter.executable = executableOf(pid, stat.name);
  return setter;
}

std::optional<EuOfProcess> euOfProcess(uint32_t pid, const EuProcesses &node) {
  if (pid == 0 || pid == node.daemonPid) return std::nullopt;
  if (std::optional<EuOfProcess> eu = euByAncestors(pid, node)) return eu;
  const std::optional<ProcessStat> stat = processStat(pid);
  if (!stat) return std::nullopt;
  if (std::optional<EuOfProcess> eu = euByGroup(stat->group, node)) return eu;
  const Inherited told = inheritedBy(pid);
  if (!isSameDirectory(told.nodeDirectory, node.nodeDirectory)) return std::nullopt;
  return euByName(told.euName, node);
}

}  // namespace orv
