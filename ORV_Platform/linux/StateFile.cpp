#include "StateFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <system_error>

#include "Descriptor.h"
#include "ReplaceFile.h"

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
  return replaceFile(directory + "/" + name, FILE_MODE, text, what);
}

}  // namespace orv
