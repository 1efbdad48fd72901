#include "Check.h"

#include <algorithm>
#include <iterator>

#include "PlatformConfig.h"
#include "RegularFile.h"
#include "Words.h"
#include "check/CheckRun.h"
#include "check/InputFile.h"

namespace orv {
namespace {

using checking::CheckRun;

bool looksLikeXml(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos &&
         (text.substr(first).starts_with("<?xml") || text.substr(first).starts_with("<orv"));
}

void checkFile(CheckRun &run, const std::string &path) {
  std::string text;
  const std::string name = path == "-" ? "<standard input>" : path;
  if (const Status read = checking::readInput(path, text); !read.ok()) return run.addUnreadable(name, read.message);
  if (looksLikeXml(text)) {
    PlatformConfig config;
    const Status parsed = parsePlatformConfig(text, name, config);
    return run.addUnreadable(
        name, name + ": it is a platform configuration (XML), no application definition file; the platform " +
                  (parsed.ok() ? "reads it without complaint" : "says: " + parsed.message));
  }
  run.checkDefinitions(name, text);
}

// "--tags", or "--tags (2)" where there are several.
std::string optionName(const char *option, const std::vector<std::string> &all, size_t index) {
  return all.size() == 1 ? option : std::string(option) + " (" + std::to_string(index + 1) + ")";
}

}  // namespace

CheckResult check(const CheckRequest &request, const CheckOptions &options) {
  CheckRun run(options);
  for (size_t i = 0; i < request.tagLists.size(); ++i)
    run.checkTags(optionName("--tags", request.tagLists, i), request.tagLists[i], false);
  for (size_t i = 0; i < request.shortTagLists.size(); ++i)
    run.checkTags(optionName("--short-tags", request.shortTagLists, i), request.shortTagLists[i], true);
  for (size_t i = 0; i < request.startups.size(); ++i)
    run.checkStartup(optionName("--startup", request.startups, i), request.startups[i]);
  for (size_t i = 0; i < request.executables.size(); ++i)
    run.checkExecutables(optionName("--executable", request.executables, i), request.executables[i]);
  for (const std::string &file : request.files)
    checkFile(run, file);
  return run.finish();
}

CheckResult checkDefinitionFile(const std::string &path, const CheckOptions &options) {
  CheckRequest request;
  request.files.push_back(path);
  return check(request, options);
}

CheckResult checkDefinitionText(std::string_view text, const std::string &name, const CheckOptions &options) {
  CheckRun run(options);
  run.checkDefinitions(name, text);
  return run.finish();
}

int checkExitCode(const CheckResult &result, bool strict) {
  if (std::any_of(result.inputs.begin(), result.inputs.end(),
                  [](const CheckedInput &input) { return !input.problem.empty(); })) {
    return EXIT_CHECK_UNREADABLE;
  }
  if (std::any_of(result.findings.begin(), result.findings.end(),
                  [](const Finding &finding) { return finding.severity == CheckSeverity::ERROR; })) {
    return EXIT_CHECK_ERRORS;
  }
  return strict && !result.findings.empty() ? EXIT_CHECK_WARNINGS : EXIT_CHECK_CLEAN;
}

}  // namespace orv
