#include "check/CheckRun.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>
#include <utility>

#include "Applications.h"
#include "Executables.h"
#include "ReadyTag.h"
#include "Suggestion.h"
#include "Words.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;
constexpr const char *USUAL_SEARCH_PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

// All executables are started at once, before the first application; of the applications each once the one before it
// is online.
bool isStartedBefore(const std::vector<const Unit *> &units, size_t first, size_t second) {
  if (!units[first]->isApplication) return true;
  return first < second;
}

class ReadyTagCheck {
 public:
  ReadyTagCheck(const std::vector<const Unit *> &units, size_t index)
      : units_(units), index_(index), unit_(*units[index]), euName_(euOfReadyTag(unit_.tag)) {}

  void check() const {
    if (euName_.empty() || euName_ == unit_.euName) return;
    for (size_t other = 0; other < units_.size(); ++other) {
      if (units_[other]->euName == euName_) return tellOther(other);
    }
    tellNobody();
  }

 private:
  void tellOther(size_t other) const {
    const std::string whose = units_[other]->whoAndWhere(*unit_.source);
    Complaint complaint{WARNING, "ready-tag-of-another", "the online tag is set when " + whose + " is ready", "",
                        printable(readyTagOf(unit_.euName))};
    if (isStartedBefore(units_, other, index_)) {
      complaint.why = "the daemon takes " + unit_.who() + " for online though it may not be";
    } else {
      complaint.severity = ERROR;
      complaint.why = "that is started later, once " + unit_.who() + " is online: the daemon waits in vain";
    }
    unit_.source->complain(unit_.tagSpan, complaint);
  }

  void tellNobody() const {
    std::vector<std::string> names;
    for (const Unit *unit : units_)
      names.push_back(unit->euName);
    const std::string near = nearestName(euName_, names);
    unit_.source->complain(
        unit_.tagSpan,
        {WARNING, "ready-tag-of-nobody", "nothing that is started is called " + quoted(euName_),
         "the platform sets eu.NAME.ready when the program of that name reports that it is ready: nobody sets this one",
         printable(readyTagOf(near.empty() ? unit_.euName : near))});
  }

  const std::vector<const Unit *> &units_;
  size_t index_;
  const Unit &unit_;
  std::string euName_;
};

}  // namespace

CheckRun::CheckRun(const CheckOptions &options) : options_(options) {
  if (!options_.searchPath.empty()) return;
  const char *path = std::getenv("PATH");
  options_.searchPath = options_.root.empty() && path != nullptr ? path : USUAL_SEARCH_PATH;
}

std::string Unit::who() const {
  if (!isApplication) return "executable " + quoted(euName);
  return euName.empty() ? "the application without a name" : "application " + quoted(euName);
}

std::string Unit::whoAndWhere(const SourceText &other) const {
  const std::string line = "line " + std::to_string(source->lineOf(tagSpan.begin));
  if (source == &other) return isApplication ? who() + " (" + line + ")" : who();
  return who() + " (" + printable(source->name()) + (isApplication ? ", " + line : "") + ")";
}

void CheckRun::addUnreadable(const std::string &name, const std::string &problem) {
  CheckedInput input;
  input.name = name;
  input.problem = problem;
  result_.inputs.push_back(std::move(input));
}

SourceText &CheckRun::addArgument(const std::string &name, std::string_view text) {
  return sources_.emplace_back(name, texts_.emplace_back(text.substr(0, text.find('\0'))), result_.findings);
}

void CheckRun::compareUnits(const std::vector<const Unit *> &units) {
  std::map<std::string, const Unit *> first;
  for (size_t i = 0; i < units.size(); ++i) {
    const Unit &unit = *units[i];
    if (unit.tag.empty()) continue;
    const auto [found, isNew] = first.try_emplace(unit.tag, &unit);
    if (!isNew) {
      unit.source->complain(
          unit.tagSpan,
          {WARNING, "shared-tag", "the online tag is also that of " + found->second->whoAndWhere(*unit.source),
           "the daemon takes both for online as soon as one of them sets it", "a tag of its own"});
    }
    ReadyTagCheck(units, i).check();
  }
}

void CheckRun::compareWithEarlyTags(const Unit &unit) {
  const auto early =
      std::find_if(earlyTags_.begin(), earlyTags_.end(), [&unit](const EarlyTag &tag) { return tag.name == unit.tag; });
  if (unit.tag.empty() || early == earlyTags_.end()) return;
  unit.source->complain(unit.tagSpan,
                        {WARNING, "tag-already-set", "the online tag is set by " + early->source + " already",
                         "the daemon does not wait for " + unit.who() + " at all", "a tag that only the program sets"});
}

void CheckRun::sumUpWaits() {
  const auto waits = [](const Unit &unit) { return !unit.tag.empty(); };
  size_t most = 0;
  for (const std::vector<Unit> &units : applications_) {
    const auto count = static_cast<size_t>(std::count_if(units.begin(), units.end(), waits));
    most = std::max(most, count);
  }
  const auto executables = static_cast<size_t>(std::count_if(executables_.begin(), executables_.end(), waits));
  result_.awaitedTags = most + executables;
  result_.longestStartMs = uint64_t{APP_ONLINE_TIMEOUT_MS} * most;
  // One budget for all of them together.
  if (executables != 0) result_.longestStartMs += EXE_ONLINE_TIMEOUT_MS;
}

CheckResult CheckRun::finish() {
  std::vector<const Unit *> executables;
  for (const Unit &unit : executables_)
    executables.push_back(&unit);
  if (applications_.empty()) compareUnits(executables);
  // The daemon reads one of the files, so they say nothing about each other.
  for (const std::vector<Unit> &applications : applications_) {
    std::vector<const Unit *> units = executables;
    for (const Unit &unit : applications)
      units.push_back(&unit);
    compareUnits(units);
    for (const Unit &unit : applications)
      compareWithEarlyTags(unit);
  }
  for (const Unit &unit : executables_)
    compareWithEarlyTags(unit);
  sumUpWaits();
  std::map<std::string, size_t> order;
  for (const CheckedInput &input : result_.inputs)
    order.try_emplace(input.name, order.size());
  const auto place = [&order](const Finding &finding) {
    return std::make_tuple(order[finding.file], finding.line, finding.column);
  };
  std::stable_sort(result_.findings.begin(), result_.findings.end(),
                   [&place](const Finding &left, const Finding &right) { return place(left) < place(right); });
  return std::move(result_);
}

}  // namespace orv::checking
