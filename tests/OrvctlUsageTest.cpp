// How orvctl answers bad use, asks for help and a node that is not there: the same frame for every command, gone
// through by what --help tells.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>

#include "OrvctlFixture.h"
#include "OrvctlHelp.h"

using namespace orvctltest;

namespace {

using OrvctlFrame = Orvctl;

// Two commands have another code, since 2 would read as their answer.
int usageOf(const HelpCommand &command) {
  constexpr int OTHER_USAGE = 64;
  return command.path() == "orvctl rehearse" || command.path() == "orvctl check" ? OTHER_USAGE : USAGE;
}

Lines with(Lines words, const Lines &more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

// An option of the tool as a whole, which is looked at once and not with each of the commands that have it.
bool isCommon(const HelpCommand &command, const HelpOption &option) {
  return !command.words.empty() && (option.longName == "--node-dir" || option.longName == "--state-dir" ||
                                    option.longName == "--color" || option.longName == "--help");
}

std::string withoutLastLetter(const std::string &text) {
  return text.substr(0, text.size() - 1);
}

// What a leaf command needs so that nothing is wrong with its use, and whether it looks for a node then. A command of
// the state directory, of keys or of files works where there is no node.
struct Use {
  Lines arguments;
  bool needsNode;
};

const std::map<std::string, Use> &uses() {
  static const std::map<std::string, Use> table = {
      {"orvctl tag set", {{"a"}, true}},
      {"orvctl tag get", {{"a"}, true}},
      {"orvctl tag unset", {{"a"}, true}},
      {"orvctl tag list", {{}, true}},
      {"orvctl tag wait", {{"a"}, true}},
      {"orvctl rad set", {{"1", "2"}, true}},
      {"orvctl rad get", {{"1"}, true}},
      {"orvctl rad list", {{}, true}},
      {"orvctl log", {{}, true}},
      {"orvctl msg send", {{"--to", "0x0ff0:1", "--id", "1"}, true}},
      {"orvctl msg listen", {{"--cpid", "1"}, true}},
      {"orvctl status", {{}, true}},
      {"orvctl ungraceful", {{}, false}},
      {"orvctl why-reset", {{}, false}},
      {"orvctl reset hold", {{}, false}},
      {"orvctl reset status", {{}, false}},
      {"orvctl keys generate", {{}, false}},
      {"orvctl keys show", {{}, false}},
      {"orvctl keys trust", {{"1", std::string(64, '0')}, false}},
      {"orvctl keys untrust", {{"1"}, false}},
      {"orvctl keys list", {{}, false}},
      {"orvctl rehearse", {{}, false}},
      {"orvctl why", {{"a"}, true}},
      {"orvctl errors", {{}, true}},
      {"orvctl chart", {{}, true}},
      {"orvctl blame", {{}, true}},
      {"orvctl compare", {{"1", "2"}, true}},
      {"orvctl check", {{}, false}},

      {"orvctl report", {{}, true}},
      {"orvctl help", {{}, false}},
      {"orvctl completions", {{"bash"}, false}},
  };
  return table;
}

}  // namespace

TEST_F(OrvctlFrame, EveryHelpHasAnExampleAndItsExitCodes) {
  for (const HelpCommand &command : allCommands()) {
    for (const char *line : {"\nExit codes:\n", "\n  0  ", "\n  2  ", "\n  3  "})
      EXPECT_TRUE(contains(command.text, line)) << command.path() << ": " << line;
    const std::string example = command.isGroup() ? "orvctl " : command.path();
    EXPECT_TRUE(contains(command.text, "\nExample:\n  " + example)) << command.path();
    EXPECT_EQ(command.text.find("Exit codes:"), command.text.rfind("Exit codes:")) << command.path();
  }
}

TEST_F(OrvctlFrame, HelpOfACommandIsItsHelp) {
  for (const HelpCommand &command : allCommands())
    EXPECT_EQ(output(DONE, with({"help"}, command.words)), command.text) << command.path();
  EXPECT_EQ(complaint(USAGE, {"help", "tag", "sett"}),
            "orvctl: there is no command \"tag sett\" (did you mean \"tag set\"?)");
  EXPECT_EQ(complaint(USAGE, {"statsu", "--help"}),
            "orvctl: there is no command \"statsu\" (did you mean \"status\"?)");
}

TEST_F(OrvctlFrame, VersionIsTheProjects) {
  EXPECT_EQ(output(DONE, {"--version"}), "orvctl " ORV_PROJECT_VERSION "\n");
}

TEST_F(OrvctlFrame, NearestOptionOfEveryCommandIsNamed) {
  for (const HelpCommand &command : allCommands()) {
    for (const HelpOption &option : command.options) {
      if (isCommon(command, option) || option.longName.size() < 5) continue;  // of so few letters none is to spare
      const std::string wrong = withoutLastLetter(option.longName);
      EXPECT_EQ(
          complaint(usageOf(command), with(command.words, {wrong})),
          "orvctl: " + command.path() + " has no option \"" + wrong + "\" (did you mean \"" + option.longName + "\"?)");
    }
    const std::string text = complaint(usageOf(command), with(command.words, {"--zzqqyyxx"}));
    EXPECT_TRUE(contains(text, "has no option \"--zzqqyyxx\"")) << text;
    EXPECT_TRUE(contains(text, "see " + command.path() + " --help)")) << text;
  }
}

TEST_F(OrvctlFrame, NearestValueOfEveryOptionIsNamed) {
  unsigned options = 0;
  for (const HelpCommand &command : allCommands()) {
    for (const HelpOption &option : command.options) {
      if (isCommon(command, option) || option.valueName.empty()) continue;
      // The values that completion offers are all that the option takes, or names of files and of the node.
      const std::string values = output(DONE, with(with({"complete", "--"}, command.words), {option.longName, ""}));
      if (values.empty() || values[0] == ':') continue;
      ++options;
      const std::string value = values.substr(0, values.find('\n'));
      const std::string wrong = withoutLastLetter(value);
      for (const Lines &words : {Lines{option.longName, wrong}, Lines{option.longName + "=" + wrong}}) {
        const std::string text = complaint(usageOf(command), with(command.words, words));
        EXPECT_TRUE(text.starts_with("orvctl: " + option.longName + ": \"" + wrong + "\" is none of ")) << text;
        EXPECT_TRUE(text.ends_with("(did you mean \"" + value + "\"?)")) << text;
      }
    }
  }
  EXPECT_GE(options, 3U) << "--color, --severity, --type";
}

TEST_F(OrvctlFrame, OptionWithoutItsValueIsSaid) {
  for (const HelpCommand &command : allCommands()) {
    for (const HelpOption &option : command.options) {
      if (isCommon(command, option) || option.valueName.empty()) continue;
      EXPECT_EQ(complaint(usageOf(command), with(command.words, {option.longName})),
                "orvctl: " + option.longName + " needs a value: " + option.longName + " " + option.valueName +
                    " (see " + command.path() + " --help)");
    }
  }
}

TEST_F(OrvctlFrame, OptionBeforeItsCommandIsSentBehindIt) {
  EXPECT_EQ(complaint(USAGE, {"--severity", "error", "log"}),
            "orvctl: orvctl has no option \"--severity\" (it goes behind the command: orvctl log --severity)");
  EXPECT_EQ(complaint(USAGE, {"tag", "--type=u16", "set", "a"}),
            "orvctl: orvctl tag has no option \"--type\" (it goes behind the command: orvctl tag set --type)");
}

TEST_F(OrvctlFrame, ArgumentTooManyIsSaid) {
  for (const HelpCommand &command : allCommands()) {
    const bool takesMany =
        !command.positionals.empty() && command.text.find(command.positionals.back() + " ...") != std::string::npos;
    if (command.isGroup() || takesMany) continue;
    const Lines many(command.positionals.size() + 1, "1");
    const bool takesAnyPositional = command.path() != "orvctl completions";
    const std::string text =
        complaint(usageOf(command), with(command.words, takesAnyPositional ? many : Lines{"bash", "1"}));
    EXPECT_EQ(text, "orvctl: \"1\" is one argument too many (see " + command.path() + " --help)");
  }
}

TEST_F(OrvctlFrame, ArgumentThatLooksLikeAnOptionIsSentBehindTwoDashes) {
  store();
  EXPECT_EQ(complaint(USAGE, {"tag", "set", "a", "-zz"}),
            "orvctl: orvctl tag set has no option \"-zz\" (an argument that begins with - goes behind --; see orvctl "
            "tag set --help)");
  EXPECT_EQ(output(DONE, {"tag", "set", "a", "--", "-zz"}), "");
  EXPECT_EQ(output(DONE, {"tag", "set", "b", "-5"}), "") << "a number is no option";
  EXPECT_EQ(complaint(USAGE, {"tag", "set", "b", "-5", "6"}),
            "orvctl: \"6\" is one argument too many (see orvctl tag set --help)");
}

TEST_F(OrvctlFrame, NodeThatIsNotThereIsNamedByEveryCommandThatNeedsOne) {
  for (const HelpCommand &command : allCommands()) {
    if (command.isGroup()) continue;
    const auto use = uses().find(command.path());
    ASSERT_NE(use, uses().end()) << command.path() << ": say here whether it needs a node";
    if (!use->second.needsNode) continue;
    EXPECT_EQ(
        complaint(FAILED, with(command.words, use->second.arguments)),
        "orvctl: there is no node in " + node() + " (start it, or name its directory with --node-dir or ORV_NODE_DIR)");
  }
  EXPECT_TRUE(std::filesystem::is_empty(node())) << "looking makes nothing";
}
