// Several start-ups side by side: by how much each program held them up, and who got slower.
#ifndef ORV_TOOLS_COMPARISON_H
#define ORV_TOOLS_COMPARISON_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "StartupModel.h"

namespace orv {

// A start-up to compare. Only complete ones can be compared.
struct ComparedRun {
  std::string name;  // "run 5", "before.json"
  bool isNew = false;
  StartupModel model;
};

// What counts as a change.
struct ComparisonLimits {
  std::optional<double> percent;  // of the base's median; nothing: every change above the floor counts
  uint64_t floorNs = 0;           // what is not more than this is none, whatever its share
};

// The daemon looks for tags from time to time, so that a wait says nothing about differences of less than two looks.
uint64_t defaultFloorNs();

enum class Change : uint8_t { NONE, SLOWER, FASTER, ADDED, REMOVED };

// A program, the daemon itself, or the whole start-up.
struct ComparisonRow {
  enum class Kind : uint8_t { PROGRAM, DAEMON, TOTAL };
  Kind kind = Kind::PROGRAM;
  std::string name;                               // raw; of several of one name in a run the second is "name (2)"
  std::vector<std::optional<uint64_t>> delaysNs;  // by run; nothing: it is not in that run
  std::optional<uint64_t> baseMedianNs;           // nothing: in none of them
  std::optional<uint64_t> baseP95Ns;
  std::optional<uint64_t> newMedianNs;
  std::optional<uint64_t> newP95Ns;
  Change change = Change::NONE;
};

struct Comparison {
  std::vector<ComparedRun> runs;    // those of the base first
  std::vector<ComparisonRow> rows;  // programs in the order of their start, the daemon itself, the whole
  ComparisonLimits limits;
};

// `runs` has at least one of the base and one new one.
Comparison compareStartups(std::vector<ComparedRun> runs, const ComparisonLimits &limits);

// How many rows got slower.
size_t slowerRows(const Comparison &comparison);

// How much more or less, in nanoseconds; 0 where one of the two is missing.
int64_t changeNs(const ComparisonRow &row);
// "+290 ms", "-1.2 s", "0 ms"; "-" where one of the two is missing.
std::string changeText(const ComparisonRow &row);
// "+51 %", "-3 %"; empty where there is nothing to relate it to.
std::string changePercentText(const ComparisonRow &row);

// For people, and for programs: docs/orvctl-json.md has the fields.
std::string comparisonText(const Comparison &comparison);
std::string comparisonJson(const Comparison &comparison);

// The middle one, or the mean of the two in the middle; the value that at least 95 of 100 do not exceed. Of no values
// nothing.
std::optional<uint64_t> median(std::vector<uint64_t> values);
std::optional<uint64_t> percentile95(std::vector<uint64_t> values);

}  // namespace orv

#endif
