// Who held a start-up up, and by how much: its programs, longest first, and what is left for the daemon itself.
#ifndef ORV_TOOLS_BLAME_H
#define ORV_TOOLS_BLAME_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "StartupModel.h"

namespace orv {

// A program and the time for which the start-up stood still for it, which is the sum of the four parts.
struct BlameRow {
  size_t program = 0;
  uint64_t delayNs = 0;
  uint64_t launchNs = 0;  // until its program ran
  uint64_t onlineNs = 0;  // from there until its tag was set, or the wait was given up
  uint64_t noticeNs = 0;  // from there until the daemon, which looks from time to time, saw it
  uint64_t resetNs = 0;   // the board reset that a time-out asked for
};

struct Blame {
  std::vector<BlameRow> rows;  // longest first, those of one length in the order of their creation; none of length 0
  uint64_t daemonNs = 0;       // the daemon itself; with the rows it makes up the whole
  uint64_t lengthNs = 0;
};

Blame blameOf(const StartupModel &model);

// For people: a table whose figures add up as they are printed.
std::string blameText(const StartupModel &model);

// For programs: docs/orvctl-json.md has the fields.
std::string blameJson(const StartupModel &model);

// `parts` in multiples of `unit`, each rounded up or down so that the sum is that of the parts, rounded.
std::vector<uint64_t> apportioned(const std::vector<uint64_t> &parts, uint64_t unit);

}  // namespace orv

#endif
