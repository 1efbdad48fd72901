#include "ScenarioGuard.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace orv::sim {
namespace {

// Of the keys of one line. No key of the format has any; a tag's name that somebody forgot to quote has a few.
constexpr size_t MOST_DOTS = 32;

constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

TextMistake mistakeAt(std::string_view text, size_t at, std::string message) {
  TextMistake mistake;
  for (const char character : text.substr(0, at)) {
    if (character == '\n') {
      ++mistake.line;
      mistake.column = 1;
    } else if ((static_cast<unsigned char>(character) & 0xC0U) != 0x80U) {  // not in the middle of a UTF-8 character
      ++mistake.column;
    }
  }
  mistake.message = std::move(message);
  return mistake;
}

// How a string begins or ends: one quote, or three of them.
size_t quotesAt(std::string_view text, size_t at) {
  const char quote = text[at];
  return at + 2 < text.size() && text[at + 1] == quote && text[at + 2] == quote ? 3 : 1;
}

// The place behind the string that begins at `at`; the end of the text or, for a string of one line, of the line where
// it does not end. That is then for the parser to refuse.
size_t behindString(std::string_view text, size_t at) {
  const char quote = text[at];
  const size_t quotes = quotesAt(text, at);
  for (size_t i = at + quotes; i < text.size(); ++i) {
    if (quotes == 1 && text[i] == '\n') return i;
    if (quote == '"' && text[i] == '\\') {
      ++i;
    } else if (text[i] == quote && quotesAt(text, i) >= quotes) {
      i += quotes;
      // One or two quotes before the three that end it are part of it.
      while (quotes == 3 && i < text.size() && text[i] == quote)
        ++i;
      return i;
    }
  }
  return text.size();
}

bool isAscii(char character) {
  return static_cast<unsigned char>(character) < 0x80;
}

// Where a character that is not ASCII stands behind a backslash and white space; npos where none does.
size_t nonAsciiBehindBackslash(std::string_view string) {
  if (string[0] != '"') return std::string_view::npos;
  for (size_t i = string.find('\\'); i < string.size(); i = string.find('\\', i + 2)) {
    const size_t next = string.find_first_not_of(" \t\r\n", i + 1);
    if (next != std::string_view::npos && !isAscii(string[next])) return next;
  }
  return std::string_view::npos;
}

// A string without white space before it, opening brackets apart, may be the rest of a number that is none; the parser
// goes through that in search of white space.
bool standsAlone(std::string_view text, size_t begin) {
  while (begin != 0 && (text[begin - 1] == '[' || text[begin - 1] == '{'))
    --begin;
  return begin == 0 || std::string_view(" \t\r\n,").find(text[begin - 1]) != std::string_view::npos;
}

// What is wrong with the string from `begin` to `end`.
std::optional<TextMistake> mistakeOfString(std::string_view text, size_t begin, size_t end) {
  const std::string_view string = text.substr(begin, end - begin);
  if (!std::all_of(string.begin(), string.end(), isAscii) && !standsAlone(text, begin)) {
    return mistakeAt(text, begin, "no blank before a text that is not all ASCII (put one before its quote)");
  }
  const size_t behind = nonAsciiBehindBackslash(string);
  if (behind == std::string_view::npos) return std::nullopt;
  return mistakeAt(text, begin + behind, "a character that is not ASCII behind a backslash (join the lines)");
}

}  // namespace

std::optional<TextMistake> findUnparsable(std::string_view text) {
  size_t dots = 0;
  for (size_t i = text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0; i < text.size();) {
    const char character = text[i];
    if (character == '"' || character == '\'') {
      const size_t end = behindString(text, i);
      if (std::optional<TextMistake> mistake = mistakeOfString(text, i, end)) return mistake;
      i = end;
      continue;
    }
    if (character == '#') {
      i = std::min(text.find('\n', i), text.size());
      continue;
    }
    if (!isAscii(character)) {
      return mistakeAt(text, i, "not TOML: a character that is not ASCII and not in quotes (put it in quotes)");
    }
    if (character == '\n') dots = 0;
    if (character == '.' && ++dots > MOST_DOTS) {
      return mistakeAt(text, i,
                       "a key of more than " + std::to_string(MOST_DOTS) +
                           " parts (a name with dots is quoted, and a text needs a quote at either end)");
    }
    ++i;
  }
  return std::nullopt;
}

}  // namespace orv::sim
