#include "check/FieldChecks.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "Utf8.h"
#include "Words.h"

namespace orv::checking {
namespace {

constexpr std::string_view BLANKS = " \t";

// Characters that come with pasted text and look like others.
struct LookAlike {
  std::string_view character;
  const char *name;
  const char *meant;
};

constexpr LookAlike LOOK_ALIKES[] = {
    {"\xc2\xa0", "a no-break space (U+00A0)", "a blank"},
    {"\xe2\x80\x8b", "a zero-width space (U+200B)", "nothing"},
    {"\xe2\x80\x9c", "a curly quote (U+201C)", "\""},
    {"\xe2\x80\x9d", "a curly quote (U+201D)", "\""},
    {"\xe2\x80\x98", "a curly quote (U+2018)", "'"},
    {"\xe2\x80\x99", "a curly quote (U+2019)", "'"},
    {"\xe2\x80\x93", "an en dash (U+2013)", "-"},
    {"\xe2\x80\x94", "an em dash (U+2014)", "-"},
    {"\xef\xbb\xbf", "a byte order mark (U+FEFF)", "nothing"},
    {"\xef\xbc\x9b", "a full-width semicolon (U+FF1B)", ";"},
};

bool isControl(char byte) {
  constexpr unsigned char DELETE = 0x7f;
  return (static_cast<unsigned char>(byte) < ' ' && byte != '\t') || static_cast<unsigned char>(byte) == DELETE;
}

// Tells of the first of each sort: where there is one, there are often many.
class CharacterCheck {
 public:
  CharacterCheck(SourceText &source, const std::string &what) : source_(source), what_(what) {}

  void check(Span span) {
    for (size_t position = span.begin; position < span.end();) {
      const std::string_view rest = source_.text().substr(position, span.end() - position);
      const size_t length = utf8Length(rest);
      if (length == 0) {
        const size_t bytes = brokenLength(rest);
        tellBroken({position, bytes});
        position += bytes;
        continue;
      }
      if (length == 1 && isControl(rest[0])) tellControl({position, 1});
      if (length > 1) tellLookAlike({position, length});
      position += length;
    }
  }

 private:
  static size_t brokenLength(std::string_view text) {
    size_t length = 1;
    while (length < text.size() && utf8Length(text.substr(length)) == 0)
      ++length;
    return length;
  }

  void tellBroken(Span span) {
    if (toldBroken_) return;
    toldBroken_ = true;
    source_.complain(span, {CheckSeverity::WARNING, "not-utf8", "bytes that are no UTF-8 in the " + what_,
                            "the daemon keeps them as they are; logs show them as " +
                                printable(source_.part(span).substr(0, 1)) + ", and JSON cannot hold them",
                            "the text in UTF-8"});
  }

  void tellControl(Span span) {
    if (toldControl_) return;
    toldControl_ = true;
    source_.complain(span, {CheckSeverity::WARNING, "control-character",
                            "a control character (" + printable(source_.part(span)) + ") in the " + what_,
                            "it becomes part of the " + what_, "the " + what_ + " without it"});
  }

  void tellLookAlike(Span span) {
    const std::string_view character = source_.part(span);
    const auto *found = std::find_if(std::begin(LOOK_ALIKES), std::end(LOOK_ALIKES),
                                     [character](const LookAlike &each) { return each.character == character; });
    if (found == std::end(LOOK_ALIKES) || toldLookAlike_) return;
    toldLookAlike_ = true;
    source_.complain(span,
                     {CheckSeverity::WARNING, "look-alike", found->name + (" in the " + what_),
                      std::string("it is an ordinary character of the ") + what_ + " and means nothing", found->meant});
  }

  SourceText &source_;
  const std::string &what_;
  bool toldBroken_ = false;
  bool toldControl_ = false;
  bool toldLookAlike_ = false;
};

bool isHexadecimal(std::string_view text) {
  return text.starts_with("0x") || text.starts_with("0X");
}

// How many characters of `text` a number takes that is read with `base`, in front of which white space may stand.
size_t numberLength(std::string_view text, int base) {
  const auto isWhite = [](char character) { return std::isspace(static_cast<unsigned char>(character)) != 0; };
  size_t length = 0;
  while (length < text.size() && isWhite(text[length]))
    ++length;
  if (length < text.size() && (text[length] == '+' || text[length] == '-')) ++length;
  const std::string_view digits = text.substr(length);
  std::string_view alphabet = "0123456789";
  size_t prefix = 0;
  if (base == 0 && isHexadecimal(digits)) {
    alphabet = "0123456789abcdefABCDEF";
    prefix = 2;
  } else if (base == 0 && digits.starts_with("0")) {
    alphabet = "01234567";
  }
  const size_t count = std::min(digits.find_first_not_of(alphabet, prefix), digits.size()) - prefix;
  if (count == 0) return prefix == 0 ? 0 : length + 1;  // of "0x" alone the 0 is a number
  return length + prefix + count;
}

std::string withoutBlanks(std::string_view text) {
  const size_t begin = text.find_first_not_of(BLANKS);
  if (begin == std::string_view::npos) return "";
  return std::string(text.substr(begin, text.find_last_not_of(BLANKS) + 1 - begin));
}

bool looksOctal(std::string_view text) {
  return text.size() > 1 && text[0] == '0' && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The number in decimal that somebody meant who has written leading zeros.
std::string withoutZeros(std::string_view text) {
  return std::string(text.substr(std::min(text.find_first_not_of('0'), text.size() - 1)));
}

Complaint rubbishComplaint(std::string_view number, const NumberReading &reading) {
  const std::string expected =
      reading.base == 10 ? "a decimal number" : "a decimal number, or 0x and a hexadecimal one";
  Complaint complaint{CheckSeverity::WARNING, "bad-number", quoted(number) + " is no number",
                      "the daemon reads " + reading.asRead + " and passes over the rest", expected};
  if (reading.base != 10 || !isHexadecimal(number)) return complaint;
  complaint.what = quoted(number) + " is hexadecimal, and numbers in this file are decimal";
  complaint.instead = std::to_string(std::strtoull(std::string(number).c_str(), nullptr, 16));
  return complaint;
}

}  // namespace

void checkCharacters(SourceText &source, Span span, const std::string &what) {
  CharacterCheck(source, what).check(span);
}

Span trimmed(const SourceText &source, Span span) {
  const std::string_view text = source.part(span);
  const size_t begin = text.find_first_not_of(BLANKS);
  if (begin == std::string_view::npos) return {span.end(), 0};
  return {span.begin + begin, text.find_last_not_of(BLANKS) + 1 - begin};
}

void checkEdges(SourceText &source, Span span, const std::string &what, CheckSeverity severity,
                const std::string &effect) {
  const Span inner = trimmed(source, span);
  const Span front{span.begin, inner.begin - span.begin};
  const Span behind{inner.end(), span.end() - inner.end()};
  const auto tell = [&](Span blanks, const char *where) {
    const bool hasTab = source.part(blanks).find('\t') != std::string_view::npos;
    source.complain(blanks, {severity, "stray-blank", (hasTab ? "a tab " : "a blank ") + (where + (" the " + what)),
                             "nothing is taken off: " + effect, quoted(source.part(inner))});
  };
  if (front.length != 0) tell(front, "in front of");
  if (behind.length != 0) tell(behind, "behind");
}

void checkNumber(SourceText &source, Span span, const NumberReading &reading) {
  const std::string_view text = source.part(span);
  const std::string number = withoutBlanks(text);
  if (number.empty()) return;
  const Span place = trimmed(source, span);
  const size_t read = numberLength(number, reading.base);
  if (read < number.size()) {
    source.complain({place.begin + read, place.length - read}, rubbishComplaint(number, reading));
    return;
  }
  if (reading.isBeyond) {
    source.complain(
        place, {CheckSeverity::WARNING, "number-too-large", quoted(number) + " does not fit into the " + reading.field,
                "the daemon goes on with " + reading.asRead, "a number that fits"});
  } else if (reading.base == 0 && looksOctal(number)) {
    source.complain(place, {CheckSeverity::WARNING, "octal-number", quoted(number) + " is octal: it begins with 0",
                            "the daemon reads " + reading.asRead, withoutZeros(number)});
  }
}

}  // namespace orv::checking
