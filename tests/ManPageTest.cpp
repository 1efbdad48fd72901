// The manual pages and the programs: each has what the other has.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "OrvctlHelp.h"

namespace {

using Names = std::set<std::string>;

// A page as plain text: without the backslashes of roff, a macro and its arguments as they stand.
std::string pageText(const char *name) {
  std::ostringstream text;
  text << std::ifstream(std::string(ORV_MAN_DIR "/") + name).rdbuf();
  std::string plain;
  for (const char letter : text.str()) {
    if (letter != '\\') plain += letter;
  }
  return plain;
}

// The texts that `expression` catches in its first group.
Names namesIn(const std::string &text, const std::string &expression) {
  Names names;
  const std::regex pattern(expression, std::regex::ECMAScript | std::regex::multiline);
  for (auto match = std::sregex_iterator(text.begin(), text.end(), pattern); match != std::sregex_iterator(); ++match)
    names.insert((*match)[1]);
  return names;
}

// What the page says of a command, up to the next one.
std::string sectionOf(const std::string &page, const std::string &command) {
  const std::string begin = ".It Xo\n.Cm " + command + "\n";
  const size_t at = page.find(begin);
  if (at == std::string::npos) return "";
  const size_t next = page.find(".It Xo\n", at + begin.size());
  const size_t end = page.find("\n.Sh ENVIRONMENT", at);
  return page.substr(at, std::min(next, end) - at);
}

std::string withBlanks(const std::vector<std::string> &words) {
  std::string text;
  for (const std::string &word : words)
    text += (text.empty() ? "" : " ") + word;
  return text;
}

Names optionsOf(const HelpCommand &command) {
  Names names;
  for (const HelpOption &option : command.options)
    names.insert(option.longName);
  return names;
}

}  // namespace

TEST(ManPageOfOrvctl, HasEveryCommandAndNoOther) {
  Names commands;
  for (const HelpCommand &command : allCommands()) {
    if (!command.isGroup()) commands.insert(withBlanks(command.words));
  }
  EXPECT_EQ(namesIn(pageText("orvctl.1"), R"(^\.It Xo\n\.Cm (.*)$)"), commands);
}

TEST(ManPageOfOrvctl, HasEveryOptionOfACommandAndNoOther) {
  const std::string page = pageText("orvctl.1");
  for (const HelpCommand &command : allCommands()) {
    if (command.isGroup()) continue;
    Names expected = optionsOf(command);
    for (const char *common : {"--help", "--node-dir", "--state-dir", "--color"})
      expected.erase(common);
    Names found;
    for (const std::string &name : namesIn(sectionOf(page, withBlanks(command.words)), R"(^\.It .*Fl -([a-z-]+))"))
      found.insert("--" + name);
    EXPECT_EQ(found, expected) << command.path();
  }
}

TEST(ManPageOfOrvctl, HasTheOptionsOfTheToolItself) {
  const std::string page = pageText("orvctl.1");
  const std::string description = page.substr(0, page.find(".Sh COMMANDS"));
  Names found;
  for (const std::string &name : namesIn(description, R"(^\.It .*Fl -([a-z-]+))"))
    found.insert("--" + name);
  EXPECT_EQ(found, optionsOf(allCommands()[0]));
}

TEST(ManPageOfTheDaemon, HasEveryOptionOfItsUsageAndNoOther) {
  // Without an option it prints its usage and ends.
  ProcessStart start;
  const FreshDirectory directory;
  start.arguments = {ORV_DAEMON_EXE};
  start.environment = {"ORV_NODE_DIR=" + directory.path("node"), "ORV_STATE_DIR=" + directory.path("state")};
  std::string usage;
  for (const std::string &line : runCommand(start).output)
    usage += line + "\n";
  const Names expected = namesIn(usage, R"(^ +(?:-\w, )?(--?[a-z_]+))");
  ASSERT_GE(expected.size(), 5U) << usage;
  Names found;
  for (const std::string &name : namesIn(pageText("ORVDaemonExe.8"), R"(^\.It (?:Fl \w , )?Fl (-?[a-z_]+))"))
    found.insert("-" + name);
  EXPECT_EQ(found, expected);
}

TEST(ManPageOfTheDaemon, HasEveryStartupKeyAndNoOther) {
  std::ostringstream source;
  source << std::ifstream(ORV_STARTUP_OPTIONS_SOURCE).rdbuf();
  const Names expected = namesIn(source.str(), "^    .\"(\\w+)\", apply");
  ASSERT_EQ(expected.size(), 17U);
  const std::string page = pageText("ORVDaemonExe.8");
  const size_t begin = page.find(".Sh START-UP KEYS");
  std::string lines;
  for (const std::string &line : namesIn(page.substr(begin, page.find(".Sh SIGNALS") - begin), R"(^\.It Cm (.*)$)"))
    lines += line + "\n";
  EXPECT_EQ(namesIn(lines, R"((\w+))"), expected);
}
