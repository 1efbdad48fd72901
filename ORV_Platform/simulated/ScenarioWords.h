// Words of the scenario format that say a number: durations and signals. How they are read and how they are written
// stands side by side here, so that what is written is read back as the same number.
#ifndef ORV_SIMULATED_SCENARIOWORDS_H
#define ORV_SIMULATED_SCENARIOWORDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::sim {

constexpr const char *FOREVER = "forever";  // how long a program runs that does not end by itself
constexpr const char *NEVER = "never";      // when a program ends that passes over a SIGTERM
constexpr const char *NO_SIGNAL = "none";

constexpr int LAST_SIGNAL = 64;

// Milliseconds of "250ms", "1.5s", "2min" or "1h", exactly. Where the text is none of them `reason` says why, to stand
// behind "which": "has no unit (use ms, s, min or h; ...)".
std::optional<uint64_t> parseDuration(std::string_view text, std::string &reason);

// The shortest of these that says it without a fraction: "90s", "2min", "0ms".
std::string durationText(uint64_t milliseconds);

// The signals that have a name, "SIGHUP" and so on, by number.
const std::vector<std::string> &signalNames();

// The number of a signal by its name, 0 where there is none.
int signalNumber(std::string_view name);

// The name of a signal, empty where it has none.
std::string signalText(int number);

}  // namespace orv::sim

#endif
