// Completion of the daemon's command line in the real shells, which scripts/setup installs. The keys and options that
// it has to offer are those of the daemon's own tables, so that a key which is added is completed as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>

#include "CompletionShells.h"

namespace {

using Lines = CompletionShells::Lines;

// What `expression` catches in the lines of a file, in alphabetical order.
Lines namesIn(const std::string &file, const std::string &expression) {
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  const std::string text = content.str();
  const std::regex pattern(expression, std::regex::ECMAScript | std::regex::multiline);
  Lines names;
  for (auto match = std::sregex_iterator(text.begin(), text.end(), pattern); match != std::sregex_iterator(); ++match)
    names.push_back((*match)[1]);
  std::sort(names.begin(), names.end());
  return names;
}

// The start-up keys as the daemon's table has them, each with the "=" that comes next.
Lines startupKeys() {
  Lines keys = namesIn(ORV_STARTUP_OPTIONS_SOURCE, "^    .\"(\\w+)\", apply");
  for (std::string &key : keys)
    key += "=";
  return keys;
}

Lines sorted(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

class DaemonCompletion : public testing::Test {
 protected:
  DaemonCompletion() {
    directory_.write("early.xml", "");
  }

  FreshDirectory directory_;
  const CompletionShells shells_{ORV_DAEMON_EXE, directory_};
};

TEST_F(DaemonCompletion, BashOffersOptionsAndEveryStartupKey) {
  ASSERT_EQ(startupKeys().size(), 17U);
  EXPECT_EQ(sorted(shells_.bash("ORVDaemonExe --startup=", {"ORVDaemonExe", "--startup", "="})), startupKeys());
  EXPECT_EQ(shells_.bash("ORVDaemonExe -", {"ORVDaemonExe", "-"}),
            (Lines{"-h", "-v", "--verbose", "-c", "--config", "-s", "--config_short", "--startup="}));
  EXPECT_EQ(shells_.bash("ORVDaemonExe --startup=nid=1,rt", {"ORVDaemonExe", "--startup", "=", "nid", "=", "1,rt"}),
            Lines{"1,rtconfigfile="});
  EXPECT_EQ(shells_.bash("ORVDaemonExe --startup=nid=1,configfile=e",
                         {"ORVDaemonExe", "--startup", "=", "nid", "=", "1,configfile", "=", "e"}),
            Lines{"early.xml"});
  EXPECT_EQ(shells_.bash("ORVDaemonExe -c a=1,app", {"ORVDaemonExe", "-c", "a", "=", "1,app"}),
            Lines{"1,app.hwapi.appcfg.filename="});
  EXPECT_EQ(shells_.bash("ORVDaemonExe --startup=cename=e", {"ORVDaemonExe", "--startup", "=", "cename", "=", "e"}),
            Lines{""})
      << "a name is for who types it to know";
}

TEST_F(DaemonCompletion, ZshOffersOptionsAndStartupKeys) {
  EXPECT_EQ(shells_.zsh({"ORVDaemonExe --st", "ORVDaemonExe --startup=nid=1,rt", "ORVDaemonExe --startup=configfile=e",
                         "ORVDaemonExe -c app"}),
            (Lines{"ORVDaemonExe --startup=", "ORVDaemonExe --startup=nid=1,rtconfigfile=",
                   "ORVDaemonExe --startup=configfile=early.xml ", "ORVDaemonExe -c app.hwapi.appcfg.filename="}));
}

TEST_F(DaemonCompletion, ScriptOfZshHasEveryStartupKeyAndNoOther) {
  Lines keys = namesIn(ORV_COMPLETIONS_DIR "/_ORVDaemonExe", "^  '(\\w+)\\[");
  for (std::string &key : keys)
    key += "=";
  EXPECT_EQ(keys, startupKeys());
}

TEST_F(DaemonCompletion, FishOffersOptionsAndEveryStartupKey) {
  const auto words = [](Lines offered) {
    for (std::string &line : offered)
      line = line.substr(0, line.find('\t'));
    return sorted(std::move(offered));
  };
  Lines keys = startupKeys();
  for (std::string &key : keys)
    key = "--startup=" + key;
  EXPECT_EQ(words(shells_.fish("ORVDaemonExe --startup=")), keys);
  EXPECT_EQ(words(shells_.fish("ORVDaemonExe --")), (Lines{"--config", "--config_short", "--startup", "--verbose"}));
  EXPECT_EQ(words(shells_.fish("ORVDaemonExe --startup=nid=1,rt")), Lines{"--startup=nid=1,rtconfigfile="});
  EXPECT_EQ(words(shells_.fish("ORVDaemonExe --startup=configfile=e")), Lines{"--startup=configfile=early.xml"});
  EXPECT_EQ(words(shells_.fish("ORVDaemonExe -c app")), Lines{"app.hwapi.appcfg.filename="});
}

}  // namespace
