// Numbers and fixed-size text fields, with one answer on every word size.
//
// The board's long has 32 bits and its strtol and strtoul saturate there. These do the same where long has 64 bits, so
// that a command line means the same on a developer's machine and on the board.
#ifndef ORV_DAEMON_TEXTFIELDS_H
#define ORV_DAEMON_TEXTFIELDS_H

#include <cstddef>
#include <cstdint>

// strtol with a 32-bit long: leading white space, optional sign, digits of `base` (0: decimal, "0x" hexadecimal,
// leading "0" octal) up to the first character that is none. Values beyond the range give the nearest limit and errno
// ERANGE; no digits give 0. `end` (may be null): out: the first character not read, `text` itself when nothing was
// read.
int32_t toSigned32(const char *text, int base, const char **end = nullptr);

// strtoul with a 32-bit long, base 0: as above; a minus sign negates modulo 2^32, and a magnitude beyond the range
// gives 0xffffffff whatever its sign.
uint32_t toUnsigned32(const char *text);

// The low 16 bits of a number given with base detection.
uint16_t toLow16(const char *text);

// Copies the first `length` characters of `text` into a field of `fieldSize` characters, cut so that a NUL fits, and
// fills what is left of the field with NULs.
void copyCut(char *field, size_t fieldSize, const char *text, size_t length);

// The same for a whole NUL-terminated text.
void copyCut(char *field, size_t fieldSize, const char *text);

#endif
