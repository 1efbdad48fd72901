// How the last run of a node ended, joined of what it wrote itself (run record, flight record) and what the board says.
#ifndef ORV_LINUX_LASTRUN_H
#define ORV_LINUX_LASTRUN_H

#include <string>

#include "BoardWord.h"
#include "FlightRecord.h"
#include "RunRecord.h"

namespace orv {

// What a start finds.
struct StartFindings {
  RunRecord before;      // as the last run left it
  bool runKnown = true;  // false: the run record could not be read
  std::string bootId;    // of the running machine
  FlightRecord flight;   // as the last run left it
  BoardWord word;
};

// The STARTED entry that says what became of the last run, but for the numbers that the new run record tells.
FlightEntry judgeLastRun(const StartFindings &findings);

// The request of a board reset that the last run before entry `start` of `record` ended with, or null where it did not
// end with one. `start` is an index of `record.entries`; the number of them stands for the run that is on.
const FlightEntry *lastRequestBefore(const FlightRecord &record, size_t start);

// "the kernel panicked": an end as a part of a sentence.
const char *lastEndText(LastEnd end);

// "pump (/opt/pump -v), which exited with 3": who asked for a reset and why, of a RESET_* entry. Names are as they were
// given; control characters are the caller's to deal with.
std::string requesterText(const FlightEntry &entry);

}  // namespace orv

#endif
