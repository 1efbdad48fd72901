// Where in a string of executables the definitions and their parts stand; see DefinitionWalk.h.
#ifndef ORV_TOOLS_CHECK_EXECUTABLESWALK_H
#define ORV_TOOLS_CHECK_EXECUTABLESWALK_H

#include <string_view>
#include <vector>

#include "ExecutableDefinitions.h"
#include "check/SourceText.h"

namespace orv::checking {

struct WalkedExecutable {
  Span whole;  // from one "|" to the next, without the blanks in front
  Span path;
  Span args;
  Span tag;
  bool hasTag = false;  // there is a "#"
  ExeDef expected{};    // has no path where the daemon passes over it
};

// The definitions of `part` of `text`, of which the daemon reads all up to MAX_EXE_DEFS.
std::vector<WalkedExecutable> walkExecutables(std::string_view text, Span part);

}  // namespace orv::checking

#endif
