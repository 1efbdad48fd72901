#include "Output.h"

#include <unistd.h>

#include <cerrno>

namespace orv {

int writeOutput(const std::string &text) {
  for (size_t written = 0; written < text.size();) {
    const ssize_t count = write(STDOUT_FILENO, text.data() + written, text.size() - written);
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) written += static_cast<size_t>(count);
  }
  return 0;
}

}  // namespace orv
