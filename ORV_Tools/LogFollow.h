// The log of a node that goes on: what has come since the last look. No effects.
//
// A look takes what the store holds beyond a cursor. Events have numbers without gaps and lines of output too, so
// nothing comes twice, and what the store no longer held by the time of the look is counted and said.
#ifndef ORV_TOOLS_LOGFOLLOW_H
#define ORV_TOOLS_LOGFOLLOW_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LogView.h"

namespace orv {

// How far the log of one store has been shown.
struct LogCursor {
  uint64_t lastSequence = 0;
  std::optional<RunInfo> run;                   // the latest of which something has been shown
  std::map<uint32_t, std::string> euNames;      // of that run
  std::map<uint32_t, uint64_t> lastOutputLine;  // by EU of that run
};

// Lines of one run, which their times are told by.
struct LogPart {
  RunInfo run;
  std::vector<LogLine> lines;
};

// What `source` holds beyond `cursor`, which moves on. `source.events` may begin anywhere up to the cursor's place; its
// outputs are whole. Usually one part, and more where another run has begun.
std::vector<LogPart> takeNewLines(LogCursor &cursor, LogSource source, const LogFilter &filter);

}  // namespace orv

#endif
