// The daemon's side of the guard, a process of its own (OrvGuard.cpp) that ends everything the programs have started
// when the daemon dies without a shutdown.
//
// Everything here may be called from any thread.
#ifndef ORV_LINUX_GUARD_H
#define ORV_LINUX_GUARD_H

#include <sys/types.h>

#include "Status.h"

namespace orv {

// Makes the list that the guard is to have. To be called before a program is started.
Status prepareGuard();

// Starts the guard of this process, unless it runs already. Without one the daemon runs all the same, and what programs
// have started outlives its death; the failure says so.
Status startGuard();

// Ends the guard, everything being gone already or being to stay; the second also waits for its end.
void killGuard();
void stopGuard();

bool isGuard(pid_t pid);

// Whether `pid`, a process that has ended and been waited for, was the guard; this forgets it then.
bool wasGuard(pid_t pid);

// Whether the last guards have all ended as soon as they were started: the next one would do the same.
bool guardsEndAtOnce();

// Puts a process on the guard's list, with its group and its session, and takes it off. The second returns whether it
// was there.
void guardProcess(pid_t pid);
bool unguardProcess(pid_t pid);

}  // namespace orv

#endif
