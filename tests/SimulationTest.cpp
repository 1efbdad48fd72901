// The simulated platform itself: its time, its turns, its programs, its signals and its ends.
#include <gtest/gtest.h>
#include <semaphore.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "AaConfig.h"
#include "AaFile.h"
#include "AaMem.h"
#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysCom.h"
#include "AaSysTime.h"
#include "SimulatedBoot.h"

using namespace orv::sim;

namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t MS = 3;
constexpr uint32_t S = 4;

// What an EU does, handed to it through its argument block.
using Operations = void (*)();

void *runOperations(void *argument) {
  Operations operations = nullptr;
  std::memcpy(&operations, argument, sizeof operations);
  operations();
  return nullptr;
}

// Without what differs between word sizes: the block holds an address.
void startEu(const char *name, Operations operations) {
  uint32_t id = 0;
  EXPECT_EQ(AaProEuCreateAndStart(&id, name, runOperations, 4096, 10, &operations, sizeof operations), 0);
}

Lines without(Lines lines, const std::string &part) {
  std::erase_if(lines, [&](const std::string &line) { return line.find(part) != std::string::npos; });
  return lines;
}

Lines simulated(const Scenario &scenario, Operations operations) {
  return without(simulate(scenario, operations).trace, "AaProEuCreateAndStart");
}

bool contains(const Lines &lines, const std::string &line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

ProgramBehaviour program(const std::string &path) {
  ProgramBehaviour behaviour;
  behaviour.path = path;
  return behaviour;
}

Scenario threeApplications() {
  Scenario scenario;
  std::string file;
  for (const std::string name : {"first", "second", "third"}) {
    file += name + ";/opt/" + name + ";-x;0;3;" + name + ".online\n";
    ProgramBehaviour behaviour = program("/opt/" + name);
    behaviour.sets.push_back({name + ".online", {}, 1000});
    scenario.programs.push_back(behaviour);
  }
  scenario.files["/rom/AppDef.txt"] = file;
  return scenario;
}

int32_t runProgram(const char *path, const char *args = "") {
  int32_t waitStatus = -1;
  const int32_t result = AaProCmdExec(path, args, 0, &waitStatus);
  std::printf("%d %d\n", result, waitStatus);
  return result;
}

}  // namespace

TEST(Simulation, SleepMovesTheClockInsteadOfWaiting) {
  const Lines lines = simulated({}, [] {
    AaSysTimeSleep(50, MS);
    AaSysTimeSleep(4000000, S);
    AaSysTimeSleep(1, MS);
  });
  EXPECT_EQ(lines, Lines({"0.000 main AaSysTimeSleep(50, 3) = 0", "0.050 main AaSysTimeSleep(4000000, 4) = 0",
                          "4000000.050 main AaSysTimeSleep(1, 3) = 0", "4000000.051 node end: exit status 0"}));
}

TEST(Simulation, SleepInAnUnknownUnitFailsAtOnce) {
  const Lines lines = simulated({}, [] { EXPECT_NE(AaSysTimeSleep(50, 5), 0); });
  EXPECT_EQ(lines.back(), "0.000 node end: exit status 0");
}

TEST(Simulation, EusTakeTurnsInTheOrderInWhichTheirSleepsEnd) {
  const Lines lines = simulated({}, [] {
    startEu("slow", [] { AaSysTimeSleep(20, MS); });
    startEu("quick", [] { AaSysTimeSleep(10, MS); });
    AaSysTimeSleep(30, MS);
  });
  EXPECT_EQ(lines, Lines({"0.000 main AaSysTimeSleep(30, 3) = 0", "0.000 1:slow AaSysTimeSleep(20, 3) = 0",
                          "0.000 2:quick AaSysTimeSleep(10, 3) = 0", "0.010 2:quick ends", "0.020 1:slow ends",
                          "0.030 node end: exit status 0"}));
}

TEST(Simulation, EusOfOneTimeRunInTheOrderInWhichTheyBeganToWait) {
  const Lines lines = simulated({}, [] {
    for (const char *name : {"a", "b", "c"})
      startEu(name, [] { AaSysTimeSleep(10, MS); });
    AaSysTimeSleep(10, MS);
    AaSysTimeSleep(0, MS);
  });
  EXPECT_EQ(without(lines, "AaSysTimeSleep"),
            Lines({"0.010 1:a ends", "0.010 2:b ends", "0.010 3:c ends", "0.010 node end: exit status 0"}));
}

TEST(Simulation, OneSeedGivesOneTraceAndAnotherSeedAnotherOrder) {
  Scenario scenario = threeApplications();
  const std::vector<std::string> arguments = {"--startup=nid=1,executable=/opt/x|/opt/y|/opt/z"};
  scenario.seed = 7;
  const Lines first = boot(scenario, arguments).trace;
  EXPECT_EQ(boot(scenario, arguments).trace, first);
  unsigned different = 0;
  for (scenario.seed = 8; scenario.seed < 18; ++scenario.seed)
    different += boot(scenario, arguments).trace != first ? 1U : 0U;
  EXPECT_GE(different, 5U);
}

TEST(Simulation, BootsLeaveNothingToTheNext) {
  Scenario scenario = threeApplications();
  const Lines alone = boot(scenario, {"-v"}).trace;
  Scenario other = threeApplications();
  other.tags["orv.service.aapro.watchdog_enabled"] = {};
  other.programs[1].sets.clear();
  other.seed = 3;
  const SimulatedBoot reset = boot(
      other, {"--startup=nid=5,cename=x,masterip=10.0.0.1,notifreceiver=7,rtconfigfile=/f,executable=/a", "-c", "a=1"});
  EXPECT_EQ(reset.outcome.end, End::RESET);
  EXPECT_EQ(boot(scenario, {"-v"}).trace, alone);
}

TEST(Simulation, ProgramEndsAsTheScenarioSays) {
  Scenario scenario;
  struct Case {
    const char *path;
    int32_t waitStatus;
    const char *output;
    const char *event;
  };
  const Case cases[] = {{"/exit0", 0, "0 0", "exit code 0"},
                        {"/exit3", 3 << 8, "5 768", "exit code 3"},
                        {"/signal9", 9, "5 9", "signal 9"},
                        {"/stop19", 19 << 8 | 0x7f, "5 4991", "stopped by signal 19"}};
  for (const Case &each : cases) {
    ProgramBehaviour behaviour = program(each.path);
    behaviour.runsForMs = 1500;
    behaviour.waitStatus = each.waitStatus;
    scenario.programs = {behaviour};
    static const char *path;
    path = each.path;
    const Lines lines = simulated(scenario, [] { runProgram(path); });
    EXPECT_TRUE(contains(lines, std::string("0.000 main AaProCmdExec(\"") + path + "\", \"\", 0x0)"));
    EXPECT_TRUE(contains(lines, std::string("1.500 node program \"") + path + "\" under EU 0 ends: " + each.event));
    EXPECT_TRUE(contains(lines, std::string("1.500 main out: ") + each.output)) << path;
  }
}

TEST(Simulation, ProgramsResultAndStatusCanBeGivenAsTheyAre) {
  Scenario scenario;
  scenario.programs = {program("/five"), program("/unwritten"), program("/absent")};
  scenario.programs[0].runsForMs = 0;
  scenario.programs[0].result = 5;
  scenario.programs[1].runsForMs = 0;
  scenario.programs[1].waitStatusWritten = false;
  scenario.programs[2].launchFailure = 2;
  const Lines lines = simulated(scenario, [] {
    runProgram("/five");
    runProgram("/unwritten");
    runProgram("/absent");
  });
  for (const char *output : {"5 0", "0 -1", "2 -1"})
    EXPECT_TRUE(contains(lines, std::string("0.000 main out: ") + output)) << output;
}

TEST(Simulation, BehaviourCanBeThatOfOneStartOrOfCertainArguments) {
  Scenario scenario;
  scenario.programs = {program("/p"), program("/p"), program("/p")};
  scenario.programs[0].args = "-x";
  scenario.programs[0].launchFailure = 1;
  scenario.programs[1].start = 3;
  scenario.programs[1].launchFailure = 3;
  scenario.programs[2].runsForMs = 10;
  simulate(scenario, [] {
    EXPECT_EQ(runProgram("/p", "-x"), 1);
    EXPECT_EQ(runProgram("/p", "-y"), 0);
    EXPECT_EQ(runProgram("/p", "-y"), 3);
    EXPECT_EQ(runProgram("/p", "-y"), 0);
  });
}

TEST(Simulation, ProgramSetsItsTagsOnlyWhileItRuns) {
  Scenario scenario;
  scenario.programs = {program("/p")};
  scenario.programs[0].runsForMs = 1000;
  scenario.programs[0].sets = {{"early", {TagType::STRING, 0, "yes"}, 999}, {"late", {}, 1001}};
  const Lines lines = simulated(scenario, [] {
    runProgram("/p");
    AaSysTimeSleep(10, S);
    EXPECT_NE(AaConfigTagIsSet("early"), 0);
    EXPECT_EQ(AaConfigTagIsSet("late"), 0);
  });
  EXPECT_TRUE(contains(lines, "0.999 node program \"/p\" under EU 0 sets tag \"early\" = \"yes\""));
}

TEST(Simulation, ShutdownEndsEveryProgramWithinTheGraceTime) {
  Scenario scenario;
  scenario.graceTimeMs = 3000;
  scenario.programs = {program("/willing"), program("/slow"), program("/deaf")};
  scenario.programs[1].endsAfterSigtermMs = 2000;
  scenario.programs[2].endsAfterSigtermMs = UINT64_MAX;
  const SimulatedBoot result = boot(scenario, {"--startup=executable=/willing|/slow|/deaf"});
  const auto shutdown = std::find(result.trace.begin(), result.trace.end(), "0.000 1:ceInternalStartupEu ends");
  EXPECT_EQ(
      Lines(shutdown, result.trace.end()),
      Lines({"0.000 1:ceInternalStartupEu ends", "0.000 node program \"/willing\" under EU 2 ends with the shutdown",
             "2.000 node program \"/slow\" under EU 3 ends with the shutdown",
             "3.000 node program \"/deaf\" under EU 4 is killed by the shutdown",
             "3.000 main AaStartupCeShutdown() = 0", "3.000 main err: OrvDaemon: returned success",
             "3.000 node end: exit status 0"}));
}

TEST(Simulation, CallsAnswerWhatTheScenarioSaysByOccurrenceAndArgument) {
  Scenario scenario;
  scenario.calls = {
      {"AaConfigTagIsSet", 2, "a", 1}, {"AaConfigRadGetValue", 0, "0x10063", 9}, {"AaSysTimeSleep", 1, {}, 4}};
  simulate(scenario, [] {
    EXPECT_EQ(AaConfigTagIsSet("a"), 0);
    EXPECT_EQ(AaConfigTagIsSet("b"), 0);
    EXPECT_EQ(AaConfigTagIsSet("a"), 1);
    EXPECT_EQ(AaConfigTagIsSet("a"), 0);
    EXPECT_EQ(AaConfigRadGetValue(0x10063), 9U);
    EXPECT_EQ(AaConfigRadGetValue(0x10070), 0U);
    EXPECT_EQ(AaSysTimeSleep(1, MS), 4);
    EXPECT_EQ(AaSysTimeSleep(1, MS), 0);
  });
}

TEST(Simulation, SignalsMeetTheActionThatTheDaemonHasInstalled) {
  Scenario scenario;
  scenario.signals = {{SIGTERM, 1000, "", 1}, {SIGHUP, 2000, "", 1}, {SIGCHLD, 3000, "", 1}, {SIGINT, 4000, "", 1}};
  const SimulatedBoot result = simulate(scenario, [] {
    struct sigaction action = {};
    action.sa_handler = [](int number) { std::fprintf(stderr, "handled %d\n", number); };
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGHUP, SIG_IGN);
    AaSysTimeSleep(10, S);
    ADD_FAILURE() << "the daemon lives on";
  });
  EXPECT_EQ(Lines(result.trace.begin() + 3, result.trace.end()),
            Lines({"1.000 node SIGTERM", "1.000 handler err: handled 15", "2.000 node SIGHUP is ignored",
                   "3.000 node SIGCHLD is ignored", "4.000 node SIGINT ends the daemon",
                   "4.000 node end: killed by SIGINT"}));
  EXPECT_EQ(result.outcome.end, End::SIGNAL);
  EXPECT_EQ(result.outcome.signalNumber, SIGINT);
}

TEST(Simulation, SignalCanFollowAConsoleLine) {
  Scenario scenario;
  scenario.signals = {{SIGTERM, {}, "again", 2}};
  const SimulatedBoot result = simulate(scenario, [] {
    for (int i = 0; i < 5; ++i) {
      std::fputs("once again\n", stderr);
      AaSysTimeSleep(1, S);
    }
  });
  EXPECT_EQ(result.outcome.end, End::SIGNAL);
  EXPECT_EQ(result.outcome.atMs, 1000U);
}

TEST(Simulation, SemaphoreWakesItsWaiterOnce) {
  const Lines lines = simulated({}, [] {
    static sem_t semaphore;
    EXPECT_EQ(sem_init(&semaphore, 0, 0), 0);
    startEu("poster", [] {
      AaSysTimeSleep(5, S);
      sem_post(&semaphore);
    });
    EXPECT_EQ(sem_wait(&semaphore), 0);
  });
  EXPECT_EQ(lines,
            Lines({"0.000 main sem_init(semaphore 1, 0, 0) = 0", "0.000 main sem_wait(semaphore 1)",
                   "0.000 1:poster AaSysTimeSleep(5, 4) = 0", "5.000 1:poster sem_post(semaphore 1) = 0",
                   "5.000 1:poster ends", "5.000 main sem_wait(semaphore 1) = 0", "5.000 node end: exit status 0"}));
}

TEST(Simulation, SemaphoresFailWithTheErrnoOfTheScenario) {
  Scenario scenario;
  scenario.calls = {{"sem_init", 0, {}, ENOSYS}, {"sem_wait", 1, {}, EINTR}, {"sem_post", 0, {}, EOVERFLOW}};
  simulate(scenario, [] {
    sem_t semaphore;
    EXPECT_EQ(sem_init(&semaphore, 0, 0), -1);
    EXPECT_EQ(errno, ENOSYS);
    EXPECT_EQ(sem_wait(&semaphore), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(sem_post(&semaphore), -1);
    EXPECT_EQ(errno, EOVERFLOW);
  });
}

TEST(Simulation, ResetEndsTheBootAtOnceUnlessItTakesNoEffect) {
  Scenario scenario = threeApplications();
  scenario.tags["orv.service.aapro.watchdog_enabled"] = {};
  scenario.programs[0].sets.clear();
  const SimulatedBoot reset = boot(scenario, {"-v"});
  EXPECT_EQ(reset.outcome.end, End::RESET);
  EXPECT_EQ(reset.outcome.atMs, 270000U);
  EXPECT_EQ(reset.trace.end()[-2], "270.000 1:ceInternalStartupEu ddal_watchdog_reboot() = 0");
  EXPECT_EQ(reset.trace.back(), "270.000 node end: board reset");

  scenario.reset.takesEffect = false;
  EXPECT_EQ(boot(scenario, {"-v"}).outcome.end, End::EXIT);
}

TEST(Simulation, BootEndsWhereNothingCanHappenAnyMore) {
  Scenario scenario;
  scenario.endSignal = 0;
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.end, End::STUCK);
  EXPECT_EQ(result.trace.back(), "0.000 node end: nothing can happen any more");
}

TEST(Simulation, BootEndsAtItsLastMoment) {
  Scenario scenario = threeApplications();
  scenario.endAtMs = 1500;
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.end, End::TIME_UP);
  EXPECT_EQ(result.trace.back(), "1.500 node end: the time is up");
}

TEST(Simulation, DaemonThatIsCaughtInALoopIsEnded) {
  Scenario scenario;
  scenario.calls = {{"sem_wait", 0, {}, EINTR}};
  scenario.maxOperations = 1000;
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.end, End::LOOP);
  EXPECT_EQ(result.trace.back(), "0.000 node end: more than 1000 operations, caught in a loop");
}

TEST(Simulation, OutcomeCountsWhatWasNotGivenBack) {
  Scenario scenario;
  scenario.tags["text"] = {TagType::STRING, 0, "value"};
  scenario.files["/f"] = "";
  const Outcome outcome = simulate(scenario, [] {
                            for (int i = 0; i < 2; ++i) {
                              char *text = nullptr;
                              uint32_t length = 0;
                              EXPECT_EQ(AaConfigTagGetString("text", &text, &length), 0);
                              EXPECT_EQ(std::string(text), "value");
                              EXPECT_EQ(length, 5U);
                              void *file = AaFileOpen("/f", "r");
                              void *message = AaSysComMsgCreate(1, 4, 2);
                              const uint32_t cpid = AaSysComEuUserRegister(0);
                              if (i == 1) continue;
                              AaMemUnRefDbg(&text, "file", 1);
                              EXPECT_EQ(text, nullptr);
                              EXPECT_EQ(AaFileClose(file), 0);
                              EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), 0);
                              EXPECT_EQ(AaSysComUserDeregister(cpid), 0);
                            }
                          }).outcome;
  EXPECT_EQ(outcome.buffersHeld, 1U);
  EXPECT_EQ(outcome.filesOpen, 1U);
  EXPECT_EQ(outcome.messagesUnsent, 1U);
  EXPECT_EQ(outcome.usersRegistered, 1U);
}

TEST(Simulation, ExpectedMessagesThatWereNotSentAreNamed) {
  Scenario scenario;
  scenario.expectedMessages = {{0xfd28, {}, {}}, {0xfd28, 0x0ff004e7, {}}, {0x1b9d, 0xf011315, 0xf011000}};
  const SimulatedBoot result = boot(scenario, {"-v"});
  EXPECT_EQ(result.outcome.missingMessages,
            Lines({"message 0xfd28 to 0xff004e7", "message 0x1b9d from 0xf011000 to 0xf011315"}));
  EXPECT_TRUE(contains(result.trace, "0.000 node expected message 0x1b9d from 0xf011000 to 0xf011315 was not sent"));
}

TEST(Simulation, FilesAreReadAsTheScenarioHasThem) {
  Scenario scenario;
  scenario.files["/f"] = "abc";
  const Lines lines = simulated(scenario, [] {
    EXPECT_EQ(AaFileOpen("/g", "r"), nullptr);
    void *file = AaFileOpen("/f", "r");
    char buffer[4] = {};
    EXPECT_EQ(AaFileRead(buffer, 1, 1, file), 1U);
    EXPECT_EQ(AaFileRead(buffer + 1, 2, 2, file), 1U);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(AaFileRead(buffer, 1, 1, file), 0U);
    EXPECT_EQ(AaFileClose(file), 0);
  });
  EXPECT_EQ(lines,
            Lines({"0.000 main AaFileOpen(\"/g\", \"r\") = null", "0.000 main AaFileOpen(\"/f\", \"r\") = file 1",
                   "0.000 main AaFileRead(1, 1, file 1) = 1, \"a\"", "0.000 main AaFileRead(2, 2, file 1) = 1",
                   "0.000 main AaFileRead(1, 1, file 1) = 0", "0.000 main AaFileClose(file 1) = 0",
                   "0.000 node end: exit status 0"}));
}

TEST(Simulation, ConfigurationFilesSetTheirTags) {
  Scenario scenario;
  scenario.configFiles["/early.xml"]["a"] = {TagType::U16, 5, ""};
  scenario.configFiles["/run-time.xml"]["b"] = {};
  simulate(scenario, [] {
    EXPECT_NE(AaConfigTagReadFile("/absent.xml"), 0);
    EXPECT_EQ(AaConfigTagReadFile("/early.xml"), 0);
    EXPECT_NE(AaConfigTagIsSet("a"), 0);
    std::strcpy(gOrvStartupConfig.rtConfigFile, "/run-time.xml");
    EXPECT_EQ(AaConfigTagIsSet("b"), 0);
    EXPECT_EQ(AaStartupCeStartup(), 0);
    EXPECT_NE(AaConfigTagIsSet("b"), 0);
  });
}

TEST(Simulation, TagsFromOutsideAreSetInTime) {
  Scenario scenario;
  scenario.timedTags = {{"x", {TagType::U32, 7, ""}, 250}};
  const Lines lines = simulated(scenario, [] {
    AaSysTimeSleep(249, MS);
    EXPECT_EQ(AaConfigTagIsSet("x"), 0);
    AaSysTimeSleep(2, MS);
    EXPECT_NE(AaConfigTagIsSet("x"), 0);
  });
  EXPECT_TRUE(contains(lines, "0.250 node tag \"x\" = u32 7 is set from outside"));
}

TEST(Simulation, WhatIsWrittenHasItsPlaceAmongTheOperations) {
  const Lines lines = simulated({}, [] {
    std::printf("begun, ");
    std::fputs("an error\n", stderr);
    AaSysTimeSleep(1, MS);
    std::printf("ended\nrest");
  });
  EXPECT_EQ(lines, Lines({"0.000 main err: an error", "0.000 main AaSysTimeSleep(1, 3) = 0",
                          "0.001 main out: begun, ended", "0.001 main out: rest", "0.001 node end: exit status 0"}));
}

TEST(SimulationTrace, TextsAreQuotedSoThatALineStaysALine) {
  EXPECT_EQ(quoted("a b"), "\"a b\"");
  EXPECT_EQ(quoted("\"\\\n\t\x7f\xff"), "\"\\\"\\\\\\n\\x09\\x7f\\xff\"");
  Trace trace;
  trace.add(61005, trace.addActor(2, "my app"), "text");
  trace.addTagTest(0, Trace::MAIN, "a", 1);
  trace.addTagTest(0, Trace::MAIN, "ab", 0);
  EXPECT_EQ(
      trace.text(),
      "61.005 2:\"my app\" text\n0.000 main AaConfigTagIsSet(\"a\") = 1\n0.000 main AaConfigTagIsSet(\"ab\") = 0\n");
}
