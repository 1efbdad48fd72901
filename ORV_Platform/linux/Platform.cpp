#include "Platform.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "NodePaths.h"
#include "SystemLog.h"

namespace orv {
namespace {

// Never destroyed: EUs may still use it while the process exits.
struct PlatformState {
  std::atomic<NodeStore *> store{nullptr};
  std::atomic<bool> runsNode{false};
  std::mutex mutex;       // of everything below, and of opening the store
  bool detached = false;  // another process runs the node: this one keeps off it
  bool failureReported = false;
};

PlatformState &platformState() {
  static auto *state = new PlatformState;
  return *state;
}

// The lock of the node directory. The descriptor is kept for as long as the process lives, and with it the lock.
Status lockNode(const std::string &directory) {
  const std::string path = directory + "/daemon.lock";
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0640);
  if (descriptor < 0) {
    const int error = errno;
    return Status::failure(error, "cannot open " + path + ": " + std::strerror(error));
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return Status::success();
  const int error = errno;
  close(descriptor);
  if (error != EWOULDBLOCK) return Status::failure(error, "cannot lock " + path + ": " + std::strerror(error));
  return Status::failure(EBUSY, "another daemon runs the node in " + directory +
                                    " (end it first, or give this node a directory of its own with ORV_NODE_DIR)");
}

Status openClaimedStore(const std::string &directory, std::unique_ptr<NodeStore> &store, std::string &setAside) {
  Status status = ensurePrivateDirectory(directory);
  if (status.ok()) status = lockNode(directory);
  if (status.ok()) status = NodeStore::open(directory, NodeStore::Access::CREATE, store, &setAside);
  return status;
}

}  // namespace

NodeStore *openNodeStore() {
  return platformState().store.load(std::memory_order_acquire);
}

NodeStore *nodeStore() {
  PlatformState &state = platformState();
  if (NodeStore *store = openNodeStore()) return store;
  std::string failure;
  {
    const std::lock_guard lock(state.mutex);
    if (state.detached) return nullptr;
    if (NodeStore *store = openNodeStore()) return store;
    std::unique_ptr<NodeStore> store;
    Status status = checkPrivateDirectory(nodeDirectory());
    if (status.ok()) status = NodeStore::open(nodeDirectory(), NodeStore::Access::EXISTING, store);
    if (status.ok()) {
      state.store.store(store.release(), std::memory_order_release);
      return openNodeStore();
    }
    if (state.failureReported) return nullptr;
    state.failureReported = true;
    failure = status.message;
  }
  platformComplain(SEVERITY_ERROR, failure);
  return nullptr;
}

Status claimNode() {
  PlatformState &state = platformState();
  std::string setAside;
  {
    const std::lock_guard lock(state.mutex);
    if (openNodeStore() != nullptr) return Status::failure(EALREADY, "the node's early start-up has been made already");
    std::unique_ptr<NodeStore> store;
    Status status = openClaimedStore(nodeDirectory(), store, setAside);
    if (!status.ok()) {
      state.detached = true;
      return status;
    }
    state.store.store(store.release(), std::memory_order_release);
    state.runsNode = true;
  }
  if (!setAside.empty()) platformComplain(SEVERITY_WARNING, setAside);
  return Status::success();
}

bool runsNode() {
  return platformState().runsNode;
}

Status requireNode() {
  if (nodeStore() != nullptr) return Status::success();
  return Status::failure(ENODEV, "this process belongs to no node (start the node's daemon first)");
}

void platformLog(uint32_t severity, const std::string &text) {
  writeSystemLog(severity, text);
}

void platformComplain(uint32_t severity, const std::string &text) {
  const char *label = severity >= SEVERITY_ERROR ? "Error" : severity == SEVERITY_WARNING ? "Warning" : "Info";
  std::fprintf(stderr, "%s/ORV/platform, %s\n", label, text.c_str());
  writeSystemLog(severity, text);
}

}  // namespace orv
