#include "StartupStage.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Clock.h"
#include "ExecutionUnits.h"
#include "ServiceManager.h"
#include "StoreWriter.h"

namespace orv {
namespace {

// The daemon writes this line at the end of its start-up whatever became of it.
constexpr std::string_view START_UP_COMPLETE = "ceInternalStartup: CE start-up complete";

struct CreatedEu {
  uint32_t id = 0;
  std::string name;
  std::string argument;  // see withoutGaps
};

// What the EU of the start-up remembers. It alone has one.
struct StartupMemory {
  std::vector<CreatedEu> created;
  std::string askedTag;
  unsigned timesAsked = 0;    // in a row
  uint64_t firstAskedNs = 0;  // CLOCK_MONOTONIC
  std::optional<Event> wait;  // as it began; nothing: none is under way
  Awaited awaited;
};

thread_local StartupMemory *gMemory = nullptr;

struct Stage {
  std::mutex mutex;
  std::string text;
  bool expectsStartupEu = false;
};

Stage &stage() {
  static auto *theStage = new Stage;
  return *theStage;
}

// A notice is made of lines, and so is a story.
std::string onOneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  return text;
}

void setStage(const std::string &text, const std::string &notice) {
  {
    const std::lock_guard lock(stage().mutex);
    stage().text = text;
  }
  tellServiceManager(notice);
}

void setStage(const std::string &text) {
  setStage(text, "STATUS=" + text);
}

// `argument` with one zero byte for each row of them: an argument block is texts with much room behind each, and there
// may be many blocks.
std::string withoutGaps(std::string_view argument) {
  std::string text;
  std::unique_copy(argument.begin(), argument.end(), std::back_inserter(text),
                   [](char one, char next) { return one == '\0' && next == '\0'; });
  text.shrink_to_fit();
  return text;
}

// True when `argument` has `tag` as a whole text of its own.
bool holds(const std::string &argument, const std::string &tag) {
  const std::string text = tag + '\0';
  for (size_t at = argument.find(text); at != std::string::npos; at = argument.find(text, at + 1)) {
    if (at == 0 || static_cast<unsigned char>(argument[at - 1]) <= ' ') return true;
  }
  return false;
}

CreatedEu applicationOf(const StartupMemory &memory) {
  if (memory.created.empty()) return {};
  const auto found = std::find_if(memory.created.rbegin(), memory.created.rend(),
                                  [&](const CreatedEu &eu) { return holds(eu.argument, memory.askedTag); });
  return found == memory.created.rend() ? memory.created.back() : *found;
}

void beginWait(StartupMemory &memory) {
  const CreatedEu application = applicationOf(memory);
  memory.awaited = {application.name, memory.askedTag};
  Event event;
  event.kind = EventKind::WAIT_BEGAN;
  event.monotonicNs = memory.firstAskedNs;
  event.euId = application.id;
  event.text = (application.name.empty() ? "" : application.name + " ") + "(tag " + memory.askedTag + ")";
  recordEvent(event);
  memory.wait = std::move(event);
}

// What is asked for next is asked for the first time, be it the same tag.
void endWait(StartupMemory &memory, WaitOutcome outcome) {
  Event event = *std::exchange(memory.wait, std::nullopt);
  event.kind = EventKind::WAIT_ENDED;
  event.monotonicNs = 0;
  event.code = static_cast<uint32_t>(outcome);
  recordEvent(std::move(event));
  memory.askedTag.clear();
}

}  // namespace

void beginStartup() {
  {
    const std::lock_guard lock(stage().mutex);
    stage().expectsStartupEu = true;
  }
  setStage("starting");
}

bool isStartupToBe(bool joinable) {
  if (!joinable) return false;
  const std::lock_guard lock(stage().mutex);
  const bool is = stage().expectsStartupEu;
  stage().expectsStartupEu = false;
  return is;
}

void noteEuCreated(uint32_t id, const std::string &name, std::string_view argument) {
  if (gMemory != nullptr) gMemory->created.push_back({id, name, withoutGaps(argument)});
}

void enterStartupEu() {
  gMemory = new StartupMemory;
}

void leaveStartupEu() {
  delete gMemory;
  gMemory = nullptr;
}

bool inStartupEu() {
  return gMemory != nullptr;
}

void noteTagAsked(const char *name, bool isSet) {
  StartupMemory &memory = *gMemory;
  if (memory.askedTag != name) {
    memory.askedTag = name;
    memory.timesAsked = 0;
    memory.firstAskedNs = monotonicNs();
  }
  ++memory.timesAsked;
  if (memory.timesAsked == 2) {
    beginWait(memory);
    if (!isSet) setStage(onOneLine("waiting for " + memory.wait->text));
  }
  if (!isSet) return;
  if (memory.awaited.tag == memory.askedTag) memory.awaited = {};
  if (memory.wait) endWait(memory, WaitOutcome::ONLINE);
}

void noteLogLine(std::string_view text) {
  // Who waits for a tag says nothing until it is set.
  if (gMemory->wait) endWait(*gMemory, WaitOutcome::TIMED_OUT);
  if (!text.ends_with(START_UP_COMPLETE)) return;
  recordEvent(EventKind::STARTUP_COMPLETE, "");
  *gMemory = {};
  setStage("running");
}

void endStartup() {
  setStage("stopping", "STOPPING=1");
}

std::string startupStage() {
  const std::lock_guard lock(stage().mutex);
  return stage().text;
}

Awaited awaitedInVain() {
  return gMemory == nullptr ? Awaited{} : gMemory->awaited;
}

}  // namespace orv
