// A look at a TOML text before the parser gets it, for what would end the process in there instead of coming back as a
// mistake:
//   - a key of very many parts, each of which costs the parser stack
//   - a character that is not ASCII where white space could be, some of which the parser takes for impossible
#ifndef ORV_SIMULATED_SCENARIOGUARD_H
#define ORV_SIMULATED_SCENARIOGUARD_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv::sim {

struct TextMistake {
  uint32_t line = 1;    // from 1
  uint32_t column = 1;  // from 1, in characters
  std::string message;
};

// The first such thing, nothing where the parser can have the text.
std::optional<TextMistake> findUnparsable(std::string_view text);

}  // namespace orv::sim

#endif
