// The record of a run's start and end, written beside the start-up and the shutdown: flash may take its time over some
// small syncs, and the executables need not wait for them. What depends on the record waits for it: whether
// applications are started, a board reset, the CE shutdown.
//
// Everything here may be called from any thread and throws nothing.
#ifndef ORV_LINUX_RUNRECORDER_H
#define ORV_LINUX_RUNRECORDER_H

#include <cstdint>

#include "BoardSettings.h"
#include "NodeStore.h"
#include "Status.h"

namespace orv {

// Begins to judge the last run, to count this one in the run record and to write the STARTED entry of the flight
// record. What has failed, and what the last runs give cause to say, is logged as soon as it is known. `store` has to
// live for as long as the process.
void beginRunStart(const NodeStore &store, const ResetLimits &limits);

// How many ungraceful CE shutdowns the run record tells of. Waits for it where the start has begun; after 10 s a
// storage that hangs is reported, and the count is 0: a node that runs can be repaired.
uint32_t ungracefulCount();

// Returns when everything of the start is written, or after 10 s. At once where nothing has begun.
void finishRunStart();

// All programs have ended: begins to record a graceful shutdown, with the STOPPED entry of the flight record.
void beginRunStop();

// Returns when it is written, or after 10 s. What has failed is logged here; the result is that of the run record.
Status finishRunStop();

}  // namespace orv

#endif
