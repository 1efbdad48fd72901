// What can be wrong with one text of a definition, wherever it stands.
#ifndef ORV_TOOLS_CHECK_FIELDCHECKS_H
#define ORV_TOOLS_CHECK_FIELDCHECKS_H

#include <cstdint>
#include <string>

#include "check/SourceText.h"

namespace orv::checking {

// Bytes that are no UTF-8, control characters, and characters that look like others. `what` is what the text is called:
// "path". Blanks and tabs are left to the caller.
void checkCharacters(SourceText &source, Span span, const std::string &what);

// Blanks in front and behind. `effect` says what the daemon does with them.
void checkEdges(SourceText &source, Span span, const std::string &what, CheckSeverity severity,
                const std::string &effect);

// The part of `span` without blanks and tabs at its ends.
Span trimmed(const SourceText &source, Span span);

// What a reader of numbers makes of a text.
struct NumberReading {
  int base = 10;          // 10, or 0: with base detection
  std::string field;      // what the number is called: "flags"
  std::string asRead;     // what the daemon has made of it
  bool isBeyond = false;  // the number does not fit where it goes
};

// Rubbish in a number, one that does not fit, and one whose base is not what it looks like. An empty text is none.
void checkNumber(SourceText &source, Span span, const NumberReading &reading);

}  // namespace orv::checking

#endif
