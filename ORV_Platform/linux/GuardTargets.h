// Which processes belong to programs of a node, told from what /proc says of them all.
#ifndef ORV_LINUX_GUARDTARGETS_H
#define ORV_LINUX_GUARDTARGETS_H

#include <cstddef>

#include "ProcessScan.h"

namespace orv {

struct GuardCandidate {
  ProcessFacts facts;
  bool target = false;
};

// What is never a target, whatever it shares with one.
struct Spared {
  pid_t self = 0;
  pid_t group = 0;    // of the daemon: programs have groups of their own
  pid_t session = 0;  // of the daemon: programs share it, and so does whoever started the daemon
};

// Marks, beginning with the candidates that are targets already, everything that belongs with them: children of
// targets, and the members of a target's process group and session where these are not the daemon's.
void spreadTargets(GuardCandidate *candidates, size_t count, const Spared &spared);

}  // namespace orv

#endif
