#include "Watch.h"

#include <algorithm>

namespace orv::gateway {
namespace {

// An option of a ZeroMQ socket, 0 where it cannot be had, which only a closed context could be the reason for.
int optionOf(void *socket, int option) {
  int value = 0;
  size_t size = sizeof value;
  return zmq_getsockopt(socket, option, &value, &size) == 0 ? value : 0;
}

}  // namespace

void Watch::begin(size_t ownerCount) {
  polled_.clear();
  owners_.clear();
  ready_.assign(ownerCount, false);
  isAnyReady_ = false;
}

void Watch::add(size_t owner, const std::vector<zmq_pollitem_t> &items, bool wasUsed) {
  for (const zmq_pollitem_t &item : items) {
    if (item.socket == nullptr) {
      const auto wanted =
          static_cast<short>((item.events & ZMQ_POLLIN ? POLLIN : 0) | (item.events & ZMQ_POLLOUT ? POLLOUT : 0));
      polled_.push_back({item.fd, wanted, 0});
    } else {
      if (wasUsed && (optionOf(item.socket, ZMQ_EVENTS) & item.events) != 0) {
        ready_[owner] = true;
        isAnyReady_ = true;
      }
      polled_.push_back({optionOf(item.socket, ZMQ_FD), POLLIN, 0});
    }
    owners_.push_back(owner);
  }
}

void Watch::wait(int timeoutMs) {
  if (poll(polled_.data(), polled_.size(), isAnyReady_ ? 0 : timeoutMs) <= 0) return;
  for (size_t i = 0; i < polled_.size(); ++i) {
    if (polled_[i].revents != 0) ready_[owners_[i]] = true;
  }
}

}  // namespace orv::gateway
