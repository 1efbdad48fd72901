#include "check/ExecutablesWalk.h"

#include <algorithm>

#include "TextFields.h"

namespace orv::checking {
namespace {

constexpr uint32_t FLAGS_WITH_TAG = 2;

WalkedExecutable walkOne(std::string_view text, Span span) {
  WalkedExecutable walked;
  const size_t blanks = std::min(text.substr(span.begin, span.length).find_first_not_of(' '), span.length);
  walked.whole = {span.begin + blanks, span.length - blanks};
  const std::string_view whole = text.substr(walked.whole.begin, walked.whole.length);
  const size_t marker = whole.rfind('#');
  walked.hasTag = marker != std::string_view::npos;
  const std::string_view command = whole.substr(0, marker);
  const size_t blank = command.find(' ');
  const size_t pathLength = std::min(blank, command.size());
  const size_t argsBegin = std::min(pathLength + 1, command.size());
  walked.path = {walked.whole.begin, pathLength};
  walked.args = {walked.whole.begin + argsBegin, command.size() - argsBegin};
  walked.tag = {walked.whole.end(), 0};
  if (walked.hasTag) walked.tag = {walked.whole.begin + marker + 1, whole.size() - marker - 1};
  const auto copy = [text](auto &field, Span part) {
    copyCut(field, sizeof field, text.data() + part.begin, part.length);
  };
  copy(walked.expected.path, walked.path);
  copy(walked.expected.args, walked.args);
  copy(walked.expected.onlineTag, walked.tag);
  walked.expected.supervisionFlags = walked.hasTag ? FLAGS_WITH_TAG : 0;
  return walked;
}

}  // namespace

std::vector<WalkedExecutable> walkExecutables(std::string_view text, Span part) {
  std::vector<WalkedExecutable> definitions;
  for (size_t begin = part.begin; begin < part.end();) {
    const size_t end = std::min(text.find('|', begin), part.end());
    if (end > begin) definitions.push_back(walkOne(text, {begin, end - begin}));
    begin = end + 1;
  }
  return definitions;
}

}  // namespace orv::checking
