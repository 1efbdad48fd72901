#include "OrvctlHelp.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <stdexcept>

#include "DaemonProcess.h"

namespace {

using Words = std::vector<std::string>;

// The words of a line of a table, up to its description: behind two blanks.
Words definedBy(const std::string &line) {
  std::istringstream defined(line.substr(2, line.find("  ", 2) - 2));
  Words words;
  for (std::string word; defined >> word;)
    words.push_back(word);
  return words;
}

HelpOption optionOf(const Words &words) {
  HelpOption option;
  std::istringstream names(words.at(0));
  for (std::string name; std::getline(names, name, ',');)
    (name.starts_with("--") ? option.longName : option.shortName) = name;
  const std::string next = words.size() > 1 ? words[1] : "";
  const bool isValue = !next.empty() && std::isupper(static_cast<unsigned char>(next[0])) != 0 &&
                       !next.ends_with(":") && next != "REQUIRED";
  if (isValue) option.valueName = next;
  return option;
}

void takeLine(const std::string &section, const std::string &line, HelpCommand &command) {
  const bool isEntry = line.size() > 2 && line.starts_with("  ") && line[2] != ' ';
  if (!isEntry) return;
  const Words words = definedBy(line);
  if (section == "Options:") command.options.push_back(optionOf(words));
  if (section == "Positionals:") command.positionals.push_back(words[0]);
  if (section == "Subcommands:") command.commands.push_back(words[0]);
}

HelpCommand commandOf(const Words &words) {
  ProcessStart start;
  start.arguments = {ORVCTL_PATH};
  start.arguments.insert(start.arguments.end(), words.begin(), words.end());
  start.arguments.emplace_back("--help");
  HelpCommand command;
  command.words = words;
  std::string section;
  for (const std::string &line : runCommand(start).output) {
    command.text += line + "\n";
    if (!line.empty() && line[0] != ' ') section = line;
    takeLine(section, line, command);
  }
  if (command.options.empty()) throw std::runtime_error(command.path() + " --help shows no options");
  return command;
}

void addAll(const Words &words, std::vector<HelpCommand> &all) {
  const HelpCommand command = commandOf(words);
  all.push_back(command);
  for (const std::string &name : command.commands) {
    Words below = words;
    below.push_back(name);
    addAll(below, all);
  }
}

}  // namespace

std::string HelpCommand::path() const {
  std::string whole = "orvctl";
  for (const std::string &word : words)
    whole += " " + word;
  return whole;
}

std::vector<HelpCommand> allCommands() {
  std::vector<HelpCommand> all;
  addAll({}, all);
  return all;
}
