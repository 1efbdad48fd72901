// The keys of a start-up string, and where in it they stand.
#ifndef ORV_TOOLS_CHECK_STARTUPKEYS_H
#define ORV_TOOLS_CHECK_STARTUPKEYS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "check/DaemonParsers.h"
#include "check/SourceText.h"
#include "check/StartupNumbers.h"

namespace orv::checking {

enum class ValueKind { NUMBER, TEXT, MASTER_ADDRESS, SLAVES, CONFIG_FILE, RUN_TIME_FILE, EXECUTABLES };

struct StartupKey {
  const char *name;
  ValueKind kind;
  StartupNumber number;  // of a NUMBER
  const char *called;    // what its value is called
};

// All keys, in the daemon's order. A test asks the daemon for each of them.
const std::vector<StartupKey> &startupKeys();

// One "key=value".
struct WalkedKey {
  Span whole;
  Span name;
  Span value;
  bool hasValue = false;
  const StartupKey *key = nullptr;  // null: unknown, and the daemon reads nothing behind it
};

// The keys up to the first unknown one.
std::vector<WalkedKey> walkStartup(std::string_view text);

// What the daemon has made of the string: a row for each member of the record that a key or a master address that runs
// over has set, and for each tag, file and variable.
std::vector<std::vector<std::string>> startupRows(const std::vector<WalkedKey> &keys, const StartupReading &reading);

// A tag's value as people write it.
std::string tagText(const SetTag &tag);
const char *tagTypeText(const SetTag &tag);

}  // namespace orv::checking

#endif
