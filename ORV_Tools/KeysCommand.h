// orvctl keys: the node's own pair of keys and the keys of the nodes that its gateway trusts.
#ifndef ORV_TOOLS_KEYSCOMMAND_H
#define ORV_TOOLS_KEYSCOMMAND_H

#include <cstdint>
#include <functional>
#include <string>

#include "Commands.h"
#include "KeyFiles.h"

namespace CLI {
class App;
}

namespace orv::keys {

// What the arguments say; each command looks at its own.
struct KeysArguments {
  std::string keyDirectory;
  uint16_t nid = 0;
  Key key{};
  bool force = false;
  bool json = false;
};

using Run = std::function<int(const Arguments &arguments, std::string &output)>;
// Adds a command of that name and description to a group, which runs it.
using AddCommand =
    std::function<CLI::App *(CLI::App &group, const std::string &name, const std::string &description, const Run &run)>;

// Adds the commands to `group`; what their options say goes to `keys`, which outlives them.
void addCommands(CLI::App &group, KeysArguments &keys, const AddCommand &addCommand);

// Where the keys lie: as the arguments say, else where the running node was configured to have them, else in the state
// directory.
std::string keyDirectoryOf(const orv::Arguments &arguments, const KeysArguments &keys);

}  // namespace orv::keys

#endif
