// What a node is doing, put together from everything that its store and its files tell. No effects.
//
// Works for a node whose daemon lives, hangs or is dead: a dead daemon took its programs with it, whatever they did
// last, and a stopped one goes on with nothing until it is continued.
#ifndef ORV_TOOLS_NODESTATUS_H
#define ORV_TOOLS_NODESTATUS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "NodeStore.h"
#include "StartupModel.h"
#include "StartupPlan.h"

namespace orv {

// What the status is made of.
struct StatusSource {
  std::optional<RunInfo> run;
  bool daemonIsAlive = false;
  bool daemonIsStopped = false;  // by SIGSTOP or a debugger
  std::vector<EuRecord> eus;
  std::map<uint32_t, std::string> euStatuses;  // what the programs say themselves (STATUS=)
  std::vector<Tag> tags;
  std::optional<StartupModel> startup;
  StartupPlan plan;
  uint64_t nowNs = 0;  // CLOCK_MONOTONIC
};

// Reads all of it. The order of reading is such that what events tell of is there.
StatusSource readStatusSource(const NodeStore &store);

enum class ProgramState : uint8_t {
  NO_PROGRAM,         // the EU runs none
  WAITS_FOR_TURN,     // it is to be started when those before it are online
  SKIPPED,            // it is not started in this run
  STARTING,           // its EU exists, its program does not yet
  AWAITING_TAG,       // it runs, and its online tag is not set
  LATE,               // the same, and the time for it is over
  ONLINE,             // it runs, and its online tag is set
  RUNNING,            // it runs, and nothing waits for it
  FINISHED,           // its program ended with exit code 0, or its EU without a program
  FAILED,             // its program ended otherwise
  LAUNCH_FAILED,      // its program could not be started
  SHUT_DOWN,          // its program was ended by the CE shutdown
  ENDED_WITH_DAEMON,  // nobody recorded its end
};

struct ProgramStatus {
  uint32_t euId = 0;  // 0: it has no EU yet
  enum class Kind : uint8_t { OTHER, EXECUTABLE, APPLICATION } kind = Kind::OTHER;
  std::string name;
  std::string path;
  std::string args;
  uint32_t pid = 0;
  ProgramState state = ProgramState::NO_PROGRAM;
  std::optional<uint64_t> sinceNs;  // CLOCK_MONOTONIC
  int32_t result = 0;               // of LAUNCH_FAILED
  bool hasEnded = false;            // its program: FINISHED may be that of an EU without one
  int32_t waitStatus = 0;           // of a program that has ended
  uint32_t supervisionFlags = 0;
  std::string onlineTag;  // empty: nothing waits for it
  std::string says;       // what the program says itself

  // What a failure of it does.
  bool raisesError() const;
  bool resetsBoard() const;
};

// The online tag that the start-up waits for now.
struct AwaitedNow {
  std::string name;
  std::string tag;
  uint64_t budgetMs = 0;
  uint64_t leftMs = 0;
  uint64_t waitedMs = 0;
};

struct NodeStatus {
  std::optional<RunInfo> run;
  bool daemonIsAlive = false;
  bool daemonIsStopped = false;
  uint64_t nowNs = 0;
  StartupState startup = StartupState::GOING_ON;
  uint64_t startupMs = 0;  // how long it took, or takes until now
  std::optional<AwaitedNow> awaited;
  SkipReason skipped = SkipReason::NONE;
  std::string definitionFile;
  unsigned started = 0;  // programs whose turn has come and gone, of `planned`
  unsigned planned = 0;
  std::vector<ProgramStatus> programs;  // by EU, then those that have none yet, in their order

  bool isMaster() const;
};

NodeStatus nodeStatus(const StatusSource &source);

}  // namespace orv

#endif
