// Execution units: named threads, each with a record in the node store.
//
// An EU owns its copy of the argument block. One that is not joinable is never waited for; it ends with the process at
// the latest.
#ifndef ORV_LINUX_EXECUTIONUNITS_H
#define ORV_LINUX_EXECUTIONUNITS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "AaPro.h"
#include "NodeStore.h"

namespace orv {

struct EuRequest {
  std::string name;
  AaProEuEntry entry = nullptr;
  uint32_t stackBytes = 0;  // a request: an EU gets at least what the platform's own operations need
  const void *argument = nullptr;
  size_t argumentBytes = 0;
  bool joinable = false;
};

// Creates and starts an EU; `id` is set before it starts. Returns 0 or the errno.
int32_t createEu(const EuRequest &request, uint32_t &id);

// The calling EU's id; 0 for a thread that is no EU.
uint32_t currentEu();

// The calling EU's name; empty for a thread that is no EU.
std::string currentEuName();

// The calling EU's record, for the calling thread alone to read and write; null for a thread that is no EU.
EuRecord *currentEuRecord();

// Says how large the calling thread's stack is, for releaseUnusedStack. To be called in the thread's first function; an
// EU has been told already.
void markStack(size_t stackBytes);

// Gives the memory of the calling thread's stack back that lies below the caller's frame: for one that is about to wait
// for long. Does nothing in a thread whose stack is not known.
void releaseUnusedStack();

// The same for a thread that calls this again and again, where there is something to give back: when it has returned
// from calls in which it was here before.
void releaseReturnedStack();

// Waits until every joinable EU has ended, those that are created meanwhile included. One caller at a time.
void joinEus();

}  // namespace orv

#endif
