// The command line taken apart the way the C library's option parser does it, its own diagnostics included.
#ifndef ORV_BOOTS_OPTIONWALK_H
#define ORV_BOOTS_OPTIONWALK_H

#include <optional>
#include <string>
#include <vector>

namespace boots {

struct Option {
  enum class Kind { HELP, VERBOSE, STARTUP, TAGS, SHORT_TAGS, DIAGNOSTIC };
  Kind kind = Kind::VERBOSE;
  std::optional<std::string> argument;  // of a diagnostic: its line
};

// Arguments that are no options are passed over, and behind "--" there are only such.
std::vector<Option> walkOptions(const std::vector<std::string> &arguments);

}  // namespace boots

#endif
