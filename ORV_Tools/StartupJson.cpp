// Writes and reads a start-up as JSON. The names of the fields are an interface: docs/orvctl-json.md.
#include <nlohmann/json.hpp>

#include <iterator>
#include <limits>

#include "Json.h"
#include "StartupModel.h"

namespace orv {
namespace {

using nlohmann::json;

constexpr const char *FORMAT = "orv-start-up";
constexpr uint64_t VERSION = 1;

// A century and a half in nanoseconds: no start-up is longer, and sums of two times cannot overflow.
constexpr uint64_t MAX_TIME_NS = uint64_t{1} << 62;

// The daemon starts up to 67. What is far beyond that is none of its start-ups, and nothing to draw.
constexpr size_t MAX_PROGRAMS = 1000;
constexpr size_t MAX_STEPS = 10 * MAX_PROGRAMS;
constexpr size_t MAX_MARKS = 100'000;  // as many events as a store keeps at most

// The names of the enumerations' values, from the first on.
constexpr const char *STARTUP_STATES[] = {"complete", "going_on", "interrupted", "unknown"};
static_assert(std::size(STARTUP_STATES) == static_cast<size_t>(StartupState::UNKNOWN) + 1);
constexpr const char *WAIT_STATES[] = {"online", "timed_out", "still_waiting"};
static_assert(std::size(WAIT_STATES) == static_cast<size_t>(WaitState::STILL_WAITING) + 1);
constexpr const char *MARK_KINDS[] = {"error_raised", "reset_requested", "reset_held"};
static_assert(std::size(MARK_KINDS) == static_cast<size_t>(MarkKind::RESET_HELD) + 1);
constexpr const char *EU_STATES[] = {"created", "running", "ended", "launch_failed", "shut_down"};
static_assert(std::size(EU_STATES) == static_cast<size_t>(EuState::SHUT_DOWN));
constexpr size_t FIRST_EU_STATE = static_cast<size_t>(EuState::CREATED);

std::string waitJson(const std::optional<StartupWait> &wait) {
  if (!wait) return "null";
  JsonObject object;
  object.text("tag", wait->tag).number("began_ns", wait->beganNs).numberOrNull("ended_ns", wait->endedNs);
  object.text("state", waitStateName(wait->state)).number("budget_ms", wait->budgetMs);
  return object.str();
}

std::string programJson(const StartupProgram &program) {
  JsonObject object;
  object.number("eu_id", program.euId).text("name", program.name).text("path", program.path);
  object.text("args", program.args).number("supervision_flags", program.supervisionFlags);
  object.number("pid", program.pid);
  object.text("state", EU_STATES[static_cast<size_t>(program.state) - FIRST_EU_STATE]);
  object.raw("wait_status", std::to_string(program.waitStatus)).text("failure", program.failure);
  object.number("created_ns", program.createdNs).numberOrNull("started_ns", program.startedNs);
  object.numberOrNull("ready_ns", program.readyNs).numberOrNull("ended_ns", program.endedNs);
  object.raw("wait", waitJson(program.wait)).number("delay_ns", program.delayNs);
  return object.str();
}

std::string markJson(const StartupMark &mark) {
  JsonObject object;
  object.text("kind", MARK_KINDS[static_cast<size_t>(mark.kind)]).number("at_ns", mark.atNs);
  object.numberOrNull("program", mark.program).number("code", mark.code).text("text", mark.text);
  return object.str();
}

std::string stepJson(const StartupStep &step) {
  JsonObject object;
  object.numberOrNull("program", step.program).number("began_ns", step.beganNs).number("ended_ns", step.endedNs);
  return object.str();
}

// Reads fields of an object; the first thing that is wrong stays in `problem`, and everything after it is left alone.
class Fields {
 public:
  Fields(const json &object, std::string where, std::string &problem)
      : object_(object), where_(std::move(where)), problem_(problem) {
    if (!object.is_object()) complain("", "an object");
  }

  template <typename Number>
  void number(const char *name, Number &value, uint64_t limit = std::numeric_limits<Number>::max()) {
    const json *field = find(name);
    if (field == nullptr) return;
    if (!field->is_number_unsigned() || field->get<uint64_t>() > limit) return complain(name, "a number in its range");
    value = static_cast<Number>(field->get<uint64_t>());
  }
  template <typename Number>
  void number(const char *name, std::optional<Number> &value, uint64_t limit = std::numeric_limits<Number>::max()) {
    if (isNull(name)) return;
    Number own = 0;
    number(name, own, limit);
    value = own;
  }
  template <typename Time>
  void time(const char *name, Time &value) {
    number(name, value, MAX_TIME_NS);
  }
  void signedNumber(const char *name, int32_t &value) {
    const json *field = find(name);
    if (field == nullptr) return;
    if (!field->is_number_integer()) return complain(name, "a whole number");
    const auto number = field->get<int64_t>();
    if (number < std::numeric_limits<int32_t>::min() || number > std::numeric_limits<int32_t>::max() ||
        (field->is_number_unsigned() && field->get<uint64_t>() > std::numeric_limits<int32_t>::max())) {
      return complain(name, "a number in its range");
    }
    value = static_cast<int32_t>(number);
  }
  void text(const char *name, std::string &value) {
    const json *field = find(name);
    if (field == nullptr) return;
    if (!field->is_string()) return complain(name, "a text");
    value = field->get<std::string>();
  }
  void flag(const char *name, bool &value) {
    const json *field = find(name);
    if (field == nullptr) return;
    if (!field->is_boolean()) return complain(name, "true or false");
    value = field->get<bool>();
  }
  template <typename Enumeration, size_t COUNT>
  void word(const char *name, const char *const (&words)[COUNT], Enumeration &value, size_t first = 0) {
    std::string own;
    text(name, own);
    for (size_t i = 0; i < COUNT; ++i) {
      if (own == words[i]) {
        value = static_cast<Enumeration>(i + first);
        return;
      }
    }
    complain(name, "one of the words that are known");
  }
  bool isNull(const char *name) {
    const json *field = find(name);
    return field == nullptr || field->is_null();
  }
  // Calls `take` with the fields of each object of a list.
  template <typename Take>
  void list(const char *name, size_t limit, Take take) {
    const json *field = find(name);
    if (field == nullptr) return;
    if (!field->is_array() || field->size() > limit) {
      return complain(name, "a list of up to " + std::to_string(limit));
    }
    for (size_t i = 0; i < field->size() && problem_.empty(); ++i)
      take(Fields((*field)[i], where_ + name + "[" + std::to_string(i) + "].", problem_));
  }
  Fields object(const char *name) {
    static const json NOTHING;
    const json *field = find(name);
    return {field == nullptr ? NOTHING : *field, where_ + name + ".", problem_};
  }
  void complain(const std::string &name, const std::string &expected) {
    if (problem_.empty()) problem_ = where_ + name + " is not " + expected;
  }

 private:
  const json *find(const char *name) {
    if (!problem_.empty()) return nullptr;
    const auto field = object_.find(name);
    if (field != object_.end()) return &*field;
    complain(name, "there");
    return nullptr;
  }

  const json &object_;
  std::string where_;
  std::string &problem_;
};

StartupWait waitOf(Fields fields) {
  StartupWait wait;
  fields.text("tag", wait.tag);
  fields.time("began_ns", wait.beganNs);
  fields.time("ended_ns", wait.endedNs);
  fields.word("state", WAIT_STATES, wait.state);
  fields.number("budget_ms", wait.budgetMs);
  const bool hasEnded = wait.state != WaitState::STILL_WAITING;
  if (hasEnded != wait.endedNs.has_value()) fields.complain("ended_ns", "as its state says");
  if (wait.endedNs && *wait.endedNs < wait.beganNs) fields.complain("ended_ns", "behind began_ns");
  return wait;
}

StartupProgram programOf(Fields fields) {
  StartupProgram program;
  fields.number("eu_id", program.euId);
  fields.text("name", program.name);
  fields.text("path", program.path);
  fields.text("args", program.args);
  fields.number("supervision_flags", program.supervisionFlags);
  fields.number("pid", program.pid);
  fields.word("state", EU_STATES, program.state, FIRST_EU_STATE);
  fields.signedNumber("wait_status", program.waitStatus);
  fields.text("failure", program.failure);
  fields.time("created_ns", program.createdNs);
  fields.time("started_ns", program.startedNs);
  fields.time("ready_ns", program.readyNs);
  fields.time("ended_ns", program.endedNs);
  if (!fields.isNull("wait")) program.wait = waitOf(fields.object("wait"));
  fields.time("delay_ns", program.delayNs);
  return program;
}

StartupMark markOf(Fields fields, size_t programs) {
  StartupMark mark;
  fields.word("kind", MARK_KINDS, mark.kind);
  fields.time("at_ns", mark.atNs);
  fields.number("program", mark.program);
  fields.number("code", mark.code);
  fields.text("text", mark.text);
  if (mark.program && *mark.program >= programs) fields.complain("program", "the place of a program");
  return mark;
}

StartupStep stepOf(Fields fields, size_t programs, uint64_t expectedBeganNs) {
  StartupStep step;
  fields.number("program", step.program);
  fields.time("began_ns", step.beganNs);
  fields.time("ended_ns", step.endedNs);
  if (step.program && *step.program >= programs) fields.complain("program", "the place of a program");
  if (step.beganNs != expectedBeganNs) fields.complain("began_ns", "where the step before it ended");
  if (step.endedNs < step.beganNs) fields.complain("ended_ns", "behind began_ns");
  return step;
}

void checkDelays(Fields &fields, const StartupModel &model) {
  std::vector<uint64_t> delaysNs(model.programs.size());
  for (const StartupStep &step : model.criticalPath) {
    if (step.program) delaysNs[*step.program] += step.endedNs - step.beganNs;
  }
  for (size_t i = 0; i < delaysNs.size(); ++i) {
    if (delaysNs[i] != model.programs[i].delayNs) {
      fields.complain("programs[" + std::to_string(i) + "].delay_ns", "the sum of its steps in critical_path");
    }
  }
}

StartupModel modelOf(Fields fields) {
  StartupModel model;
  std::string format;
  uint64_t version = 0;
  fields.text("format", format);
  if (format != FORMAT) fields.complain("format", std::string("\"") + FORMAT + "\"");
  fields.number("version", version);
  if (version != VERSION) fields.complain("version", std::to_string(VERSION) + ", which is all that is known here");
  fields.number("run", model.run);
  fields.number("daemon_pid", model.daemonPid);
  fields.number("nid", model.nid);
  fields.text("ce_name", model.ceName);
  fields.number("started_realtime_ns", model.startedRealtimeNs);
  fields.word("state", STARTUP_STATES, model.state);
  fields.flag("beginning_is_lost", model.beginningIsLost);
  fields.time("length_ns", model.lengthNs);
  fields.time("daemon_ended_ns", model.daemonEndedNs);
  fields.list("programs", MAX_PROGRAMS, [&](const Fields &each) { model.programs.push_back(programOf(each)); });
  fields.list("marks", MAX_MARKS,
              [&](const Fields &each) { model.marks.push_back(markOf(each, model.programs.size())); });
  uint64_t atNs = 0;
  fields.list("critical_path", MAX_STEPS, [&](const Fields &each) {
    model.criticalPath.push_back(stepOf(each, model.programs.size(), atNs));
    atNs = model.criticalPath.back().endedNs;
  });
  if (atNs != model.lengthNs) fields.complain("critical_path", "as long as length_ns says");
  return model;
}

}  // namespace

const char *startupStateName(StartupState state) {
  return STARTUP_STATES[static_cast<size_t>(state)];
}

const char *waitStateName(WaitState state) {
  return WAIT_STATES[static_cast<size_t>(state)];
}

std::string startupJson(const StartupModel &model) {
  JsonObject object;
  object.text("format", FORMAT).number("version", VERSION).number("run", model.run);
  object.number("daemon_pid", model.daemonPid).numberOrNull("nid", model.nid).text("ce_name", model.ceName);
  object.number("started_realtime_ns", model.startedRealtimeNs);
  object.text("state", startupStateName(model.state));
  object.flag("beginning_is_lost", model.beginningIsLost).number("length_ns", model.lengthNs);
  object.numberOrNull("daemon_ended_ns", model.daemonEndedNs);
  object.raw("programs", jsonLines(model.programs, 4, programJson)).raw("marks", jsonLines(model.marks, 4, markJson));
  object.raw("critical_path", jsonLines(model.criticalPath, 4, stepJson));
  return object.str() + "\n";
}

std::optional<StartupModel> startupFromJson(std::string_view text, std::string &problem) {
  problem.clear();
  const json document = json::parse(text, nullptr, false);
  if (document.is_discarded()) {
    problem = "it is not JSON";
    return std::nullopt;
  }
  Fields fields(document, "", problem);
  if (!document.is_object()) {
    problem = "it is not a JSON object";
    return std::nullopt;
  }
  StartupModel model = modelOf(fields);
  if (problem.empty()) checkDelays(fields, model);
  return problem.empty() ? std::optional(std::move(model)) : std::nullopt;
}

}  // namespace orv
