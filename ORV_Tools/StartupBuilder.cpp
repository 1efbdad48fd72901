#include "StartupBuilder.h"

#include <algorithm>

#include "Applications.h"
#include "Executables.h"

namespace orv {
namespace {

// For as long as the daemon does not say otherwise: executables and applications have the same.
constexpr uint64_t USUAL_BUDGET_MS = APP_ONLINE_TIMEOUT_MS;
static_assert(APP_ONLINE_TIMEOUT_MS == EXE_ONLINE_TIMEOUT_MS, "a wait's time-out depends on what is waited for");

}  // namespace

StartupProgram &StartupBuilder::program(uint32_t euId) {
  const auto [entry, isNew] = entries_.try_emplace(euId);
  if (isNew) {
    entry->second.program.euId = euId;
    created_.push_back(euId);
  }
  return entry->second.program;
}

// The daemon makes the EU of its start-up before all others, and it runs no program.
bool StartupBuilder::isStartupEu(uint32_t euId) const {
  if (entries_.empty() || entries_.begin()->first != euId) return false;
  const StartupProgram &own = entries_.begin()->second.program;
  return !own.startedNs && own.state != EuState::LAUNCH_FAILED && !own.wait;
}

void StartupBuilder::add(const Event &event) {
  if (isDaemons(event)) lastOfDaemonNs_ = std::max(lastOfDaemonNs_, since(event.monotonicNs));
  switch (event.kind) {
    case EventKind::TAG_SET:
      tagsSet_.emplace_back(since(event.monotonicNs), event.text);
      return;
    case EventKind::PROGRAM_READY:
      saidReadyNs_.try_emplace(event.euId, since(event.monotonicNs));
      return;
    case EventKind::ERROR_RAISED:
      return addMark(event, MarkKind::ERROR_RAISED);
    case EventKind::RESET_REQUESTED:
      return addMark(event, MarkKind::RESET_REQUESTED);
    case EventKind::RESET_HELD:
      return addMark(event, MarkKind::RESET_HELD);
    default:
      if (isDaemons(event)) addOfDaemon(event);
  }
}

void StartupBuilder::addOfDaemon(const Event &event) {
  switch (event.kind) {
    case EventKind::LOG:
      if (const std::optional<std::string_view> line = daemonLine(event.text)) addLine(event, *line);
      return;
    case EventKind::WAIT_BEGAN:
      return beginWait(event);
    case EventKind::WAIT_ENDED:
      return endWait(event);
    case EventKind::STARTUP_COMPLETE:
      completeNs_ = since(event.monotonicNs);
      return;
    case EventKind::CE_STARTED:
      nid_ = parseNodeId(event.text);
      return;
    case EventKind::CE_STOPPED:
      stoppedNs_ = since(event.monotonicNs);
      return;
    default:
      if (event.euId != 0) addOfEu(event);
  }
}

void StartupBuilder::addOfEu(const Event &event) {
  const uint64_t atNs = since(event.monotonicNs);
  switch (event.kind) {
    case EventKind::EU_CREATED:
      program(event.euId).name = event.text;
      program(event.euId).createdNs = atNs;
      return;
    case EventKind::EU_FINISHED:
      if (const auto entry = entries_.find(event.euId); entry != entries_.end()) entry->second.finished = true;
      return;
    case EventKind::PROGRAM_STARTED:
      if (const std::optional<PidText> text = parsePidText(event.text)) {
        StartupProgram &started = program(event.euId);
        started.state = EuState::RUNNING;
        started.pid = text->pid;
        started.path = text->rest;
        started.startedNs = atNs;
      }
      return;
    case EventKind::PROGRAM_ENDED:
      if (const std::optional<PidText> text = parsePidText(event.text)) {
        StartupProgram &ended = program(event.euId);
        ended.state = EuState::PROGRAM_ENDED;
        ended.pid = text->pid;
        ended.waitStatus = parseWaitStatus(text->rest).value_or(0);
        ended.endedNs = atNs;
      }
      return;
    case EventKind::LAUNCH_FAILED:
      program(event.euId).state = EuState::LAUNCH_FAILED;
      program(event.euId).failure = event.text;
      program(event.euId).endedNs = atNs;
      return;
    default:
      return;
  }
}

void StartupBuilder::addLine(const Event &event, std::string_view line) {
  if (const std::optional<SentinelText> sentinel = parseSentinelText(line)) {
    if (event.euId == 0) return;
    StartupProgram &own = program(event.euId);
    own.path = sentinel->path;
    own.args = sentinel->args;
    own.supervisionFlags = sentinel->supervisionFlags;
  } else if (std::optional<ExecutableTag> executable = parseExecutableTag(line)) {
    executableTags_.push_back(std::move(*executable));
  } else if (std::optional<AskedTag> tag = parseAskedTag(line)) {
    asked_ = std::move(tag);
  } else if (const std::optional<std::string> online = parseTagSetInTime(line)) {
    noteZeroWait(*online, since(event.monotonicNs));
  } else if (line.starts_with("boardReset: ")) {
    prolongTimeOut(event);
  }
}

void StartupBuilder::addMark(const Event &event, MarkKind kind) {
  Mark mark;
  mark.euId = ownerOf(event);
  mark.mark.kind = kind;
  mark.mark.atNs = since(event.monotonicNs);
  mark.mark.code = event.code;
  mark.mark.text = event.text;
  marks_.push_back(std::move(mark));
  if (kind != MarkKind::ERROR_RAISED) prolongTimeOut(event);
}

// What the start-up's own EU says is about the program that it has waited for in vain.
uint32_t StartupBuilder::ownerOf(const Event &event) const {
  if (!isDaemons(event)) {
    const auto entry = std::find_if(entries_.rbegin(), entries_.rend(), [&](const auto &each) {
      return event.pid != 0 && each.second.program.pid == event.pid;
    });
    return entry == entries_.rend() ? 0 : entry->first;
  }
  if (!isStartupEu(event.euId)) return event.euId;
  if (steps_.empty()) return 0;
  const auto entry = entries_.find(steps_.back().euId);
  if (entry == entries_.end() || !entry->second.program.wait) return 0;
  return entry->second.program.wait->state == WaitState::TIMED_OUT ? entry->first : 0;
}

void StartupBuilder::beginWait(const Event &event) {
  if (event.euId == 0) return;  // for nobody that the platform knows: the daemon's own time
  StartupWait wait;
  wait.beganNs = since(event.monotonicNs);
  wait.budgetMs = USUAL_BUDGET_MS;
  StartupProgram &awaited = program(event.euId);
  wait.tag = parseAwaitedTag(event.text, awaited.name).value_or("");
  if (asked_ && asked_->tag == wait.tag) wait.budgetMs = asked_->budgetMs;
  asked_.reset();
  awaited.wait = std::move(wait);
  steps_.push_back({event.euId, since(event.monotonicNs), std::nullopt});
}

void StartupBuilder::endWait(const Event &event) {
  if (event.euId == 0) return;
  StartupProgram &awaited = program(event.euId);
  if (!awaited.wait) {  // its beginning is no longer kept
    awaited.wait = StartupWait{};
    awaited.wait->tag = parseAwaitedTag(event.text, awaited.name).value_or("");
    awaited.wait->budgetMs = USUAL_BUDGET_MS;
    awaited.wait->beganNs = since(event.monotonicNs);
  }
  awaited.wait->endedNs = since(event.monotonicNs);
  awaited.wait->state =
      event.code == static_cast<uint32_t>(WaitOutcome::ONLINE) ? WaitState::ONLINE : WaitState::TIMED_OUT;
  if (!steps_.empty() && steps_.back().euId == event.euId) steps_.back().endedNs = since(event.monotonicNs);
}

// The tag was set when the daemon first asked for it.
void StartupBuilder::noteZeroWait(const std::string &tag, uint64_t atNs) {
  if (!asked_ || asked_->tag != tag) return;
  const uint64_t budgetMs = asked_->budgetMs;
  asked_.reset();
  const auto entry = entries_.find(ownerOfTag(tag));
  if (entry == entries_.end()) return;
  entry->second.program.wait = StartupWait{tag, atNs, atNs, WaitState::ONLINE, budgetMs};
}

// An executable names its tag; an application is waited for as soon as its EU is there.
uint32_t StartupBuilder::ownerOfTag(const std::string &tag) const {
  for (const ExecutableTag &executable : executableTags_) {
    if (executable.tag != tag) continue;
    for (const uint32_t euId : created_) {
      const StartupProgram &candidate = entries_.at(euId).program;
      if (candidate.name == executable.path && !candidate.wait) return euId;
    }
  }
  return created_.empty() ? 0 : created_.back();
}

// After a time-out the start-up asks for a board reset and stands still until that is made or refused.
void StartupBuilder::prolongTimeOut(const Event &event) {
  if (!isStartupEu(event.euId) || steps_.empty() || !steps_.back().endedNs) return;
  const auto entry = entries_.find(steps_.back().euId);
  if (entry == entries_.end() || !entry->second.program.wait) return;
  if (entry->second.program.wait->state == WaitState::TIMED_OUT) steps_.back().endedNs = since(event.monotonicNs);
}

void StartupBuilder::addRecords(const std::vector<EuRecord> &eus) {
  for (const EuRecord &record : eus) {
    const bool isKnown = entries_.contains(record.id);
    StartupProgram &own = program(record.id);
    if (isKnown && !own.name.empty() && own.name != record.name) continue;  // an EU of a program
    own.name = record.name;
    if (!record.path.empty()) {
      own.path = record.path;
      own.args = record.args;
      own.supervisionFlags = record.supervisionFlags;
    }
    own.pid = record.pid;
    own.state = record.state;
    own.waitStatus = record.waitStatus;
    own.createdNs = since(record.createdNs);
    own.startedNs = record.startedNs == 0 ? own.startedNs : since(record.startedNs);
    own.endedNs = record.endedNs == 0 ? own.endedNs : since(record.endedNs);
    entries_[record.id].finished = entries_[record.id].finished || record.finished;
  }
}

// A program that the shutdown has ended does not return to its EU.
void StartupBuilder::takeEnds() {
  const bool shutdownBegan = !entries_.empty() && entries_.begin()->second.finished;
  if (!shutdownBegan || !isStartupEu(entries_.begin()->first)) return;
  for (auto &[euId, entry] : entries_) {
    if (entry.program.state == EuState::PROGRAM_ENDED && !entry.finished) entry.program.state = EuState::SHUT_DOWN;
  }
}

void StartupBuilder::takeReadyTimes() {
  for (auto &[euId, entry] : entries_) {
    StartupProgram &own = entry.program;
    if (!own.wait) {
      const auto said = saidReadyNs_.find(euId);
      if (said != saidReadyNs_.end()) own.readyNs = said->second;
      continue;
    }
    const auto set = std::find_if(tagsSet_.begin(), tagsSet_.end(),
                                  [&](const auto &each) { return isAboutTag(each.second, own.wait->tag); });
    if (set != tagsSet_.end()) own.readyNs = set->first;
  }
}

void StartupBuilder::takePrograms(StartupModel &model) {
  std::stable_sort(created_.begin(), created_.end(), [this](uint32_t one, uint32_t other) {
    return entries_.at(one).program.createdNs < entries_.at(other).program.createdNs;
  });
  for (const uint32_t euId : created_) {
    if (isStartupEu(euId)) continue;
    indices_[euId] = model.programs.size();
    model.programs.push_back(entries_.at(euId).program);
    std::string &name = model.programs.back().name;
    if (name.empty()) name = "EU " + std::to_string(euId);  // the event that names it is no longer kept
  }
  for (const Mark &each : marks_) {
    StartupMark mark = each.mark;
    if (const auto index = indices_.find(each.euId); index != indices_.end()) mark.program = index->second;
    model.marks.push_back(std::move(mark));
  }
}

void StartupBuilder::takeSteps(StartupModel &model) const {
  uint64_t atNs = 0;
  for (const Step &step : steps_) {
    const uint64_t began = std::clamp(step.beganNs, atNs, model.lengthNs);
    const uint64_t ended = std::clamp(step.endedNs.value_or(model.lengthNs), began, model.lengthNs);
    const auto index = indices_.find(step.euId);
    if (index == indices_.end() || began == ended) continue;
    if (atNs != began) model.criticalPath.push_back({std::nullopt, atNs, began});
    model.criticalPath.push_back({index->second, began, ended});
    model.programs[index->second].delayNs += ended - began;
    atNs = ended;
  }
  if (atNs != model.lengthNs) model.criticalPath.push_back({std::nullopt, atNs, model.lengthNs});
}

void StartupBuilder::finish(StartupModel &model) {
  takeEnds();
  takeReadyTimes();
  takePrograms(model);
  model.daemonEndedNs = stoppedNs_;
  if (!model.nid) model.nid = nid_;
  if (completeNs_) {
    model.state = StartupState::COMPLETE;
    model.lengthNs = *completeNs_;
  } else if (model.state != StartupState::GOING_ON) {
    model.lengthNs = lastOfDaemonNs_;
  }
  takeSteps(model);
}

}  // namespace orv
