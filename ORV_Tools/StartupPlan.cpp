#include "StartupPlan.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "Applications.h"
#include "DefinitionTable.h"
#include "RegularFile.h"
#include "StartupTexts.h"

namespace orv {
namespace {

// Many times as long as what the daemon reads of it.
constexpr size_t MAX_FILE_LENGTH = size_t{1} << 20;

// From the beginning of the latest run on, or all where the ring has forgotten it.
std::vector<Event>::const_iterator latestRun(const std::vector<Event> &events) {
  const auto last = std::find_if(events.rbegin(), events.rend(),
                                 [](const Event &event) { return event.kind == EventKind::RUN_STARTED; });
  return last == events.rend() ? events.begin() : last.base();
}

struct SkipWords {
  SkipReason reason;
  const char *name;
  std::string_view line;  // that the daemon logs; its texts are an interface
  const char *text;
};

constexpr SkipWords SKIP_WORDS[] = {
    {SkipReason::UNGRACEFUL, "ungraceful_shutdowns",
     "ceInternalStartup: ungraceful shutdown, application start-up disabled",
     "applications are skipped, since the run record counts ungraceful shutdowns (orvctl ungraceful --clear and a "
     "restart start them again)"},
    {SkipReason::REPAIR, "repair", "appStart: repair/reset tag set, application start-up disabled",
     "applications are skipped, since sys.repair.center.reset or sys.configuration.reset is set (unset it and restart "
     "the node)"},
    {SkipReason::EXECUTABLES_FAILED, "executables_failed",
     "ceInternalStartup: executable start-up failed, application start-up skipped",
     "applications are skipped, since the executables did not all come online"},
    {SkipReason::NO_DEFINITIONS, "no_definitions", "parseAppExeDefFile: application definition file inaccessible",
     "there are no applications, since the definition file cannot be read: "},
};

const SkipWords *wordsOf(SkipReason reason) {
  const auto *found = std::find_if(std::begin(SKIP_WORDS), std::end(SKIP_WORDS),
                                   [reason](const SkipWords &words) { return words.reason == reason; });
  return found == std::end(SKIP_WORDS) ? nullptr : found;
}

}  // namespace

std::string definitionFileOf(const NodeStore &store) {
  const std::optional<Tag> tag = store.tag(FILE_NAME_TAG);
  return tag && tag->value.type == TagType::STRING ? tag->value.text : DEFAULT_DEFINITION_FILE;
}

std::vector<PlannedProgram> plannedApplications(const std::string &text) {
  const auto table = readDefinitions(text);
  std::vector<PlannedProgram> programs;
  for (unsigned i = 0; i < table->count; ++i) {
    const AppExeDef &definition = table->definitions[i];
    if (definition.path[0] == '\0') continue;
    programs.push_back({true, definition.name, definition.path, definition.args,
                        static_cast<uint32_t>(definition.supervisionFlags), definition.onlineTag});
  }
  return programs;
}

std::vector<PlannedProgram> loggedExecutables(const std::vector<Event> &events) {
  std::vector<PlannedProgram> programs;
  std::for_each(latestRun(events), events.end(), [&](const Event &event) {
    if (event.kind != EventKind::LOG) return;
    const std::optional<std::string_view> line = daemonLine(event.text);
    const std::optional<ExecutableTag> found = line ? parseExecutableTag(*line) : std::nullopt;
    if (!found) return;
    PlannedProgram program;
    program.name = program.path = found->path;
    program.onlineTag = found->tag;
    programs.push_back(std::move(program));
  });
  return programs;
}

SkipReason loggedSkipReason(const std::vector<Event> &events) {
  for (auto event = latestRun(events); event != events.end(); ++event) {
    if (event->kind != EventKind::LOG) continue;
    const auto *words = std::find_if(std::begin(SKIP_WORDS), std::end(SKIP_WORDS),
                                     [&](const SkipWords &each) { return event->text.ends_with(each.line); });
    if (words != std::end(SKIP_WORDS)) return words->reason;
  }
  return SkipReason::NONE;
}

StartupPlan readStartupPlan(const NodeStore &store, const std::vector<Event> &events) {
  StartupPlan plan;
  plan.programs = loggedExecutables(events);
  plan.skipped = loggedSkipReason(events);
  plan.definitionFile = definitionFileOf(store);
  if (std::string text; readRegularFile(plan.definitionFile, MAX_FILE_LENGTH, text).ok()) {
    const std::vector<PlannedProgram> applications = plannedApplications(text);
    plan.programs.insert(plan.programs.end(), applications.begin(), applications.end());
  }
  return plan;
}

std::string skipText(SkipReason reason, const std::string &definitionFile) {
  const SkipWords *words = wordsOf(reason);
  if (words == nullptr) return "";
  return words->text + (reason == SkipReason::NO_DEFINITIONS ? definitionFile : "");
}

const char *skipName(SkipReason reason) {
  const SkipWords *words = wordsOf(reason);
  return words == nullptr ? nullptr : words->name;
}

}  // namespace orv
