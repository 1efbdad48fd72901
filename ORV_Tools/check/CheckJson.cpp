// The result of a check for programs.
#include <algorithm>

#include "Check.h"
#include "Json.h"

namespace orv {
namespace {

const char *kindWord(CheckInputKind kind) {
  switch (kind) {
    case CheckInputKind::DEFINITIONS:
      return "definitions";
    case CheckInputKind::EXECUTABLES:
      return "executables";
    case CheckInputKind::STARTUP:
      return "startup";
    case CheckInputKind::TAGS:
      return "tags";
  }
  return "?";  // not reached
}

std::string recordJson(const CheckedInput &input, const std::vector<std::string> &record) {
  JsonObject object;
  for (size_t i = 0; i < input.columns.size(); ++i) {
    const RecordColumn &column = input.columns[i];
    if (column.isNumber) {
      object.raw(column.key.c_str(), record[i]);
    } else {
      object.text(column.key.c_str(), record[i]);
    }
  }
  return object.str();
}

std::string inputJson(const CheckedInput &input) {
  const auto json = [&input](const std::vector<std::string> &record) { return recordJson(input, record); };
  return JsonObject()
      .text("name", input.name)
      .text("kind", kindWord(input.kind))
      .textOrNull("problem", input.problem)
      .raw("records", jsonLines(input.records, 6, json))
      .str();
}

std::string findingJson(const Finding &finding) {
  JsonObject object;
  object.text("severity", finding.severity == CheckSeverity::ERROR ? "error" : "warning")
      .text("kind", finding.kind)
      .text("file", finding.file);
  if (finding.line == 0) {
    object.raw("line", "null").raw("column", "null").raw("length", "null").raw("text", "null");
  } else {
    object.number("line", finding.line)
        .number("column", finding.column)
        .number("length", finding.length)
        .text("text", finding.lineText);
  }
  return object.text("what", finding.what).text("why", finding.why).text("instead", finding.instead).str();
}

uint64_t countOf(const CheckResult &result, CheckSeverity severity) {
  return static_cast<uint64_t>(
      std::count_if(result.findings.begin(), result.findings.end(),
                    [severity](const Finding &finding) { return finding.severity == severity; }));
}

}  // namespace

std::string checkJson(const CheckResult &result) {
  return "{\n  \"inputs\": " + jsonLines(result.inputs, 4, inputJson) +
         ",\n  \"findings\": " + jsonLines(result.findings, 4, findingJson) +
         ",\n  \"errors\": " + std::to_string(countOf(result, CheckSeverity::ERROR)) +
         ",\n  \"warnings\": " + std::to_string(countOf(result, CheckSeverity::WARNING)) +
         ",\n  \"awaited_tags\": " + std::to_string(result.awaitedTags) +
         ",\n  \"longest_start_ms\": " + std::to_string(result.longestStartMs) + "\n}\n";
}

}  // namespace orv
