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
  Descriptor(Descriptor &&other) noexcept : value_(other.release()) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    reset(other.release());
    return *this;
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
  // Closes the descriptor and takes another one.
  void reset(int value = -1) {
    const int previous = std::exchange(value_, value);
    if (previous >= 0) close(previous);
  }

 private:
  int value_;
};

}  // namespace orv

#endif
