// The result of a check for people.
#include <algorithm>

#include "Check.h"
#include "Terminal.h"
#include "Words.h"
#include "check/Excerpt.h"
#include "check/SourceText.h"

namespace orv {
namespace {

using checking::counted;

const char *severityWord(CheckSeverity severity) {
  return severity == CheckSeverity::ERROR ? "error" : "warning";
}

Colour severityColour(CheckSeverity severity) {
  return severity == CheckSeverity::ERROR ? Colour::RED : Colour::YELLOW;
}

std::string recordsText(const CheckedInput &input) {
  std::vector<std::vector<std::string>> rows(1);
  for (const RecordColumn &column : input.columns)
    rows[0].push_back(column.title);
  for (const std::vector<std::string> &record : input.records) {
    std::vector<std::string> &row = rows.emplace_back();
    for (const std::string &cell : record)
      row.push_back(printable(cell));
  }
  std::string text;
  const std::string table = tableText(rows);
  for (size_t begin = 0; begin < table.size();) {
    const size_t end = table.find('\n', begin);
    std::string line = "  " + table.substr(begin, end - begin);
    // Empty cells at the end leave nothing but the blanks between columns.
    line.erase(line.find_last_not_of(' ') + 1);
    text += (begin == 0 ? coloured(Colour::BOLD, line) : line) + "\n";
    begin = end + 1;
  }
  return text;
}

std::string inputText(const CheckedInput &input) {
  if (!input.problem.empty()) return "";
  std::string text = coloured(Colour::BOLD, printable(input.name)) + ": ";
  if (input.records.empty()) return text + "the daemon reads nothing\n";
  if (input.kind == CheckInputKind::DEFINITIONS || input.kind == CheckInputKind::EXECUTABLES) {
    text += counted(input.records.size(), "record", "records");
  } else {
    text += "what the daemon makes of it";
  }
  return text + "\n" + recordsText(input);
}

std::string findingText(const Finding &finding) {
  std::string place = printable(finding.file);
  if (finding.line != 0) place += ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
  std::string text = coloured(Colour::BOLD, place + ":") + " " +
                     coloured(severityColour(finding.severity), std::string(severityWord(finding.severity)) + ":") +
                     " " + finding.what + " [" + finding.kind + "]\n";
  if (finding.line != 0) {
    const checking::Excerpt excerpt = checking::excerptOf(finding.lineText, finding.column, finding.length);
    const std::string number = std::to_string(finding.line);
    const std::string margin(std::max(number.size(), size_t{5}), ' ');
    text += std::string(margin.size() - number.size(), ' ') + number + " | " + excerpt.line + "\n" + margin + " | " +
            coloured(Colour::GREEN, excerpt.marks) + "\n";
  }
  return text + "      why: " + finding.why + "\n      instead: " + finding.instead + "\n";
}

size_t countOf(const CheckResult &result, CheckSeverity severity) {
  return static_cast<size_t>(
      std::count_if(result.findings.begin(), result.findings.end(),
                    [severity](const Finding &finding) { return finding.severity == severity; }));
}

bool startsSomething(const CheckResult &result) {
  return std::any_of(result.inputs.begin(), result.inputs.end(), [](const CheckedInput &input) {
    return input.problem.empty() &&
           (input.kind == CheckInputKind::DEFINITIONS || input.kind == CheckInputKind::EXECUTABLES);
  });
}

std::string waitText(const CheckResult &result) {
  if (!startsSomething(result)) return "";
  if (result.awaitedTags == 0) return "The start-up waits for no online tag.\n";
  return "The start-up waits for " + counted(result.awaitedTags, "online tag", "online tags") + ": at worst " +
         preciseDurationText(result.longestStartMs) + ", when none is set in time and no reset ends it.\n";
}

std::string verdictText(const CheckResult &result) {
  const size_t errors = countOf(result, CheckSeverity::ERROR);
  const size_t warnings = countOf(result, CheckSeverity::WARNING);
  if (errors + warnings == 0) return coloured(Colour::GREEN, "Nothing to complain about.") + "\n";
  std::string text = errors == 0 ? "" : counted(errors, "error", "errors");
  if (warnings != 0) text += (errors == 0 ? "" : ", ") + counted(warnings, "warning", "warnings");
  return coloured(errors == 0 ? Colour::YELLOW : Colour::RED, text + ".") + "\n";
}

}  // namespace

std::string checkText(const CheckResult &result) {
  std::string text;
  bool isAnyRead = false;
  for (const CheckedInput &input : result.inputs) {
    text += inputText(input);
    isAnyRead = isAnyRead || input.problem.empty();
  }
  if (!isAnyRead) return text;
  for (const Finding &finding : result.findings)
    text += "\n" + findingText(finding);
  return text + "\n" + waitText(result) + verdictText(result);
}

}  // namespace orv
