#include "ServiceManager.h"

#include <systemd/sd-daemon.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <system_error>

#include "Datagrams.h"
#include "ServiceThread.h"

namespace orv {
namespace {

// Never destroyed: the thread may still run while the process exits.
struct Feeder {
  std::mutex mutex;
  std::condition_variable stopping;
  bool stop = false;
  std::chrono::microseconds interval{0};
  std::optional<pthread_t> thread;
};

Feeder &feeder() {
  static auto *theFeeder = new Feeder;
  return *theFeeder;
}

void *feed(void *) {
  nameThisThread("orv-watchdog");
  Feeder &self = feeder();
  std::unique_lock lock(self.mutex);
  do {
    tellServiceManager("WATCHDOG=1");
  } while (!self.stopping.wait_for(lock, self.interval, [&] { return self.stop; }));
  return nullptr;
}

}  // namespace

void tellServiceManager(const std::string &notice) {
  // Never destroyed: EUs may still be at work while the process exits.
  static const auto *socket = [] {
    const char *name = std::getenv("NOTIFY_SOCKET");
    return new std::string(name == nullptr ? "" : name);
  }();
  // Result not examined: who does not listen has nothing to be told.
  if (!socket->empty()) static_cast<void>(sendToPath(*socket, notice));
}

Status startFeeding() {
  uint64_t intervalUs = 0;
  const int enabled = sd_watchdog_enabled(0, &intervalUs);
  if (enabled == 0) return Status::success();
  if (enabled < 0) {
    return Status::failure(-enabled, std::string("the service manager's watchdog is not fed: WATCHDOG_USEC or "
                                                 "WATCHDOG_PID cannot be understood: ") +
                                         std::generic_category().message(-enabled));
  }
  Feeder &self = feeder();
  const std::lock_guard lock(self.mutex);
  if (self.stop || self.thread) return Status::success();
  self.interval = std::chrono::microseconds(intervalUs / 2);
  pthread_t thread;
  if (const int error = startServiceThread(feed, nullptr, thread); error != 0) {
    return Status::failure(
        error, "the service manager's watchdog is not fed: no thread: " + std::generic_category().message(error));
  }
  self.thread = thread;
  return Status::success();
}

void stopFeeding() {
  Feeder &self = feeder();
  std::optional<pthread_t> thread;
  {
    const std::lock_guard lock(self.mutex);
    self.stop = true;
    thread.swap(self.thread);
  }
  self.stopping.notify_all();
  if (thread) pthread_join(*thread, nullptr);
}

}  // namespace orv
