#include "StateFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "Descriptor.h"

namespace orv {
namespace {

constexpr mode_t FILE_MODE = 0640;

// Reads up to `limit` bytes; returns 0 or the errno.
int readUpTo(int descriptor, size_t limit, std::string &text) {
  text.resize(limit);
  size_t length = 0;
  while (length < limit) {
    const ssize_t got = read(descriptor, text.data() + length, limit - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    length += static_cast<size_t>(got);
  }
  text.resize(length);
  return 0;
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

Status syncFile(int descriptor, const std::string &path) {
  if (fsync(descriptor) == 0) return Status::success();
  return systemFailure(errno, "cannot sync " + path);
}

Status writeTemporary(const std::string &path, const std::string &what, const std::string &text) {
  // One left over from a start that lost power is overwritten.
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, FILE_MODE));
  if (file.get() < 0) return systemFailure(errno, "cannot write " + what + " " + path);
  if (const int error = writeAll(file.get(), text); error != 0) {
    return systemFailure(error, "cannot write " + what + " " + path);
  }
  return syncFile(file.get(), path);
}

}  // namespace

Status systemFailure(int error, const std::string &what) {
  return Status::failure(error, what + ": " + std::generic_category().message(error));
}

Status readStateFile(const std::string &directory, const std::string &name, const std::string &what, size_t maxLength,
                     std::optional<std::string> &text) {
  text.reset();
  const std::string path = directory + "/" + name;
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.get() < 0 && errno == ENOENT) return Status::success();
  if (file.get() < 0) return systemFailure(errno, "cannot read " + what + " " + path);
  std::string found;
  if (const int error = readUpTo(file.get(), maxLength + 1, found); error != 0) {
    return systemFailure(error, "cannot read " + what + " " + path);
  }
  text = std::move(found);
  return Status::success();
}

Status replaceStateFile(const std::string &directory, const std::string &name, const std::string &what,
                        const std::string &text) {
  const std::string path = directory + "/" + name;
  const std::string temporary = path + ".new";
  Status status = writeTemporary(temporary, what, text);
  if (!status.ok()) {
    unlink(temporary.c_str());
    return status;
  }
  if (rename(temporary.c_str(), path.c_str()) != 0) {
    return systemFailure(errno, "cannot rename " + temporary + " to " + path);
  }
  const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.get() < 0) return systemFailure(errno, "cannot open directory " + directory);
  return syncFile(opened.get(), directory);
}

}  // namespace orv
