// The result of a run, for people and for programs.
#ifndef ORV_BENCH_REPORT_H
#define ORV_BENCH_REPORT_H

#include <string>
#include <vector>

#include "Measurement.h"

namespace syscombench {

struct Result {
  size_t nodes = 0;
  uint32_t payloadBytes = 0;
  uint32_t window = 0;
  double seconds = 0;
  double startS = 0;      // until every daemon was up
  double connectS = 0;    // until each node had heard from each other one
  size_t endedBadly = 0;  // processes that did not end as they should
  std::vector<Row> rows;
};

// True where nothing was lost, something came in each measurement, and every process ended as it should.
bool isGood(const Result &result);

// A table.
std::string textOf(const Result &result);

// One object with a line end behind it; latencies in ns.
std::string jsonOf(const Result &result);

}  // namespace syscombench

#endif
