#include "DefinitionScenario.h"

#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>

#include "DefinitionTable.h"
#include "ScenarioWords.h"
#include "Suggestion.h"
#include "Utf8.h"

namespace orv::rehearsal {
namespace {

constexpr const char *WATCHDOG_TAG = "orv.service.aapro.watchdog_enabled";
constexpr uint64_t ONLINE_AFTER_MS = 1000;
constexpr int32_t CRASH_STATUS = 1 << 8;

// An application and what goes wrong with it.
struct Application {
  AppExeDef definition{};
  bool fails = false;
  std::optional<uint64_t> onlineAfterMs = ONLINE_AFTER_MS;  // without: never
  bool isLate = false;
  std::optional<uint64_t> crashesAfterMs;
};

std::vector<Application> applicationsOf(const std::string &definitions) {
  const auto table = readDefinitions(definitions);
  std::vector<Application> applications(table->count);
  for (size_t i = 0; i < applications.size(); ++i)
    applications[i].definition = table->definitions[i];
  return applications;
}

class FaultPlanner {
 public:
  FaultPlanner(std::vector<Application> &applications, const std::string &fileName, std::string &problem)
      : applications_(applications), fileName_(fileName), problem_(problem) {}

  bool fail(const std::string &name) {
    return each("--fail", name, [this](Application &application, const std::string &what) {
      if (application.fails) return refuse(what + " twice");
      application.fails = true;
      return true;
    });
  }

  bool late(const std::string &fault) {
    std::string name;
    std::optional<uint64_t> afterMs;
    if (!split("--late", fault, true, name, afterMs)) return false;
    return each("--late", name, [this, afterMs](Application &application, const std::string &what) {
      if (application.isLate) return refuse(what + " twice");
      if (application.definition.onlineTag[0] == '\0')
        return refuse(what + ", which has no online tag to be late with");
      application.isLate = true;
      application.onlineAfterMs = afterMs;
      return true;
    });
  }

  bool crash(const std::string &fault) {
    std::string name;
    std::optional<uint64_t> afterMs;
    if (!split("--crash", fault, false, name, afterMs)) return false;
    return each("--crash", name, [this, afterMs](Application &application, const std::string &what) {
      if (application.crashesAfterMs) return refuse(what + " twice");
      application.crashesAfterMs = afterMs;
      return true;
    });
  }

  // What cannot be started is neither late nor does it crash.
  bool agree() {
    for (const Application &application : applications_) {
      if (!application.fails || (!application.isLate && !application.crashesAfterMs)) continue;
      return refuse(std::string("application \"") + application.definition.name +
                    "\" cannot be started with --fail and " + (application.isLate ? "be late" : "crash") +
                    " as well (name one of the two)");
    }
    return true;
  }

 private:
  bool refuse(const std::string &problem) {
    problem_ = problem;
    return false;
  }

  // NAME=TIME; the name may have "=" in it.
  bool split(const std::string &option, const std::string &fault, bool orNever, std::string &name,
             std::optional<uint64_t> &afterMs) {
    const size_t end = fault.rfind('=');
    const std::string expected = orNever ? "NAME=SECONDS or NAME=never" : "NAME=SECONDS";
    if (end == std::string::npos) return refuse(option + " \"" + fault + "\" has no time (write " + expected + ")");
    name = fault.substr(0, end);
    std::string time = fault.substr(end + 1);
    if (orNever && time == sim::NEVER) return true;
    if (time.find_first_not_of("0123456789.") == std::string::npos) time += "s";
    std::string reason;
    afterMs = sim::parseDuration(time, reason);
    return afterMs || refuse(option + " \"" + fault + "\" has a time that " + reason);
  }

  // Does the same to every application of that name.
  template <typename Action>
  bool each(const std::string &option, const std::string &name, Action action) {
    bool found = false;
    std::vector<std::string> names;
    for (Application &application : applications_) {
      names.emplace_back(application.definition.name);
      if (name != application.definition.name) continue;
      found = true;
      const std::string what = option + " names application \"" + name + "\"";
      if (application.definition.path[0] == '\0') return refuse(what + ", which has no path and is never started");
      if (!action(application, what)) return false;
    }
    if (found) return true;
    const std::string near = nearestName(name, names);
    return refuse("there is no application \"" + name + "\" in " + fileName_ +
                  (near.empty() ? "" : " (did you mean \"" + near + "\"?)"));
  }

  std::vector<Application> &applications_;
  const std::string &fileName_;
  std::string &problem_;
};

bool plan(std::vector<Application> &applications, const std::string &fileName, const Faults &faults,
          std::string &problem) {
  FaultPlanner planner(applications, fileName, problem);
  for (const std::string &fault : faults.fail)
    if (!planner.fail(fault)) return false;
  for (const std::string &fault : faults.late)
    if (!planner.late(fault)) return false;
  for (const std::string &fault : faults.crash)
    if (!planner.crash(fault)) return false;
  return planner.agree();
}

sim::ProgramBehaviour behaviourOf(const Application &application) {
  sim::ProgramBehaviour program;
  program.path = application.definition.path;
  program.args = application.definition.args;
  if (application.fails) program.launchFailure = ENOENT;
  if (application.crashesAfterMs) {
    program.runsForMs = application.crashesAfterMs;
    program.waitStatus = CRASH_STATUS;
  }
  const bool comesOnline = application.definition.onlineTag[0] != '\0' && application.onlineAfterMs &&
                           !application.fails &&
                           (!application.crashesAfterMs || *application.crashesAfterMs > *application.onlineAfterMs);
  if (comesOnline) program.sets.push_back({application.definition.onlineTag, {}, *application.onlineAfterMs});
  return program;
}

// A scenario is a text, and a path that changed on its way there would be that of another program.
bool isText(const AppExeDef &definition) {
  return isUtf8(definition.path) && isUtf8(definition.args) && isUtf8(definition.onlineTag);
}

// Applications that run the same command are told apart by the order of their starts, which is that of the file.
void numberStarts(std::vector<sim::ProgramBehaviour> &programs) {
  std::map<std::string, uint32_t> starts;
  std::map<std::pair<std::string, std::string>, uint32_t> same;
  for (const sim::ProgramBehaviour &program : programs)
    ++same[{program.path, *program.args}];
  for (sim::ProgramBehaviour &program : programs) {
    const uint32_t start = ++starts[program.path];
    if (same[{program.path, *program.args}] > 1) program.start = start;
  }
}

}  // namespace

bool makeScenario(const std::string &definitions, const std::string &fileName, const Faults &faults,
                  sim::Scenario &scenario, std::string &problem) {
  std::vector<Application> applications = applicationsOf(definitions);
  if (!plan(applications, fileName, faults, problem)) return false;
  scenario = {};
  scenario.files[DEFAULT_DEFINITION_FILE] = definitions;
  if (faults.watchdog) scenario.tags[WATCHDOG_TAG] = {};
  for (const Application &application : applications) {
    if (application.definition.path[0] == '\0') continue;
    if (!isText(application.definition)) {
      problem = fileName + ": application \"" + application.definition.name +
                "\" has a path, arguments or a tag that is not UTF-8 (a scenario cannot hold it)";
      return false;
    }
    scenario.programs.push_back(behaviourOf(application));
  }
  numberStarts(scenario.programs);
  return true;
}

}  // namespace orv::rehearsal
