#include "CommandTree.h"

#include <CLI/CLI.hpp>
#include <functional>

namespace orv::commandtree {

std::vector<CLI::App *> commandsOf(CLI::App &app) {
  std::vector<CLI::App *> commands = app.get_subcommands(std::function<bool(CLI::App *)>());
  std::erase_if(commands, [](const CLI::App *command) { return command->get_group().empty(); });
  return commands;
}

std::vector<std::string> commandNamesOf(CLI::App &app) {
  std::vector<std::string> names;
  for (const CLI::App *command : commandsOf(app))
    names.push_back(command->get_name());
  return names;
}

CLI::App *commandNamed(CLI::App &app, const std::string &name) {
  for (CLI::App *command : commandsOf(app)) {
    if (command->get_name() == name) return command;
  }
  return nullptr;
}

std::string pathOf(const CLI::App &app) {
  const CLI::App *const parent = app.get_parent();
  return parent == nullptr ? app.get_name() : pathOf(*parent) + " " + app.get_name();
}

std::vector<CLI::Option *> optionsOf(CLI::App &app) {
  std::vector<CLI::Option *> options = app.get_options(std::function<bool(CLI::Option *)>());
  std::erase_if(options, [](const CLI::Option *option) { return !option->nonpositional(); });
  return options;
}

std::vector<CLI::Option *> positionalsOf(CLI::App &app) {
  std::vector<CLI::Option *> options = app.get_options(std::function<bool(CLI::Option *)>());
  std::erase_if(options, [](const CLI::Option *option) { return option->nonpositional(); });
  return options;
}

std::string nameOf(const CLI::Option &option) {
  if (!option.get_lnames().empty()) return "--" + option.get_lnames().front();
  return "-" + option.get_snames().front();
}

CLI::Option *optionNamed(CLI::App &app, const std::string &word) {
  const bool isLong = word.starts_with("--");
  const std::string name = isLong ? word.substr(2, word.find('=') - 2) : word.substr(1, 1);
  if (name.empty()) return nullptr;
  for (CLI::Option *option : optionsOf(app)) {
    if (isLong ? option->check_lname(name) : option->check_sname(name)) return option;
  }
  return nullptr;
}

bool needsValue(const CLI::Option &option) {
  return option.get_items_expected_min() > 0;
}

std::vector<std::string> valuesOf(CLI::Option &option) {
  // The one thing that knows them is the check, and it names them to who asks for something else: "x not in {a,b}".
  const std::string before = " not in {";
  std::vector<std::string> values;
  std::string answer;
  try {
    std::string other = "\n";
    answer = (*option.get_validator(0))(other);
  } catch (const CLI::OptionNotFound &) {
    return values;  // it has no check
  }
  const size_t begin = answer.find(before);
  if (begin == std::string::npos || !answer.ends_with("}")) return values;
  const std::string list = answer.substr(begin + before.size(), answer.size() - begin - before.size() - 1);
  return CLI::detail::split(list, ',');
}

}  // namespace orv::commandtree
