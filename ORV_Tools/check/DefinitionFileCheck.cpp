// An application definition file as a whole.
#include <map>
#include <utility>

#include "DefinitionTable.h"
#include "Words.h"
#include "check/CheckRun.h"
#include "check/DaemonParsers.h"
#include "check/DefinitionCheck.h"
#include "check/FieldChecks.h"
#include "check/ProgramCheck.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

const std::vector<RecordColumn> COLUMNS = {{"line", "line", true},
                                           {"name", "name", false},
                                           {"path", "path", false},
                                           {"arguments", "args", false},
                                           {"reserved", "reserved", true},
                                           {"flags", "flags", true},
                                           {"online tag", "online_tag", false}};

class DefinitionFileCheck {
 public:
  DefinitionFileCheck(SourceText &source, const CheckOptions &options)
      : source_(source), options_(options), lines_(walkDefinitions(source.text())) {}

  void check(CheckedInput &input, std::vector<Unit> &units) {
    const auto table = readDefinitions(source_.text());
    input.columns = COLUMNS;
    checkEncoding();
    checkLineEnds();
    size_t index = 0;
    size_t beyond = 0;
    const WalkedLine *firstBeyond = nullptr;
    for (const WalkedLine &line : lines_) {
      if (!line.isRead) {
        if (line.kind != WalkedLine::Kind::DEFINITION) continue;
        if (beyond++ == 0) firstBeyond = &line;
        continue;
      }
      if (line.kind == WalkedLine::Kind::COMMENT) checkComment(line);
      if (line.kind == WalkedLine::Kind::EMPTY) checkEmpty(line);
      if (line.kind == WalkedLine::Kind::DEFINITION && index < table->count) {
        takeDefinition(line, table->definitions[index++], input, units);
      }
    }
    if (firstBeyond != nullptr) tellTooMany(*firstBeyond, beyond);
    if (index == 0) tellNone();
  }

 private:
  void takeDefinition(const WalkedLine &line, const AppExeDef &record, CheckedInput &input, std::vector<Unit> &units) {
    input.records.push_back({std::to_string(source_.lineOf(line.span.begin)), record.name, record.path, record.args,
                             std::to_string(record.reserved), std::to_string(record.supervisionFlags),
                             record.onlineTag});
    const bool isMeant = checkDefinition(source_, line, record);
    if (record.path[0] == '\0') return;
    if (isMeant) {
      checkName(line, record);
      checkProgram(line, record);
    }
    Unit unit;
    unit.source = &source_;
    unit.isApplication = true;
    unit.euName = record.name;
    unit.tag = record.onlineTag;
    unit.tagSpan = line.fields.back();
    units.push_back(std::move(unit));
  }

  void checkName(const WalkedLine &line, const AppExeDef &record) {
    if (record.name[0] == '\0') return;
    const auto [first, isNew] = nameLines_.try_emplace(record.name, source_.lineOf(line.span.begin));
    if (isNew) return;
    source_.complain(line.fields[NAME],
                     {WARNING, "same-name",
                      "a second application called " + quoted(record.name) + ": the first is in line " +
                          std::to_string(first->second),
                      "their log lines, events and errors cannot be told apart, and both set the tag eu." +
                          printable(record.name) + ".ready",
                      "a name of its own"});
  }

  // Only where what the daemon starts is what is written: else that has been told.
  void checkProgram(const WalkedLine &line, const AppExeDef &record) {
    const Span span = line.fields[PATH];
    const bool isAsWritten = source_.part(span) == record.path && trimmed(source_, span).length == span.length &&
                             source_.part(span).find('"') == std::string_view::npos;
    if (!options_.programs || !isAsWritten) return;
    for (const Complaint &complaint : programComplaints(record.path, options_))
      source_.complain(span, complaint);
  }

  void checkEncoding() {
    if (source_.text().starts_with(BYTE_ORDER_MARK)) {
      const bool isComment = source_.text().substr(BYTE_ORDER_MARK.size()).starts_with('#');
      source_.complain({0, BYTE_ORDER_MARK.size()},
                       {WARNING, "byte-order-mark", "a byte order mark at the beginning",
                        isComment ? "the first line does not begin with \"#\": it is read as a definition"
                                  : "it becomes part of the first application's name",
                        "the file in UTF-8 without a byte order mark"});
    }
    const std::string_view text = source_.text();
    if (text.empty() || text.back() != '\0') return;
    source_.complain({text.size() - 1, 1}, {ERROR, "nul-byte", "the file ends with a NUL byte",
                                            "the last line is not read at all", "a line feed at the end"});
  }

  void checkLineEnds() {
    const std::string_view text = source_.text();
    size_t count = 0;
    size_t first = 0;
    for (const WalkedLine &line : lines_) {
      if (line.end != LineEnd::CARRIAGE_RETURN) continue;
      const size_t end = line.span.end();
      if (end + 1 < text.size() && text[end + 1] == '\n') {
        if (count++ == 0) first = end;
      } else if (end + 1 < text.size()) {
        source_.complain({end, 1}, {WARNING, "carriage-return", "a carriage return within the line",
                                    "the daemon ends the line here, and what follows is a line of its own",
                                    "a line feed, or nothing"});
      }
    }
    if (count == 0) return;
    source_.complain(
        {first, 1},
        {WARNING, "dos-line-ends", counted(count, "line ends", "lines end") + " with a carriage return and a line feed",
         "the daemon takes each for the end of a line and loses nothing; other programs take the carriage "
         "return for a part of the tag",
         "line feeds alone: sed -i 's/\\r$//' FILE"});
  }

  void checkComment(const WalkedLine &line) {
    if (line.end != LineEnd::TOO_LONG || line.goesOnTooLong) return;
    const size_t begin = line.span.end();
    const size_t end = std::min(source_.text().find_first_of("\n\r", begin), source_.text().size());
    source_.complain({begin, end - begin},
                     {WARNING, "line-too-long",
                      "the comment goes on behind the " + std::to_string(MAX_APP_DEF_LINE) +
                          " bytes that the daemon reads as a line",
                      "what is behind them is read as a definition", "several lines, each with \"#\" in front"});
  }

  void checkEmpty(const WalkedLine &line) {
    if (line.span.length == 0) return;
    source_.complain(line.span, {WARNING, "nul-byte", "a line that begins with a NUL byte",
                                 "the daemon takes it for an empty line", "no NUL bytes"});
  }

  void tellTooMany(const WalkedLine &line, size_t count) {
    const std::string limit = std::to_string(MAX_APP_EXE_DEFS);
    const std::string more = count == 1 ? "it is" : "it and " + std::to_string(count - 1) + " behind it are";
    source_.complain(line.span, {ERROR, "too-many-definitions", "more than " + limit + " definitions",
                                 "the daemon stops reading here, without a word: " + more + " never started",
                                 "at most " + limit + " definitions; records without a path count too"});
  }

  void tellNone() {
    source_.complainOfAll({WARNING, "no-definitions", "there is no application in it",
                           "the daemon starts nothing and reports that the application start-up is complete",
                           "a line for each application: name;path;arguments;0;flags;tag"});
  }

  SourceText &source_;
  const CheckOptions &options_;
  std::vector<WalkedLine> lines_;
  std::map<std::string, size_t, std::less<>> nameLines_;
};

}  // namespace

void CheckRun::checkDefinitions(const std::string &name, std::string_view text) {
  SourceText &source = sources_.emplace_back(name, texts_.emplace_back(text), result_.findings);
  CheckedInput input;
  input.kind = CheckInputKind::DEFINITIONS;
  input.name = name;
  std::vector<Unit> units;
  DefinitionFileCheck(source, options_).check(input, units);
  applications_.push_back(std::move(units));
  result_.inputs.push_back(std::move(input));
}

}  // namespace orv::checking
