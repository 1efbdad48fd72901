// The flight record as a story: what happened to the last run, who asked for it, and what the board says. No effects.
#ifndef ORV_TOOLS_RESETSTORY_H
#define ORV_TOOLS_RESETSTORY_H

#include <optional>
#include <string>
#include <vector>

#include "FlightRecord.h"

namespace orv {

struct ResetStory {
  FlightEntry start;                     // the last start, which says how the run before it ended
  std::optional<FlightEntry> lastStart;  // of the run before it
  std::optional<FlightEntry> request;    // the last reset that the run before it asked for, whatever became of it
  std::vector<FlightEntry> since;        // reset requests since the last start, oldest first
  uint32_t damagedEntries = 0;           // skipped, now and at the last start
};

// The story of `record`; nothing where no start is recorded.
std::optional<ResetStory> resetStoryOf(const FlightRecord &record);

// Five lines for a person.
std::string resetStoryText(const ResetStory &story);

// The same and more for a program: one JSON object, the events included.
std::string resetStoryJson(const ResetStory &story);

}  // namespace orv

#endif
