#include "check/InputFile.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "RegularFile.h"

namespace orv::checking {
namespace {

constexpr const char *STANDARD_INPUT = "standard input";

Status readStandardInput(std::string &text) {
  std::array<char, 16384> buffer;
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count == 0) return Status::success();
    if (count < 0) {
      const int error = errno;
      if (error == EINTR) continue;
      return Status::failure(error, std::string(STANDARD_INPUT) + ": " + std::generic_category().message(error));
    }
    text.append(buffer.data(), static_cast<size_t>(count));
    if (text.size() > MAX_INPUT_BYTES) {
      return Status::failure(
          EFBIG, std::string(STANDARD_INPUT) + ": it has more than " + std::to_string(MAX_INPUT_BYTES) + " bytes");
    }
  }
}

}  // namespace

Status readInput(const std::string &path, std::string &text) {
  return path == "-" ? readStandardInput(text) : readRegularFile(path, MAX_INPUT_BYTES, text);
}

}  // namespace orv::checking
