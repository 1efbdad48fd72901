#include "StartupModel.h"

#include <algorithm>
#include <set>
#include <utility>

#include "Clock.h"
#include "DaemonProcessState.h"
#include "StartupBuilder.h"

namespace orv {
namespace {

// The events of one run, where they begin with what is kept of it.
struct RunEvents {
  uint64_t number = 0;
  bool beginningIsLost = false;
  std::vector<Event> events;  // in the order of the store
};

bool isStart(const Event &event) {
  return event.kind == EventKind::RUN_STARTED;
}

// The last run in the store is the latest, and those before it have the numbers before it.
std::vector<RunEvents> runsOf(const StartupSource &source) {
  std::vector<RunEvents> runs;
  if (!source.run) return runs;
  const auto starts = static_cast<uint64_t>(std::count_if(source.events.begin(), source.events.end(), isStart));
  // Number 0 is what happened before any run, and wraps around harmlessly where the store contradicts itself.
  uint64_t number = source.run->number - std::min(source.run->number, starts);
  if (number != 0 || starts == 0) runs.push_back({number, true, {}});
  for (const Event &event : source.events) {
    if (isStart(event)) runs.push_back({++number, false, {}});
    if (!runs.empty()) runs.back().events.push_back(event);
  }
  if (!runs.empty() && runs.front().events.empty() && runs.size() > 1) runs.erase(runs.begin());
  return runs;
}

// The daemon writes its events later than they happen; those of one moment stay in the order of the store.
std::vector<Event> byTime(std::vector<Event> events) {
  std::stable_sort(events.begin(), events.end(),
                   [](const Event &one, const Event &other) { return one.monotonicNs < other.monotonicNs; });
  return events;
}

// What the first event of a run tells of its daemon.
void takeStart(const Event &start, const RunInfo &latest, StartupModel &model) {
  const std::optional<PidText> text = parsePidText(start.text);
  model.daemonPid = text ? text->pid : start.pid;
  // By the clocks of the latest run: later steps of the wall clock do not change the distances.
  model.startedRealtimeNs = latest.startedRealtimeNs + start.monotonicNs - latest.startedNs;
}

void takeLatest(const StartupSource &source, StartupModel &model) {
  model.daemonPid = source.run->daemonPid;
  if (source.run->state != RunState::EARLY) model.nid = source.run->nid;
  model.ceName = source.run->ceName;
  model.startedRealtimeNs = source.run->startedRealtimeNs;
  const bool goesOn = source.daemonIsAlive && source.run->state != RunState::DOWN;
  if (goesOn) model.state = StartupState::GOING_ON;
}

StartupModel modelOf(const StartupSource &source, const RunEvents &run) {
  StartupModel model;
  const bool isLatest = run.number == source.run->number;
  const Event *start = run.beginningIsLost || run.events.empty() ? nullptr : &run.events.front();
  model.run = run.number;
  model.beginningIsLost = run.beginningIsLost;
  model.state = StartupState::INTERRUPTED;
  if (start != nullptr) takeStart(*start, *source.run, model);
  if (isLatest) takeLatest(source, model);
  if (run.beginningIsLost) model.state = StartupState::UNKNOWN;

  uint64_t beganNs = isLatest ? source.run->startedNs : 0;
  if (start != nullptr) beganNs = start->monotonicNs;
  if (beganNs == 0 && !run.events.empty()) beganNs = run.events.front().monotonicNs;
  if (model.state == StartupState::GOING_ON && source.nowNs > beganNs) model.lengthNs = source.nowNs - beganNs;

  std::set<uint32_t> daemonPids;
  if (model.daemonPid != 0) daemonPids.insert(model.daemonPid);
  if (start != nullptr) daemonPids.insert(start->pid);  // who began the run
  StartupBuilder builder(beganNs, std::move(daemonPids));
  for (const Event &event : byTime(run.events))
    builder.add(event);
  if (isLatest) builder.addRecords(source.eus);
  builder.finish(model);
  return model;
}

StartupSource sourceOf(const NodeStore &store) {
  StartupSource source;
  source.run = store.run();
  source.eus = store.eus();
  source.events = store.events();
  source.daemonIsAlive = source.run && daemonIsAlive(*source.run);
  source.nowNs = monotonicNs();
  return source;
}

}  // namespace

std::optional<StartupModel> startupOf(const StartupSource &source, std::optional<uint64_t> run) {
  if (!source.run) return std::nullopt;
  const uint64_t wanted = run.value_or(source.run->number);
  for (const RunEvents &each : runsOf(source)) {
    if (each.number == wanted) return modelOf(source, each);
  }
  return std::nullopt;
}

std::optional<StartupModel> readStartup(const NodeStore &store, std::optional<uint64_t> run) {
  return startupOf(sourceOf(store), run);
}

std::vector<uint64_t> recordedRuns(const NodeStore &store) {
  std::vector<uint64_t> numbers;
  for (const RunEvents &run : runsOf(sourceOf(store)))
    numbers.push_back(run.number);
  return numbers;
}

}  // namespace orv
