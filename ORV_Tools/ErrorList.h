// The errors that were raised on a node, as its events tell of them. No effects.
#ifndef ORV_TOOLS_ERRORLIST_H
#define ORV_TOOLS_ERRORLIST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "LogView.h"
#include "RaisedError.h"

namespace orv {

struct ListedError {
  RaisedError error;  // of a text of another form: the code, and all of the text
  bool isRead = false;
  uint64_t sequence = 0;
  uint64_t monotonicNs = 0;
  uint32_t pid = 0;                      // of the process that raised it
  std::string euName;                    // empty: of no EU
  std::optional<uint64_t> run;           // RunInfo::number; nothing where the events no longer tell
  std::optional<uint64_t> afterStartMs;  // of that run
};

// Oldest first, of all runs that the events tell of, from `sinceNs` (CLOCK_MONOTONIC) on.
std::vector<ListedError> listErrors(const LogSource &source, uint64_t sinceNs);

// A table for people; the clocks are those of `run`.
std::string errorsText(const RunInfo &run, const std::vector<ListedError> &errors);

// One object with the array "errors", an error a line. The fields are described in docs/orvctl-json.md.
std::string errorsJson(const RunInfo &run, const std::vector<ListedError> &errors);

}  // namespace orv

#endif
