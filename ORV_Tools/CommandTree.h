// What the description of the command line (CLI11's) tells of its commands and options, for those who answer bad use
// and complete what somebody types.
#ifndef ORV_TOOLS_COMMANDTREE_H
#define ORV_TOOLS_COMMANDTREE_H

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace orv::commandtree {

// The commands of a group, in order, without hidden ones (those of CLI11's group ""); empty for what is no group.
std::vector<CLI::App *> commandsOf(CLI::App &app);
std::vector<std::string> commandNamesOf(CLI::App &app);
// Null where there is no such command.
CLI::App *commandNamed(CLI::App &app, const std::string &name);
// "orvctl tag set".
std::string pathOf(const CLI::App &app);

// The options that begin with "-", and the others in their order.
std::vector<CLI::Option *> optionsOf(CLI::App &app);
std::vector<CLI::Option *> positionalsOf(CLI::App &app);
// "--json", or "-h" for an option that has no long name.
std::string nameOf(const CLI::Option &option);
// The option that a word such as --json, --type=u16 or -h stands for; null where there is none.
CLI::Option *optionNamed(CLI::App &app, const std::string &word);

// Whether a word has to follow the option, unless its value stands behind "=" in the same one.
bool needsValue(const CLI::Option &option);
// The words that an option takes where it takes a few alone (CLI::IsMember); else empty.
std::vector<std::string> valuesOf(CLI::Option &option);

}  // namespace orv::commandtree

#endif
