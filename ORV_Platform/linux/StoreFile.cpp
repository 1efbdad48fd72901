#include "StoreFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "Descriptor.h"
#include "NodePaths.h"

namespace orv {
namespace {

std::string lockOf(const std::string &path) {
  return path + "-lock";
}

// The lock file belongs to one store: the next one makes its own. May be absent.
void removeLock(const std::string &path) {
  unlink(lockOf(path).c_str());
}

Status systemFailure(int error, const std::string &what) {
  return Status::failure(error, what + ": " + std::generic_category().message(error) + " (remove it by hand)");
}

}  // namespace

Status setStoreFileAside(const std::string &path, const std::string &why, std::string &report) {
  constexpr int LAST_NAME = 9;
  std::string aside = path + ".damaged";
  for (int name = 2; rename(path.c_str(), aside.c_str()) != 0; ++name) {
    // A directory in the place of a file, or a file in that of a directory.
    const bool isTaken = errno == EISDIR || errno == ENOTDIR || errno == ENOTEMPTY || errno == EEXIST;
    if (!isTaken || name > LAST_NAME) return systemFailure(errno, "cannot rename " + path + " to " + aside);
    aside = path + ".damaged." + std::to_string(name);
  }
  removeLock(path);
  report = "the node store " + path + " cannot be used (" + why + "): it is now " + aside +
           ", and a new one takes its place";
  return Status::success();
}

Status removeStoreFile(const std::string &path) {
  if (unlink(path.c_str()) != 0) return systemFailure(errno, "cannot remove the node store of the last boot, " + path);
  removeLock(path);
  return Status::success();
}

int reserveStoreLock(const std::string &path, unsigned readers) {
  constexpr off_t CACHE_LINE = 64;  // what a reader takes; the head takes some more
  constexpr off_t HEAD_LINES = 64;
  const Descriptor lock(open(lockOf(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, STORE_FILE_MODE));
  if (lock.get() < 0) return errno;
  // The size stays as it is: LMDB reads from it how many readers there are places for.
  const off_t size = (static_cast<off_t>(readers) + HEAD_LINES) * CACHE_LINE;
  const int error = fallocate(lock.get(), FALLOC_FL_KEEP_SIZE, 0, size) == 0 ? 0 : errno;
  return error == EOPNOTSUPP ? 0 : error;  // a file system that cannot reserve
}

void giveStoreToGroup(const std::string &path) {
  giveToNodeGroup(path);
  giveToNodeGroup(lockOf(path));
}

}  // namespace orv
