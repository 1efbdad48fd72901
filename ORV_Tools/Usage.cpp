#include "Usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstddef>

#include "CommandTree.h"
#include "Suggestion.h"

namespace orv::usage {
namespace {

using commandtree::commandNamed;
using commandtree::commandNamesOf;
using commandtree::commandsOf;
using commandtree::optionNamed;
using commandtree::pathOf;
using commandtree::positionalsOf;
using Words = std::vector<std::string>;

std::string quoted(const std::string &text) {
  return "\"" + text + "\"";
}

std::string didYouMean(const std::string &meant) {
  return " (did you mean " + quoted(meant) + "?)";
}

// Two names that begin with "--" are not alike for that.
std::string withoutDashes(const std::string &name) {
  return name.substr(std::min(name.find_first_not_of('-'), name.size()));
}

// To the parser -5 is a number.
bool isOption(const std::string &word) {
  const bool isDashed = word.size() > 1 && word[0] == '-' && word != "--";
  return isDashed && std::isdigit(static_cast<unsigned char>(word[1])) == 0;
}

// What somebody meant by `word` where a command of `app` belongs, with the words before it; empty where nothing is
// near. A command one level below counts too: "set" is "tag set".
std::string suggestedCommand(CLI::App &app, const std::string &before, const std::string &word) {
  if (const std::string near = nearestName(word, commandNamesOf(app)); !near.empty()) return before + near;
  for (CLI::App *group : commandsOf(app)) {
    if (commandNamed(*group, word) != nullptr) return before + group->get_name() + " " + word;
  }
  for (CLI::App *group : commandsOf(app)) {
    const std::string near = nearestName(word, commandNamesOf(*group));
    if (!near.empty()) return before + group->get_name() + " " + near;
  }
  return "";
}

// Goes through the words of a command line as the parser does, and says the first thing that is wrong.
class Walk {
 public:
  Walk(CLI::App &root, const Words &words) : root_(root), app_(&root), words_(words) {}

  // False where something is wrong.
  bool run() {
    for (; at_ < words_.size() && words_[at_] != "--"; ++at_) {
      const std::string &word = words_[at_];
      const bool isRight = isOption(word)              ? takeOption(word)
                           : commandsOf(*app_).empty() ? takeArgument(word)
                                                       : takeCommand(word);
      if (!isRight) return false;
    }
    return true;
  }
  CLI::App &app() const {
    return *app_;
  }
  const std::string &problem() const {
    return problem_;
  }
  bool isAboutACommand() const {
    return isAboutACommand_;
  }
  // The words of the commands so far, with a blank behind each.
  const std::string &before() const {
    return before_;
  }

 private:
  bool takeCommand(const std::string &word) {
    if (CLI::App *const command = commandNamed(*app_, word)) {
      app_ = command;
      before_ += word + " ";
      return true;
    }
    const std::string meant = suggestedCommand(*app_, before_, word);
    problem_ =
        "there is no command " + quoted(before_ + word) + (meant.empty() ? " (see orvctl --help)" : didYouMean(meant));
    isAboutACommand_ = true;
    return false;
  }

  bool takeArgument(const std::string &word) {
    const std::vector<CLI::Option *> positionals = positionalsOf(*app_);
    if (argument_ >= positionals.size()) {
      problem_ = quoted(word) + " is one argument too many" + helpHint(*app_);
      return false;
    }
    CLI::Option &positional = *positionals[argument_];
    if (positional.get_items_expected_max() == 1) ++argument_;
    return valueIsRight(positional, positional.get_name(true), word);
  }

  bool takeOption(const std::string &word) {
    CLI::Option *const option = optionNamed(*app_, word);
    if (option == nullptr) {
      problem_ = unknownOption(word);
      return false;
    }
    const size_t equals = word.starts_with("--") ? word.find('=') : std::string::npos;
    const std::string name = commandtree::nameOf(*option);
    if (equals != std::string::npos) return valueIsRight(*option, name, word.substr(equals + 1));
    // -n5 has its value with it.
    if (!commandtree::needsValue(*option) || (!word.starts_with("--") && word.size() > 2)) return true;
    if (++at_ < words_.size()) return valueIsRight(*option, name, words_[at_]);
    problem_ = name + " needs a value: " + name + " " + option->get_type_name() + helpHint(*app_);
    return false;
  }

  bool valueIsRight(CLI::Option &option, const std::string &name, const std::string &value) {
    const Words values = commandtree::valuesOf(option);
    if (values.empty() || std::find(values.begin(), values.end(), value) != values.end()) return true;
    const std::string meant = nearestName(value, values);
    problem_ = name + ": " + quoted(value) + " is none of " + CLI::detail::join(values, ", ") +
               (meant.empty() ? helpHint(*app_) : didYouMean(meant));
    return false;
  }

  std::string unknownOption(const std::string &word) const {
    const std::string name = word.substr(0, word.find('='));
    const std::string what = pathOf(*app_) + " has no option " + quoted(name);
    // An option of a command that stands before it.
    CLI::App &command = commandOf(root_, words_);
    if (&command != app_ && optionNamed(command, word) != nullptr) {
      return what + " (it goes behind the command: " + pathOf(command) + " " + name + ")";
    }
    Words names;
    for (const CLI::Option *option : commandtree::optionsOf(*app_))
      names.push_back(withoutDashes(commandtree::nameOf(*option)));
    if (const std::string meant = nearestName(withoutDashes(name), names); !meant.empty()) {
      return what + didYouMean("--" + meant);
    }
    if (positionalsOf(*app_).empty()) return what + helpHint(*app_);
    return what + " (an argument that begins with - goes behind --; see " + pathOf(*app_) + " --help)";
  }

  CLI::App &root_;
  CLI::App *app_;
  const Words &words_;
  size_t at_ = 0;
  size_t argument_ = 0;
  std::string before_;
  std::string problem_;
  bool isAboutACommand_ = false;
};

}  // namespace

std::string helpHint(const CLI::App &command) {
  return " (see " + pathOf(command) + " --help)";
}

std::string problemOf(CLI::App &root, const Words &words) {
  Walk walk(root, words);
  if (!walk.run()) return walk.problem();
  const Words names = commandNamesOf(walk.app());
  if (names.empty()) return "";
  return "a command is missing: orvctl " + walk.before() + CLI::detail::join(names, "|") + " (see orvctl --help)";
}

std::string commandProblemOf(CLI::App &root, const Words &words) {
  Walk walk(root, words);
  return !walk.run() && walk.isAboutACommand() ? walk.problem() : "";
}

CLI::App &commandOf(CLI::App &root, const Words &words) {
  CLI::App *app = &root;
  for (size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
    if (isOption(words[i])) {
      const CLI::Option *const option = optionNamed(*app, words[i]);
      const bool hasValueBehind = words[i].find('=') == std::string::npos;
      if (option != nullptr && commandtree::needsValue(*option) && hasValueBehind) ++i;
    } else if (CLI::App *const command = commandNamed(*app, words[i])) {
      app = command;
    }
  }
  return *app;
}

}  // namespace orv::usage
