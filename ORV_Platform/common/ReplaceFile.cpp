#include "ReplaceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace orv {
namespace {

Status systemFailure(int error, const std::string &what) {
  return Status::failure(error, "cannot " + what + ": " + std::generic_category().message(error));
}

int writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    text.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

// Returns 0 or the errno.
int writeAndSync(const std::string &path, mode_t mode, std::string_view content) {
  // One left over by somebody who lost power may have another mode.
  unlink(path.c_str());
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
  if (file < 0) return errno;
  int error = writeAll(file, content);
  if (error == 0 && fsync(file) != 0) error = errno;
  close(file);
  return error;
}

Status syncDirectory(const std::string &path) {
  const int directory = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory < 0) return systemFailure(errno, "open directory " + path);
  const int error = fsync(directory) == 0 ? 0 : errno;
  close(directory);
  return error == 0 ? Status::success() : systemFailure(error, "sync directory " + path);
}

}  // namespace

Status replaceFile(const std::string &path, mode_t mode, std::string_view content, const std::string &what) {
  const std::string temporary = path + ".new";
  if (const int error = writeAndSync(temporary, mode, content); error != 0) {
    unlink(temporary.c_str());
    return systemFailure(error, "write " + (what.empty() ? what : what + " ") + temporary);
  }
  if (rename(temporary.c_str(), path.c_str()) != 0) {
    return systemFailure(errno, "rename " + temporary + " to " + path);
  }
  const size_t slash = path.rfind('/');
  return syncDirectory(slash == std::string::npos ? "." : path.substr(0, slash + 1));
}

}  // namespace orv
