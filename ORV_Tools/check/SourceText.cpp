#include "check/SourceText.h"

#include <algorithm>
#include <utility>

#include "Utf8.h"
#include "Words.h"

namespace orv::checking {
namespace {

Finding findingOf(const std::string &file, const Complaint &complaint) {
  Finding finding;
  finding.severity = complaint.severity;
  finding.kind = complaint.kind;
  finding.file = file;
  finding.what = complaint.what;
  finding.why = complaint.why;
  finding.instead = complaint.instead;
  return finding;
}

// The place before or at `position` where a character begins, so that no character is cut in two.
size_t characterBegin(std::string_view text, size_t position) {
  constexpr size_t LONGEST = 4;
  for (size_t back = 1; back < LONGEST && back <= position; ++back) {
    if (utf8Length(text.substr(position - back)) > back) return position - back;
  }
  return position;
}

}  // namespace

SourceText::SourceText(std::string name, std::string_view text, std::vector<Finding> &findings)
    : name_(std::move(name)), text_(text), lineBegins_{0}, findings_(findings) {
  for (size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', end + 1))
    lineBegins_.push_back(end + 1);
}

size_t SourceText::lineOf(size_t offset) const {
  return static_cast<size_t>(std::upper_bound(lineBegins_.begin(), lineBegins_.end(), offset) - lineBegins_.begin());
}

void SourceText::complain(Span span, const Complaint &complaint) {
  Finding finding = findingOf(name_, complaint);
  finding.line = lineOf(span.begin);
  const size_t begin = lineBegins_[finding.line - 1];
  const size_t end = std::min(text_.find('\n', begin), text_.size());
  finding.column = span.begin - begin + 1;
  finding.length = std::min(span.length, end - span.begin);
  finding.lineText = text_.substr(begin, end - begin);
  findings_.push_back(std::move(finding));
}

void SourceText::complainOfAll(const Complaint &complaint) {
  findings_.push_back(findingOf(name_, complaint));
}

std::string counted(size_t number, const char *one, const char *many) {
  return std::to_string(number) + " " + (number == 1 ? one : many);
}

std::string quoted(std::string_view text) {
  constexpr size_t LONGEST = 60;
  constexpr size_t KEPT = 25;
  if (text.size() <= LONGEST) return "\"" + printable(text) + "\"";
  const size_t head = characterBegin(text, KEPT);
  const size_t tail = characterBegin(text, text.size() - KEPT);
  return "\"" + printable(text.substr(0, head)) + "..." + printable(text.substr(tail)) + "\"";
}

}  // namespace orv::checking
