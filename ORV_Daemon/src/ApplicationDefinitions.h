// The application definition file: what it may say, and the records it is read into. Calls nothing of the platform.
//
// The file holds one application a line, at most 64; a line ends at LF or CR and holds at most 859 characters (what is
// longer goes on as a new line, less one character). Empty lines and lines that begin with "#" are skipped. All else is
//   name;path;args;reserved;supervisionFlags;onlineTag
// without quoting and trimming; the tag goes to the end of the line. One pair of double quotes around the whole of
// `args` is taken off. A field that is missing is empty or 0, and the record counts all the same. Nothing is reported.
#ifndef ORV_DAEMON_APPLICATIONDEFINITIONS_H
#define ORV_DAEMON_APPLICATIONDEFINITIONS_H

#include <cstddef>
#include <cstdint>

constexpr unsigned MAX_APP_EXE_DEFS = 64;
constexpr size_t MAX_APP_DEF_LINE = 859;

// One application. All texts are NUL-terminated; longer ones are cut.
struct AppExeDef {
  char name[32];
  char path[256];  // empty: passed over at the start
  char args[256];
  int32_t reserved;          // read and stored; nothing acts on it
  int32_t supervisionFlags;  // bit 0: a failure raises an error; bit 1: a failure resets the board
  char onlineTag[256];       // empty: not waited for
};

struct AppExeDefTable {
  AppExeDef definitions[MAX_APP_EXE_DEFS];
  unsigned count;
};

// Parses a whole file into `table`. `readCharacter(source, character)` stores the next character and returns true, or
// returns false at the end.
using ReadCharacter = bool (*)(void *source, char &character);
void parseAppExeDefs(ReadCharacter readCharacter, void *source, AppExeDefTable &table);

#endif
