#include "NodeWatch.h"

#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <thread>
#include <utility>

#include "NodePaths.h"

namespace orv {
namespace {

using std::chrono::milliseconds;

// While there is no store nobody tells of one that comes.
constexpr milliseconds ABSENT_LIMIT(100);

// What a burst of changes costs in looks at the store is bounded by this.
constexpr milliseconds GATHERING_TIME(20);

sigset_t watchedSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGWINCH, SIGTSTP})
    sigaddset(&signals, number);
  return signals;
}

int signalDescriptor() {
  const sigset_t signals = watchedSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

bool identify(const std::string &path, uint64_t &number, uint64_t &device) {
  struct stat found = {};
  if (stat(path.c_str(), &found) != 0) return false;
  number = found.st_ino;
  device = found.st_dev;
  return true;
}

void readAway(int descriptor) {
  alignas(inotify_event) char events[4096];
  while (read(descriptor, events, sizeof events) > 0) {
  }
}

}  // namespace

NodeWatch::NodeWatch(std::string nodeDirectory)
    : directory_(std::move(nodeDirectory)),
      file_(directory_ + "/node.mdb"),
      signals_(signalDescriptor()),
      changes_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

NodeWatch::~NodeWatch() = default;

bool NodeWatch::isReplaced() const {
  uint64_t number = 0;
  uint64_t device = 0;
  if (!store_ || !identify(file_, number, device)) return false;
  return number != fileNumber_ || device != fileDevice_;
}

void NodeWatch::watchDirectory() {
  // The directory that was watched may be another by now; a watch of what is gone ends by itself.
  inotify_add_watch(changes_.get(), directory_.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO | IN_DELETE);
}

Status NodeWatch::changeOver() {
  if (store_ && !isReplaced()) return Status::success();
  uint64_t number = 0;
  uint64_t device = 0;
  Status status = checkPrivateDirectory(directory_);
  if (status.ok() && !identify(file_, number, device)) {
    status = Status::failure(ENOENT, "no node was started in " + directory_);
  }
  if (!status.ok()) return status;
  watchDirectory();
  // Both may have the same lock file, of which a process may have one open only.
  store_.reset();
  status = NodeStore::open(directory_, NodeStore::Access::EXAMINED, store_);
  if (!status.ok()) return status;
  // Taken before the opening: where yet another file has come meanwhile, that is found out at the next look.
  fileNumber_ = number;
  fileDevice_ = device;
  return status;
}

NodeWatch::Woken NodeWatch::takeSignal() {
  signalfd_siginfo info = {};
  if (read(signals_.get(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return Woken::CHANGED;
  if (info.ssi_signo == SIGWINCH) return Woken::RESIZED;
  return info.ssi_signo == SIGTSTP ? Woken::SUSPEND : Woken::END;
}

NodeWatch::Woken NodeWatch::wait(milliseconds limit) {
  uint64_t number = 0;
  uint64_t device = 0;
  if (!store_ || !identify(file_, number, device)) limit = std::min(limit, ABSENT_LIMIT);
  // Standard output is asked for nothing; that its reader has gone is always told.
  pollfd waited[] = {{signals_.get(), POLLIN, 0},
                     {changes_.get(), POLLIN, 0},
                     {STDOUT_FILENO, 0, 0},
                     {watchesInput_ ? STDIN_FILENO : -1, POLLIN, 0}};
  const int count = poll(waited, std::size(waited), static_cast<int>(limit.count()));
  if (count <= 0) return Woken::TIME;
  if (waited[0].revents != 0) return takeSignal();
  if ((waited[2].revents & POLLERR) != 0) return Woken::READER_GONE;
  if (waited[3].revents != 0) return Woken::KEY;
  std::this_thread::sleep_for(GATHERING_TIME);
  readAway(changes_.get());
  return Woken::CHANGED;
}

}  // namespace orv
