// What happens on the node on its way into the node store, and log lines on their way to the system's log.
//
// In the daemon a thread of its own writes: whoever records something leaves it in a bounded queue and goes on at once.
// A burst becomes a few transactions instead of hundreds, and a writer elsewhere that holds the store's lock, even one
// that is stopped, holds up no supervision. In every other process of the node, and in the daemon before its
// early start-up and after its CE shutdown, recording writes at once.
//
// Everything here may be called from any thread and throws nothing but std::bad_alloc. A failure to write is reported
// on standard error, once.
#ifndef ORV_LINUX_STOREWRITER_H
#define ORV_LINUX_STOREWRITER_H

#include <cstdint>
#include <string>
#include <vector>

#include "LogLine.h"
#include "NodeStore.h"

namespace orv {

// How many events may wait. Log lines beyond it are dropped and counted; what else happens has as much room again.
constexpr size_t MAX_WAITING_EVENTS = 4096;

// How many lines of one program's output may wait; of what exceeds it, the oldest go.
constexpr size_t MAX_WAITING_OUTPUT_LINES = 512;

// Starts the thread; from then on records are queued. Returns 0 or the errno of the thread's creation, in which case
// recording goes on writing at once.
int startStoreWriter();

// The CE shutdown begins: what is recorded gathers for a shorter time, so that little is left to write at its end.
void storeWriterIsToEnd();

// Writes what waits and ends the thread; from then on recording writes at once. Does nothing where there is none.
void stopStoreWriter();

// Returns when all that was recorded before the call is in the store, or has been refused by it; and after a second at
// the latest, since whoever holds the store's lock may hold it for ever.
void flushRecords();

// What was recorded before the call is written at once; does not wait for it.
void hurryRecords();

// The process is that of the call, and so is the time where the event has none.
void recordEvent(Event event);

// The same for an event of the calling EU that is no more than a text.
void recordEvent(EventKind kind, std::string text);

// A line of the node's log: to the sinks of the system's log and, as an event of the EU `euId`, to the store.
void recordLogLine(LogLine line, uint32_t euId);

// The record as it is now, and an event of that EU.
void recordEu(const EuRecord &record, EventKind kind, std::string text);

// Sets a string tag "1" on behalf of `setter`, without the delay in which other records gather: others wait for it.
void recordTag(const std::string &name, const Setter &setter);

// Lines that a program wrote, and what it says of its state.
void recordOutput(uint32_t euId, std::vector<OutputLine> lines);
void recordEuStatus(uint32_t euId, const std::string &text);

}  // namespace orv

#endif
