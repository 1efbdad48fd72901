// The model of a start-up out of the events of its run: what became of each program, who held whom up.
#include "StartupModel.h"

#include <gtest/gtest.h>

#include "Applications.h"
#include "StartupFixture.h"

using namespace startuptest;
using orv::EuState;
using orv::StartupModel;
using orv::StartupProgram;
using orv::StartupState;
using orv::WaitState;

namespace {

const StartupProgram &programOf(const StartupModel &model, const std::string &name) {
  for (const StartupProgram &program : model.programs) {
    if (program.name == name) return program;
  }
  throw std::runtime_error("there is no program " + name);
}

// "daemon 0-10, database 10-500" in milliseconds.
std::string pathText(const StartupModel &model) {
  std::string text;
  for (const orv::StartupStep &step : model.criticalPath) {
    text += (text.empty() ? "" : ", ") + (step.program ? model.programs[*step.program].name : "daemon") + " " +
            std::to_string(step.beganNs / MS) + "-" + std::to_string(step.endedNs / MS);
  }
  return text;
}

TEST(StartupModel, HasNothingOfAStoreWithoutARun) {
  EXPECT_FALSE(orv::startupOf({}, std::nullopt));
}

TEST(StartupModel, TellsOfTheRun) {
  const StartupModel model = Recorded().begin().complete(70).model();
  EXPECT_EQ(model.run, 1U);
  EXPECT_EQ(model.daemonPid, DAEMON);
  EXPECT_EQ(model.nid, 0x1011);
  EXPECT_EQ(model.ceName, "CE-1");
  EXPECT_EQ(model.startedRealtimeNs, 1'700'000'000 * S);
  EXPECT_EQ(model.state, StartupState::COMPLETE);
  EXPECT_FALSE(model.beginningIsLost);
  EXPECT_EQ(model.lengthNs, 70 * MS);
  EXPECT_TRUE(model.programs.empty());
  EXPECT_EQ(pathText(model), "daemon 0-70");
}

TEST(StartupModel, AnApplicationHoldsUpUntilItsTagIsSeen) {
  Recorded node;
  node.begin().application(10, 2, "database", 500).complete(520);
  node.line(11, 2,
            "exeRun: executable '/bin/database'(-v 'a b') starting under sentinel EU 0x2 with supervision flags 0x3");
  const StartupModel model = node.model();
  ASSERT_EQ(model.programs.size(), 1U);
  const StartupProgram &program = model.programs[0];
  EXPECT_EQ(program.euId, 2U);
  EXPECT_EQ(program.name, "database");
  EXPECT_EQ(program.path, "/bin/database");
  EXPECT_EQ(program.args, "-v 'a b'");
  EXPECT_EQ(program.supervisionFlags, 3U);
  EXPECT_EQ(program.pid, 4002U);
  EXPECT_EQ(program.state, EuState::RUNNING);
  EXPECT_EQ(program.createdNs, 10 * MS);
  EXPECT_EQ(program.startedNs, 15 * MS);
  EXPECT_EQ(program.readyNs, 480 * MS);
  EXPECT_FALSE(program.endedNs);
  ASSERT_TRUE(program.wait);
  EXPECT_EQ(program.wait->tag, "database.online");
  EXPECT_EQ(program.wait->beganNs, 10 * MS);
  EXPECT_EQ(program.wait->endedNs, 500 * MS);
  EXPECT_EQ(program.wait->state, WaitState::ONLINE);
  EXPECT_EQ(program.wait->budgetMs, 240000U);
  EXPECT_EQ(program.delayNs, 490 * MS);
  EXPECT_EQ(pathText(model), "daemon 0-10, database 10-500, daemon 500-520");
}

TEST(StartupModel, TellsEveryKindOfEnd) {
  const StartupModel model = eventfulRun().model();
  ASSERT_EQ(model.programs.size(), 7U);
  EXPECT_EQ(programOf(model, "recorder").state, EuState::RUNNING);
  EXPECT_FALSE(programOf(model, "recorder").readyNs);
  EXPECT_FALSE(programOf(model, "recorder").wait);
  EXPECT_EQ(programOf(model, "self-test").state, EuState::PROGRAM_ENDED);
  EXPECT_EQ(programOf(model, "self-test").waitStatus, 0);
  EXPECT_EQ(programOf(model, "self-test").endedNs, 800 * MS);
  EXPECT_EQ(programOf(model, "pump").state, EuState::PROGRAM_ENDED);
  EXPECT_EQ(programOf(model, "pump").waitStatus, 3 << 8);
  EXPECT_EQ(programOf(model, "ghost").state, EuState::LAUNCH_FAILED);
  EXPECT_EQ(programOf(model, "ghost").failure, "cannot run it: No such file or directory");
  EXPECT_EQ(programOf(model, "radio").wait->state, WaitState::TIMED_OUT);
  EXPECT_EQ(programOf(model, "web").wait->state, WaitState::ONLINE);
  ASSERT_EQ(model.marks.size(), 2U);
  EXPECT_EQ(model.marks[0].kind, orv::MarkKind::ERROR_RAISED);
  EXPECT_EQ(model.marks[0].atNs, 701 * MS);
  EXPECT_EQ(model.marks[0].code, 0x12345678U);
  EXPECT_EQ(model.programs[*model.marks[0].program].name, "pump");
}

TEST(StartupModel, AResetThatATimeOutAsksForIsTheProgramsDelay) {
  const StartupModel model = eventfulRun().model();
  EXPECT_EQ(programOf(model, "radio").wait->endedNs, 1500 * MS);
  EXPECT_EQ(programOf(model, "radio").delayNs, 1400 * MS);
  EXPECT_EQ(pathText(model), "daemon 0-10, database 10-500, radio 500-1900, web 1900-1990, daemon 1990-2000");
  EXPECT_EQ(model.marks[1].kind, orv::MarkKind::RESET_HELD);
  EXPECT_EQ(model.programs[*model.marks[1].program].name, "radio");
}

// The first two are started at once; while one is waited for, the other one gets ready.
TEST(StartupModel, ExecutablesAreWaitedForOneAfterAnother) {
  Recorded node;
  const auto defined = [&](const std::string &path, const std::string &tag) {
    node.line(
        2, STARTUP_EU,
        "parseExeDefs: Executable '" + path + "' has arguments '" + path + "' and online tag to wait '" + tag + "'");
  };
  node.begin();
  defined("/bin/one", "one.on");
  defined("/bin/two", "two.on");
  defined("/bin/three", "three.on");
  node.created(3, 2, "/bin/one").created(3, 3, "/bin/two").created(3, 4, "/bin/three");
  node.asks(4, "one.on", 9000).waits(4, 2, "/bin/one", "one.on").tagSet(50, "two.on").tagSet(100, "one.on");
  node.waited(104, 2, "/bin/one", "one.on");
  node.asks(104, "two.on", 8900).line(104, STARTUP_EU, "readyWait: two.on tag set in time");
  node.asks(104, "three.on", 8900).waits(104, 4, "/bin/three", "three.on").tagSet(300, "three.on");
  node.waited(304, 4, "/bin/three", "three.on").complete(310);
  const StartupModel model = node.model();
  EXPECT_EQ(pathText(model), "daemon 0-4, /bin/one 4-104, /bin/three 104-304, daemon 304-310");
  const StartupProgram &two = programOf(model, "/bin/two");
  ASSERT_TRUE(two.wait);
  EXPECT_EQ(two.wait->tag, "two.on");
  EXPECT_EQ(two.wait->beganNs, two.wait->endedNs);
  EXPECT_EQ(two.wait->state, WaitState::ONLINE);
  EXPECT_EQ(two.wait->budgetMs, 8900U);
  EXPECT_EQ(two.readyNs, 50 * MS);
  EXPECT_EQ(two.delayNs, 0U);
  EXPECT_EQ(programOf(model, "/bin/one").wait->budgetMs, 9000U);
}

TEST(StartupModel, AnApplicationWhoseTagIsThereIsNotWaitedFor) {
  Recorded node;
  node.begin().tagSet(1, "early").created(5, 2, "radio").asks(5, "early");
  node.line(5, STARTUP_EU, "readyWait: early tag set in time").complete(6);
  const StartupModel model = node.model();
  ASSERT_TRUE(model.programs[0].wait);
  EXPECT_EQ(model.programs[0].wait->tag, "early");
  EXPECT_EQ(model.programs[0].readyNs, 1 * MS);
  EXPECT_EQ(model.programs[0].delayNs, 0U);
  EXPECT_EQ(pathText(model), "daemon 0-6");
}

TEST(StartupModel, AWaitThatGoesOnReachesUntilNow) {
  Recorded node;
  node.begin().created(10, 2, "radio").waits(10, 2, "radio", "radio.on");
  node.source.nowNs = START_NS + 3 * S;
  const StartupModel model = node.model();
  EXPECT_EQ(model.state, StartupState::GOING_ON);
  EXPECT_EQ(model.lengthNs, 3 * S);
  EXPECT_EQ(model.programs[0].wait->state, WaitState::STILL_WAITING);
  EXPECT_FALSE(model.programs[0].wait->endedNs);
  // Without the daemon's own line the usual time-out is assumed.
  EXPECT_EQ(model.programs[0].wait->budgetMs, APP_ONLINE_TIMEOUT_MS);
  EXPECT_EQ(pathText(model), "daemon 0-10, radio 10-3000");
}

TEST(StartupModel, ADeadDaemonsStartUpReachesUntilItsLastEvent) {
  Recorded node;
  node.begin().created(10, 2, "radio").waits(10, 2, "radio", "radio.on").line(400, 2, "something");
  node.event(90'000, EventKind::TAG_SET, 0, "other = 1 (u32)", 0, 7777);  // by an operator, later
  node.source.daemonIsAlive = false;
  const StartupModel model = node.model();
  EXPECT_EQ(model.state, StartupState::INTERRUPTED);
  EXPECT_EQ(model.lengthNs, 400 * MS);
  EXPECT_EQ(pathText(model), "daemon 0-10, radio 10-400");
}

TEST(StartupModel, EarlierRunsAreTold) {
  Recorded node;
  node.begin().application(10, 2, "database", 500).complete(520);
  node.event(600, EventKind::EU_FINISHED, STARTUP_EU, "").ended(700, 2, 15, false);
  node.event(710, EventKind::CE_STOPPED, 0, "");
  node.begin(START_NS + 60 * S).application(20, 2, "database", 200).complete(210);
  const std::optional<StartupModel> first = orv::startupOf(node.source, 1);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->run, 1U);
  EXPECT_EQ(first->daemonPid, DAEMON);
  EXPECT_EQ(first->nid, 0x1011);
  EXPECT_EQ(first->ceName, "");
  EXPECT_EQ(first->startedRealtimeNs, (1'700'000'000 - 60) * S);
  EXPECT_EQ(first->state, StartupState::COMPLETE);
  EXPECT_EQ(first->programs[0].delayNs, 490 * MS);
  EXPECT_EQ(first->programs[0].state, EuState::SHUT_DOWN);
  EXPECT_EQ(first->daemonEndedNs, 710 * MS);
  EXPECT_EQ(node.model().run, 2U);
  EXPECT_EQ(node.model().programs[0].delayNs, 180 * MS);
  EXPECT_FALSE(orv::startupOf(node.source, 3));
  EXPECT_FALSE(orv::startupOf(node.source, 0));
}

TEST(StartupModel, AProgramThatEndedByItselfBeforeTheShutdownIsNoneOfIt) {
  Recorded node;
  node.begin().created(5, 2, "self-test").started(6, 2, "/bin/self-test").complete(7);
  node.ended(9, 2, 0).event(600, EventKind::EU_FINISHED, STARTUP_EU, "");
  EXPECT_EQ(node.model().programs[0].state, EuState::PROGRAM_ENDED);
}

TEST(StartupModel, ABeginningThatIsNoLongerKeptIsSaid) {
  Recorded node;
  node.begin().application(10, 2, "database", 500).complete(520);
  node.source.events.erase(node.source.events.begin(), node.source.events.end() - 1);
  const StartupModel complete = node.model();
  EXPECT_TRUE(complete.beginningIsLost);
  EXPECT_EQ(complete.state, StartupState::COMPLETE);
  EXPECT_EQ(complete.lengthNs, 520 * MS);

  node.source.events.clear();
  orv::EuRecord own;
  own.id = 1;
  own.name = "ceInternalStartupEu";
  own.createdNs = START_NS + MS;
  orv::EuRecord database;
  database.id = 2;
  database.name = "database";
  database.path = "/bin/database";
  database.state = EuState::RUNNING;
  database.createdNs = START_NS + 10 * MS;
  database.startedNs = START_NS + 15 * MS;
  node.source.eus = {own, database};
  const StartupModel unknown = node.model();
  EXPECT_TRUE(unknown.beginningIsLost);
  EXPECT_EQ(unknown.state, StartupState::UNKNOWN);
  ASSERT_EQ(unknown.programs.size(), 1U);
  EXPECT_EQ(unknown.programs[0].name, "database");
  EXPECT_EQ(unknown.programs[0].startedNs, 15 * MS);
}

TEST(StartupModel, WhatOtherProcessesSayOfTheirOwnEusIsNotTheDaemons) {
  Recorded node;
  node.begin().created(5, 2, "radio").started(6, 2, "/bin/radio");
  node.event(7, EventKind::EU_CREATED, 2, "worker", 0, 4002).event(8, EventKind::EU_CREATED, 9, "other", 0, 4002);
  node.event(9, EventKind::ERROR_RAISED, 1, "kind 1, code 0x2: no carrier", 2, 4002).complete(20);
  const StartupModel model = node.model();
  ASSERT_EQ(model.programs.size(), 1U);
  EXPECT_EQ(model.programs[0].name, "radio");
  // The error is that of the EU whose program the process is.
  ASSERT_EQ(model.marks.size(), 1U);
  EXPECT_EQ(model.marks[0].program, 0U);
}

TEST(StartupModel, AProgramWithoutATagIsReadyWhenItSaysSo) {
  Recorded node;
  node.begin().created(5, 2, "radio").started(6, 2, "/bin/radio");
  node.event(40, EventKind::PROGRAM_READY, 2, "pid 4002", 0, 4002).complete(50);
  EXPECT_EQ(node.model().programs[0].readyNs, 40 * MS);
}

TEST(StartupModel, TagsThatBeginAlikeAreOthers) {
  Recorded node;
  node.begin().created(5, 2, "radio").waits(5, 2, "radio", "a").tagSet(7, "ab").tagSet(9, "a");
  node.waited(10, 2, "radio", "a").complete(11);
  EXPECT_EQ(node.model().programs[0].readyNs, 9 * MS);
}

TEST(StartupModel, EventsAreTakenByTheirTimeAndNotByTheirPlace) {
  Recorded node;
  node.begin().created(5, 2, "radio").started(30, 2, "/bin/radio").complete(60);
  node.waits(6, 2, "radio", "radio.on").waited(50, 2, "radio", "radio.on");
  EXPECT_EQ(pathText(node.model()), "daemon 0-6, radio 6-50, daemon 50-60");
}

TEST(StartupModel, AWaitForNobodyIsTheDaemonsOwnTime) {
  Recorded node;
  node.begin().event(5, EventKind::WAIT_BEGAN, 0, "(tag x)").event(90, EventKind::WAIT_ENDED, 0, "(tag x)", 1);
  EXPECT_EQ(pathText(node.complete(100).model()), "daemon 0-100");
}

}  // namespace
