// A histogram of durations that needs no memory of its own, so that it can lie in memory that processes share: 32
// classes for each doubling, which makes a quantile right to some 3 percent.
#ifndef ORV_BENCH_HISTOGRAM_H
#define ORV_BENCH_HISTOGRAM_H

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace syscombench {

class Histogram {
 public:
  // One writer at a time.
  void add(uint64_t ns) {
    ++counts_[classOf(ns)];
  }
  void add(const Histogram &other) {
    for (size_t i = 0; i < counts_.size(); ++i)
      counts_[i] += other.counts_[i];
  }

  uint64_t count() const {
    uint64_t sum = 0;
    for (const uint64_t each : counts_)
      sum += each;
    return sum;
  }

  // The duration in ns that `fraction` (0 to 1) of them do not exceed; 0 where there are none.
  uint64_t quantile(double fraction) const {
    // A product that is whole but for its rounding, which is another where the processor computes with more digits
    // (i386), is that whole number.
    constexpr double ROUNDING = 1e-6;
    const auto rank = static_cast<uint64_t>(std::ceil(fraction * static_cast<double>(count()) - ROUNDING));
    uint64_t sum = 0;
    for (size_t i = 0; i < counts_.size(); ++i) {
      sum += counts_[i];
      if (counts_[i] != 0 && sum >= rank) return upperEnd(i);
    }
    return 0;
  }

 private:
  static constexpr unsigned STEP_BITS = 5;
  static constexpr uint64_t STEPS = uint64_t{1} << STEP_BITS;
  static constexpr unsigned DOUBLINGS = 64 - STEP_BITS;

  static size_t classOf(uint64_t ns) {
    if (ns < STEPS) return static_cast<size_t>(ns);
    const auto shift = static_cast<unsigned>(std::bit_width(ns)) - STEP_BITS - 1;
    return static_cast<size_t>((shift + 1) * STEPS + ((ns >> shift) - STEPS));
  }
  static uint64_t upperEnd(size_t number) {
    if (number < STEPS) return number;
    const auto shift = static_cast<unsigned>(number / STEPS - 1);
    return ((number % STEPS + STEPS + 1) << shift) - 1;
  }

  std::array<uint64_t, static_cast<size_t>(STEPS *(DOUBLINGS + 1))> counts_{};
};

}  // namespace syscombench

#endif
