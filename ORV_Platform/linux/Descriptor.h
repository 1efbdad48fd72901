// A file descriptor that is closed at the end of its scope.
#ifndef ORV_LINUX_DESCRIPTOR_H
#define ORV_LINUX_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace orv {

class Descriptor {
 public:
  // Takes what open and its like return; below 0 there is nothing to close.
  explicit Descriptor(int value) : value_(value) {}
  ~Descriptor() {
    if (value_ >= 0) close(value_);
  }
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;

  int get() const {
    return value_;
  }
  // Hands the descriptor over to the caller.
  int release() {
    return std::exchange(value_, -1);
  }

 private:
  int value_;
};

}  // namespace orv

#endif
