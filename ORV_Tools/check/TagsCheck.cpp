// A list of tags, as of the daemon's option -c.
#include <cstdint>
#include <cstdlib>
#include <set>

#include "Applications.h"
#include "NodeActions.h"
#include "StoreRecords.h"
#include "Words.h"
#include "check/CheckRun.h"
#include "check/DaemonParsers.h"
#include "check/FieldChecks.h"
#include "check/StartupKeys.h"
#include "check/TagsWalk.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;

const std::vector<RecordColumn> COLUMNS = {{"tag", "tag", false}, {"type", "type", false}, {"value", "value", false}};

bool meansNo(const SetTag &tag) {
  if (tag.type != SetTag::Type::STRING) return tag.number == 0;
  const std::string &text = tag.text;
  return text == "no" || text == "off" || text == "false" || text == "disabled";
}

// Whether somebody who writes `text` means a number.
bool looksLikeNumber(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty()) return false;
  if (text.find_first_not_of("0123456789") == std::string_view::npos) return true;
  return (text.starts_with("0x") || text.starts_with("0X")) && text.size() > 2 &&
         text.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos;
}

// Whether 16 bits hold the number neither as it is nor as a negative one.
bool isBeyond16Bits(const std::string &text) {
  const long long number = std::strtoll(text.c_str(), nullptr, 0);
  return number < INT16_MIN || number > UINT16_MAX;
}

class TagsCheck {
 public:
  TagsCheck(SourceText &source, bool isShort) : source_(source), isShort_(isShort), walked_(walkTags(source.text())) {}

  void check(CheckedInput &input, std::vector<EarlyTag> &earlyTags) {
    const std::vector<SetTag> tags = readTagList(std::string(source_.text()), isShort_);
    input.columns = COLUMNS;
    checkSeparators();
    for (size_t i = 0; i < walked_.size() && i < tags.size(); ++i) {
      const SetTag &tag = tags[i];
      input.records.push_back({tag.name, tagTypeText(tag), tagText(tag)});
      earlyTags.push_back({tag.name, source_.name()});
      checkPair(walked_[i], tag);
    }
    if (!walked_.empty() && !walked_.back().hasValue) tellNoValue(walked_.back());
    if (walked_.empty()) {
      source_.complainOfAll({WARNING, "no-definitions", "there is no tag in it", "the daemon sets none", "tag=value"});
    }
  }

 private:
  // The first of them is told: behind it names and values may have changed places.
  void checkSeparators() {
    for (size_t i = 0; i < walked_.size(); ++i) {
      const WalkedTag &tag = walked_[i];
      if (tag.hasValue && tellSeparator({tag.name.end(), tag.value.begin - tag.name.end()}, "=")) return;
      if (i + 1 < walked_.size()) {
        const size_t end = tag.value.end();
        if (tellSeparator({end, walked_[i + 1].name.begin - end}, ",")) return;
      }
    }
  }

  bool tellSeparator(Span span, const char *expected) {
    const std::string_view separator = source_.part(span);
    if (separator == expected) return false;
    source_.complain(span,
                     {WARNING, "separator", quoted(separator) + " where " + quoted(expected) + " belongs",
                      "\"=\" and \",\" separate alike, and several count as one: names and values simply alternate",
                      "tag=value,tag=value; a value can be neither empty nor hold \"=\" or \",\""});
    return true;
  }

  void tellNoValue(const WalkedTag &tag) {
    source_.complain(tag.name, {WARNING, "no-value", "the tag " + quoted(source_.part(tag.name)) + " has no value",
                                "the daemon does not set it", "tag=1, for instance"});
  }

  void checkPair(const WalkedTag &walked, const SetTag &tag) {
    const std::string name = quoted(tag.name);
    checkEdges(source_, walked.name, "tag", WARNING, "the tag is called " + name);
    checkCharacters(source_, walked.name, "tag");
    checkCharacters(source_, walked.value, "value");
    checkLengths(walked, tag);
    checkNumber(walked, tag);
    if (!seen_.insert(tag.name).second) {
      source_.complain(walked.name, {WARNING, "repeated-tag", "the tag " + name + " stands there again",
                                     "the last value counts", "the tag once"});
    }
    checkMeaning(walked, tag);
  }

  void checkLengths(const WalkedTag &walked, const SetTag &tag) {
    const auto tell = [this](Span span, size_t limit, const char *what) {
      source_.complain({span.begin + limit, span.length - limit},
                       {ERROR, "tag-refused",
                        std::string(what) + " has " + std::to_string(span.length) + " bytes, " +
                            std::to_string(span.length - limit) + " more than the platform takes",
                        "the platform refuses the tag, and the daemon goes on without it",
                        "at most " + std::to_string(limit) + " bytes"});
    };
    if (walked.name.length > MAX_TAG_NAME_LENGTH) tell(walked.name, MAX_TAG_NAME_LENGTH, "the name of the tag");
    if (tag.type == SetTag::Type::STRING && walked.value.length > MAX_TAG_TEXT_LENGTH) {
      tell(walked.value, MAX_TAG_TEXT_LENGTH, "the value");
    }
  }

  void checkNumber(const WalkedTag &walked, const SetTag &tag) {
    const std::string_view value = source_.part(walked.value);
    const Span inner = trimmed(source_, walked.value);
    if (tag.type == SetTag::Type::STRING) {
      if (!looksLikeNumber(source_.part(inner))) return;
      source_.complain(walked.value,
                       {WARNING, "number-as-text", quoted(value) + " becomes a text",
                        "it is no whole number from -2147483648 to 2147483647, in decimal, octal or hexadecimal",
                        "a number of that kind, where one is meant"});
      return;
    }
    NumberReading reading;
    reading.base = 0;
    reading.field = "value";
    reading.asRead = std::to_string(tag.number);
    reading.isBeyond = isShort_ && isBeyond16Bits(std::string(value));
    checking::checkNumber(source_, walked.value, reading);
  }

  void checkMeaning(const WalkedTag &walked, const SetTag &tag) {
    if (tag.name == REPAIR_RESET_TAG || tag.name == CONFIGURATION_RESET_TAG) {
      source_.complain(walked.name,
                       {WARNING, "forbids-applications", "this tag forbids the start of applications",
                        "that it is set is enough, whatever its value: the daemon does not read the definition file",
                        "the list without it, unless that is meant"});
    }
    if (tag.name == WATCHDOG_ENABLED_TAG && meansNo(tag)) {
      source_.complain(walked.value,
                       {WARNING, "enables-watchdog", "this enables board resets, though the value says no",
                        "that the tag is set is enough, whatever its value",
                        "the list without it, which leaves board resets disabled"});
    }
    if (tag.name == FILE_NAME_TAG && tag.type != SetTag::Type::STRING) {
      source_.complain(walked.value, {WARNING, "file-name-is-number", "the name of the definition file is a number",
                                      "the daemon asks for a text, finds none and reads the default file",
                                      "a path, such as /etc/orv/AppDef.txt"});
    }
  }

  SourceText &source_;
  bool isShort_;
  std::vector<WalkedTag> walked_;
  std::set<std::string> seen_;
};

}  // namespace

void CheckRun::checkTags(const std::string &name, std::string_view text, bool isShort) {
  SourceText &source = addArgument(name, text);
  CheckedInput input;
  input.kind = CheckInputKind::TAGS;
  input.name = name;
  TagsCheck(source, isShort).check(input, earlyTags_);
  result_.inputs.push_back(std::move(input));
}

}  // namespace orv::checking
