#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace orv {
namespace {

constexpr size_t READ_CHUNK_LENGTH = size_t{16} * 1024;  // bytes

Status systemFailure(int error, const std::string &path) {
  return Status::failure(error, path + ": " + std::generic_category().message(error));
}

Status checkRegular(const struct stat &file, const std::string &path) {
  if (S_ISREG(file.st_mode)) return Status::success();
  if (S_ISDIR(file.st_mode)) return Status::failure(EISDIR, path + ": it is a directory (name a regular file)");
  return Status::failure(EINVAL, path + ": it is a device, a FIFO or a socket (name a regular file)");
}

Status readAll(int descriptor, const std::string &path, size_t maximumLength, std::string &content) {
  std::string text;
  for (;;) {
    // One byte more than allowed tells a file of the greatest length from a longer one.
    const size_t length = text.size();
    const size_t chunkLength = std::min(READ_CHUNK_LENGTH, maximumLength + 1 - length);
    text.resize(length + chunkLength);
    const ssize_t count = read(descriptor, text.data() + length, chunkLength);
    if (count < 0 && errno != EINTR) return systemFailure(errno, path);
    text.resize(length + static_cast<size_t>(std::max<ssize_t>(count, 0)));
    if (count == 0) break;
    if (text.size() > maximumLength) {
      return Status::failure(EFBIG, path + ": it has more than " + std::to_string(maximumLength) + " bytes");
    }
  }
  content = std::move(text);
  return Status::success();
}

}  // namespace

Status openRegularFile(const std::string &path, int &descriptor) {
  // Looked at before it is opened, because opening a device can already do harm, and again afterwards, because the name
  // may have changed hands in between; O_NONBLOCK keeps that gap from blocking on a FIFO.
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return systemFailure(errno, path);
  if (Status status = checkRegular(file, path); !status.ok()) return status;
  const int opened = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (opened < 0) return systemFailure(errno, path);
  Status status = fstat(opened, &file) == 0 ? checkRegular(file, path) : systemFailure(errno, path);
  if (status.ok()) {
    descriptor = opened;
  } else {
    close(opened);
  }
  return status;
}

Status readRegularFile(const std::string &path, size_t maximumLength, std::string &content) {
  int descriptor = -1;
  if (Status status = openRegularFile(path, descriptor); !status.ok()) return status;
  Status status = readAll(descriptor, path, maximumLength, content);
  close(descriptor);
  return status;
}

}  // namespace orv
