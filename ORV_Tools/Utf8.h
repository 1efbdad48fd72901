// What is UTF-8 and what is not.
#ifndef ORV_TOOLS_UTF8_H
#define ORV_TOOLS_UTF8_H

#include <cstddef>
#include <string_view>

namespace orv {

// How many bytes the character at the front of `text` has; 0 where it is none. Overlong forms, surrogates and what is
// beyond U+10FFFF are none.
size_t utf8Length(std::string_view text);

// All of `text` is.
bool isUtf8(std::string_view text);

}  // namespace orv

#endif
