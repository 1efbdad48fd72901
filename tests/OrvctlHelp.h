// The commands of orvctl and their options, as its --help tells them: for tests that go through all of them.
#ifndef ORV_TESTS_ORVCTLHELP_H
#define ORV_TESTS_ORVCTLHELP_H

#include <string>
#include <vector>

struct HelpOption {
  std::string longName;  // "--json"; empty where it has none
  std::string shortName;
  std::string valueName;  // "SECONDS"; empty for one without a value
};

struct HelpCommand {
  std::vector<std::string> words;  // {"tag", "set"}; empty for orvctl itself
  std::string text;                // all of its --help
  std::vector<std::string> positionals;
  std::vector<HelpOption> options;
  std::vector<std::string> commands;  // of a group
  bool isGroup() const {
    return !commands.empty();
  }
  // "orvctl tag set".
  std::string path() const;
};

// All of them, orvctl itself first. Throws where the program cannot be asked.
std::vector<HelpCommand> allCommands();

#endif
