// The daemon's thread that looks after its programs: takes what they write and what they say of themselves, and
// collects the ends of processes that they left behind. It waits in one place for all of it and does nothing when
// nothing happens.
//
// What a program writes comes through a pipe. Every line goes to the node store, where the first and the last ones of
// each program are kept; the bytes as they are go to the journal under the EU's name, where the daemon's own standard
// error goes there, else to the daemon's standard output. Nothing here waits for a reader: what the journal or standard
// output does not take at once is left out there, so that a program is never held up by its log.
//
// Everything here may be called from any thread.
#ifndef ORV_LINUX_CARETAKER_H
#define ORV_LINUX_CARETAKER_H

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "Descriptor.h"
#include "Status.h"

namespace orv {

// Starts the caretaker, and with it the guard (Guard.h), where it does not run: this process becomes the parent of what
// its programs leave behind. Fails where there is no thread or no descriptor left; programs run all the same, then
// without what the caretaker does for them.
Status startCaretaker();

// Ends it: for the end of the CE shutdown, when no program is left.
void stopCaretaker();

// Has the caretaker read the output of a program that runs now, from the reading end of its pipe.
void watchOutput(Descriptor &&pipe, pid_t program, uint32_t euId, const std::string &euName);

// A watched program has ended and its end is recorded. When it failed, its last lines are recorded after it.
void outputOwnerEnded(pid_t program, bool failed);

// Returns when what the programs that have ended so far wrote has been recorded (StoreWriter.h), and after a second at
// the latest.
void waitForOutputs();

// Has it look for children that have ended and are nobody's program.
void wakeForOrphans();

}  // namespace orv

#endif
