#include "ProcessDetails.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <sstream>
#include <utility>

#include "Clock.h"
#include "ListeningSockets.h"
#include "NodeStore.h"
#include "ProcessTree.h"

namespace orv {
namespace {

constexpr uint64_t MS_PER_S = 1000;

// More than any process tree is deep or wide that somebody wants to read of.
constexpr int MAX_DEPTH = 8;

std::string waitChannelOf(uint32_t pid) {
  std::string name = readProcFile(pid, "wchan").value_or("");
  return name == "0" ? "" : name;
}

// "[<0>] do_wait+0x1a/0x40" becomes "do_wait".
std::vector<std::string> stackOf(uint32_t pid) {
  std::vector<std::string> functions;
  std::istringstream lines(readProcFile(pid, "stack").value_or(""));
  for (std::string line; std::getline(lines, line);) {
    const size_t begin = line.find("] ");
    if (begin == std::string::npos) continue;
    std::string function = line.substr(begin + 2, line.find('+') - begin - 2);
    // From here on it is the way into the kernel, the same for everybody.
    if (function.starts_with("do_syscall") || function.starts_with("entry_") || function.starts_with("el0")) break;
    functions.push_back(std::move(function));
  }
  return functions;
}

using Parents = std::vector<std::pair<uint32_t, uint32_t>>;  // parent and child, of all processes

Parents allParents() {
  Parents parents;
  const std::unique_ptr<DIR, int (*)(DIR *)> processes(opendir("/proc"), closedir);
  if (!processes) return parents;
  while (const dirent *entry = readdir(processes.get())) {
    const std::string_view name = entry->d_name;
    uint32_t pid = 0;
    const auto [last, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (error != std::errc() || last != name.data() + name.size()) continue;
    if (const std::optional<ProcessStat> stat = processStat(pid)) parents.emplace_back(stat->parentPid, pid);
  }
  return parents;
}

std::optional<ProcessDetails> detailsOf(uint32_t pid, const Parents &parents, int depth) {
  const std::optional<ProcessStat> stat = processStat(pid);
  if (!stat) return std::nullopt;
  ProcessDetails details;
  details.pid = pid;
  details.name = stat->name;
  details.state = stat->state;
  const uint64_t now = monotonicNs();
  const uint64_t startedNs = startedMonotonicNs(stat->startTicks);
  details.ageMs = now > startedNs ? (now - startedNs) / NS_PER_MS : 0;
  details.processorMs = stat->processorTicks * MS_PER_S / static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
  details.waitChannel = waitChannelOf(pid);
  details.stack = stackOf(pid);
  details.listens = listeningSockets(pid);
  if (depth == MAX_DEPTH) return details;
  for (const auto &[parent, child] : parents) {
    if (parent != pid) continue;
    if (std::optional<ProcessDetails> found = detailsOf(child, parents, depth + 1)) {
      details.children.push_back(std::move(*found));
    }
  }
  return details;
}

struct ChannelWords {
  std::string_view part;  // of the function's name, which differs a little from kernel to kernel
  const char *text;
};

constexpr ChannelWords CHANNEL_WORDS[] = {
    {"nanosleep", "sleeps for a time"},
    {"do_wait", "waits for a child process"},
    {"futex", "waits for a lock or another thread"},
    {"epoll", "waits for descriptors"},
    {"ep_poll", "waits for descriptors"},
    {"poll", "waits for descriptors"},
    {"do_select", "waits for descriptors"},
    {"pipe", "waits at a pipe"},
    {"accept", "waits for a connection"},
    {"connect", "connects to somebody who does not answer"},
    {"unix_stream", "waits at a local socket"},
    {"skb_wait", "waits for a message at a socket"},
    {"sk_wait", "waits for a peer at a socket"},
    {"wait_for_more_packets", "waits for a message at a socket"},
    {"pause", "waits for a signal"},
    {"sigsuspend", "waits for a signal"},
    {"sigtimedwait", "waits for a signal"},
    {"tty_read", "waits for a key at a terminal"},
    {"lock", "waits for a file lock"},
    {"nfs", "waits for a file server"},
    {"rpc_wait", "waits for a file server"},
    {"io_schedule", "waits for a disk"},
};

}  // namespace

std::optional<ProcessDetails> processDetails(uint32_t pid) {
  if (pid == 0) return std::nullopt;
  return detailsOf(pid, allParents(), 0);
}

std::string waitChannelText(std::string_view waitChannel) {
  const auto *found = std::find_if(std::begin(CHANNEL_WORDS), std::end(CHANNEL_WORDS), [&](const ChannelWords &words) {
    return waitChannel.find(words.part) != std::string_view::npos;
  });
  return found == std::end(CHANNEL_WORDS) ? "" : found->text;
}

std::string processStateText(const ProcessDetails &process) {
  const std::string meaning = waitChannelText(process.waitChannel);
  const std::string where =
      process.waitChannel.empty() ? "" : " in " + process.waitChannel + (meaning.empty() ? "" : " (" + meaning + ")");
  switch (process.state) {
    case 'R':
      return "running";
    case 'S':
    case 'I':
      return "sleeping" + where;
    case 'D':
      return "waiting inside the kernel" + where;
    case 'T':
      return "stopped by a signal";
    case 't':
      return "stopped by a debugger";
    case 'Z':
    case 'X':
      return "ended, and nobody has asked how (a zombie)";
    default:
      return std::string("in state ") + process.state;
  }
}

}  // namespace orv
