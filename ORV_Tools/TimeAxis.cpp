#include "TimeAxis.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "Clock.h"
#include "Words.h"

namespace orv {
namespace {

constexpr uint64_t STEPS_NS[] = {NS_PER_MS / 10, NS_PER_MS / 5,   NS_PER_MS / 2,   NS_PER_MS,       2 * NS_PER_MS,
                                 5 * NS_PER_MS,  10 * NS_PER_MS,  20 * NS_PER_MS,  50 * NS_PER_MS,  NS_PER_S / 10,
                                 NS_PER_S / 5,   NS_PER_S / 2,    NS_PER_S,        2 * NS_PER_S,    5 * NS_PER_S,
                                 10 * NS_PER_S,  15 * NS_PER_S,   30 * NS_PER_S,   NS_PER_MIN,      2 * NS_PER_MIN,
                                 5 * NS_PER_MIN, 10 * NS_PER_MIN, 15 * NS_PER_MIN, 30 * NS_PER_MIN, NS_PER_H,
                                 2 * NS_PER_H,   6 * NS_PER_H,    12 * NS_PER_H,   24 * NS_PER_H};

uint64_t stepFor(uint64_t lengthNs, size_t most) {
  const auto *found =
      std::find_if(std::begin(STEPS_NS), std::end(STEPS_NS), [&](uint64_t step) { return lengthNs / step <= most; });
  if (found != std::end(STEPS_NS)) return *found;
  uint64_t step = *std::rbegin(STEPS_NS);
  while (lengthNs / step > most)
    step *= 2;
  return step;
}

std::string fixed(uint64_t numeratorNs, uint64_t unitNs, int decimals, const char *unit) {
  char text[48];
  std::snprintf(text, sizeof text, "%.*f %s", decimals, static_cast<double>(numeratorNs) / static_cast<double>(unitNs),
                unit);
  return text;
}

// How many decimals it takes to tell multiples of `stepNs` apart.
int decimalsOf(uint64_t stepNs, uint64_t unitNs) {
  int decimals = 0;
  for (; stepNs % unitNs != 0; unitNs /= 10)
    ++decimals;
  return decimals;
}

std::string labelOf(uint64_t atNs, uint64_t stepNs, uint64_t lengthNs) {
  if (stepNs >= NS_PER_S) return preciseDurationText(atNs / NS_PER_MS);
  if (lengthNs < NS_PER_S) return fixed(atNs, NS_PER_MS, decimalsOf(stepNs, NS_PER_MS), "ms");
  return fixed(atNs, NS_PER_S, decimalsOf(stepNs, NS_PER_S), "s");
}

}  // namespace

std::string shortDuration(uint64_t durationNs) {
  // Where the rounding begins that would show a number of the next kind.
  constexpr uint64_t TENTHS_UNTIL_NS = 9'950'000;
  constexpr uint64_t MS_UNTIL_NS = 999'500'000;
  constexpr uint64_t HUNDREDTHS_UNTIL_NS = 99'995'000'000;
  if (durationNs == 0) return "0 ms";
  if (durationNs < TENTHS_UNTIL_NS) return fixed(durationNs, NS_PER_MS, 1, "ms");
  if (durationNs < MS_UNTIL_NS) return fixed(durationNs, NS_PER_MS, 0, "ms");
  if (durationNs < HUNDREDTHS_UNTIL_NS) return fixed(durationNs, NS_PER_S, 2, "s");
  constexpr uint64_t MS_PER_S = 1000;
  return preciseDurationText((durationNs + NS_PER_S / 2) / NS_PER_S * MS_PER_S);
}

std::vector<Tick> timeTicks(uint64_t lengthNs, size_t most) {
  const uint64_t step = stepFor(lengthNs, std::max<size_t>(most, 1));
  std::vector<Tick> ticks;
  for (uint64_t at = 0; at <= lengthNs; at += step)
    ticks.push_back({at, labelOf(at, step, lengthNs)});
  return ticks;
}

}  // namespace orv
