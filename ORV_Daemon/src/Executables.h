// Executable supervision: up to three programs named on the command line, each run by a sentinel EU of its own and,
// where it names an online tag, waited for.
#ifndef ORV_DAEMON_EXECUTABLES_H
#define ORV_DAEMON_EXECUTABLES_H

#include <cstdint>
#include <string>
#include <type_traits>

#include "ExecutableDefinitions.h"

constexpr uint32_t EXE_ONLINE_TIMEOUT_MS = 240000;

// The argument block of an executable's sentinel EU, which the platform copies bytewise.
struct ExeSentinelArgs {
  uint32_t context;
  ExeDef definition;
};
static_assert(std::is_trivially_copyable_v<ExeSentinelArgs>);
static_assert(sizeof(ExeSentinelArgs) == 604, "the block has one size on every target");

// Starts the executables of gExeDefString and waits for their online tags, unless the last CE shutdown was ungraceful.
// Returns 1 when that went well or there is nothing to start, 0 on a failure (logged or raised). Internal start-up EU.
int exeStart(uint32_t context);

// Creates one sentinel EU for each definition. Returns 0 at the first that cannot be created (logged), else 1.
int exeStartAll(uint32_t context, const ExeDefTable &table);

// Waits for the online tags, in order, within one budget for all of them: RAD parameter 0x10070 in ms, or
// EXE_ONLINE_TIMEOUT_MS where that is 0. Returns 1, or 0 at the first tag that is not set in time (raised).
int exeOnlineWait(uint32_t context, const ExeDefTable &table);

// Runs one executable to its end and raises an error unless it exited with 0. Its sentinel EU.
void exeSentinel(uint32_t context, const ExeDef &definition);

// Runs a program to its end and logs how it ended. Returns 1 only when it was started and exited with code 0. Blocks
// the calling EU meanwhile; what a failure means is the caller's decision.
int exeRun(uint32_t context, const std::string &path, const std::string &args, uint32_t supervisionFlags);

#endif
