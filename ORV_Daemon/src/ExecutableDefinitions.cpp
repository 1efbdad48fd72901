#include "ExecutableDefinitions.h"

#include <cstring>

#include "DaemonLog.h"
#include "TextFields.h"

namespace {

constexpr uint32_t FLAGS_WITH_ONLINE_TAG = 2;

// Parses one definition, cut in place.
void parseExeDef(char *text, ExeDef &definition) {
  text += std::strspn(text, " ");
  char *marker = std::strrchr(text, '#');
  if (marker != nullptr) *marker = '\0';
  copyCut(definition.onlineTag, sizeof definition.onlineTag, marker == nullptr ? "" : marker + 1);
  definition.supervisionFlags = marker == nullptr ? 0 : FLAGS_WITH_ONLINE_TAG;
  char *blank = std::strchr(text, ' ');
  if (blank != nullptr) *blank = '\0';
  copyCut(definition.args, sizeof definition.args, blank == nullptr ? "" : blank + 1);
  copyCut(definition.path, sizeof definition.path, text);
}

}  // namespace

int parseExeDefs(char *text, ExeDefTable &table) {
  logInfo("parseExeDefs", "Executables: ", text);
  table.count = 0;
  char *state = nullptr;
  for (char *item = strtok_r(text, "|", &state); item != nullptr; item = strtok_r(nullptr, "|", &state)) {
    // That a fourth definition stands there is enough, blank or not.
    if (table.count == MAX_EXE_DEFS) {
      logError("parseExeDefs", "Too many executables specified, maximum is ", MAX_EXE_DEFS);
      return 0;
    }
    ExeDef &definition = table.definitions[table.count];
    parseExeDef(item, definition);
    if (definition.path[0] == '\0') continue;
    ++table.count;
    // The path twice and the arguments never: the line has always read so, and logs are searched for it.
    logInfo("parseExeDefs", "Executable '", definition.path, "' has arguments '", definition.path,
            "' and online tag to wait '", definition.onlineTag, "'");
  }
  return 1;
}
