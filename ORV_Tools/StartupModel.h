// One start-up of a node as its store tells it: what was started when, what it waited for, what became of it, and who
// held whom up. Charts, statistics and comparisons are made of it.
//
// The daemon starts its executables at once and waits for their online tags one after another; then it starts each
// application only when the one before it is online. So the start-up is one row of steps without gaps: each is a wait
// for one program, or the daemon's own time. The sum of a program's steps is by how much it held the start-up up, and
// all steps together are the start-up's whole length.
//
// All times are nanoseconds since the run began (the daemon's early start-up) unless a name says otherwise.
#ifndef ORV_TOOLS_STARTUPMODEL_H
#define ORV_TOOLS_STARTUPMODEL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NodeStore.h"

namespace orv {

// How the daemon's wait for an online tag ended.
enum class WaitState : uint8_t {
  ONLINE,         // the tag was set in time
  TIMED_OUT,      // it was not; for an application the daemon then asks for a board reset
  STILL_WAITING,  // no end is known: the wait goes on, or the daemon ended in it (see StartupModel::state)
};

struct StartupWait {
  std::string tag;
  uint64_t beganNs = 0;
  std::optional<uint64_t> endedNs;  // nothing: STILL_WAITING
  WaitState state = WaitState::STILL_WAITING;
  uint64_t budgetMs = 0;  // after how long it times out
};

// One EU and, where it runs one, its program.
struct StartupProgram {
  uint32_t euId = 0;
  std::string name;
  std::string path;  // empty: nothing has been started
  std::string args;
  uint32_t supervisionFlags = 0;
  uint32_t pid = 0;  // 0: none
  EuState state = EuState::CREATED;
  int32_t waitStatus = 0;             // of PROGRAM_ENDED and SHUT_DOWN
  std::string failure;                // of LAUNCH_FAILED: why
  uint64_t createdNs = 0;             // the EU
  std::optional<uint64_t> startedNs;  // the program
  std::optional<uint64_t> readyNs;    // its online tag was set, or it said READY=1; may be before `startedNs`
  std::optional<uint64_t> endedNs;    // the program, or the attempt to start it
  std::optional<StartupWait> wait;    // where the daemon asked for its online tag; of length 0 where that was set
  // By how much it held the start-up up: the wait and, where that timed out, the board reset that was asked for.
  uint64_t delayNs = 0;
};

enum class MarkKind : uint8_t { ERROR_RAISED, RESET_REQUESTED, RESET_HELD };

// What went wrong on the way, beside what the programs' own records say.
struct StartupMark {
  MarkKind kind = MarkKind::ERROR_RAISED;
  uint64_t atNs = 0;
  std::optional<size_t> program;  // whose it is; nothing: the daemon's or a program's outside the start-up
  uint32_t code = 0;              // of ERROR_RAISED
  std::string text;
};

// A step of the start-up: the daemon waits for `program`, or does something itself.
struct StartupStep {
  std::optional<size_t> program;
  uint64_t beganNs = 0;
  uint64_t endedNs = 0;
};

enum class StartupState : uint8_t {
  COMPLETE,     // the daemon has said so, whatever failed on the way
  GOING_ON,     // the daemon lives and has not said so yet
  INTERRUPTED,  // the daemon ended before
  UNKNOWN,      // the events that would tell are no longer kept
};

struct StartupModel {
  uint64_t run = 0;  // RunInfo::number
  uint32_t daemonPid = 0;
  std::optional<uint16_t> nid;     // nothing: not known yet, or no longer kept
  std::string ceName;              // of the latest run; of others it is not kept
  uint64_t startedRealtimeNs = 0;  // CLOCK_REALTIME of the beginning
  StartupState state = StartupState::GOING_ON;
  bool beginningIsLost = false;  // the store no longer has the first events: programs may be missing
  // How long the start-up took; of GOING_ON until the moment of reading, of INTERRUPTED and UNKNOWN until the last that
  // is known.
  uint64_t lengthNs = 0;
  std::optional<uint64_t> daemonEndedNs;  // by a CE shutdown
  std::vector<StartupProgram> programs;   // in the order of their creation; without the EU that runs the start-up
  std::vector<StartupMark> marks;         // by time
  std::vector<StartupStep> criticalPath;  // by time, from 0 to lengthNs, without gaps
};

// What the store holds, read by whoever wants a model of it.
struct StartupSource {
  std::optional<RunInfo> run;  // the latest
  std::vector<EuRecord> eus;   // of the latest run
  std::vector<Event> events;
  bool daemonIsAlive = false;
  uint64_t nowNs = 0;  // CLOCK_MONOTONIC
};

// The start-up of `run`, else of the latest run. Nothing where no such run is in the events.
std::optional<StartupModel> startupOf(const StartupSource &source, std::optional<uint64_t> run);

// The same of a store. Asks the kernel whether the daemon lives.
std::optional<StartupModel> readStartup(const NodeStore &store, std::optional<uint64_t> run);

// The runs of which the store has events, ascending.
std::vector<uint64_t> recordedRuns(const NodeStore &store);

// "complete", "going_on", "timed_out" and the like, as JSON has them.
const char *startupStateName(StartupState state);
const char *waitStateName(WaitState state);

// The model as JSON, one object, with a line end; docs/orvctl-json.md describes it.
std::string startupJson(const StartupModel &model);

// The reverse. Nothing, and what is wrong in `problem`, for what is no such JSON, whatever the bytes; a model that
// comes back is whole: its steps are without gaps and its indices those of programs.
std::optional<StartupModel> startupFromJson(std::string_view json, std::string &problem);

}  // namespace orv

#endif
