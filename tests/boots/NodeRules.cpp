#include "NodeRules.h"

#include <algorithm>
#include <map>

#include "Trace.h"

namespace boots {
namespace {

using orv::sim::ProgramBehaviour;
using orv::sim::quoted;
using orv::sim::TagType;
using orv::sim::TagValue;

const ProgramBehaviour RUNS_ON;

// A run that is under way, by its EU.
struct Run {
  const ProgramBehaviour *behaviour = nullptr;
  uint64_t startMs = 0;
};

class Judge {
 public:
  Judge(const orv::sim::Scenario &scenario, const std::string &rtConfigFile, Violations &violations)
      : scenario_(scenario), rtConfigFile_(rtConfigFile), violations_(violations) {
    for (const auto &[name, value] : scenario.tags)
      setTag(name, value);
    for (const orv::sim::CallResult &answer : scenario.calls)
      answered_.push_back(answer.call);
  }

  void all(const ReadTrace &trace) {
    wakeMs_.resize(trace.eus.size());
    runs_.resize(trace.eus.size());
    uint64_t nowMs = 0;
    for (at_ = 0; at_ < trace.lines.size(); ++at_) {
      const TraceLine &line = trace.lines[at_];
      if (line.atMs < nowMs) violated(Rule::TIME, "time goes back");
      nowMs = line.atMs;
      if (line.who == Who::EU) {
        awake(line);
        daemonLine(line);
      } else if (line.who == Who::MAIN) {
        daemonLine(line);
      } else if (line.who == Who::NODE) {
        nodeLine(line.text);
      }
    }
  }

 private:
  void violated(Rule rule, const std::string &words) {
    violations_.push_back({rule, at_, words});
  }

  bool isAnswered(std::string_view call) const {
    return std::find(answered_.begin(), answered_.end(), call) != answered_.end();
  }

  void setTag(const std::string &name, const TagValue &value) {
    tags_[name] = value.type == TagType::STRING ? std::optional(value.text) : std::nullopt;
    lastTest_ = {};
  }

  void setFrom(const std::string &configFile) {
    const auto found = scenario_.configFiles.find(configFile);
    if (found == scenario_.configFiles.end()) return;
    for (const auto &[name, value] : found->second)
      setTag(name, value);
  }

  // Whoever has slept goes on at the moment that the sleep ends.
  void awake(const TraceLine &line) {
    std::optional<uint64_t> &wakeMs = wakeMs_[line.eu];
    if (wakeMs && line.atMs != *wakeMs) violated(Rule::TIME, "due at " + std::to_string(*wakeMs) + " ms");
    wakeMs.reset();
  }

  void daemonLine(const TraceLine &line) {
    std::string_view text = line.text;
    if (takeOff(text, "AaConfigTagIsSet(")) return tagTest(text);
    if (takeOff(text, "AaSysTimeSleep(")) return sleep(line, text);
    if (takeOff(text, "AaFileRead(")) return;
    if (takeOff(text, "AaConfigTagSet")) return tagSet(text);
    if (takeOff(text, "AaConfigTagReadFile(")) {
      const auto name = takeQuoted(text);
      if (name && text == ") = 0" && !isAnswered("AaConfigTagReadFile")) setFrom(*name);
    } else if (text == "AaStartupCeStartup() = 0") {
      setFrom(rtConfigFile_);
    } else if (takeOff(text, "AaConfigTagGetString(")) {
      stringRead(text);
    } else if (takeOff(text, "AaConfigRadGetValue(")) {
      radRead(text);
    } else if (takeOff(text, "AaProCmdExec(")) {
      if (line.who == Who::EU) program(line, text);
    }
  }

  // The same test is made again and again, its result mostly as before.
  void tagTest(std::string_view text) {
    if (text == lastTest_ || isAnswered("AaConfigTagIsSet")) return;
    const std::string_view whole = text;
    const auto name = takeQuoted(text);
    const bool set = name && tags_.contains(*name);
    if (text != (set ? ") = 1" : ") = 0")) return violated(Rule::TAG_STORE, set ? "it is set" : "it is not set");
    lastTest_ = whole;
  }

  void tagSet(std::string_view text) {
    const bool isString = takeOff(text, "String(");
    if (!isString && !takeOff(text, "U16(") && !takeOff(text, "U32(")) return;
    const auto name = takeQuoted(text);
    if (!name || !takeOff(text, ", ") || !text.ends_with(") = 0")) return;
    TagValue value;
    if (isString) {
      value.type = TagType::STRING;
      value.text = takeQuoted(text).value_or("");
    }
    setTag(*name, value);
  }

  void stringRead(std::string_view text) {
    if (isAnswered("AaConfigTagGetString")) return;
    const auto found = tags_.find(takeQuoted(text).value_or(""));
    const bool given = takeOff(text, ") = 0, buffer ");
    if (found == tags_.end() || !found->second) {
      if (given) violated(Rule::TAG_STORE, "there is no such text");
    } else if (!given || !text.ends_with(" " + quoted(found->second->c_str()))) {
      violated(Rule::TAG_STORE, "the tag is " + quoted(*found->second));
    }
  }

  void radRead(std::string_view text) {
    if (isAnswered("AaConfigRadGetValue")) return;
    const std::string_view number = text.substr(0, text.find(')'));
    const auto found = scenario_.rad.find(wholeHexadecimal(number).value_or(0));
    const uint32_t value = found == scenario_.rad.end() ? 0 : found->second;
    if (text.substr(number.size()) != ") = " + std::to_string(value))
      violated(Rule::RAD, "it is " + std::to_string(value));
  }

  void sleep(const TraceLine &line, std::string_view text) {
    if (line.who != Who::EU) return violated(Rule::TIME, "only EUs sleep");
    const bool seconds = text == "30, 4) = 0";
    if (!seconds && text != "50, 3) = 0") return;
    wakeMs_[line.eu] = line.atMs + (seconds ? 30000 : 50);
  }

  void program(const TraceLine &line, std::string_view text) {
    const std::string path = takeQuoted(text).value_or("");
    std::optional<Run> &run = runs_[line.eu];
    if (takeOff(text, ") = ")) {
      if (!run) return violated(Rule::PROGRAM, "it was not started");
      programEnds(line, *run, text);
      run.reset();
      return;
    }
    if (!text.ends_with(")") || !takeOff(text, ", ")) return;  // refused
    const std::string args = takeQuoted(text).value_or("");
    const uint32_t start = ++starts_[path];
    run = Run{&RUNS_ON, line.atMs};
    for (const ProgramBehaviour &behaviour : scenario_.programs) {
      if (behaviour.path != path || behaviour.args.value_or(args) != args) continue;
      if (behaviour.start != 0 && behaviour.start != start) continue;
      run->behaviour = &behaviour;
      break;
    }
  }

  void programEnds(const TraceLine &line, const Run &run, std::string_view text) {
    const ProgramBehaviour &behaviour = *run.behaviour;
    int64_t result = behaviour.launchFailure;
    int64_t status = 0;  // what the daemon hands in
    uint64_t endMs = run.startMs;
    if (result == 0) {
      if (!behaviour.runsForMs) return violated(Rule::PROGRAM, "it was to run on");
      endMs += *behaviour.runsForMs;
      result = behaviour.result.value_or(behaviour.waitStatus == 0 ? 0 : 5);
      if (behaviour.waitStatusWritten) status = behaviour.waitStatus;
    }
    const std::string due = std::to_string(result) + ", status " + std::to_string(status);
    if (text != due) violated(Rule::PROGRAM, "due: " + due);
    if (line.atMs != endMs) violated(Rule::PROGRAM, "due at " + std::to_string(endMs) + " ms");
  }

  void nodeLine(std::string_view text) {
    std::string_view rest = text;
    if (takeOff(rest, "tag ")) {
      namedTag(rest);
    } else if (takeOff(rest, "program ") && takeQuoted(rest)) {
      const size_t sets = rest.find(" sets tag ");
      if (sets != std::string_view::npos) namedTag(rest.substr(sets + 10));
    }
  }

  // "NAME" = VALUE...
  void namedTag(std::string_view text) {
    const auto name = takeQuoted(text);
    if (!name || !takeOff(text, " = ")) return;
    TagValue value;
    if (text.starts_with("\"")) {
      value.type = TagType::STRING;
      value.text = takeQuoted(text).value_or("");
    }
    setTag(*name, value);
  }

  const orv::sim::Scenario &scenario_;
  const std::string &rtConfigFile_;
  Violations &violations_;
  std::vector<std::string> answered_;  // calls
  size_t at_ = 0;
  std::map<std::string, std::optional<std::string>> tags_;  // their texts, where they have one
  std::string_view lastTest_;
  std::vector<std::optional<uint64_t>> wakeMs_;  // by EU
  std::vector<std::optional<Run>> runs_;         // by EU
  std::map<std::string, uint32_t> starts_;       // by path
};

}  // namespace

void judgeNode(const orv::sim::Scenario &scenario, const std::string &rtConfigFile, const ReadTrace &trace,
               Violations &violations) {
  Judge(scenario, rtConfigFile, violations).all(trace);
}

}  // namespace boots
