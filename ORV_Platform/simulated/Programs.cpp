#include "Programs.h"

#include <algorithm>
#include <cstring>

#include "Simulation.h"

namespace orv::sim {
namespace {

const ProgramBehaviour RUNS_ON;

std::string endText(int32_t waitStatus) {
  const int32_t signalNumber = waitStatus & 0x7f;
  if (signalNumber == 0) return "exit code " + std::to_string((waitStatus >> 8) & 0xff);
  if (signalNumber == 0x7f) return "stopped by signal " + std::to_string((waitStatus >> 8) & 0xff);
  return "signal " + std::to_string(signalNumber);
}

}  // namespace

void Programs::begin() {
  shuttingDown_ = false;
  programs_.clear();
  starts_.clear();
}

const ProgramBehaviour &Programs::behaviourOf(const std::string &path, const std::string &args) {
  const uint32_t start = ++starts_[path];
  for (const ProgramBehaviour &behaviour : simulation_.scenario().programs) {
    if (behaviour.path != path || (behaviour.args && *behaviour.args != args)) continue;
    if (behaviour.start == 0 || behaviour.start == start) return behaviour;
  }
  return RUNS_ON;
}

void Programs::schedule(Program &program) {
  Scheduler &scheduler = simulation_.scheduler();
  const uint64_t startMs = scheduler.nowMs();
  for (const TimedTag &tag : program.behaviour->sets) {
    scheduler.at(startMs + tag.afterMs, [this, &program, &tag] {
      if (!program.runs) return;
      simulation_.recordNode(program.text + " sets tag " + quoted(tag.name) + " = " + tagText(tag.value));
      simulation_.setTag(tag.name, tag.value);
    });
  }
  if (!program.behaviour->runsForMs) return;
  scheduler.at(startMs + *program.behaviour->runsForMs, [this, &program] {
    if (!program.runs || shuttingDown_) return;
    program.runs = false;
    simulation_.recordNode(program.text + " ends: " + endText(program.behaviour->waitStatus));
    simulation_.scheduler().wake(*program.unit, 0);
  });
}

int32_t Programs::run(const std::string &path, const std::string &args, int32_t &waitStatus) {
  Scheduler &scheduler = simulation_.scheduler();
  if (shuttingDown_) scheduler.wait();  // the shutdown comes before the program, which is never started
  const ProgramBehaviour &behaviour = behaviourOf(path, args);
  if (behaviour.launchFailure != 0) return behaviour.launchFailure;
  auto owned = std::make_unique<Program>();
  Program &program = *owned;
  programs_.push_back(std::move(owned));
  program.behaviour = &behaviour;
  program.unit = &scheduler.current();
  program.text = "program " + quoted(path) + " under EU " + std::to_string(program.unit->id);
  schedule(program);
  scheduler.wait();
  if (behaviour.waitStatusWritten) waitStatus = behaviour.waitStatus;
  return behaviour.result.value_or(behaviour.waitStatus == 0 ? 0 : 5);
}

void Programs::endAll() {
  shuttingDown_ = true;
  Scheduler &scheduler = simulation_.scheduler();
  const uint64_t graceMs = simulation_.scenario().graceTimeMs;
  uint64_t lastMs = 0;
  for (const auto &owned : programs_) {
    Program &program = *owned;
    if (!program.runs) continue;
    const bool killed = program.behaviour->endsAfterSigtermMs > graceMs;
    const uint64_t delayMs = std::min(program.behaviour->endsAfterSigtermMs, graceMs);
    lastMs = std::max(lastMs, delayMs);
    scheduler.at(scheduler.nowMs() + delayMs, [this, &program, killed] {
      program.runs = false;
      simulation_.recordNode(program.text + (killed ? " is killed by the shutdown" : " ends with the shutdown"));
    });
  }
  // One turn later than the last of them: events of one time fire in any order.
  while (std::any_of(programs_.begin(), programs_.end(), [](const auto &program) { return program->runs; })) {
    scheduler.sleep(lastMs);
    lastMs = 0;
  }
}

}  // namespace orv::sim
