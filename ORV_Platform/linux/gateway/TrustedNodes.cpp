#include "TrustedNodes.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace orv::gateway {

TrustedNodes::TrustedNodes(std::string keyDirectory)
    : keyDirectory_(std::move(keyDirectory)), watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  constexpr uint32_t CHANGES = IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CLOSE_WRITE | IN_ATTRIB;
  if (watch_.get() >= 0 && inotify_add_watch(watch_.get(), keyDirectory_.c_str(), CHANGES) >= 0) return;
  watchError_ = errno;
  watch_.reset();
}

bool TrustedNodes::changed() {
  bool any = false;
  alignas(inotify_event) char events[4096];
  while (watch_.get() >= 0 && ::read(watch_.get(), events, sizeof events) > 0)
    any = true;
  return any;
}

Status TrustedNodes::read() {
  return readTrustedKeys(keyDirectory_, keys_);
}

std::optional<uint16_t> TrustedNodes::nodeOf(const Key &key) const {
  const auto found = std::find_if(keys_.begin(), keys_.end(), [&](const TrustedKey &each) { return each.key == key; });
  return found == keys_.end() ? std::nullopt : std::optional(found->nid);
}

std::optional<Key> TrustedNodes::keyOf(uint16_t nid) const {
  const auto found = std::find_if(keys_.begin(), keys_.end(), [&](const TrustedKey &each) { return each.nid == nid; });
  return found == keys_.end() ? std::nullopt : std::optional(found->key);
}

}  // namespace orv::gateway
