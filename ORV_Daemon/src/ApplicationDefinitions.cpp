#include "ApplicationDefinitions.h"

#include <cstring>

#include "TextFields.h"

namespace {

// Reads one line into `line`. Returns false at the end of the file. At the end, a line counts when something was read
// for it and the last byte was no NUL.
bool readLine(ReadCharacter readCharacter, void *source, char (&line)[MAX_APP_DEF_LINE + 1]) {
  size_t length = 0;
  char last = '\0';
  for (;;) {
    char character = '\0';
    if (!readCharacter(source, character)) {
      if (last == '\0') return false;
      break;
    }
    last = character;
    // A character that no longer fits is dropped; what follows it is read as a new line.
    if (character == '\n' || character == '\r' || length == MAX_APP_DEF_LINE) break;
    line[length++] = character;
  }
  line[length] = '\0';
  return true;
}

// Copies the text from `begin` up to `end` into the arguments, without one pair of quotes around all of it. A single
// quote is a pair of its own.
void copyArguments(AppExeDef &definition, const char *begin, const char *end) {
  if (begin != end && *begin == '"' && end[-1] == '"') {
    ++begin;
    if (begin != end) --end;
  }
  copyCut(definition.args, sizeof definition.args, begin, static_cast<size_t>(end - begin));
}

// A number's text ends at the separator behind it, where reading stops in any case.
void parseDefinition(const char *line, AppExeDef &definition) {
  definition = {};
  const char *begin = line;
  const char *end = std::strchr(begin, ';');
  if (end == nullptr) return;
  copyCut(definition.name, sizeof definition.name, begin, static_cast<size_t>(end - begin));
  begin = end + 1;
  end = std::strchr(begin, ';');
  if (end == nullptr) return;
  copyCut(definition.path, sizeof definition.path, begin, static_cast<size_t>(end - begin));
  begin = end + 1;
  end = std::strchr(begin, ';');
  if (end == nullptr) return;
  copyArguments(definition, begin, end);
  begin = end + 1;
  end = std::strchr(begin, ';');
  if (end == nullptr) return;
  definition.reserved = toSigned32(begin, 10);
  begin = end + 1;
  end = std::strchr(begin, ';');
  if (end == nullptr) return;
  definition.supervisionFlags = toSigned32(begin, 10);
  copyCut(definition.onlineTag, sizeof definition.onlineTag, end + 1);
}

}  // namespace

void parseAppExeDefs(ReadCharacter readCharacter, void *source, AppExeDefTable &table) {
  table.count = 0;
  char line[MAX_APP_DEF_LINE + 1];
  while (readLine(readCharacter, source, line)) {
    if (table.count == MAX_APP_EXE_DEFS) return;
    if (line[0] == '#' || line[0] == '\0') continue;
    parseDefinition(line, table.definitions[table.count]);
    ++table.count;
  }
}
