#include <string>
#include <utility>
#include <vector>

#include "Clock.h"
#include "Json.h"
#include "StatusView.h"
#include "TagList.h"
#include "Terminal.h"
#include "Why.h"
#include "Words.h"

namespace orv {
namespace {

constexpr uint64_t MS_PER_S = 1000;

using Rows = std::vector<std::vector<std::string>>;

std::string tagLine(const WhyFacts &facts) {
  const ProgramStatus &program = facts.program;
  if (program.onlineTag.empty()) return "none: nothing waits for it";
  std::string text = "tag " + printable(program.onlineTag);
  if (facts.onlineTag) return text + ", which is set";
  const std::optional<AwaitedNow> &now = facts.node.awaited;
  if (now && now->tag == program.onlineTag && now->name == program.name) {
    return text + " for " + durationText(now->waitedMs / MS_PER_S) + ", another " +
           durationText(now->leftMs / MS_PER_S) + " of " + preciseDurationText(now->budgetMs) + " at most";
  }
  if (facts.wait && facts.wait->state == WaitState::TIMED_OUT) {
    return text + ", which was not set within " + preciseDurationText(facts.wait->budgetMs);
  }
  return text + ", which is not set";
}

std::string processLine(const ProcessDetails &process) {
  std::string text = "pid " + std::to_string(process.pid) + " (" + printable(process.name) + "), " +
                     printable(processStateText(process)) + ", " + preciseDurationText(process.processorMs) +
                     " of processor time in " + preciseDurationText(process.ageMs);
  if (!process.listens.empty()) {
    text += ", listens at ";
    for (size_t i = 0; i < process.listens.size(); ++i)
      text += (i == 0 ? "" : ", ") + printable(process.listens[i]);
  }
  return text;
}

void addProcess(const ProcessDetails &process, const std::string &label, const std::string &indent, Rows &rows) {
  rows.push_back({label, indent + processLine(process)});
  if (!process.stack.empty()) {
    std::string functions;
    for (const std::string &function : process.stack)
      functions += (functions.empty() ? "" : " < ") + printable(function);
    rows.push_back({"", indent + "  in the kernel: " + functions});
  }
  for (const ProcessDetails &child : process.children)
    addProcess(child, &child == &process.children.front() && indent.empty() ? "children" : "", indent + "  ", rows);
}

std::string tagText(const WhyFacts &facts, const Tag &tag) {
  std::string text = printable(tag.name) + " = " + printable(valueText(tag.value));
  if (tag.setter.euName != facts.program.name) {
    text += ", set by " + (tag.setter.euName.empty() ? "pid " + std::to_string(tag.setter.pid)
                                                     : "EU " + printable(tag.setter.euName));
  }
  return isNearMiss(tag.name, facts.program.onlineTag)
             ? text + "  <- did you mean " + printable(facts.program.onlineTag) + "?"
             : text;
}

// The near misses first, each tag once.
std::vector<const Tag *> shownTags(const WhyFacts &facts) {
  std::vector<const Tag *> tags;
  for (const Tag &tag : facts.nearMisses)
    tags.push_back(&tag);
  for (const Tag &tag : facts.ownTags) {
    if (!isNearMiss(tag.name, facts.program.onlineTag)) tags.push_back(&tag);
  }
  return tags;
}

Rows detailRows(const WhyFacts &facts) {
  const ProgramStatus &program = facts.program;
  Rows rows = {{"state", programStateText(program)}, {"awaits", tagLine(facts)}};
  if (!program.path.empty()) {
    rows.push_back({"program", printable(program.args.empty() ? program.path : program.path + " " + program.args)});
  }
  if (!facts.launchFailure.empty()) rows.push_back({"attempt", printable(facts.launchFailure)});
  if (const std::string consequence = consequenceText(program); !consequence.empty()) {
    rows.push_back({"a failure", consequence});
  }
  if (facts.process) addProcess(*facts.process, "process", "", rows);
  const char *label = "has set";
  for (const Tag *tag : shownTags(facts))
    rows.push_back({std::exchange(label, ""), tagText(facts, *tag)});
  label = "output";
  for (const std::string &line : facts.lastLines)
    rows.push_back({std::exchange(label, ""), printable(line)});
  return rows;
}

// --- JSON -----------------------------------------------------------------------------------------------------------

std::string processJson(const ProcessDetails &process) {
  JsonObject object;
  object.number("pid", process.pid).text("name", process.name).text("state", std::string(1, process.state));
  object.number("age_ms", process.ageMs).number("processor_ms", process.processorMs);
  object.textOrNull("wait_channel", process.waitChannel);
  object.raw("stack", jsonArray(process.stack, jsonString)).raw("listens", jsonArray(process.listens, jsonString));
  return object.raw("children", jsonArray(process.children, processJson)).str();
}

std::string tagJson(const WhyFacts &facts, const Tag &tag) {
  JsonObject object;
  object.text("name", tag.name).number("pid", tag.setter.pid);
  object.textOrNull("eu", tag.setter.euName);
  return object.number("set_monotonic_ns", tag.setNs)
      .flag("near_miss", isNearMiss(tag.name, facts.program.onlineTag))
      .str();
}

std::string waitJson(const WhyFacts &facts) {
  if (!facts.wait) return "null";
  JsonObject object;
  object.text("state", waitStateName(facts.wait->state)).number("budget_ms", facts.wait->budgetMs);
  object.number("began_ms", facts.wait->beganNs / NS_PER_MS);
  object.raw("ended_ms", facts.wait->endedNs ? std::to_string(*facts.wait->endedNs / NS_PER_MS) : "null");
  const std::optional<AwaitedNow> &now = facts.node.awaited;
  const bool isNow = now && now->name == facts.program.name && now->tag == facts.program.onlineTag;
  return object.raw("left_ms", isNow ? std::to_string(now->leftMs) : "null").str();
}

}  // namespace

std::string whyText(const WhyFacts &facts) {
  const Cause cause = causeOf(facts);
  const std::string sentence = cause.sentence + ".";
  return coloured(cause.isWell ? Colour::GREEN : Colour::RED, sentence) + "\n\n" + tableText(detailRows(facts));
}

std::string whyJson(const WhyFacts &facts) {
  const Cause cause = causeOf(facts);
  const ProgramStatus &program = facts.program;
  JsonObject object;
  object.text("name", program.name).text("cause", cause.name).text("sentence", cause.sentence);
  object.flag("well", cause.isWell).text("state", programStateName(program.state));
  object.text("path", program.path).text("args", program.args);
  object.textOrNull("online_tag", program.onlineTag);
  object.flag("online_tag_set", facts.onlineTag.has_value());
  object.numberOrNull("online_after_ms", facts.onlineAfterMs);
  object.raw("wait", waitJson(facts)).raw("process", facts.process ? processJson(*facts.process) : "null");
  object.raw("tags", jsonArray(shownTags(facts), [&](const Tag *tag) { return tagJson(facts, *tag); }));
  object.textOrNull("launch_failure", facts.launchFailure);
  return object.raw("last_lines", jsonArray(facts.lastLines, jsonString)).str() + "\n";
}

}  // namespace orv
