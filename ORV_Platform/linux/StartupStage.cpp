#include "StartupStage.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <vector>

#include "ServiceManager.h"

namespace orv {
namespace {

// The daemon writes this line at the end of its start-up whatever became of it.
constexpr std::string_view START_UP_COMPLETE = "ceInternalStartup: CE start-up complete";

struct CreatedEu {
  std::string name;
  std::string argument;  // see withoutGaps
};

// What the EU of the start-up remembers. It alone has one.
struct StartupMemory {
  std::vector<CreatedEu> created;
  std::string askedTag;
  unsigned timesAsked = 0;  // in a row
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

std::string applicationOf(const StartupMemory &memory) {
  if (memory.created.empty()) return "";
  const auto found = std::find_if(memory.created.rbegin(), memory.created.rend(),
                                  [&](const CreatedEu &eu) { return holds(eu.argument, memory.askedTag); });
  return found == memory.created.rend() ? memory.created.back().name : found->name;
}

void beginWait(StartupMemory &memory) {
  memory.awaited = {applicationOf(memory), memory.askedTag};
  setStage(onOneLine("waiting for " + (memory.awaited.euName.empty() ? "" : memory.awaited.euName + " ") + "(tag " +
                     memory.askedTag + ")"));
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

void noteEuCreated(const std::string &name, std::string_view argument) {
  if (gMemory != nullptr) gMemory->created.push_back({name, withoutGaps(argument)});
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
  }
  ++memory.timesAsked;
  if (isSet && memory.awaited.tag == memory.askedTag) memory.awaited = {};
  if (memory.timesAsked == 2 && !isSet) beginWait(memory);
}

void noteLogLine(std::string_view text) {
  if (!text.ends_with(START_UP_COMPLETE)) return;
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
