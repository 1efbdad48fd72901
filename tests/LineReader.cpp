#include "LineReader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <stdexcept>

#include "ProcessTable.h"

namespace {

std::string joined(const std::vector<std::string> &lines) {
  std::string text;
  for (const std::string &line : lines)
    text += "\n  " + line;
  return text;
}

}  // namespace

LineReader::LineReader(int descriptor)
    : descriptor_(descriptor), stopDescriptor_(eventfd(0, EFD_CLOEXEC)), thread_([this] { run(); }) {}

LineReader::~LineReader() {
  const uint64_t one = 1;
  if (write(stopDescriptor_, &one, sizeof one) == sizeof one) thread_.join();
  close(stopDescriptor_);
  close(descriptor_);
}

std::vector<std::string> LineReader::lines() const {
  const std::lock_guard lock(mutex_);
  return lines_;
}

std::string LineReader::waitFor(const std::function<bool(const std::string &)> &matches, unsigned count,
                                const std::string &wanted) const {
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  std::unique_lock lock(mutex_);
  unsigned found = 0;
  for (size_t next = 0;;) {
    for (; next < lines_.size(); ++next) {
      if (matches(lines_[next]) && ++found == count) return lines_[next];
    }
    if (ended_) throw std::runtime_error("the output ended without " + wanted + joined(lines_));
    if (changed_.wait_until(lock, deadline) == std::cv_status::timeout) {
      throw std::runtime_error("no " + wanted + " in time" + joined(lines_));
    }
  }
}

void LineReader::waitForEnd() const {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, WAIT_LIMIT, [this] { return ended_; })) {
    throw std::runtime_error("somebody still holds the output open" + joined(lines_));
  }
}

void LineReader::run() {
  char buffer[4096];
  pollfd waited[] = {{descriptor_, POLLIN, 0}, {stopDescriptor_, POLLIN, 0}};
  for (;;) {
    if (poll(waited, 2, -1) < 0 && errno != EINTR) break;
    if (waited[1].revents != 0) break;
    if (waited[0].revents == 0) continue;
    const ssize_t length = read(descriptor_, buffer, sizeof buffer);
    if (length < 0 && errno == EINTR) continue;
    if (length <= 0) break;
    take(buffer, static_cast<size_t>(length));
  }
  const std::lock_guard lock(mutex_);
  if (!unfinished_.empty()) lines_.push_back(std::move(unfinished_));
  ended_ = true;
  changed_.notify_all();
}

void LineReader::take(const char *text, size_t length) {
  const std::lock_guard lock(mutex_);
  unfinished_.append(text, length);
  for (size_t end = unfinished_.find('\n'); end != std::string::npos; end = unfinished_.find('\n')) {
    lines_.push_back(unfinished_.substr(0, end));
    unfinished_.erase(0, end + 1);
  }
  changed_.notify_all();
}
