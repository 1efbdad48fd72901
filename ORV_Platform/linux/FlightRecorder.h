// The daemon's side of the flight record: collects what an entry has to tell, and writes it where the storage lets it.
#ifndef ORV_LINUX_FLIGHTRECORDER_H
#define ORV_LINUX_FLIGHTRECORDER_H

#include <chrono>
#include <functional>
#include <string>

#include "FlightRecord.h"
#include "NodeStore.h"
#include "RunRecord.h"
#include "Status.h"

namespace orv {

// What storage is given for two small files: longer than any healthy flash needs, shorter than an operator's patience.
constexpr auto STORAGE_LIMIT = std::chrono::seconds(10);

// The CE starts: joins what the last run left with the board's own word in `entry`, and counts the run in the run
// record
// (`record`, as recordStart gives it). What cannot be read is said in the log and does not hinder the start. The result
// is recordStart's.
Status countRunStart(const NodeStore &store, const ResetLimits &limits, RunRecord &record, FlightEntry &entry);

// Writes that entry, and logs how the last run ended where that is worth a line. Fails with the errno.
Status writeRunStart(FlightEntry &entry);

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
