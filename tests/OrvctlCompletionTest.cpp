// Completion of orvctl's command line: what the program offers, and what the shells make of it. The shells are the real
// ones, which scripts/setup installs.
#include <gtest/gtest.h>

#include "CompletionShells.h"
#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

class OrvctlCompletion : public Orvctl {
 protected:
  std::string candidates(const Lines &words) const {
    Lines arguments = {"complete", "--"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return output(DONE, arguments);
  }

  CompletionShells shells() const {
    return CompletionShells(ORVCTL_PATH, directory_, {"ORV_NODE_DIR=" + node(), "ORV_STATE_DIR=" + state()});
  }

  void setTags(const Lines &names) const {
    const auto own = store();
    for (const std::string &name : names)
      ASSERT_TRUE(own->setTag(name, {TagType::U32, 1, {}}).ok());
  }
};

// --- What the program offers ----------------------------------------------------------------------------------------

TEST_F(OrvctlCompletion, CommandsAreOfferedWithWhatTheyDo) {
  EXPECT_EQ(candidates({"ta"}), "tag\tTags\n");
  EXPECT_EQ(candidates({"tag", "u"}), "unset\tUnset a tag\n");
  EXPECT_EQ(candidates({"tag", "--color", "never", "u"}), "unset\tUnset a tag\n");
  EXPECT_EQ(candidates({"help", "tag", "u"}), "unset\tUnset a tag\n");
  EXPECT_EQ(candidates({"xyz"}), "");
  EXPECT_FALSE(contains(candidates({""}), "complete\t")) << "nobody types it";
}

TEST_F(OrvctlCompletion, OptionsAreThoseOfTheCommand) {
  EXPECT_EQ(candidates({"tag", "wait", "a", "--t"}), "--timeout\tFor how long at most (else for ever)\n");
  EXPECT_EQ(candidates({"tag", "get", "--t"}), "");
  EXPECT_EQ(candidates({"tag", "get", "--", "--t"}), "") << "behind -- there are no options";
}

TEST_F(OrvctlCompletion, ValuesAreThoseThatTheOptionTakes) {
  EXPECT_EQ(candidates({"log", "--severity", ""}), "info\nwarning\nerror\n");
  EXPECT_EQ(candidates({"log", "--severity", "w"}), "warning\n");
  EXPECT_EQ(candidates({"log", "--severity=w"}), "--severity=warning\n");
  EXPECT_EQ(candidates({"completions", "z"}), "zsh\n");
  EXPECT_EQ(candidates({"tag", "wait", "a", "--timeout", ""}), "") << "a number is for who types it to know";
}

TEST_F(OrvctlCompletion, FilesAndFoldersAreLeftToTheShell) {
  EXPECT_EQ(candidates({"rehearse", ""}), ":files\n");
  EXPECT_EQ(candidates({"rehearse", "--definitions", "A"}), ":files\n");
  EXPECT_EQ(candidates({"status", "--node-dir", ""}), ":dirs\n");
}

TEST_F(OrvctlCompletion, NamesOfTheNodeAreAskedFromIt) {
  setTags({"app.a.online", "app.b.online", "other"});
  const auto own = store();
  orv::EuRecord eu;
  eu.id = 7;
  eu.name = "radio";
  eu.path = "/opt/radio";
  ASSERT_TRUE(own->putEu(eu, nullptr).ok());
  ASSERT_TRUE(own->setRad(0x10077, 1, orv::RadOrigin::OPERATOR).ok());
  EXPECT_EQ(candidates({"tag", "get", "app."}), "app.a.online\t1\napp.b.online\t1\n");
  EXPECT_EQ(candidates({"tag", "set", "--type", "u16", "o"}), "other\t1\n");
  EXPECT_EQ(candidates({"tag", "set", "other", ""}), "") << "a value is no name";
  EXPECT_EQ(candidates({"log", "--eu", ""}), "radio\t/opt/radio\n");
  EXPECT_EQ(candidates({"log", "--eu="}), "--eu=radio\t/opt/radio\n");
  EXPECT_EQ(candidates({"rad", "get", ""}), "0x10077\t1\n");
}

TEST_F(OrvctlCompletion, TrustedNodesAreThoseOfTheKeyDirectory) {
  const std::string key(64, 'a');
  output(DONE, {"keys", "trust", "--key-dir", directory_.path("keys"), "0x2011", key});
  EXPECT_EQ(candidates({"keys", "untrust", "--key-dir", directory_.path("keys"), ""}), "0x2011\t" + key + "\n");
  EXPECT_EQ(candidates({"keys", "untrust", ""}), "");
}

TEST_F(OrvctlCompletion, NodeCanBeNamedInTheLine) {
  setTags({"there"});
  ProcessStart start;
  start.environment = {"ORV_NODE_DIR=" + directory_.path("absent")};
  start.arguments = {ORVCTL_PATH, "complete", "--", "--node-dir", node(), "tag", "get", ""};
  EXPECT_EQ(runCommand(start).output, Lines{"there\t1"});
}

TEST_F(OrvctlCompletion, NodeThatIsNotThereIsNoFailureAndMakesNothing) {
  EXPECT_EQ(candidates({"tag", "get", ""}), "");
  EXPECT_EQ(candidates({"log", "--eu", ""}), "");
  EXPECT_TRUE(std::filesystem::is_empty(node()));
}

TEST_F(OrvctlCompletion, NameThatCouldCommandATerminalIsNotOffered) {
  setTags({"a\x1b[31m", "ab"});
  EXPECT_EQ(candidates({"tag", "get", "a"}), "ab\t1\n");
}

TEST_F(OrvctlCompletion, ScriptIsPrintedForEachShell) {
  for (const auto &[name, file] : {std::pair("bash", "orvctl.bash"), {"zsh", "_orvctl"}, {"fish", "orvctl.fish"}}) {
    std::ostringstream text;
    text << std::ifstream(std::string(ORV_COMPLETIONS_DIR "/") + file).rdbuf();
    EXPECT_EQ(output(DONE, {"completions", name}), text.str());
  }
}

// --- What the shells make of it -------------------------------------------------------------------------------------

TEST_F(OrvctlCompletion, BashOffersThem) {
  setTags({"app.a", "app:b", "two words"});
  const CompletionShells with = shells();
  EXPECT_EQ(with.bash("orvctl ta", {"orvctl", "ta"}), Lines{"tag"});
  EXPECT_EQ(with.bash("orvctl tag get ", {"orvctl", "tag", "get", ""}), (Lines{"app.a", "app:b", "two\\ words"}));
  EXPECT_EQ(with.bash("orvctl log --severity=e", {"orvctl", "log", "--severity", "=", "e"}), Lines{"error"});
  EXPECT_EQ(with.bash("orvctl log --severity=", {"orvctl", "log", "--severity", "="}),
            (Lines{"info", "warning", "error"}));
  EXPECT_EQ(with.bash("orvctl tag get app:", {"orvctl", "tag", "get", "app", ":"}), Lines{"b"});
  directory_.write("AppDef.txt", "");
  EXPECT_EQ(with.bash("orvctl rehearse --definitions=App", {"orvctl", "rehearse", "--definitions", "=", "App"}),
            Lines{"AppDef.txt"});
  EXPECT_EQ(with.bash("orvctl status --node-dir n", {"orvctl", "status", "--node-dir", "n"}), Lines{"node"});
}

TEST_F(OrvctlCompletion, ZshOffersThem) {
  setTags({"app.a.online", "other:1"});
  EXPECT_EQ(shells().zsh({"orvctl ta", "orvctl tag get app", "orvctl log --severity=e", "orvctl tag get oth"}),
            (Lines{"orvctl tag ", "orvctl tag get app.a.online ", "orvctl log --severity=error ",
                   "orvctl tag get other:1 "}));
}

TEST_F(OrvctlCompletion, FishOffersThem) {
  setTags({"app.a", "app:b"});
  const CompletionShells with = shells();
  EXPECT_EQ(with.fish("orvctl ta"), Lines{"tag\tTags"});
  EXPECT_EQ(with.fish("orvctl tag get ap"), (Lines{"app.a\t1", "app:b\t1"}));
  EXPECT_EQ(with.fish("orvctl log --severity=e"), Lines{"--severity=error"});
  directory_.write("AppDef.txt", "");
  EXPECT_EQ(with.fish("orvctl rehearse --definitions App"), Lines{"AppDef.txt"});
}

}  // namespace
