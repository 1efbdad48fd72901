// What is UTF-8 and what is not. Texts come from programs and other machines: any bytes can stand in them.
#ifndef ORV_COMMON_UTF8_H
#define ORV_COMMON_UTF8_H

#include <cstddef>
#include <string_view>

namespace orv {

// How many bytes the character at the front of `text` has; 0 where it is none. Overlong forms, surrogates and what is
// beyond U+10FFFF are none.
size_t utf8Length(std::string_view text);

// All of `text` is.
bool isUtf8(std::string_view text);

// How many characters `text` has. Bytes that are no UTF-8 may count or not.
size_t utf8Characters(std::string_view text);

// The first `limit` bytes of `text` at most, without a part of a character at the end; of what is no UTF-8, exactly
// `limit` bytes.
std::string_view utf8Cut(std::string_view text, size_t limit);

}  // namespace orv

#endif
