#include "NodeStatus.h"

#include <sys/wait.h>

#include <algorithm>
#include <vector>

#include "Applications.h"
#include "Clock.h"
#include "DaemonProcessState.h"
#include "ProcessTree.h"

namespace orv {
namespace {

uint64_t difference(uint64_t large, uint64_t small) {
  return large > small ? large - small : 0;
}

const Tag *tagOfThisRun(const StatusSource &source, const std::string &name) {
  const auto found =
      std::find_if(source.tags.begin(), source.tags.end(), [&](const Tag &tag) { return tag.name == name; });
  return found == source.tags.end() || name.empty() ? nullptr : &*found;
}

const StartupProgram *modelOf(const StatusSource &source, uint32_t euId) {
  if (!source.startup) return nullptr;
  const auto &programs = source.startup->programs;
  const auto found = std::find_if(programs.begin(), programs.end(),
                                  [euId](const StartupProgram &program) { return program.euId == euId; });
  return found == programs.end() ? nullptr : &*found;
}

bool isTimedOut(const StatusSource &source, uint32_t euId) {
  const StartupProgram *program = modelOf(source, euId);
  return program != nullptr && program->wait && program->wait->state == WaitState::TIMED_OUT;
}

ProgramState runningState(const StatusSource &source, const ProgramStatus &program) {
  if (!source.daemonIsAlive) return ProgramState::ENDED_WITH_DAEMON;
  if (program.onlineTag.empty()) return ProgramState::RUNNING;
  if (tagOfThisRun(source, program.onlineTag) != nullptr) return ProgramState::ONLINE;
  return isTimedOut(source, program.euId) ? ProgramState::LATE : ProgramState::AWAITING_TAG;
}

ProgramState createdState(const StatusSource &source, const EuRecord &eu, bool isPlanned) {
  if (eu.finished) return ProgramState::FINISHED;
  if (!source.daemonIsAlive) return ProgramState::ENDED_WITH_DAEMON;
  return isPlanned ? ProgramState::STARTING : ProgramState::NO_PROGRAM;
}

ProgramState stateOf(const StatusSource &source, const EuRecord &eu, const ProgramStatus &program, bool isPlanned) {
  switch (eu.state) {
    case EuState::CREATED:
      return createdState(source, eu, isPlanned);
    case EuState::RUNNING:
      return runningState(source, program);
    case EuState::PROGRAM_ENDED:
      return WIFEXITED(eu.waitStatus) && WEXITSTATUS(eu.waitStatus) == 0 ? ProgramState::FINISHED
                                                                         : ProgramState::FAILED;
    case EuState::LAUNCH_FAILED:
      return ProgramState::LAUNCH_FAILED;
    case EuState::SHUT_DOWN:
      return ProgramState::SHUT_DOWN;
  }
  return ProgramState::NO_PROGRAM;  // not reached: the store refuses other states
}

std::optional<uint64_t> unlessZero(uint64_t ns) {
  return ns == 0 ? std::nullopt : std::optional(ns);
}

// Since when the program is in its state; nothing where nobody recorded it.
std::optional<uint64_t> sinceOf(const StatusSource &source, const EuRecord &eu, const ProgramStatus &program) {
  switch (program.state) {
    case ProgramState::ONLINE: {
      const uint64_t setNs = tagOfThisRun(source, program.onlineTag)->setNs;
      return std::max(setNs, eu.startedNs);
    }
    case ProgramState::AWAITING_TAG:
    case ProgramState::LATE:
    case ProgramState::RUNNING:
      return unlessZero(eu.startedNs);
    case ProgramState::ENDED_WITH_DAEMON:
      return std::nullopt;
    case ProgramState::FINISHED:
    case ProgramState::FAILED:
    case ProgramState::LAUNCH_FAILED:
    case ProgramState::SHUT_DOWN:
      return unlessZero(eu.endedNs);
    default:
      return unlessZero(eu.createdNs);
  }
}

// The programs of the plan and the EUs found for each other: those of one name in the order of both.
class Matching {
 public:
  explicit Matching(const StartupPlan &plan) : plan_(plan), isTaken_(plan.programs.size()) {}

  const PlannedProgram *take(const EuRecord &eu) {
    for (size_t i = 0; i < isTaken_.size(); ++i) {
      const PlannedProgram &program = plan_.programs[i];
      if (isTaken_[i] || program.name != eu.name || (!eu.path.empty() && program.path != eu.path)) continue;
      isTaken_[i] = true;
      return &program;
    }
    return nullptr;
  }
  std::vector<const PlannedProgram *> rest() const {
    std::vector<const PlannedProgram *> programs;
    for (size_t i = 0; i < isTaken_.size(); ++i) {
      if (!isTaken_[i]) programs.push_back(&plan_.programs[i]);
    }
    return programs;
  }

 private:
  const StartupPlan &plan_;
  std::vector<bool> isTaken_;
};

ProgramStatus::Kind kindOf(const PlannedProgram *planned, const EuRecord &eu) {
  if (planned != nullptr) {
    return planned->isApplication ? ProgramStatus::Kind::APPLICATION : ProgramStatus::Kind::EXECUTABLE;
  }
  if (eu.path.empty()) return ProgramStatus::Kind::OTHER;
  // An executable has no name, so its EU goes by its path.
  return eu.name == eu.path ? ProgramStatus::Kind::EXECUTABLE : ProgramStatus::Kind::APPLICATION;
}

// What was awaited says it best; the definition file may have been changed since.
std::string onlineTagOf(const StatusSource &source, const PlannedProgram *planned, uint32_t euId) {
  const StartupProgram *program = modelOf(source, euId);
  if (program != nullptr && program->wait) return program->wait->tag;
  return planned == nullptr ? "" : planned->onlineTag;
}

ProgramStatus programOf(const StatusSource &source, const EuRecord &eu, const PlannedProgram *planned) {
  ProgramStatus program;
  program.euId = eu.id;
  program.kind = kindOf(planned, eu);
  program.name = eu.name;
  program.path = eu.path.empty() && planned != nullptr ? planned->path : eu.path;
  program.args = eu.path.empty() && planned != nullptr ? planned->args : eu.args;
  program.pid = eu.pid;
  program.result = eu.result;
  program.waitStatus = eu.waitStatus;
  program.hasEnded = eu.state == EuState::PROGRAM_ENDED || eu.state == EuState::SHUT_DOWN;
  program.supervisionFlags = eu.path.empty() && planned != nullptr ? planned->supervisionFlags : eu.supervisionFlags;
  program.onlineTag = onlineTagOf(source, planned, eu.id);
  if (const auto said = source.euStatuses.find(eu.id); said != source.euStatuses.end()) program.says = said->second;
  program.state = stateOf(source, eu, program, planned != nullptr);
  program.sinceNs = sinceOf(source, eu, program);
  return program;
}

ProgramStatus programWithoutEu(const PlannedProgram &planned, ProgramState state) {
  ProgramStatus program;
  program.kind = planned.isApplication ? ProgramStatus::Kind::APPLICATION : ProgramStatus::Kind::EXECUTABLE;
  program.name = planned.name;
  program.path = planned.path;
  program.args = planned.args;
  program.supervisionFlags = planned.supervisionFlags;
  program.onlineTag = planned.onlineTag;
  program.state = state;
  return program;
}

std::optional<AwaitedNow> awaitedNow(const StatusSource &source) {
  if (!source.startup || !source.run || !source.daemonIsAlive) return std::nullopt;
  for (const StartupProgram &program : source.startup->programs) {
    if (!program.wait || program.wait->state != WaitState::STILL_WAITING) continue;
    AwaitedNow awaited;
    awaited.name = program.name;
    awaited.tag = program.wait->tag;
    awaited.budgetMs = program.wait->budgetMs;
    awaited.waitedMs = difference(source.nowNs, source.run->startedNs + program.wait->beganNs) / NS_PER_MS;
    awaited.leftMs = difference(awaited.budgetMs, awaited.waitedMs);
    return awaited;
  }
  return std::nullopt;
}

StartupState startupStateOf(const StatusSource &source) {
  return source.startup ? source.startup->state : StartupState::UNKNOWN;
}

// The start-up is beyond this program.
bool isPast(const NodeStatus &status, const ProgramStatus &program) {
  switch (program.state) {
    case ProgramState::WAITS_FOR_TURN:
    case ProgramState::SKIPPED:
    case ProgramState::STARTING:
    case ProgramState::NO_PROGRAM:
      return false;
    default:
      return !(status.awaited && status.awaited->name == program.name);
  }
}

}  // namespace

bool ProgramStatus::raisesError() const {
  // The sentinel of an executable raises an error whatever its flags say.
  return kind == Kind::EXECUTABLE || (kind == Kind::APPLICATION && (supervisionFlags & RAISE_ON_FAILURE) != 0);
}

bool ProgramStatus::resetsBoard() const {
  return kind == Kind::APPLICATION && (supervisionFlags & RESET_ON_FAILURE) != 0;
}

bool NodeStatus::isMaster() const {
  return run && run->masterNid == run->nid;
}

StatusSource readStatusSource(const NodeStore &store) {
  StatusSource source;
  const std::vector<Event> events = store.events();
  source.run = store.run();
  source.daemonIsAlive = source.run && daemonIsAlive(*source.run);
  if (source.daemonIsAlive) {
    const std::optional<ProcessStat> daemon = processStat(source.run->daemonPid);
    source.daemonIsStopped = daemon && (daemon->state == 'T' || daemon->state == 't');
  }
  source.eus = store.eus();
  source.euStatuses = store.euStatuses();
  source.tags = store.tags();
  source.nowNs = monotonicNs();
  source.startup = startupOf({source.run, source.eus, events, source.daemonIsAlive, source.nowNs}, std::nullopt);
  source.plan = readStartupPlan(store, events);
  return source;
}

NodeStatus nodeStatus(const StatusSource &source) {
  NodeStatus status;
  status.run = source.run;
  status.daemonIsAlive = source.daemonIsAlive;
  status.daemonIsStopped = source.daemonIsStopped;
  status.nowNs = source.nowNs;
  status.startup = startupStateOf(source);
  status.startupMs = source.startup ? source.startup->lengthNs / NS_PER_MS : 0;
  status.awaited = awaitedNow(source);
  status.skipped = source.plan.skipped;
  status.definitionFile = source.plan.definitionFile;
  Matching matching(source.plan);
  for (const EuRecord &eu : source.eus)
    status.programs.push_back(programOf(source, eu, matching.take(eu)));
  const bool mayStillStart = status.startup == StartupState::GOING_ON && status.skipped == SkipReason::NONE;
  for (const PlannedProgram *planned : matching.rest()) {
    status.programs.push_back(
        programWithoutEu(*planned, mayStillStart ? ProgramState::WAITS_FOR_TURN : ProgramState::SKIPPED));
  }
  for (const ProgramStatus &program : status.programs) {
    if (program.kind == ProgramStatus::Kind::OTHER || program.state == ProgramState::SKIPPED) continue;
    ++status.planned;
    if (isPast(status, program)) ++status.started;
  }
  return status;
}

}  // namespace orv
