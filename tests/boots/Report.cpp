#include "Report.h"

#include <algorithm>

#include "ScenarioText.h"
#include "Trace.h"

namespace boots {
namespace {

constexpr size_t LINES_BEFORE = 6;
constexpr size_t LINES_BEHIND = 2;

void appendLines(std::string &text, const SimulatedBoot &boot, size_t at) {
  const size_t first = at < LINES_BEFORE ? 0 : at - LINES_BEFORE;
  const size_t end = std::min(boot.trace.size(), at + LINES_BEHIND + 1);
  for (size_t i = first; i < end; ++i)
    text += (i == at ? "  > " : "    ") + boot.trace[i] + "\n";
}

}  // namespace

std::string violationsText(const Violations &violations, const SimulatedBoot &boot) {
  std::string text;
  for (const Violation &violation : violations) {
    text += std::string("  broken: ") + ruleName(violation.rule) + "\n  " + violation.words + "\n";
    appendLines(text, boot, std::min(violation.line.value_or(boot.trace.size()), boot.trace.size()));
  }
  return text;
}

std::string bootText(const Node &node, const SimulatedBoot &boot) {
  std::string text = "command line: ORVDaemonExe";
  for (const std::string &argument : node.arguments)
    text += " " + orv::sim::quoted(argument);
  text += "\n\nscenario:\n" + orv::sim::toToml(node.scenario) + "\ntrace:\n";
  for (const std::string &line : boot.trace)
    text += line + "\n";
  return text;
}

}  // namespace boots
