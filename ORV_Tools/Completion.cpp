#include "Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>

#include "CommandTree.h"
#include "Commands.h"
#include "CompletionScripts.h"
#include "HexText.h"
#include "KeyFiles.h"
#include "KeysCommand.h"
#include "NodePaths.h"
#include "NodeStore.h"
#include "Words.h"

namespace orv::completion {
namespace {

using Words = std::vector<std::string>;

struct Candidate {
  std::string text;
  std::string description;
};
using Candidates = std::vector<Candidate>;

// What the words before the one that is completed say of the node.
struct Place {
  Arguments arguments;
  keys::KeysArguments keys;
};

std::unique_ptr<NodeStore> storeOf(const Place &place) {
  const std::string directory = nodeDirectoryOf(place.arguments);
  std::unique_ptr<NodeStore> store;
  if (!checkPrivateDirectory(directory).ok()) return nullptr;
  if (!NodeStore::open(directory, NodeStore::Access::EXAMINED, store).ok()) return nullptr;
  return store;
}

Candidates tagNames(const Place &place) {
  Candidates names;
  if (const auto store = storeOf(place)) {
    for (const Tag &tag : store->tags())
      names.push_back({tag.name, valueText(tag.value)});
  }
  return names;
}

Candidates euNames(const Place &place) {
  Candidates names;
  if (const auto store = storeOf(place)) {
    for (const EuRecord &eu : store->eus())
      names.push_back({eu.name, eu.path});
  }
  return names;
}

Candidates radNumbers(const Place &place) {
  Candidates numbers;
  if (const auto store = storeOf(place)) {
    for (const RadParameter &parameter : store->rads()) {
      numbers.push_back({hexText(parameter.number), std::to_string(parameter.value)});
    }
  }
  return numbers;
}

Candidates trustedNodes(const Place &place) {
  Candidates nodes;
  std::vector<TrustedKey> trusted;
  if (!readTrustedKeys(keys::keyDirectoryOf(place.arguments, place.keys), trusted).ok()) return nodes;
  for (const TrustedKey &each : trusted) {
    nodes.push_back({nidText(each.nid), hexOf(each.key)});
  }
  return nodes;
}

// Where names of the node belong. An empty command: any.
struct NodeNames {
  const char *command;
  const char *option;
  Candidates (*list)(const Place &place);
};

constexpr NodeNames NODE_NAMES[] = {
    {"orvctl tag set", "NAME", tagNames},
    {"orvctl tag get", "NAME", tagNames},
    {"orvctl tag unset", "NAME", tagNames},
    {"orvctl tag wait", "NAME", tagNames},
    {"orvctl why", "NAME", euNames},
    {"", "--eu", euNames},
    {"orvctl rad get", "NUMBER", radNumbers},
    {"orvctl rad set", "NUMBER", radNumbers},
    {"orvctl keys trust", "NID", trustedNodes},
    {"orvctl keys untrust", "NID", trustedNodes},
};

Candidates valuesFor(CLI::App &command, CLI::Option &option, const Place &place) {
  Candidates candidates;
  for (const std::string &value : commandtree::valuesOf(option))
    candidates.push_back({value, ""});
  const std::string name = option.nonpositional() ? commandtree::nameOf(option) : option.get_name(true);
  for (const NodeNames &names : NODE_NAMES) {
    const bool isThere = names.command[0] == '\0' || commandtree::pathOf(command) == names.command;
    if (isThere && name == names.option) return names.list(place);
  }
  const std::string type = option.nonpositional() ? option.get_type_name() : name;
  if (type == "FILE" || type == "SCENARIO") return {{":files", ""}};
  if (type == "DIR") return {{":dirs", ""}};
  return candidates;
}

Candidates commandsFor(CLI::App &app) {
  Candidates candidates;
  for (const CLI::App *command : commandtree::commandsOf(app))
    candidates.push_back({command->get_name(), command->get_description()});
  return candidates;
}

Candidates optionsFor(CLI::App &app) {
  Candidates candidates;
  for (const CLI::Option *option : commandtree::optionsOf(app))
    candidates.push_back({commandtree::nameOf(*option), option->get_description()});
  return candidates;
}

// Goes through the words that are there and keeps what the last one depends on.
class Typed {
 public:
  explicit Typed(CLI::App &root) : root_(root), app_(&root) {}

  void take(const std::string &word) {
    if (option_ != nullptr) {
      takeValue(*option_, word);
      option_ = nullptr;
    } else if (onlyArguments_ || word.empty() || word[0] != '-') {
      takePlain(word);
    } else if (word == "--") {
      onlyArguments_ = true;
    } else {
      takeOption(word);
    }
  }

  Candidates candidatesFor(const std::string &word) {
    if (option_ != nullptr) return valuesFor(*app_, *option_, place_);
    if (!onlyArguments_ && word.starts_with("--") && word.find('=') != std::string::npos) return valuesBehind(word);
    if (!onlyArguments_ && word.starts_with("-")) return optionsFor(*app_);
    if (isHelp_ || !commandtree::commandsOf(*app_).empty()) return commandsFor(*app_);
    const std::vector<CLI::Option *> positionals = commandtree::positionalsOf(*app_);
    return argument_ < positionals.size() ? valuesFor(*app_, *positionals[argument_], place_) : Candidates();
  }

 private:
  void takePlain(const std::string &word) {
    CLI::App *const command = commandtree::commandNamed(*app_, word);
    if (command == nullptr) {
      ++argument_;
    } else if (app_ == &root_ && word == "help") {
      isHelp_ = true;  // what follows is a command again
    } else {
      app_ = command;
    }
  }

  void takeOption(const std::string &word) {
    CLI::Option *const option = commandtree::optionNamed(*app_, word);
    if (option == nullptr) return;
    const size_t equals = word.find('=');
    if (equals != std::string::npos) {
      takeValue(*option, word.substr(equals + 1));
    } else if (commandtree::needsValue(*option)) {
      option_ = option;
    }
  }

  void takeValue(const CLI::Option &option, const std::string &value) {
    if (option.check_lname("node-dir")) place_.arguments.nodeDirectory = value;
    if (option.check_lname("state-dir")) place_.arguments.stateDirectory = value;
    if (option.check_lname("key-dir")) place_.keys.keyDirectory = value;
  }

  // The whole word, since that is what the shell replaces.
  Candidates valuesBehind(const std::string &word) {
    CLI::Option *const option = commandtree::optionNamed(*app_, word);
    if (option == nullptr) return {};
    Candidates candidates = valuesFor(*app_, *option, place_);
    for (Candidate &candidate : candidates) {
      if (!candidate.text.starts_with(":")) candidate.text = word.substr(0, word.find('=') + 1) + candidate.text;
    }
    return candidates;
  }

  CLI::App &root_;
  CLI::App *app_;
  CLI::Option *option_ = nullptr;  // whose value comes next
  size_t argument_ = 0;
  bool onlyArguments_ = false;
  bool isHelp_ = false;
  Place place_;
};

// A name that could command a terminal is none to offer.
bool canBeShown(const std::string &text) {
  return !text.empty() && printable(text) == text;
}

}  // namespace

std::string scriptOf(const std::string &shell) {
  return shell == "bash" ? BASH_SCRIPT : shell == "zsh" ? ZSH_SCRIPT : FISH_SCRIPT;
}

std::string candidatesFor(CLI::App &root, const Words &words) {
  if (words.empty()) return "";
  Typed typed(root);
  for (size_t i = 0; i + 1 < words.size(); ++i)
    typed.take(words[i]);
  std::string output;
  for (const Candidate &candidate : typed.candidatesFor(words.back())) {
    const bool isDirective = candidate.text == ":files" || candidate.text == ":dirs";
    if (!isDirective && (!candidate.text.starts_with(words.back()) || !canBeShown(candidate.text))) continue;
    const std::string description = printable(candidate.description);
    output += candidate.text + (description.empty() ? "" : "\t" + description) + "\n";
  }
  return output;
}

}  // namespace orv::completion
