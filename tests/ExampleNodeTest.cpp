// The example node, started as its README says.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;

class ExampleNode : public DaemonTest {
 protected:
  static ProcessStart exampleStart() {
    const std::string examples = ORV_EXAMPLES_DIR;
    const char *path = std::getenv("PATH");
    ProcessStart start;
    start.directory = examples;
    start.environment = {"ORV_CONFIG=" + examples + "/platform.xml",
                         "PATH=" + examples + ":" + ORV_BIN_DIR + ":" + (path == nullptr ? "/usr/bin:/bin" : path)};
    return start;
  }
};

}  // namespace

TEST_F(ExampleNode, FourApplicationsAndAnExecutableSayWhatTheyDo) {
  const auto daemon = node.startedDaemon(
      {"--startup=nid=0x1011,cename=example,executable=example-hardware-check#example.hardware.ready"}, exampleStart());
  daemon->waitForErrorLine(infoLine("exeRun: executable 'example-self-test' terminated successfully"));
  for (const char *name : {"hardware-check: ", "radio: ", "controller: ", "self-test: ", "recorder: "})
    daemon->waitForOutputLineWith(name);
  // Each program's lines come on a way of their own, so that their order is not that of the programs.
  Lines lines = daemon->outputLines();
  std::sort(lines.begin(), lines.end());
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0], "controller: good morning, online");
  EXPECT_TRUE(lines[1].starts_with("hardware-check: ")) << lines[1];
  EXPECT_EQ(lines[2], "radio: on channel 7, online");
  EXPECT_EQ(lines[3], "recorder: recording for example");
  EXPECT_EQ(lines[4], "self-test: passed, nothing more to do");
  EXPECT_EQ(node.waitForFinishedEu("self-test").waitStatus, 0);
  for (const std::string name : {"example-hardware-check", "radio", "controller", "recorder"}) {
    node.waitForEu(name, orv::EuState::RUNNING);
  }
  // Each was started once the one before was online, and the last two beside each other.
  const std::pair<std::string, std::string> awaited[] = {{"example.hardware.ready", "radio"},
                                                         {"example.radio.online", "controller"},
                                                         {"example.controller.online", "self-test"},
                                                         {"example.controller.online", "recorder"}};
  const std::vector<orv::EuRecord> eus = node.eus();
  for (const auto &[tag, name] : awaited) {
    const auto next = std::find_if(eus.begin(), eus.end(), [&](const orv::EuRecord &eu) { return eu.name == name; });
    ASSERT_NE(next, eus.end()) << name;
    EXPECT_LT(node.tag(tag).value_or(orv::Tag{}).setNs, next->createdNs) << name;
    EXPECT_TRUE(node.tag(tag).has_value()) << tag;
  }
  EXPECT_EQ(node.raisedErrors(), Lines());
  expectGracefulEnd(*daemon);
}

TEST_F(ExampleNode, FailingOneRaisesAnErrorAndAsksForAReset) {
  const auto daemon =
      node.startedDaemon({"--startup=nid=0x1011,cename=example", "-c", "app.hwapi.appcfg.filename=AppDef-failing.txt",
                          "-c", "orv.service.aapro.watchdog_enabled=1"},
                         exampleStart());
  daemon->waitForErrorLine(errorLine("exeRun: executable 'example-pump' failed with status 7"));
  daemon->waitForErrorLine(infoLine("boardReset: adding 30 s delay before reset"));
  EXPECT_EQ(node.raisedErrors(1),
            Lines{"kind 0, code 0x12345678: failure of application pump [ORV_Daemon/src/OrvDaemon:900]"});
  EXPECT_EQ(node.tagText("orv.board.reset"), "string none");
  expectGracefulEnd(*daemon);
}
