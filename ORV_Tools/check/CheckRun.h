// One check: its inputs, its findings, and what the inputs say about each other.
#ifndef ORV_TOOLS_CHECK_CHECKRUN_H
#define ORV_TOOLS_CHECK_CHECKRUN_H

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "check/SourceText.h"

namespace orv::checking {

// A program that the daemon starts under a sentinel EU of its own.
struct Unit {
  SourceText *source = nullptr;
  bool isApplication = false;
  std::string euName;  // as the daemon has it: the application's name, the executable's path
  std::string tag;     // online tag as the daemon has it; empty: not waited for
  Span tagSpan;        // where the tag stands

  // "application "radio"", "executable "/opt/agent"".
  std::string who() const;
  // who(), and where it stands as seen from `other`.
  std::string whoAndWhere(const SourceText &other) const;
};

// A tag that the command line sets before anything is started.
struct EarlyTag {
  std::string name;
  std::string source;  // the option
};

class CheckRun {
 public:
  explicit CheckRun(const CheckOptions &options);
  CheckRun(const CheckRun &) = delete;
  CheckRun &operator=(const CheckRun &) = delete;

  void checkDefinitions(const std::string &name, std::string_view text);
  void checkExecutables(const std::string &name, std::string_view text);
  void checkStartup(const std::string &name, std::string_view text);
  // `isShort`: numbers get 16 bits.
  void checkTags(const std::string &name, std::string_view text, bool isShort);
  void addUnreadable(const std::string &name, const std::string &problem);
  // To be called once, behind all inputs.
  CheckResult finish();

 private:
  // An argument of the daemon, which ends at its first NUL.
  SourceText &addArgument(const std::string &name, std::string_view text);
  void compareUnits(const std::vector<const Unit *> &units);
  void compareWithEarlyTags(const Unit &unit);
  void sumUpWaits();

  CheckOptions options_;
  CheckResult result_;
  std::deque<std::string> texts_;
  std::deque<SourceText> sources_;
  std::vector<std::vector<Unit>> applications_;  // of each definition file
  std::vector<Unit> executables_;
  std::vector<EarlyTag> earlyTags_;
};

}  // namespace orv::checking

#endif
