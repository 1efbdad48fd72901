#include "WhyCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "Clock.h"
#include "Suggestion.h"
#include "Words.h"

namespace orv {
namespace {

constexpr size_t LAST_LINES = 10;

bool isOfThisRun(const StatusSource &source, const Tag &tag) {
  return source.run && tag.run == source.run->number;
}

void takeTags(const StatusSource &source, WhyFacts &facts) {
  const ProgramStatus &program = facts.program;
  const auto isSomebodysOnlineTag = [&](const std::string &name) {
    return std::any_of(facts.node.programs.begin(), facts.node.programs.end(),
                       [&](const ProgramStatus &each) { return each.onlineTag == name; });
  };
  for (const Tag &tag : source.tags) {
    if (!isOfThisRun(source, tag)) continue;
    if (tag.name == program.onlineTag) {
      facts.onlineTag = tag;
      continue;
    }
    if (tag.setter.euName == program.name) facts.ownTags.push_back(tag);
    if (!program.onlineTag.empty() && isNearMiss(tag.name, program.onlineTag) && !isSomebodysOnlineTag(tag.name)) {
      facts.nearMisses.push_back(tag);
    }
  }
}

void takeStartup(const StatusSource &source, WhyFacts &facts) {
  if (!source.startup || facts.program.euId == 0) return;
  for (const StartupProgram &each : source.startup->programs) {
    if (each.euId != facts.program.euId) continue;
    facts.wait = each.wait;
    facts.launchFailure = each.failure;
    if (facts.onlineTag && each.startedNs && source.run) {
      const uint64_t startedNs = source.run->startedNs + *each.startedNs;
      // A tag that was there before the program took no time.
      facts.onlineAfterMs = facts.onlineTag->setNs > startedNs ? (facts.onlineTag->setNs - startedNs) / NS_PER_MS : 0;
    }
  }
}

void takeOutput(const NodeStore &store, WhyFacts &facts) {
  if (facts.program.euId == 0) return;
  ProgramOutput output = store.output(facts.program.euId);
  std::vector<OutputLine> lines = std::move(output.first);
  lines.insert(lines.end(), output.last.begin(), output.last.end());
  const size_t count = std::min(lines.size(), LAST_LINES);
  for (size_t i = lines.size() - count; i < lines.size(); ++i)
    facts.lastLines.push_back(lines[i].text);
}

// A process of the EU that is there now and not another one with its number.
void takeProcess(const StatusSource &source, WhyFacts &facts) {
  const ProgramStatus &program = facts.program;
  const bool mayRun = program.state == ProgramState::AWAITING_TAG || program.state == ProgramState::LATE ||
                      program.state == ProgramState::ONLINE || program.state == ProgramState::RUNNING;
  if (mayRun && source.daemonIsAlive) facts.process = processDetails(program.pid);
}

std::string baseName(const std::string &path) {
  return path.substr(path.rfind('/') + 1);
}

// By its name; an executable also by the last part of its path.
const ProgramStatus *findProgram(const NodeStatus &node, const std::string &name) {
  const auto find = [&](auto is) -> const ProgramStatus * {
    const auto found = std::find_if(node.programs.begin(), node.programs.end(), is);
    return found == node.programs.end() ? nullptr : &*found;
  };
  if (const ProgramStatus *found = find([&](const ProgramStatus &each) { return each.name == name; })) return found;
  return find([&](const ProgramStatus &each) {
    return each.kind == ProgramStatus::Kind::EXECUTABLE && baseName(each.path) == name;
  });
}

std::string unknownName(const NodeStatus &node, const std::string &name) {
  std::vector<std::string> known;
  std::string all;
  for (const ProgramStatus &program : node.programs) {
    known.push_back(program.name);
    all += (all.empty() ? "" : ", ") + program.name;
  }
  if (known.empty()) return "there is no program \"" + name + "\": the node has none";
  const std::string near = nearestName(name, known);
  return "there is no program \"" + name + "\" (" + (near.empty() ? "" : "did you mean \"" + near + "\"? ") +
         "there are: " + all + ")";
}

}  // namespace

WhyFacts readWhyFacts(const NodeStore &store, const StatusSource &source, const NodeStatus &node,
                      const ProgramStatus &program) {
  WhyFacts facts;
  facts.node = node;
  facts.program = program;
  takeTags(source, facts);
  takeStartup(source, facts);
  takeOutput(store, facts);
  takeProcess(source, facts);
  return facts;
}

void addWhyOptions(CLI::App &command, WhyArguments &options) {
  command.footer(
      "The likeliest cause in one sentence, then what it was found by: the online tag, the process and its children,\n"
      "the tags that the program has set, and the last lines of its output.\n"
      "\n"
      "Exit codes:\n"
      "  0  nothing is wrong with the program; without NAME: the start-up waits for nobody\n"
      "  1  something is, or there is no such program\n"
      "  2  the command makes no sense\n"
      "  3  the system failed: no node there, no permission");
  command
      .add_option("NAME", options.name,
                  "Name of the application, or path of the executable (else the one that the start-up waits for)")
      ->type_name("");
  command.add_flag("--json", options.json, "As one JSON object");
}

int why(const Arguments &arguments, const WhyArguments &options, std::string &output) {
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  const StatusSource source = readStatusSource(*store);
  const NodeStatus node = nodeStatus(source);
  std::string name = options.name;
  if (name.empty() && node.awaited) name = node.awaited->name;
  if (name.empty()) {
    output += options.json ? "null\n" : "The start-up waits for nobody.\n";
    return EXIT_DONE;
  }
  const ProgramStatus *program = findProgram(node, name);
  if (program == nullptr) {
    complain(unknownName(node, name));
    return EXIT_NO;
  }
  const WhyFacts facts = readWhyFacts(*store, source, node, *program);
  output += options.json ? whyJson(facts) : whyText(facts);
  return causeOf(facts).isWell ? EXIT_DONE : EXIT_NO;
}

}  // namespace orv
