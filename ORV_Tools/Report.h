// A report on a node: one page with everything that somebody needs who was not there. No effects.
#ifndef ORV_TOOLS_REPORT_H
#define ORV_TOOLS_REPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Check.h"
#include "LogView.h"
#include "NodeStatus.h"
#include "ResetStory.h"
#include "TagList.h"
#include "Why.h"

namespace orv {

struct ReportSource {
  NodeStatus node;
  std::optional<StartupModel> startup;
  std::vector<WhyFacts> programs;  // those that the daemon is to start
  LogSource log;                   // with the outputs of all programs
  TagListing tags;
  std::optional<CheckResult> definitions;  // of the definition file, where it is known
  std::string definitionsProblem;          // why not
  std::optional<ResetStory> resetStory;
  std::string nodeDirectory;
  std::string machine;          // its name, system and processor
  uint64_t madeRealtimeNs = 0;  // CLOCK_REALTIME
};

// The page in HTML.
std::string reportHtml(const ReportSource &source);

// The moments about which a log is worth reading: index ranges of `lines`, from a little before an error to a little
// after it, ascending; those that touch are one.
struct LogRange {
  size_t begin = 0;
  size_t end = 0;
};
std::vector<LogRange> failureRanges(const std::vector<LogLine> &lines);

}  // namespace orv

#endif
