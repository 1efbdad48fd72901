// The daemon's own parsers, run on a text as the daemon would run them, and what came of it.
//
// Those of the options set tags, fill the start-up record and print: here all of that is caught (RecordedPlatform.cpp
// stands in for the platform). Not for two threads at once.
#ifndef ORV_TOOLS_CHECK_DAEMONPARSERS_H
#define ORV_TOOLS_CHECK_DAEMONPARSERS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AaStartup.h"
#include "ExecutableDefinitions.h"

namespace orv::checking {

// A tag as the parser has set it.
struct SetTag {
  enum class Type { STRING, U16, U32 };

  std::string name;
  Type type = Type::STRING;
  std::string text;  // of a string
  uint32_t number = 0;

  bool operator==(const SetTag &) const = default;
};

struct StartupReading {
  OrvStartupConfig config{};  // sysComGwProtocol is null: see below
  std::optional<std::string> sysComGwProtocol;
  std::optional<std::string> ceName;  // environment variable ORV_CE_NAME
  uint32_t notifyReceiver = 0;
  std::string executables;
  std::vector<SetTag> tags;              // in the order in which they were set
  std::vector<std::string> configFiles;  // read for tags
  std::string errors;                    // what was printed on standard error
};

struct ExecutablesReading {
  bool isAccepted = false;  // false: too many, nothing is started
  ExeDefTable table{};
};

// All read `text` up to its first NUL, as an argument ends there.
std::unique_ptr<StartupReading> readStartup(const std::string &text);
ExecutablesReading readExecutables(const std::string &text);
std::vector<SetTag> readTagList(const std::string &text, bool isShort = false);

// What the recorded platform was asked for.
struct Recorded {
  std::vector<SetTag> tags;
  std::vector<std::string> configFiles;
};
Recorded &recorded();

}  // namespace orv::checking

#endif
