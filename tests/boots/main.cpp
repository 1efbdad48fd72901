// boots: the search for faults. Boots the daemon on many random nodes, and judges each boot by rules that know nothing
// of the daemon's code. A boot is a seed: what failed once can be looked at again and again.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

#include "NodeMaker.h"
#include "Oracle.h"
#include "Report.h"
#include "Search.h"
#include "SimulatedBoot.h"

namespace {

constexpr int ALL_HOLD = 0;
constexpr int BROKEN = 1;
constexpr int BAD_USE = 2;

constexpr uint64_t MOST_JOBS = 256;

constexpr const char *USAGE =
    "usage: boots [--first N] [--count N] [--jobs N] [--verbose]\n"
    "       boots --seed N\n"
    "\n"
    "  --first N   the first seed (1)\n"
    "  --count N   how many boots (20000)\n"
    "  --jobs N    in how many processes (one a processor)\n"
    "  --verbose   a line for each boot\n"
    "  --seed N    this boot alone: its command line, scenario, trace and verdict\n"
    "\n"
    "Exit status: 0 every rule held, 1 one was broken, 2 bad use or no means to search.\n";

int replay(uint64_t seed) {
  const boots::Node node = boots::makeNode(seed);
  const SimulatedBoot booted = boot(node.scenario, node.arguments);
  const boots::Violations violations = boots::judge(node, booted);
  std::printf("seed %llu\n%s\n", static_cast<unsigned long long>(seed), boots::bootText(node, booted).c_str());
  if (violations.empty()) {
    std::printf("verdict: every rule holds\n");
    return ALL_HOLD;
  }
  std::printf("verdict:\n%s", boots::violationsText(violations, booted).c_str());
  return BROKEN;
}

std::optional<uint64_t> numberFrom(const char *text) {
  char *end = nullptr;
  errno = 0;
  const uint64_t number = std::strtoull(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || *text == '-') return std::nullopt;
  return number;
}

int badUse(const std::string &reason) {
  std::fprintf(stderr, "boots: %s\n%s", reason.c_str(), USAGE);
  return BAD_USE;
}

int run(int argc, char **argv) {
  boots::SearchRange range;
  range.program = argv[0];
  range.jobs = static_cast<uint32_t>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
  std::optional<uint64_t> seed;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--verbose") {
      range.verbose = true;
      continue;
    }
    if (option != "--seed" && option != "--first" && option != "--count" && option != "--jobs")
      return badUse("unknown option " + option);
    const std::optional<uint64_t> number = ++i < argc ? numberFrom(argv[i]) : std::nullopt;
    if (!number) return badUse(option + " needs a number");
    if (option == "--seed") seed = number;
    if (option == "--first") range.first = *number;
    if (option == "--count") range.count = *number;
    if (option != "--jobs") continue;
    if (*number == 0 || *number > MOST_JOBS) return badUse("--jobs is from 1 to " + std::to_string(MOST_JOBS));
    range.jobs = static_cast<uint32_t>(*number);
  }
  if (seed) return replay(*seed);
  if (range.count == 0) return badUse("--count is at least 1");
  return boots::search(range) ? ALL_HOLD : BROKEN;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "boots: %s\n", error.what());
    return BAD_USE;
  }
}
