// A string of executables.
#include <algorithm>
#include <set>
#include <utility>

#include "ArgumentList.h"
#include "OrvDaemon.h"
#include "Words.h"
#include "check/CheckRun.h"
#include "check/DaemonParsers.h"
#include "check/ExecutablesWalk.h"
#include "check/FieldChecks.h"
#include "check/OptionChecks.h"
#include "check/ProgramCheck.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;
constexpr size_t CAPACITY = EXE_DEF_STRING_SIZE - 1;

const std::vector<RecordColumn> COLUMNS = {{"path", "path", false},
                                           {"arguments", "args", false},
                                           {"flags", "flags", true},
                                           {"online tag", "online_tag", false}};

class ExecutablesCheck {
 public:
  ExecutablesCheck(SourceText &source, const CheckOptions &options) : source_(source), options_(options) {}

  void check(Span part, std::vector<Unit> &units, CheckedInput *input) {
    const Span read = readPart(part);
    const ExecutablesReading reading = readExecutables(std::string(source_.part(read)));
    const std::vector<WalkedExecutable> definitions = walkExecutables(source_.text(), read);
    if (!reading.isAccepted) return tellTooMany(firstBeyond(definitions));
    unsigned index = 0;
    for (const WalkedExecutable &walked : definitions) {
      if (walked.expected.path[0] == '\0') {
        tellEmpty(walked);
      } else if (index < reading.table.count) {
        takeDefinition(walked, reading.table.definitions[index++], units, input);
      }
    }
  }

 private:
  // What the daemon reads: up to a comma, which ends the value in the start-up string, and what fits.
  Span readPart(Span part) {
    Span read = part;
    const std::string_view text = source_.part(part);
    if (const size_t comma = text.find(','); comma != std::string_view::npos) {
      source_.complain({part.begin + comma, 1}, {ERROR, "comma", "a comma in the executables",
                                                 "in the start-up string it ends the value: the daemon reads " +
                                                     quoted(text.substr(comma + 1)) + " as the next key",
                                                 "arguments without commas, or a file that holds them"});
      read.length = comma;
    }
    if (read.length > CAPACITY) {
      source_.complain({read.begin + CAPACITY, read.length - CAPACITY},
                       {ERROR, "cut-field",
                        "the executables have " + std::to_string(read.length) + " bytes, " +
                            std::to_string(read.length - CAPACITY) + " more than fit",
                        "the daemon reads the first " + std::to_string(CAPACITY) + ", wherever that cuts them",
                        "at most " + std::to_string(CAPACITY) + " bytes for all executables together"});
      read.length = CAPACITY;
    }
    return read;
  }

  // The one behind as many as there is room for; those without a path take none.
  static const WalkedExecutable &firstBeyond(const std::vector<WalkedExecutable> &definitions) {
    unsigned count = 0;
    for (const WalkedExecutable &definition : definitions) {
      if (count == MAX_EXE_DEFS) return definition;
      if (definition.expected.path[0] != '\0') ++count;
    }
    return definitions.back();
  }

  void tellTooMany(const WalkedExecutable &definition) {
    const std::string limit = std::to_string(MAX_EXE_DEFS);
    source_.complain(
        definition.whole,
        {ERROR, "too-many-definitions", "more than " + limit + " executables",
         "the daemon starts none of them, and no application either",
         "at most " + limit + " executables, and nothing behind the last; others belong into the definition file"});
  }

  void tellEmpty(const WalkedExecutable &walked) {
    const bool isBlank = walked.whole.length == 0;
    source_.complain(
        walked.whole,
        {WARNING, "empty-path", isBlank ? "a definition of blanks" : "a definition without a path",
         isBlank ? "the daemon passes over it" : "the daemon passes over it: nothing is started, no tag is waited for",
         isBlank ? "nothing" : "path arguments#tag"});
  }

  void takeDefinition(const WalkedExecutable &walked, const ExeDef &record, std::vector<Unit> &units,
                      CheckedInput *input) {
    if (input != nullptr) {
      input->records.push_back({record.path, record.args, std::to_string(record.supervisionFlags), record.onlineTag});
    }
    checkPath(walked, record);
    checkArguments(walked, record);
    if (walked.hasTag) checkTag(walked, record);
    Unit unit;
    unit.source = &source_;
    unit.euName = record.path;
    unit.tag = record.onlineTag;
    unit.tagSpan = walked.tag;
    units.push_back(std::move(unit));
  }

  void checkPath(const WalkedExecutable &walked, const ExeDef &record) {
    const std::string path = record.path;
    const size_t tab = path.find('\t');
    if (tab != std::string::npos) {
      source_.complain({walked.path.begin + tab, 1},
                       {ERROR, "tab", "a tab in the path",
                        "only a blank ends the path: the daemon starts " + quoted(path), "a blank"});
    }
    checkCharacters(source_, walked.path, "path");
    if (!paths_.insert(path).second) {
      source_.complain(walked.path, {WARNING, "same-name", "a second executable " + quoted(path),
                                     "their EUs have one name: events and logs cannot be told apart",
                                     "a symbolic link with a name of its own"});
    }
    if (!options_.programs || tab != std::string::npos) return;
    for (const Complaint &complaint : programComplaints(path, options_))
      source_.complain(walked.path, complaint);
  }

  void checkArguments(const WalkedExecutable &walked, const ExeDef &record) {
    checkCharacters(source_, walked.args, "arguments");
    const std::string_view command = source_.part({walked.whole.begin, walked.args.end() - walked.whole.begin});
    if (const size_t marker = command.find('#'); marker != std::string_view::npos) {
      source_.complain({walked.whole.begin + marker, 1},
                       {WARNING, "hash", "a \"#\" that does not begin the online tag",
                        "the tag begins behind the last \"#\"; this one belongs to the path or the arguments",
                        "one \"#\", in front of the tag"});
    }
    std::vector<std::string> arguments;
    if (splitArguments(record.args, arguments).ok()) return;
    source_.complain(walked.args, {ERROR, "quote", "a quote without its pair, or a backslash at the end",
                                   "the platform does not start a program with the arguments " + quoted(record.args),
                                   "the quotes in pairs, or none"});
  }

  void checkTag(const WalkedExecutable &walked, const ExeDef &record) {
    constexpr size_t ROOM = sizeof record.onlineTag - 1;
    if (walked.tag.length == 0) {
      source_.complain({walked.tag.begin - 1, 1},
                       {WARNING, "empty-tag", "no online tag behind the \"#\"",
                        "the daemon does not wait for the executable", "the tag, or no \"#\""});
      return;
    }
    const std::string effect = "the daemon waits for a tag called " + quoted(record.onlineTag);
    if (walked.tag.length > ROOM) {
      source_.complain({walked.tag.begin + ROOM, walked.tag.length - ROOM},
                       {ERROR, "cut-field",
                        "the online tag has " + std::to_string(walked.tag.length) + " bytes, " +
                            std::to_string(walked.tag.length - ROOM) + " more than fit",
                        effect, "a tag of at most " + std::to_string(ROOM) + " bytes"});
    }
    checkEdges(source_, walked.tag, "online tag", ERROR, effect);
    checkCharacters(source_, walked.tag, "online tag");
  }

  SourceText &source_;
  const CheckOptions &options_;
  std::set<std::string, std::less<>> paths_;
};

}  // namespace

void checkExecutablesPart(SourceText &source, Span part, const CheckOptions &options, std::vector<Unit> &units,
                          CheckedInput *input) {
  ExecutablesCheck(source, options).check(part, units, input);
}

void CheckRun::checkExecutables(const std::string &name, std::string_view text) {
  SourceText &source = addArgument(name, text);
  CheckedInput input;
  input.kind = CheckInputKind::EXECUTABLES;
  input.name = name;
  input.columns = COLUMNS;
  checkExecutablesPart(source, {0, source.text().size()}, options_, executables_, &input);
  if (source.text().empty()) {
    source.complainOfAll({WARNING, "no-definitions", "there is no executable in it",
                          "the daemon starts none and goes on with the applications", "path arguments#tag"});
  }
  result_.inputs.push_back(std::move(input));
}

}  // namespace orv::checking
