#include "check/DefinitionCheck.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "Applications.h"
#include "ArgumentList.h"
#include "Words.h"
#include "check/FieldChecks.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;
constexpr std::string_view BLANKS = " \t";
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

const char *const FIELD_NAMES[] = {"name", "path", "arguments", "reserved field", "flags", "online tag"};

std::string takesAPlace() {
  return "takes one of " + std::to_string(MAX_APP_EXE_DEFS) + " places and starts nothing";
}

class DefinitionCheck {
 public:
  DefinitionCheck(SourceText &source, const WalkedLine &line, const AppExeDef &record)
      : source_(source), line_(line), record_(record) {}

  bool check() {
    checkLength();
    if (!isMeantAsDefinition()) return false;
    checkNul();
    if (ended() < FLAGS + 1) tellMissingSeparator();
    if (ended() == 0) return false;
    checkName();
    if (ended() > PATH) checkPath();
    if (ended() > ARGS) checkArguments();
    if (ended() > RESERVED) checkReserved();
    if (ended() > FLAGS) checkFlags();
    if (ended() > FLAGS) checkTag();
    return true;
  }

 private:
  // How many fields a separator ends.
  size_t ended() const {
    return line_.fields.size() - 1;
  }
  Span span(Field field) const {
    return line_.fields[field];
  }
  std::string_view text(Field field) const {
    return source_.part(span(field));
  }
  std::string_view lineText() const {
    return source_.part(line_.span);
  }

  void checkLength() {
    if (line_.end != LineEnd::TOO_LONG) return;
    const size_t begin = line_.span.end();
    const size_t end = std::min(source_.text().find_first_of("\n\r", begin), source_.text().size());
    source_.complain({begin, end - begin}, {ERROR, "line-too-long",
                                            "the line goes on behind the " + std::to_string(MAX_APP_DEF_LINE) +
                                                " bytes that the daemon reads",
                                            "the next byte is lost, and what is behind it is read as a line of its own",
                                            "at most " + std::to_string(MAX_APP_DEF_LINE) + " bytes in a line"});
  }

  bool isMeantAsDefinition() {
    const std::string_view text = lineText();
    const size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
      source_.complain(line_.span, {WARNING, "blank-line", "a line of blanks is not empty",
                                    "the daemon makes an empty record of it, which " + takesAPlace(), "an empty line"});
      return false;
    }
    // That a byte order mark makes a definition of a comment is said of the mark.
    if (afterByteOrderMark(line_.span).begin != line_.span.begin &&
        source_.part(afterByteOrderMark(line_.span)).starts_with('#')) {
      return false;
    }
    if (text[first] == '#') {
      tellNoComment(first);
      return false;
    }
    if (ended() == 0 && text.substr(first).starts_with("//")) {
      source_.complain({line_.span.begin, first + 2},
                       {WARNING, "not-a-comment", "\"//\" begins no comment",
                        "the daemon makes an empty record of the line, which " + takesAPlace(),
                        "\"#\" as the first character of the line"});
      return false;
    }
    return true;
  }

  Span afterByteOrderMark(Span span) const {
    if (span.begin != 0 || !source_.part(span).starts_with(BYTE_ORDER_MARK)) return span;
    return {span.begin + BYTE_ORDER_MARK.size(), span.length - BYTE_ORDER_MARK.size()};
  }

  void tellNoComment(size_t position) {
    const std::string path = record_.path;
    source_.complain({line_.span.begin, position + 1},
                     {WARNING, "not-a-comment", "a \"#\" that is not the first character begins no comment",
                      path.empty() ? "the daemon makes a record without a path of the line, which " + takesAPlace()
                                   : "the daemon takes the line for a definition and starts " + quoted(path),
                      "\"#\" as the first character of the line"});
  }

  void checkNul() {
    const size_t position = lineText().find('\0');
    if (position == std::string_view::npos) return;
    source_.complain({line_.span.begin + position, 1}, {ERROR, "nul-byte", "a NUL byte in the line",
                                                        "the daemon reads the line up to it", "no NUL bytes"});
  }

  // The line with what it lacks.
  std::string completed() const {
    std::string whole(source_.part({line_.span.begin, line_.fields.back().end() - line_.span.begin}));
    whole += ';';
    for (size_t field = ended() + 1; field < ONLINE_TAG; ++field)
      whole += field < RESERVED ? ";" : "0;";
    return printable(whole);
  }

  void tellMissingSeparator() {
    const Span last = line_.fields.back();
    const std::string_view unread = source_.part(last);
    Complaint complaint{ERROR, "missing-separator", "", "", completed()};
    if (ended() == 0) {
      complaint.what = "no \";\" in a line that is no comment";
      complaint.why = "the daemon makes an empty record of it, which " + takesAPlace();
      complaint.instead = "name;path;arguments;0;flags;tag, or \"#\" as the first character of the line";
      source_.complain(last, complaint);
      return;
    }
    complaint.what = std::string("no \";\" behind the ") + FIELD_NAMES[ended()];
    if (ended() == PATH) {
      complaint.why = "without it the path is not read: the record has none, and nothing is started";
    } else {
      complaint.severity = WARNING;
      complaint.why = unread.empty() ? "what is missing is empty or 0"
                                     : quoted(unread) + " is not read, and what is missing is empty or 0";
    }
    if (ended() == FLAGS && isTagInPlaceOfFlags()) {
      complaint.why += ": the application is not waited for";
      complaint.instead = "the reserved field, 0, before the flags";
    }
    source_.complain(unread.empty() ? Span{last.end(), 0} : last, complaint);
  }

  // name;path;arguments;3;tag: the reserved field was left out.
  bool isTagInPlaceOfFlags() const {
    const std::string_view last = text(FLAGS);
    return !last.empty() && last.find_first_not_of("0123456789+- \t") != std::string_view::npos;
  }

  // What does not fit into a field of `capacity` bytes.
  void checkCut(Field field, size_t capacity, CheckSeverity severity, const std::string &why,
                const std::string &instead) {
    const Span whole = span(field);
    if (whole.length <= capacity) return;
    source_.complain({whole.begin + capacity, whole.length - capacity},
                     {severity, "cut-field",
                      std::string("the ") + FIELD_NAMES[field] + " has " + std::to_string(whole.length) + " bytes, " +
                          std::to_string(whole.length - capacity) + " more than fit",
                      why, instead});
  }

  void checkName() {
    const std::string name = record_.name;
    if (name.empty()) {
      source_.complain({span(NAME).begin, 0},
                       {WARNING, "empty-name", "the name is empty",
                        "log lines, events and raised errors do not say which application they are about", "a name"});
      return;
    }
    checkCut(NAME, sizeof record_.name - 1, WARNING,
             "the daemon goes on with " + quoted(name) + ": in its log, as name of the EU, and in the tag eu." +
                 printable(name) + ".ready",
             "a name of at most " + std::to_string(sizeof record_.name - 1) + " bytes");
    checkEdges(source_, span(NAME), "name", WARNING, "the application is called " + quoted(name));
    checkQuotes(NAME, WARNING, name);
    checkCharacters(source_, afterByteOrderMark(span(NAME)), "name");
  }

  void checkPath() {
    const std::string path = record_.path;
    if (path.empty()) {
      source_.complain({span(PATH).begin, 0},
                       {ERROR, "empty-path", "the path is empty",
                        "the daemon passes over the record without a word: nothing is started, no tag is waited for",
                        "the path of the program"});
      return;
    }
    checkCut(PATH, sizeof record_.path - 1, ERROR, "the daemon starts " + quoted(path),
             "a path of at most " + std::to_string(sizeof record_.path - 1) + " bytes; a symbolic link can lead on");
    checkEdges(source_, span(PATH), "path", ERROR, "the daemon starts " + quoted(path));
    checkQuotes(PATH, ERROR, path);
    checkCharacters(source_, span(PATH), "path");
  }

  // Quotes around a field other than the arguments.
  void checkQuotes(Field field, CheckSeverity severity, const std::string &asRead) {
    const std::string_view whole = text(field);
    if (whole.find('"') == std::string_view::npos) return;
    source_.complain(span(field), {severity, "quote", std::string("a quote in the ") + FIELD_NAMES[field],
                                   "quotes are taken off the arguments alone: what the daemon has is " + quoted(asRead),
                                   std::string("the ") + FIELD_NAMES[field] + " without quotes"});
  }

  void checkArguments() {
    const std::string args = record_.args;
    const std::string_view whole = text(ARGS);
    const bool begins = whole.starts_with('"');
    const bool ends = whole.ends_with('"');
    const bool isPair = begins && ends && whole.size() > 1;
    const size_t extra = isPair ? 1 : 0;
    const Span inner{span(ARGS).begin + extra, whole.size() - 2 * extra};
    constexpr size_t CAPACITY = sizeof record_.args - 1;
    if (inner.length > CAPACITY) {
      source_.complain({inner.begin + CAPACITY, inner.length - CAPACITY},
                       {WARNING, "cut-field",
                        "the arguments have " + std::to_string(inner.length) + " bytes, " +
                            std::to_string(inner.length - CAPACITY) + " more than fit",
                        "the program gets " + quoted(args),
                        "arguments of at most " + std::to_string(CAPACITY) + " bytes, or a file that holds them"});
    }
    if (whole == "\"") {
      source_.complain(span(ARGS), {WARNING, "quote", "a quote without its pair",
                                    "the daemon takes it off: there are no arguments", "the quotes in pairs, or none"});
    } else if (isPair && source_.part(inner).find('"') != std::string_view::npos) {
      source_.complain(span(ARGS), {WARNING, "quote", "the first and the last quote are taken for a pair",
                                    "the daemon takes both off; what remains is " + quoted(args),
                                    quoted("\"" + std::string(whole) + "\"") + ", with a pair around all of it"});
    }
    checkSplitting(args);
    checkCharacters(source_, span(ARGS), "arguments");
  }

  // The platform takes the arguments apart when it starts the program.
  void checkSplitting(const std::string &args) {
    std::vector<std::string> arguments;
    const Status status = splitArguments(args, arguments);
    if (status.ok()) return;
    const bool isQuote = status.message.find("without its pair") != std::string::npos;
    source_.complain(span(ARGS), {ERROR, isQuote ? "quote" : "arguments",
                                  isQuote ? "a quote without its pair" : "a backslash at the end of the arguments",
                                  "the platform does not start a program with the arguments " + quoted(args),
                                  isQuote ? "the quotes in pairs, or none" : "arguments without the backslash"});
  }

  void checkReserved() {
    const std::string value = std::to_string(record_.reserved);
    const bool saturated = isSaturated(RESERVED, record_.reserved);
    checkNumber(source_, span(RESERVED), {10, "reserved field", value, saturated});
    if (record_.reserved == 0) return;
    source_.complain(trimmed(source_, span(RESERVED)), {WARNING, "reserved-value", "the reserved field is " + value,
                                                        "nothing reads it; the flags are the field behind it", "0"});
  }

  bool isSaturated(Field field, int32_t value) const {
    if (value != INT32_MAX && value != INT32_MIN) return false;
    std::string digits(text(field));
    digits.erase(0, digits.find_first_of("123456789"));
    digits.erase(std::min(digits.find_first_not_of("0123456789"), digits.size()));
    return digits != (value == INT32_MAX ? "2147483647" : "2147483648");
  }

  void checkFlags() {
    const int32_t flags = record_.supervisionFlags;
    checkNumber(source_, span(FLAGS), {10, "flags", std::to_string(flags), isSaturated(FLAGS, flags)});
    constexpr int32_t KNOWN = RAISE_ON_FAILURE | RESET_ON_FAILURE;
    // Of a number that does not fit the bits say nothing.
    if ((flags & ~KNOWN) == 0 || isSaturated(FLAGS, flags)) return;
    source_.complain(
        trimmed(source_, span(FLAGS)),
        {WARNING, "unknown-flags", "flags " + std::to_string(flags) + " have bits that nobody reads",
         "the daemon looks at " + std::to_string(RAISE_ON_FAILURE) + " (a failure raises an error) and at " +
             std::to_string(RESET_ON_FAILURE) + " (a failure resets the board), and at nothing else",
         std::to_string(flags & KNOWN) + ", which does the same"});
  }

  void checkTag() {
    const std::string tag = record_.onlineTag;
    if (tag.empty()) return;
    const std::string effect = "the daemon waits for a tag called " + quoted(tag);
    checkCut(ONLINE_TAG, sizeof record_.onlineTag - 1, ERROR, effect,
             "a tag of at most " + std::to_string(sizeof record_.onlineTag - 1) + " bytes");
    if (!checkCommentInTag(effect)) checkEdges(source_, span(ONLINE_TAG), "online tag", ERROR, effect);
    checkQuotes(ONLINE_TAG, ERROR, tag);
    if (const size_t position = text(ONLINE_TAG).find(';'); position != std::string_view::npos) {
      const Span whole = span(ONLINE_TAG);
      source_.complain(
          {whole.begin + position, whole.length - position},
          {ERROR, "separator-in-tag", "a \";\" in the online tag", "the tag goes to the end of the line: " + effect,
           quoted(text(ONLINE_TAG).substr(0, position))});
    }
    checkCharacters(source_, span(ONLINE_TAG), "online tag");
  }

  bool checkCommentInTag(const std::string &effect) {
    const std::string_view tag = text(ONLINE_TAG);
    const size_t mark = tag.find('#');
    if (mark == std::string_view::npos || mark == 0 || BLANKS.find(tag[mark - 1]) == std::string_view::npos) {
      return false;
    }
    const Span whole = span(ONLINE_TAG);
    source_.complain(
        {whole.begin + mark, whole.length - mark},
        {ERROR, "comment-in-tag", "a comment behind the online tag",
         "\"#\" begins a comment in the first column alone: " + effect, "the comment in a line of its own"});
    return true;
  }

  SourceText &source_;
  const WalkedLine &line_;
  const AppExeDef &record_;
};

}  // namespace

bool checkDefinition(SourceText &source, const WalkedLine &line, const AppExeDef &record) {
  return DefinitionCheck(source, line, record).check();
}

}  // namespace orv::checking
