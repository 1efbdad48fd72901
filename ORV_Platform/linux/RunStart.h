// The record of a run's start, written beside the start-up: flash may take its time over four small syncs, and the
// executables need not wait for them. What depends on the record waits for it: whether applications are started, a
// board reset, the CE shutdown.
//
// Everything here may be called from any thread and throws nothing.
#ifndef ORV_LINUX_RUNSTART_H
#define ORV_LINUX_RUNSTART_H

#include <cstdint>

#include "BoardSettings.h"
#include "NodeStore.h"

namespace orv {

// Begins to judge the last run, to count this one in the run record and to write the STARTED entry of the flight
// record. What has failed, and what the last runs give cause to say, is logged as soon as it is known. `store` has to
// live for as long as the process.
void beginRunStart(const NodeStore &store, const ResetLimits &limits);

// How many ungraceful CE shutdowns the run record tells of. Waits for it where the start has begun; after 10 s a
// storage that hangs is reported, and the count is 0: a node that runs can be repaired.
uint32_t ungracefulCount();

// Returns when everything is written, or after 10 s. At once where nothing has begun.
void finishRunStart();

}  // namespace orv

#endif
