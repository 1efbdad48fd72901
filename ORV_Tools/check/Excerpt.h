// A line with a part of it marked below, as compilers do it.
#ifndef ORV_TOOLS_CHECK_EXCERPT_H
#define ORV_TOOLS_CHECK_EXCERPT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace orv::checking {

struct Excerpt {
  std::string line;   // printable; tabs are blanks up to the next multiple of 8 columns
  std::string marks;  // blanks, and "^~~~" below the part; what is too long for the excerpt is not marked
};

// `column` and `length` in bytes, from 1. Of a line that is longer than EXCERPT_COLUMNS only what is near the part is
// shown. Wide characters have two columns, combining ones none, and what a terminal could take for a command is
// escaped.
constexpr size_t EXCERPT_COLUMNS = 100;
Excerpt excerptOf(std::string_view lineText, size_t column, size_t length);

// How many columns a terminal gives to the character of UTF-8 `character`.
size_t columnsOf(std::string_view character);

}  // namespace orv::checking

#endif
