// orvctl log --follow and --lines: what comes is printed once, over a restart of the node, until a signal.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "Clock.h"
#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

class OrvctlFollow : public Orvctl {
 protected:
  void add(const std::string &text) const {
    orv::Event event;
    event.text = text;
    event.code = 2;
    ASSERT_TRUE(store()->appendEvent(event).ok());
  }
  std::unique_ptr<DaemonProcess> follow(const Lines &arguments = {}) const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH, "log", "--follow"};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"ORV_NODE_DIR=" + node(), "TZ=UTC"};
    return std::make_unique<DaemonProcess>(start);
  }
  // Ends the tool, which is a success, and returns the texts of its lines.
  static Lines textsOf(DaemonProcess &tool) {
    tool.signal(SIGINT);
    const int status = tool.waitForExit();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == DONE) << status;
    Lines texts;
    for (const std::string &line : tool.outputLines())
      texts.push_back(line.substr(line.rfind("  ") + 2));
    return texts;
  }
};

TEST_F(OrvctlFollow, PrintsEachLineOnceAsItComes) {
  beginRun(1);
  add("before");
  const auto tool = follow();
  tool->waitForOutputLineWith("before");
  for (int i = 1; i <= 3; ++i) {
    add("line " + std::to_string(i));
    tool->waitForOutputLineWith("line " + std::to_string(i));
  }
  EXPECT_EQ(textsOf(*tool), (Lines{"run started: pid 1", "before", "line 1", "line 2", "line 3"}));
}

TEST_F(OrvctlFollow, BeginsWithTheLastTenLinesOrAsManyAsAskedFor) {
  beginRun(1);
  for (int i = 1; i <= 20; ++i)
    add("line " + std::to_string(i));
  const auto ten = follow();
  ten->waitForOutputLineWith("line 20");
  const Lines last = textsOf(*ten);
  ASSERT_EQ(last.size(), 10U);
  EXPECT_EQ(last.front(), "line 11");
  const auto two = follow({"-n", "2"});
  two->waitForOutputLineWith("line 20");
  EXPECT_EQ(textsOf(*two), (Lines{"line 19", "line 20"}));
  const auto all = follow({"--lines", "all"});
  all->waitForOutputLineWith("line 20");
  EXPECT_EQ(textsOf(*all).size(), 21U);
}

TEST_F(OrvctlFollow, GoesOnWithTheNextRunInTheSameStore) {
  beginRun(1);
  add("first run");
  const auto tool = follow();
  tool->waitForOutputLineWith("first run");
  beginRun(2);
  add("second run");
  tool->waitForOutputLineWith("second run");
  EXPECT_EQ(textsOf(*tool), (Lines{"run started: pid 1", "first run", "run started: pid 2", "second run"}));
}

TEST_F(OrvctlFollow, GoesOnWithANewStoreWhenTheOldOneIsRemoved) {
  beginRun(1);
  add("old store");
  const auto tool = follow();
  tool->waitForOutputLineWith("old store");
  // As a service manager does it with the directory of a service that has stopped.
  std::filesystem::remove_all(node());
  std::filesystem::create_directory(node());
  std::filesystem::permissions(node(), std::filesystem::perms(0750));
  beginRun(2);
  add("new store");
  tool->waitForOutputLineWith("new store");
  EXPECT_EQ(textsOf(*tool), (Lines{"run started: pid 1", "old store", "run started: pid 2", "new store"}));
}

TEST_F(OrvctlFollow, WaitsForANodeThatIsNotThereYet) {
  std::filesystem::remove_all(node());
  const auto tool = follow();
  EXPECT_EQ(tool->waitForErrorLineWith("waiting"), "orvctl: there is no node in " + node() + " yet; waiting for it");
  std::filesystem::create_directory(node());
  std::filesystem::permissions(node(), std::filesystem::perms(0750));
  beginRun(1);
  add("at last");
  tool->waitForOutputLineWith("at last");
  EXPECT_EQ(textsOf(*tool), (Lines{"run started: pid 1", "at last"}));
}

TEST_F(OrvctlFollow, WaitsForAnEuThatIsNotThereYet) {
  beginRun(1);
  const auto tool = follow({"--eu", "pump"});
  tool->waitForErrorLineWith("there is no EU \"pump\"");
  EuRecord eu;
  eu.id = 1;
  eu.name = "pump";
  orv::Event created;
  created.kind = orv::EventKind::EU_CREATED;
  created.euId = 1;
  created.text = "pump";
  ASSERT_TRUE(store()->putEu(eu, &created).ok());
  orv::OutputLine line;
  line.number = 1;
  line.monotonicNs = orv::monotonicNs();
  line.text = "hello";
  ASSERT_TRUE(store()->appendOutput(1, std::span(&line, 1)).ok());
  tool->waitForOutputLineWith("hello");
  EXPECT_EQ(textsOf(*tool), (Lines{"EU created: pump", "hello"}));
}

TEST_F(OrvctlFollow, JsonIsTheSameAsThatOfTheLog) {
  beginRun(1);
  add("x");
  const auto tool = follow({"--json"});
  tool->waitForOutputLineWith("\"text\": \"x\"");
  tool->signal(SIGTERM);
  tool->waitForExit();
  EXPECT_EQ(joined(tool->outputLines()), output(DONE, {"log", "--json"}));
}

TEST_F(OrvctlFollow, LinesCountWithoutFollowingToo) {
  beginRun(1);
  add("a");
  add("b");
  EXPECT_EQ(run({"log", "-n", "1"}).output.size(), 1U);
  EXPECT_EQ(run({"log", "-n", "0"}).output.size(), 0U);
  EXPECT_EQ(run({"log"}).output.size(), 3U);
  EXPECT_EQ(complaint(USAGE, {"log", "-n", "few"}),
            "orvctl: -n,--lines: \"few\" is not a number of lines, or all (see orvctl log --help)");
}

}  // namespace
