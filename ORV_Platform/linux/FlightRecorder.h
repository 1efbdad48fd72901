// The daemon's side of the flight record: collects what an entry has to tell, and writes it where the storage lets it.
#ifndef ORV_LINUX_FLIGHTRECORDER_H
#define ORV_LINUX_FLIGHTRECORDER_H

#include <functional>
#include <string>

#include "FlightRecord.h"
#include "NodeStore.h"
#include "RunRecord.h"
#include "Status.h"

namespace orv {

// The CE starts: joins what the last run left with the board's own word, counts the run in the run record (`record`, as
// recordStart gives it) and writes the STARTED entry. What cannot be read or written is said in the log and does not
// hinder the start. The result is recordStart's.
Status recordRunStart(const NodeStore &store, const ResetLimits &limits, RunRecord &record);

// The CE has been shut down: writes the STOPPED entry.
Status recordRunStop();

// The entry of a reset that the calling EU asks for: who it is, its last words, the stage, the last events. To be made
// in that EU.
FlightEntry resetEntry(FlightKind kind, const std::string &means);

// Runs `work` in a thread of its own and waits for it, but not for longer than the limit that storage is given: a
// reset has to come even where a disk hangs. Fails with ETIMEDOUT and `what`; the work then goes on alone, so that it
// must own all that it needs.
Status withinStorageLimit(const std::string &what, std::function<Status()> work);

}  // namespace orv

#endif
