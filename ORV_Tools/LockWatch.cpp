#include "LockWatch.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "Commands.h"
#include "ProcessTree.h"

namespace orv {
namespace {

namespace fs = std::filesystem;

// A change takes some 10 microseconds, and the wait for others that much again for each of them.
constexpr std::chrono::seconds PATIENCE(3);

// Null for a state in which a process goes on by itself.
const char *stateWords(char state) {
  switch (state) {
    case 'T':
      return "is stopped";
    case 't':
      return "is held by a debugger";
    case 'D':
      return "waits inside the kernel";
    default:
      return nullptr;
  }
}

std::optional<uint32_t> pidOf(const fs::path &entry) {
  const std::string name = entry.filename();
  uint32_t pid = 0;
  const auto [last, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
  return error == std::errc() && last == name.data() + name.size() ? std::optional(pid) : std::nullopt;
}

// False as well for a process that the caller may not look at.
bool hasOpen(const fs::path &process, const fs::path &file) {
  std::error_code failed;
  for (fs::directory_iterator entry(process / "fd", failed), end; !failed && entry != end; entry.increment(failed)) {
    std::error_code gone;
    if (fs::read_symlink(entry->path(), gone) == file) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> stoppedUsers(const std::string &nodeDirectory) {
  std::vector<std::string> found;
  std::error_code failed;
  const fs::path file = fs::canonical(nodeDirectory, failed) / "node.mdb";
  for (fs::directory_iterator entry("/proc", failed), end; !failed && entry != end; entry.increment(failed)) {
    const std::optional<uint32_t> pid = pidOf(entry->path());
    if (!pid) continue;
    const std::optional<ProcessStat> stat = processStat(*pid);
    const char *words = stat ? stateWords(stat->state) : nullptr;
    if (words == nullptr || !hasOpen(entry->path(), file)) continue;
    found.push_back("pid " + std::to_string(*pid) + " (" + identify(*pid).executable + ") " + words);
  }
  return found;
}

LockWatch::LockWatch(std::string nodeDirectory)
    : nodeDirectory_(std::move(nodeDirectory)), thread_([this] { watch(); }) {}

LockWatch::~LockWatch() {
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void LockWatch::watch() {
  std::unique_lock lock(mutex_);
  if (changed_.wait_for(lock, PATIENCE, [this] { return done_; })) return;
  std::string who;
  for (const std::string &process : stoppedUsers(nodeDirectory_))
    who += (who.empty() ? "" : ", ") + process;
  complain("still waiting for another process that changes the node store: " +
           (who.empty() ? "none that can be seen here is stopped (look as root)"
                        : who + " (let it go on, kill -CONT, or end it)"));
}

}  // namespace orv
