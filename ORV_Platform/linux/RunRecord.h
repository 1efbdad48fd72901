// The run record: what the next start has to know of this one, kept in the state directory across restarts of the
// board.
//
// A small text file, <state directory>/run-record, replaced atomically and synced at each change; every change is made
// under a lock file beside it, so that the operator's tool may change it while the daemon runs.
//
// What counts as an ungraceful shutdown is made for boards in the field:
//  - a start that finds "up" with the boot id of the running machine: the daemon died while the machine stayed up.
//  Counts.
//  - a start that finds "up" with another boot id: a power cut or an outside reset. Does not count, since the
//    applications have to come back by themselves.
//  - board resets that the daemon itself requested within `resetWindowS` of its start are remembered; one more than
//    `resetBudget` of them in a row counts (with the defaults the fourth), so that a node whose application always
//    fails ends in a state that can be repaired and not in a reset loop. A run that ended otherwise breaks the row.
// A graceful shutdown clears all of it. Where the state directory cannot be written at that moment (it is full or
// read-only), a note in the node directory, which lives as long as the machine is up, keeps the next start from taking
// the shutdown for a death of the daemon.
#ifndef ORV_LINUX_RUNRECORD_H
#define ORV_LINUX_RUNRECORD_H

#include <cstdint>
#include <string>

#include "Status.h"

namespace orv {

struct RunRecord {
  std::string bootId;              // of the boot in which the CE was last started; empty: never started
  bool up = false;                 // started and not shut down since
  uint32_t ungracefulCount = 0;    // since the last graceful shutdown
  uint32_t resetsInARow = 0;       // requested resets, one per run, the last runs having all ended so
  bool resetRequested = false;     // by the run that is up
  uint64_t startedBoottimeNs = 0;  // CLOCK_BOOTTIME of the CE start
};

struct ResetLimits {
  uint32_t resetBudget = 3;
  uint32_t resetWindowS = 600;
};

// The boot id of the running machine, from the kernel.
std::string currentBootId();

// Reads the record of `stateDirectory`. A missing file is a fresh record. A file that cannot be understood is reported
// and read as a fresh record.
Status readRunRecord(const std::string &stateDirectory, RunRecord &record);

// The CE starts: counts as described above and marks the record up. `record` is the record as written; on failure as it
// would have been written, so that the node can go on without a state directory. `lastWasShutDown`: the last run was,
// whatever its record says (takeShutdownNote).
Status recordStart(const std::string &stateDirectory, const ResetLimits &limits, RunRecord &record,
                   bool lastWasShutDown = false);

// The CE has been shut down gracefully: clears the record.
Status recordGracefulShutdown(const std::string &stateDirectory);

// The CE has been shut down gracefully, and that could not be recorded: leaves a note in `nodeDirectory` of the run
// that the record says is up.
Status noteGracefulShutdown(const std::string &stateDirectory, const std::string &nodeDirectory);

// Takes the note of `nodeDirectory` away. True when it is of the run that `record` says is up: that run was shut down.
bool takeShutdownNote(const std::string &nodeDirectory, const RunRecord &record);

// `record` once its run has been shut down gracefully.
RunRecord asShutDown(const RunRecord &record);

// A board reset is about to be made: remembers it where the CE has been up for no longer than `resetWindowS`.
Status recordResetRequest(const std::string &stateDirectory, const ResetLimits &limits);

// The reset that recordResetRequest remembered could not be made: takes that back.
Status withdrawResetRequest(const std::string &stateDirectory);

// Sets the count of ungraceful shutdowns, and of resets in a row, to 0. What is known of the run that is up stays, so
// that its death would be counted, unless `runIsOver`: then the daemon has died already, and that is forgiven as well.
Status clearUngraceful(const std::string &stateDirectory, bool runIsOver = false);

// True when `record` tells of a run in this boot of the machine that has not been shut down: when its daemon is dead,
// the next start counts that.
bool isUpInThisBoot(const RunRecord &record);

}  // namespace orv

#endif
