// The definitions of the executables that the daemon is to start: up to three programs in one text (gExeDefString), and
// the records they are read into. Calls nothing of the platform; lists in the log what it has read.
//
// Grammar of the definition string (gExeDefString), split at "|" with the usual tokenizer's rules:
//   string     = definition { "|" definition }
//   definition = blanks path [ blank arguments ] [ "#" tag ]
// The tag begins after the last "#". The path ends at the first blank; everything after that one blank belongs to the
// arguments. Only the space character is a blank.
#ifndef ORV_DAEMON_EXECUTABLEDEFINITIONS_H
#define ORV_DAEMON_EXECUTABLEDEFINITIONS_H

#include <cstdint>

constexpr unsigned MAX_EXE_DEFS = 3;

// One executable. All texts are NUL-terminated; longer ones are cut.
struct ExeDef {
  char path[256];
  char args[256];
  uint32_t supervisionFlags;  // 2 when the definition has a "#", else 0
  char onlineTag[81];         // empty: not waited for
};

struct ExeDefTable {
  ExeDef definitions[MAX_EXE_DEFS];
  unsigned count;
};

// Parses `text`, cut in place, into `table`, and lists it in the log. Definitions without a path are left out. Returns
// 0 when there are more than MAX_EXE_DEFS definitions (logged), blank ones counted; else 1.
int parseExeDefs(char *text, ExeDefTable &table);

#endif
