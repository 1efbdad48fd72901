// orvctl chart, blame and compare on whole nodes, and what the platform records of their start-ups.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "OrvctlFixture.h"
#include "StartupModel.h"
#include "TestNode.h"
#include "TextLines.h"

namespace {

using orv::EventKind;
using orv::StartupModel;
using orv::StartupState;
using orv::WaitState;
using Lines = std::vector<std::string>;

using orvctltest::DONE;
using orvctltest::FAILED;
using orvctltest::NO;
using orvctltest::USAGE;

class OrvctlChart : public DaemonTest {
 protected:
  // What the tool prints; it has to end with that exit code and to complain of nothing.
  std::string output(const Lines &arguments, int exitCode = DONE) const {
    const CommandResult result = node.orvctl(arguments);
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << joined(result.errors);
    EXPECT_EQ(result.errors, Lines());
    return joined(result.output);
  }
  std::string complaint(const Lines &arguments, int exitCode) const {
    const CommandResult result = node.orvctl(arguments);
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode);
    EXPECT_EQ(result.output, Lines());
    return joined(result.errors);
  }
  StartupModel modelOf(const std::string &json) const {
    std::string problem;
    const std::optional<StartupModel> model = orv::startupFromJson(json, problem);
    EXPECT_TRUE(model) << problem << "\n" << json;
    return model.value_or(StartupModel{});
  }
  StartupModel model(const Lines &more = {}) const {
    Lines arguments = {"chart", "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return modelOf(output(arguments));
  }
  std::vector<orv::Event> eventsOf(EventKind kind) const {
    std::vector<orv::Event> found;
    for (const orv::Event &event : node.events()) {
      if (event.kind == kind) found.push_back(event);
    }
    return found;
  }
  // A file of a start-up that is complete, with one program that holds it up for so long.
  std::string fileOf(const std::string &name, uint64_t delayMs) const {
    constexpr uint64_t MS = 1'000'000;
    StartupModel start;
    start.run = 7;
    start.state = StartupState::COMPLETE;
    start.lengthNs = delayMs * MS;
    start.programs.resize(1);
    start.programs[0].name = "radio";
    start.programs[0].delayNs = delayMs * MS;
    start.criticalPath = {{0, 0, delayMs * MS}};
    node.writeFile(name, orv::startupJson(start));
    return node.path(name);
  }
};

TEST_F(OrvctlChart, TellsOfAStartUpWhileItGoesOnAndAfterwards) {
  node.define({"tank;" + node.program() + ";stay;0;1;", "pump;" + node.program() + ";stay;0;3;pump.online"});
  const auto daemon = node.daemon({"-v"});
  daemon->waitForErrorLine(infoLine("readyWait: waiting 240000 ms for pump.online to be set"));
  const orv::Event began = node.waitForEvent(EventKind::WAIT_BEGAN, "");
  EXPECT_EQ(began.text, "pump (tag pump.online)");
  for (const char *name : {"tank", "pump"})
    node.waitForEu(name, orv::EuState::RUNNING);
  const StartupModel waiting = model();
  EXPECT_EQ(waiting.state, StartupState::GOING_ON);
  ASSERT_EQ(waiting.programs.size(), 2U);
  EXPECT_EQ(waiting.programs[1].name, "pump");
  EXPECT_EQ(waiting.programs[1].euId, began.euId);
  ASSERT_TRUE(waiting.programs[1].wait);
  EXPECT_EQ(waiting.programs[1].wait->state, WaitState::STILL_WAITING);
  EXPECT_EQ(waiting.programs[1].wait->budgetMs, 240000U);

  EXPECT_EQ(output({"tag", "set", "pump.online"}), "");
  node.waitForEvent(EventKind::STARTUP_COMPLETE, "");
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  const orv::Event ended = node.waitForEvent(EventKind::WAIT_ENDED, "pump (tag pump.online)");
  EXPECT_EQ(ended.code, static_cast<uint32_t>(orv::WaitOutcome::ONLINE));
  EXPECT_EQ(ended.euId, began.euId);
  const StartupModel complete = model();
  EXPECT_EQ(complete.state, StartupState::COMPLETE);
  const orv::StartupProgram &pump = complete.programs.at(1);
  EXPECT_EQ(pump.path, node.program());
  EXPECT_EQ(pump.args, "stay");
  EXPECT_EQ(pump.supervisionFlags, 3U);
  ASSERT_TRUE(pump.wait && pump.wait->endedNs && pump.readyNs && pump.startedNs);
  EXPECT_EQ(pump.wait->state, WaitState::ONLINE);
  EXPECT_LE(pump.createdNs, pump.wait->beganNs);
  EXPECT_LE(*pump.readyNs, *pump.wait->endedNs);
  EXPECT_EQ(pump.delayNs, *pump.wait->endedNs - pump.wait->beganNs);
  EXPECT_EQ(complete.programs[0].delayNs, 0U);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(model().programs[1].state, orv::EuState::SHUT_DOWN);
  EXPECT_TRUE(model().daemonEndedNs);
}

TEST_F(OrvctlChart, ATagThatIsSetAtOnceIsNoWait) {
  node.define({"pump;" + node.program() + ";stay;0;0;pump.online"});
  const auto daemon = node.startedDaemon({"-c", "pump.online=1"});
  expectGracefulEnd(*daemon);
  EXPECT_TRUE(eventsOf(EventKind::WAIT_BEGAN).empty());
  EXPECT_TRUE(eventsOf(EventKind::WAIT_ENDED).empty());
  EXPECT_EQ(eventsOf(EventKind::STARTUP_COMPLETE).size(), 1U);
  const StartupModel start = model();
  ASSERT_TRUE(start.programs.at(0).wait);
  EXPECT_EQ(start.programs[0].wait->tag, "pump.online");
  EXPECT_EQ(start.programs[0].delayNs, 0U);
}

TEST_F(OrvctlChart, ATimeOutIsTold) {
  node.configure("<rad><parameter number=\"0x10070\" value=\"120\"/></rad>");
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " stay#never"});
  expectGracefulEnd(*daemon);
  const std::vector<orv::Event> ended = eventsOf(EventKind::WAIT_ENDED);
  ASSERT_EQ(ended.size(), 1U);
  EXPECT_EQ(ended[0].code, static_cast<uint32_t>(orv::WaitOutcome::TIMED_OUT));
  const StartupModel start = model();
  ASSERT_TRUE(start.programs.at(0).wait);
  EXPECT_EQ(start.programs[0].wait->state, WaitState::TIMED_OUT);
  EXPECT_EQ(start.programs[0].wait->budgetMs, 120U);
  EXPECT_GE(start.programs[0].delayNs, 120'000'000U);
  ASSERT_EQ(start.marks.size(), 1U);
  EXPECT_EQ(start.marks[0].program, 0U);
  EXPECT_NE(output({"log", "--eu", node.program()})
                .find("the start-up no longer waits for " + node.program() + " (tag never): not online in time"),
            std::string::npos);
}

TEST_F(OrvctlChart, ARunThatDiedInItsStartUpIsBrokenOff) {
  node.define({"pump;" + node.program() + ";stay;0;0;pump.online"});
  const auto daemon = node.daemon({"-v"});
  daemon->waitForErrorLine(infoLine("readyWait: waiting 240000 ms for pump.online to be set"));
  node.waitForEvent(EventKind::WAIT_BEGAN, "pump");
  daemon->signal(SIGKILL);
  daemon->waitForExit();
  const StartupModel start = model();
  EXPECT_EQ(start.state, StartupState::INTERRUPTED);
  EXPECT_EQ(start.programs.at(0).wait->state, WaitState::STILL_WAITING);
  EXPECT_EQ(complaint({"compare", "1", "1"}, USAGE).substr(0, 47), "orvctl: run 1 cannot be compared: broken off af");
}

TEST_F(OrvctlChart, RunsOfTheNodeAreComparedByTheirNumbers) {
  node.define({"pump;" + node.program() + ";online pump.online;0;0;pump.online"});
  for (int run = 0; run < 2; ++run)
    expectGracefulEnd(*node.startedDaemon({"-v"}));
  EXPECT_EQ(model({"--run", "1"}).run, 1U);
  EXPECT_EQ(model({"--run", "1"}).programs.at(0).name, "pump");
  EXPECT_EQ(model().run, 2U);
  EXPECT_EQ(complaint({"chart", "--run", "3"}, NO),
            "orvctl: run 3 is not there: the node's events are of runs 1 to 2\n");
  const std::string text = output({"compare", "1", "2", "--limit", "100000", "--floor", "60000"});
  EXPECT_TRUE(text.starts_with("base: run 1\nnew:  run 2\n")) << text;
  EXPECT_TRUE(text.ends_with("Nothing got slower by more than 100000 % and 60.00 s.\n")) << text;
  EXPECT_NE(output({"chart", "--compare", "1", "2"}).find("<svg"), std::string::npos);
}

TEST_F(OrvctlChart, AFileIsReadAsTheNodeIs) {
  node.define({"pump;" + node.program() + ";online pump.online;0;0;pump.online"});
  expectGracefulEnd(*node.startedDaemon({"-v"}));
  const std::string file = node.path("start.json");
  EXPECT_EQ(output({"chart", "--json", "-o", file}), "");
  EXPECT_EQ(output({"chart", "--json", "--from", file}), output({"chart", "--json"}));
  EXPECT_EQ(output({"blame", "--from", file}), output({"blame"}));
  EXPECT_EQ(output({"blame", "--json", "--from", file}), output({"blame", "--json"}));
  EXPECT_EQ(output({"chart", "--text", "--from", file}), output({"chart", "--text"}));
}

TEST_F(OrvctlChart, APictureGoesToItsFileAsAWhole) {
  const std::string from = fileOf("start.json", 500);
  const std::string picture = output({"chart", "--from", from});
  EXPECT_TRUE(picture.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg ")) << picture;
  EXPECT_TRUE(picture.ends_with("</svg>\n"));
  const std::string file = node.path("start.svg");
  EXPECT_EQ(output({"chart", "--from", from, "-o", file}), "");
  std::ifstream stream(file);
  std::stringstream content;
  content << stream.rdbuf();
  EXPECT_EQ(content.str(), picture);
  EXPECT_FALSE(std::filesystem::exists(file + ".new"));
  EXPECT_NE(complaint({"chart", "--from", from, "-o", node.path("no/such/start.svg")}, FAILED).find("start.svg"),
            std::string::npos);
}

TEST_F(OrvctlChart, CompareFailsWhereSomethingGotSlowerThanTheLimit) {
  const std::string before = fileOf("before.json", 1000);
  const std::string after = fileOf("after.json", 1300);
  EXPECT_NE(
      output({"compare", before, after, "--limit", "20"}, NO).find("2 lines are slower by more than 20 % and 100 ms."),
      std::string::npos);
  output({"compare", before, after, "--limit", "30"}, DONE);
  output({"compare", before, after, "--limit", "20", "--floor", "300"}, DONE);
  output({"compare", before, after}, DONE);
  output({"compare", before, "--against", after, after, "--limit", "20"}, NO);
  output({"compare", after, "--against", before, "--limit", "20"}, DONE);
  output({"compare", before, before, after, "--limit", "20", "--json"}, NO);
}

TEST_F(OrvctlChart, WhatCannotBeReadIsSaid) {
  const std::string there = fileOf("start.json", 10);
  node.writeFile("other.json", "{}");
  EXPECT_EQ(
      complaint({"chart", "--from", node.path("other.json")}, USAGE),
      "orvctl: " + node.path("other.json") + ": no start-up as orvctl chart --json writes it: format is not there\n");
  EXPECT_NE(complaint({"blame", "--from", node.path("missing.json")}, FAILED).find("missing.json"), std::string::npos);
  EXPECT_EQ(complaint({"compare", there}, USAGE), "orvctl: there is nothing to compare with: name two runs at least\n");
  EXPECT_NE(complaint({"compare", there, there, "--limit", "-1"}, USAGE).find("is not a number"), std::string::npos);
  for (const char *number : {"x", "-1", "1x", "18446744073709551616"})
    EXPECT_NE(complaint({"chart", "--run", number}, USAGE).find("is not the number of a run"), std::string::npos);
  EXPECT_NE(complaint({"chart", "--run", "1", "--from", there}, USAGE).find("--from"), std::string::npos);
  EXPECT_NE(complaint({"chart"}, FAILED).find("there is no node in"), std::string::npos);
}

}  // namespace
