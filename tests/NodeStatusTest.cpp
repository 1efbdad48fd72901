// What a node is doing: its programs' states, what is waited for, and the three ways in which that is shown.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>

#include "Clock.h"
#include "StatusFacts.h"
#include "StatusView.h"
#include "Terminal.h"

using namespace statusfacts;

namespace {

using orv::EuState;
using orv::NodeStatus;
using orv::nodeStatus;
using orv::PassingTimes;
using orv::ProgramState;
using orv::ProgramStatus;
using orv::SkipReason;
using orv::StartupState;
using orv::StatusSource;

const ProgramStatus &program(const NodeStatus &status, const std::string &name) {
  for (const ProgramStatus &each : status.programs) {
    if (each.name == name) return each;
  }
  throw std::runtime_error("no program " + name);
}

ProgramState stateOf(const StatusSource &source, const std::string &name) {
  return program(nodeStatus(source), name).state;
}

TEST(NodeStatus, TellsOfEachProgramWhereItIs) {
  const NodeStatus status = nodeStatus(waitingNode());
  EXPECT_EQ(program(status, "ceInternalStartupEu").state, ProgramState::NO_PROGRAM);
  EXPECT_EQ(program(status, "radio").state, ProgramState::ONLINE);
  EXPECT_EQ(program(status, "radio").sinceNs, START_NS + 250 * NS_PER_MS);
  EXPECT_EQ(program(status, "pump").state, ProgramState::AWAITING_TAG);
  EXPECT_EQ(program(status, "pump").sinceNs, START_NS + 310 * NS_PER_MS);
  EXPECT_EQ(program(status, "valve").state, ProgramState::WAITS_FOR_TURN);
  EXPECT_EQ(program(status, "valve").args, "-v");
  EXPECT_EQ(status.started, 1U);
  EXPECT_EQ(status.planned, 3U);
}

TEST(NodeStatus, TellsWhatIsAwaitedAndForHowMuchLonger) {
  const NodeStatus status = nodeStatus(waitingNode());
  ASSERT_TRUE(status.awaited);
  EXPECT_EQ(status.awaited->name, "pump");
  EXPECT_EQ(status.awaited->tag, "pump.online");
  EXPECT_EQ(status.awaited->waitedMs, 11700U);
  EXPECT_EQ(status.awaited->leftMs, 228300U);
}

TEST(NodeStatus, TimeThatIsOverLeavesNothing) {
  StatusSource source = waitingNode();
  source.nowNs = START_NS + 300 * NS_PER_S;
  EXPECT_EQ(nodeStatus(source).awaited->leftMs, 0U);
}

TEST(NodeStatus, ProgramThatWasNotInTimeIsLateUntilItsTagIsSet) {
  StatusSource source = waitingNode();
  source.startup->programs[1].wait->state = orv::WaitState::TIMED_OUT;
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::LATE);
  EXPECT_FALSE(nodeStatus(source).awaited);
  source.tags.push_back(tagSetBy("pump.online", "pump", 250000));
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::ONLINE);
}

TEST(NodeStatus, DeadDaemonTookItsProgramsWithIt) {
  StatusSource source = waitingNode();
  source.daemonIsAlive = false;
  source.startup->state = StartupState::INTERRUPTED;
  EXPECT_EQ(stateOf(source, "radio"), ProgramState::ENDED_WITH_DAEMON);
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::ENDED_WITH_DAEMON);
  EXPECT_EQ(stateOf(source, "valve"), ProgramState::SKIPPED);
  EXPECT_FALSE(nodeStatus(source).awaited);
}

TEST(NodeStatus, EndsAreWhatTheRecordsSay) {
  StatusSource source = waitingNode();
  source.eus[2].state = EuState::PROGRAM_ENDED;
  source.eus[2].endedNs = START_NS + 5 * NS_PER_S;
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::FINISHED);
  source.eus[2].waitStatus = 3 << 8;
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::FAILED);
  EXPECT_EQ(program(nodeStatus(source), "pump").sinceNs, START_NS + 5 * NS_PER_S);
  source.eus[2].state = EuState::LAUNCH_FAILED;
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::LAUNCH_FAILED);
  source.eus[2].state = EuState::SHUT_DOWN;
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::SHUT_DOWN);
}

TEST(NodeStatus, EuWhoseProgramIsToComeIsBeingStarted) {
  StatusSource source = waitingNode();
  source.eus[2] = eu(3, "pump", "", 0);
  EXPECT_EQ(stateOf(source, "pump"), ProgramState::STARTING);
  EXPECT_EQ(program(nodeStatus(source), "pump").path, "/bin/pump");
}

TEST(NodeStatus, ProgramsOfOneNameAreToldApartByTheirOrder) {
  StatusSource source = waitingNode();
  source.plan.programs[2] = {true, "pump", "/bin/pump", "", 1, "second.online"};
  const NodeStatus status = nodeStatus(source);
  ASSERT_EQ(status.programs.size(), 4U);
  EXPECT_EQ(status.programs[2].onlineTag, "pump.online");
  EXPECT_EQ(status.programs[3].onlineTag, "second.online");
  EXPECT_EQ(status.programs[3].state, ProgramState::WAITS_FOR_TURN);
}

TEST(NodeStatus, ExecutableRaisesAnErrorWhateverItsFlagsSay) {
  StatusSource source = waitingNode();
  source.eus = {eu(2, "/bin/x", "/bin/x", 2)};
  const NodeStatus status = nodeStatus(source);
  EXPECT_EQ(status.programs[0].kind, ProgramStatus::Kind::EXECUTABLE);
  EXPECT_EQ(orv::consequenceText(status.programs[0]), "raises an error");
}

TEST(NodeStatus, ConsequencesAreInWords) {
  const NodeStatus status = nodeStatus(waitingNode());
  EXPECT_EQ(orv::consequenceText(program(status, "ceInternalStartupEu")), "");
  EXPECT_EQ(orv::consequenceText(program(status, "radio")), "raises an error");
  EXPECT_EQ(orv::consequenceText(program(status, "pump")), "raises an error, resets the board");
  EXPECT_EQ(orv::consequenceText(program(status, "valve")), "resets the board");
}

TEST(StatusView, TextToTheLetter) {
  EXPECT_EQ(
      orv::statusText(nodeStatus(waitingNode()), PassingTimes::SHOWN),
      "state     up\n"
      "daemon    pid 42, alive\n"
      "node id   0x0011\n"
      "CE name   CE-1\n"
      "role      slave of 0x0010\n"
      "since     2023-11-14 22:13:20 +0000 (12 s ago)\n"
      "start-up  waiting for pump (tag pump.online) for 11 s, another 3 min 48 s at most\n"
      "restarts  none: a program that has ended is not started again\n"
      "\n"
      "ID  EU                   STATE                     SINCE     PID  ON FAILURE                         PROGRAM\n"
      "1   ceInternalStartupEu  has no program            22:13:20  -    -                                  -\n"
      "2   radio                online                    22:13:20  42   raises an error                    "
      "/bin/radio\n"
      "3   pump                 awaiting tag pump.online  22:13:20  43   raises an error, resets the board  /bin/pump\n"
      "-   valve                waits for its turn        -         -    resets the board                   /bin/valve "
      "-v\n");
}

TEST(StatusView, TextWithoutPassingTimesStaysAsTimePasses) {
  StatusSource later = waitingNode();
  later.nowNs += 30 * NS_PER_S;
  EXPECT_EQ(orv::statusText(nodeStatus(waitingNode()), PassingTimes::LEFT_OUT),
            orv::statusText(nodeStatus(later), PassingTimes::LEFT_OUT));
}

TEST(StatusView, StartupIsInWords) {
  StatusSource source = waitingNode();
  source.startup->state = StartupState::COMPLETE;
  source.startup->programs[1].wait->state = orv::WaitState::ONLINE;
  source.startup->lengthNs = 1050 * NS_PER_MS;
  EXPECT_EQ(orv::startupText(nodeStatus(source), PassingTimes::SHOWN), "complete after 1.05 s");
  source.plan.skipped = SkipReason::UNGRACEFUL;
  EXPECT_EQ(orv::startupText(nodeStatus(source), PassingTimes::SHOWN),
            "complete after 1.05 s; applications are skipped, since the run record counts ungraceful shutdowns (orvctl "
            "ungraceful --clear and a restart start them again)");
  source.plan.skipped = SkipReason::NO_DEFINITIONS;
  EXPECT_EQ(orv::startupText(nodeStatus(source), PassingTimes::SHOWN),
            "complete after 1.05 s; there are no applications, since the definition file cannot be read: "
            "/etc/AppDef.txt");
  source.plan.skipped = SkipReason::NONE;
  source.startup->state = StartupState::INTERRUPTED;
  EXPECT_EQ(orv::startupText(nodeStatus(source), PassingTimes::SHOWN),
            "interrupted: the daemon ended before it was complete");
  source.startup = std::nullopt;
  EXPECT_EQ(orv::startupText(nodeStatus(source), PassingTimes::SHOWN),
            "not known: the events that would tell are no longer kept");
}

TEST(StatusView, StoppedDaemonIsSaidWithTheWayOut) {
  StatusSource source = waitingNode();
  source.daemonIsStopped = true;
  const std::string text = orv::statusText(nodeStatus(source), PassingTimes::SHOWN);
  EXPECT_NE(text.find("daemon    pid 42, stopped: it does nothing until it is continued (kill -CONT 42)\n"),
            std::string::npos)
      << text;
}

TEST(StatusView, ScreenIsAsLargeAsTheTerminalAndNoLarger) {
  const NodeStatus status = nodeStatus(waitingNode());
  for (const unsigned columns : {1U, 10U, 40U, 80U, 200U}) {
    for (const unsigned lines : {1U, 5U, 12U, 13U, 24U}) {
      const std::vector<std::string> screen = orv::statusScreen(status, columns, lines);
      EXPECT_LE(screen.size(), lines);
      for (const std::string &line : screen)
        EXPECT_LE(line.size(), columns) << line;
    }
  }
}

TEST(StatusView, ScreenHasABarAndKeepsWhatIsNotAsItShouldBe) {
  const std::vector<std::string> screen = orv::statusScreen(nodeStatus(waitingNode()), 80, 13);
  EXPECT_EQ(screen, (std::vector<std::string>{
                        "state     up",
                        "daemon    pid 42, alive",
                        "node id   0x0011",
                        "CE name   CE-1",
                        "role      slave of 0x0010",
                        "since     2023-11-14 22:13:20 +0000 (12 s ago)",
                        "start-up  waiting for pump (tag pump.online) for 11 s, another 3 min 48 s at mo~",
                        "restarts  none: a program that has ended is not started again",
                        "progress  [##########--------------------]  1 of 3 programs",
                        "",
                        "ID  EU    STATE                     SINCE     PID  ON FAILURE                   ",
                        "3   pump  awaiting tag pump.online  22:13:20  43   raises an error, resets the ~",
                        "... and 3 more",
                    }));
}

TEST(StatusView, JsonToTheLetter) {
  StatusSource source = waitingNode();
  source.eus = {source.eus[2]};
  source.plan.programs = {source.plan.programs[1]};
  source.euStatuses[3] = "filling \"A\"";
  EXPECT_EQ(
      orv::statusJson(nodeStatus(source)),
      "{\"run\": {\"number\": 3, \"state\": \"up\", \"started_monotonic_ns\": 1000000000000, "
      "\"started_realtime_ns\": 1700000000000000000, \"age_ms\": 12000}, "
      "\"node\": {\"nid\": 17, \"ce_name\": \"CE-1\", \"role\": \"slave\", \"master_nid\": 16}, "
      "\"daemon\": {\"pid\": 42, \"alive\": true, \"stopped\": false}, "
      "\"startup\": {\"state\": \"going_on\", \"length_ms\": 12000, \"programs_started\": 0, "
      "\"programs_planned\": 1, \"awaited\": {\"name\": \"pump\", \"tag\": \"pump.online\", \"waited_ms\": 11700, "
      "\"left_ms\": 228300, \"budget_ms\": 240000}, \"applications_skipped\": null, "
      "\"definition_file\": \"/etc/AppDef.txt\"}, "
      "\"programs\": [{\"eu_id\": 3, \"name\": \"pump\", \"kind\": \"application\", \"path\": \"/bin/pump\", "
      "\"args\": \"\", \"pid\": 43, \"state\": \"awaiting_tag\", \"since_monotonic_ns\": 1000310000000, "
      "\"since_realtime_ns\": 1700000000310000000, \"exit_code\": null, \"signal\": null, "
      "\"launch_result\": null, \"online_tag\": \"pump.online\", \"says\": \"filling \\\"A\\\"\", "
      "\"restarts\": 0, \"raises_error\": true, \"resets_board\": true}]}\n");
  source.run = std::nullopt;
  EXPECT_EQ(orv::statusJson(nodeStatus(source)), "{\"run\": null}\n");
}

TEST(StartupPlan, ReadsTheDaemonsWordsOnItsExecutablesAndOnWhatItSkips) {
  std::vector<orv::Event> events(3);
  events[0].kind = orv::EventKind::LOG;
  events[0].text = "ORV/OrvDaemon, parseExeDefs: Executable '/old' has arguments '/old' and online tag to wait 'old'";
  events[1].kind = orv::EventKind::RUN_STARTED;
  events[2].kind = orv::EventKind::LOG;
  events[2].text =
      "ORV/OrvDaemon, parseExeDefs: Executable '/bin/x' has arguments '/bin/x' and online tag to wait 'x.on'";
  const std::vector<orv::PlannedProgram> programs = orv::loggedExecutables(events);
  ASSERT_EQ(programs.size(), 1U);
  EXPECT_EQ(programs[0].name, "/bin/x");
  EXPECT_EQ(programs[0].onlineTag, "x.on");
  EXPECT_EQ(orv::loggedSkipReason(events), SkipReason::NONE);
  events[2].text = "ORV/OrvDaemon, ceInternalStartup: ungraceful shutdown, application start-up disabled";
  EXPECT_EQ(orv::loggedSkipReason(events), SkipReason::UNGRACEFUL);
  events[2].text = "ORV/OrvDaemon, appStart: repair/reset tag set, application start-up disabled";
  EXPECT_EQ(orv::loggedSkipReason(events), SkipReason::REPAIR);
  events[2].text = "ORV/OrvDaemon, ceInternalStartup: executable start-up failed, application start-up skipped";
  EXPECT_EQ(orv::loggedSkipReason(events), SkipReason::EXECUTABLES_FAILED);
  events[2].text = "ORV/OrvDaemon, parseAppExeDefFile: application definition file inaccessible";
  EXPECT_EQ(orv::loggedSkipReason(events), SkipReason::NO_DEFINITIONS);
}

TEST(StartupPlan, TakesApplicationsAsTheDaemonDoes) {
  const std::vector<orv::PlannedProgram> programs =
      orv::plannedApplications("# none\nradio;/bin/radio;-v;0;3;radio.online\nnothing;;\nlast;/bin/last;\n");
  ASSERT_EQ(programs.size(), 2U);
  EXPECT_EQ(programs[0].name, "radio");
  EXPECT_EQ(programs[0].args, "-v");
  EXPECT_EQ(programs[0].supervisionFlags, 3U);
  EXPECT_EQ(programs[0].onlineTag, "radio.online");
  EXPECT_EQ(programs[1].name, "last");
  EXPECT_EQ(programs[1].onlineTag, "");
}

}  // namespace
