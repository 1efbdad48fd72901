// Whether the daemon that the store tells of is still there.
#ifndef ORV_TOOLS_DAEMONPROCESSSTATE_H
#define ORV_TOOLS_DAEMONPROCESSSTATE_H

#include "NodeStore.h"

namespace orv {

// False as well for a process that has got the daemon's id after its death. Asks the kernel alone and takes no lock, so
// that looking never hinders a daemon that is about to start.
bool daemonIsAlive(const RunInfo &run);

}  // namespace orv

#endif
