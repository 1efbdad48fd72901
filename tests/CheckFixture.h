// What the tests of orvctl check compare: findings as lines.
#ifndef ORV_TESTS_CHECKFIXTURE_H
#define ORV_TESTS_CHECKFIXTURE_H

#include <string>
#include <string_view>
#include <vector>

#include "Check.h"

using Lines = std::vector<std::string>;

// "LINE:COLUMN+LENGTH severity kind: what", and below it why and what to write instead.
inline Lines findingsOf(const orv::CheckResult &result) {
  Lines lines;
  for (const orv::Finding &finding : result.findings) {
    const std::string place = finding.line == 0 ? "whole"
                                                : std::to_string(finding.line) + ":" + std::to_string(finding.column) +
                                                      "+" + std::to_string(finding.length);
    const char *const severity = finding.severity == orv::CheckSeverity::ERROR ? " error " : " warning ";
    lines.push_back(place + severity + finding.kind + ": " + finding.what);
    lines.push_back("  " + finding.why);
    lines.push_back("  " + finding.instead);
  }
  return lines;
}

// The programs are not looked at.
inline orv::CheckOptions textsAlone() {
  orv::CheckOptions options;
  options.programs = false;
  return options;
}

inline Lines definitionFindings(std::string_view text) {
  return findingsOf(orv::checkDefinitionText(text, "AppDef.txt", textsAlone()));
}

inline orv::CheckResult checkExecutableText(const std::string &text) {
  orv::CheckRequest request;
  request.executables.push_back(text);
  return orv::check(request, textsAlone());
}

inline orv::CheckResult checkStartupText(const std::string &text) {
  orv::CheckRequest request;
  request.startups.push_back(text);
  return orv::check(request, textsAlone());
}

inline orv::CheckResult checkShortTagText(const std::string &text) {
  orv::CheckRequest request;
  request.shortTagLists.push_back(text);
  return orv::check(request, textsAlone());
}

inline orv::CheckResult checkTagText(const std::string &text) {
  orv::CheckRequest request;
  request.tagLists.push_back(text);
  return orv::check(request, textsAlone());
}

#endif
