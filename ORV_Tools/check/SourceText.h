// A text that is checked, and the findings in it with their places.
#ifndef ORV_TOOLS_CHECK_SOURCETEXT_H
#define ORV_TOOLS_CHECK_SOURCETEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"

namespace orv::checking {

// A part of a text.
struct Span {
  size_t begin = 0;
  size_t length = 0;

  size_t end() const {
    return begin + length;
  }
};

// What a finding says, in sentences; where it stands comes from the span that goes with it.
struct Complaint {
  CheckSeverity severity = CheckSeverity::WARNING;
  const char *kind = "";
  std::string what;
  std::string why;
  std::string instead;
};

// The text of one input. Lines are counted by line feeds alone, as editors do, whatever the daemon takes for the end of
// a line. The findings go to a list that all inputs of a check share.
class SourceText {
 public:
  SourceText(std::string name, std::string_view text, std::vector<Finding> &findings);

  const std::string &name() const {
    return name_;
  }
  std::string_view text() const {
    return text_;
  }
  std::string_view part(Span span) const {
    return text_.substr(span.begin, span.length);
  }
  // The number of the line that the byte at `offset` stands in, from 1.
  size_t lineOf(size_t offset) const;

  // Notes what is wrong at `span`; what goes beyond its line is not marked.
  void complain(Span span, const Complaint &complaint);
  // Notes what is wrong with the whole.
  void complainOfAll(const Complaint &complaint);

 private:
  std::string name_;
  std::string_view text_;
  std::vector<size_t> lineBegins_;
  std::vector<Finding> &findings_;
};

// "3 bytes", "1 byte".
std::string counted(size_t number, const char *one, const char *many);

// `text` in quotes, printable, and shortened in its middle where it is long.
std::string quoted(std::string_view text);

}  // namespace orv::checking

#endif
