#include "Utf8.h"

#include <algorithm>

namespace orv {
namespace {

// A row for each form: the first byte, and the range of the second, which rules out what is not to be.
struct Form {
  unsigned char firstFrom;
  unsigned char firstTo;
  size_t length;
  unsigned char secondFrom;
  unsigned char secondTo;
};

constexpr Form FORMS[] = {
    {0x00, 0x7f, 1, 0x00, 0x00}, {0xc2, 0xdf, 2, 0x80, 0xbf}, {0xe0, 0xe0, 3, 0xa0, 0xbf},
    {0xe1, 0xec, 3, 0x80, 0xbf}, {0xed, 0xed, 3, 0x80, 0x9f}, {0xee, 0xef, 3, 0x80, 0xbf},
    {0xf0, 0xf0, 4, 0x90, 0xbf}, {0xf1, 0xf3, 4, 0x80, 0xbf}, {0xf4, 0xf4, 4, 0x80, 0x8f},
};

bool isBetween(char byte, unsigned char from, unsigned char to) {
  return static_cast<unsigned char>(byte) >= from && static_cast<unsigned char>(byte) <= to;
}

bool isContinuation(char byte) {
  return isBetween(byte, 0x80, 0xbf);
}

}  // namespace

size_t utf8Length(std::string_view text) {
  if (text.empty()) return 0;
  for (const Form &form : FORMS) {
    if (!isBetween(text[0], form.firstFrom, form.firstTo)) continue;
    if (form.length == 1) return 1;
    if (text.size() < form.length || !isBetween(text[1], form.secondFrom, form.secondTo)) return 0;
    const std::string_view others = text.substr(2, form.length - 2);
    return std::all_of(others.begin(), others.end(), isContinuation) ? form.length : 0;
  }
  return 0;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = utf8Length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

size_t utf8Characters(std::string_view text) {
  return text.size() - static_cast<size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

std::string_view utf8Cut(std::string_view text, size_t limit) {
  if (text.size() <= limit) return text;
  constexpr size_t LONGEST_CHARACTER = 4;
  for (size_t back = 0; back < LONGEST_CHARACTER && back <= limit; ++back) {
    if (!isContinuation(text[limit - back])) return text.substr(0, limit - back);
  }
  return text.substr(0, limit);
}

}  // namespace orv
