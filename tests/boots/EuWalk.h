// A walk along what one EU did: each step says what the EU's next line has to be, and takes from it what the platform
// answered, on which the steps behind depend.
//
// A walk ends in one of three ways: all steps were taken, or Cut is thrown because the EU's lines end here (a boot may
// be over at any time), or a Violation is thrown because the next line is another.
#ifndef ORV_BOOTS_EUWALK_H
#define ORV_BOOTS_EUWALK_H

#include <cstdint>
#include <string>
#include <string_view>

#include "Rules.h"
#include "TraceReader.h"

namespace boots {

struct Cut {};

enum class Severity { INFO, WARNING, ERROR };

class EuWalk {
 public:
  EuWalk(const ReadTrace &trace, const LineNumbers &own) : trace_(trace), own_(own) {}

  // The next line is this.
  void is(Rule rule, std::string_view text);

  // The next line begins with this; returns what follows.
  std::string_view begins(Rule rule, std::string_view text);

  // The next line is a call, and its result behind " = ".
  int64_t answer(Rule rule, std::string_view call);

  // A line of the log: on the console, then in the system log.
  void log(Rule rule, Severity severity, const std::string &message);

  // A console line, or several where the text has line ends within.
  void console(Rule rule, std::string_view stream, std::string_view text);

  // The EU has ended, and does nothing more.
  void ends(Rule rule);
  void nothingMore(Rule rule);

  // Whether the next line begins with this, where there is one.
  bool nextBegins(std::string_view text) const;

  [[noreturn]] void violated(Rule rule, const std::string &words) const;

  // Of the line taken last: its place in the trace.
  uint32_t last() const {
    return own_[next_ - 1];
  }

 private:
  std::string_view peek() const;

  const ReadTrace &trace_;
  const LineNumbers &own_;
  size_t next_ = 0;
};

}  // namespace boots

#endif
