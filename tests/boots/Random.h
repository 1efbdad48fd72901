// The random numbers that a node is made from: one sequence per seed, the same on every machine and word size.
#ifndef ORV_BOOTS_RANDOM_H
#define ORV_BOOTS_RANDOM_H

#include <cstddef>
#include <cstdint>

namespace boots {

class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x2545f4914f6cdd1dU + 0x9e3779b97f4a7c15U) {}

  uint64_t next() {
    state_ += 0x9e3779b97f4a7c15U;
    uint64_t value = state_;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
  }

  // From 0 to count - 1; count is at least 1.
  uint32_t below(uint32_t count) {
    return static_cast<uint32_t>((next() >> 32) * count >> 32);
  }

  // From first to last, both included.
  uint32_t between(uint32_t first, uint32_t last) {
    return first + below(last - first + 1);
  }

  // True in so many of a thousand cases.
  bool perMille(uint32_t cases) {
    return below(1000) < cases;
  }

  template <typename T, size_t N>
  const T &pick(const T (&of)[N]) {
    return of[below(static_cast<uint32_t>(N))];
  }

 private:
  uint64_t state_;
};

}  // namespace boots

#endif
