// The internal start-up's sequence: what it runs in which order, what it leaves out, and how long it then waits.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include "ExpectedTrace.h"
#include "OrvDaemon.h"
#include "Startup.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;
constexpr uint32_t RECEIVER = 0x0f011315;

struct Node {
  std::string executables;
  uint32_t receiver = 0;
};

// The sequence alone, in the process's first thread.
SimulatedBoot startUp(const Scenario &scenario, const Node &node) {
  return simulate(scenario, [&] {
    std::memcpy(gExeDefString, node.executables.c_str(), node.executables.size() + 1);
    gNotifyReceiver = node.receiver;
    ceInternalStartup(CONTEXT);
  });
}

constexpr const char *NO_EXECUTABLES = R"(
    0.000 main Info: exeStart: no executable configured, skipping)";
constexpr const char *EXECUTABLE_FAILS = R"(
    0.000 main Info: parseExeDefs: Executables: /opt/a
    0.000 main Info: parseExeDefs: Executable '/opt/a' has arguments '/opt/a' and online tag to wait ''
    0.000 main Info: exeStartAll: Executable '/opt/a' starting
    0.000 main AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 11
    0.000 main Error: exeStartAll: Exe sentinel EU creation failed with error 11
    0.000 main Error: ceInternalStartup: executable start-up failed, application start-up skipped)";
constexpr const char *GRACEFUL = R"(
    0.000 main AaStartupCeUngracefulShutdownCount(context) = 0)";
constexpr const char *APPLICATIONS = R"(
    0.000 main AaConfigTagIsSet("sys.repair.center.reset") = 0
    0.000 main AaConfigTagIsSet("sys.configuration.reset") = 0
    0.000 main Info: appStart: application start-up
    0.000 main AaConfigTagGetString("app.hwapi.appcfg.filename") = 2
    0.000 main AaFileOpen("/rom/AppDef.txt", "r") = null
    0.000 main AaConfigRadGetValue(0x10063) = 0
    0.000 main Error: parseAppExeDefFile: application definition file inaccessible
    0.000 main Info: appStart: application start-up complete
    0.000 main AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
    0.000 main AaSysComGetOwnNid() = 0x0
    0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0xfffe, payload 4 bytes) = 0)";
constexpr const char *UNGRACEFUL = R"(
    0.000 main AaStartupCeUngracefulShutdownCount(context) = 1
    0.000 main Info: ceInternalStartup: ungraceful shutdown, application start-up disabled)";
constexpr const char *ARMED = R"(
    0.000 main sem_init(semaphore 1, 0, 0) = 0
    0.000 main sigaction(SIGINT, handler, mask empty, flags SA_RESTART) = 0
    0.000 main sigaction(SIGTERM, handler, mask empty, flags SA_RESTART) = 0
    0.000 main signal(SIGHUP, SIG_IGN))";
constexpr const char *COMPLETE = R"(
    0.000 main Info: ceInternalStartup: CE start-up complete)";
constexpr const char *ENDS = R"(
    0.000 main sem_wait(semaphore 1)
    0.000 node nothing more is going to happen: the operator ends the daemon
    0.000 node SIGTERM
    0.000 handler err: OrvDaemon - Got SIGTERM
    0.000 handler err: Initiated ORV-RT CE level shutdown
    0.000 handler sem_post(semaphore 1) = 0
    0.000 main sem_wait(semaphore 1) = 0
    0.000 main Info: ceInternalStartup: Daemon termination initiated
    0.000 node end: exit status 0)";

// The message to the receiver; `number` is the message's.
std::string notified(const std::string &number) {
  return R"(
    0.000 main AaSysComEuUserRegister(0) = 0x1000
    0.000 main AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = message )" +
         number + R"(
    0.000 main AaSysComMsgSendWithPriority(message )" +
         number + R"(, 0: id 0x1b9d, receiver 0xf011315, sender 0xf011000, payload 0 bytes) = 0
    0.000 main Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315
    0.000 main AaSysComUserDeregister(0x1000) = 0)";
}

std::string joined(std::initializer_list<std::string> pieces) {
  std::string text;
  for (const std::string &piece : pieces)
    text += piece + "\n";
  return text;
}

}  // namespace

TEST(CeInternalStartupConformance, StepsHaveOneOrderAndFailuresLeaveOnlyTheApplicationsOut) {
  Scenario graceful;
  Scenario ungraceful;
  ungraceful.ungracefulCount = 1;
  Scenario failing;
  failing.calls.push_back({"AaProEuCreateAndStart", 0, "/opt/a", 11});
  Scenario both = failing;
  both.ungracefulCount = 1;
  const Node plain = {"", 0};
  const Node withReceiver = {"", RECEIVER};
  const Node withExecutable = {"/opt/a", 0};
  const Node withBoth = {"/opt/a", RECEIVER};
  const struct {
    const char *name;
    const Scenario &scenario;
    const Node &node;
    std::string expected;
  } cases[] = {
      {"all well", graceful, plain, joined({NO_EXECUTABLES, GRACEFUL, APPLICATIONS, ARMED, COMPLETE, ENDS})},
      {"all well, with a receiver", graceful, withReceiver,
       joined({NO_EXECUTABLES, GRACEFUL, APPLICATIONS, notified("2"), ARMED, COMPLETE, ENDS})},
      {"ungraceful", ungraceful, plain, joined({NO_EXECUTABLES, UNGRACEFUL, ARMED, COMPLETE, ENDS})},
      {"ungraceful, with a receiver", ungraceful, withReceiver,
       joined({NO_EXECUTABLES, UNGRACEFUL, notified("1"), ARMED, COMPLETE, ENDS})},
      {"executables fail", failing, withExecutable, joined({EXECUTABLE_FAILS, ARMED, COMPLETE, ENDS})},
      {"executables fail, with a receiver", failing, withBoth,
       joined({EXECUTABLE_FAILS, notified("1"), ARMED, COMPLETE, ENDS})},
      {"executables fail after an ungraceful shutdown", both, withBoth,
       joined({EXECUTABLE_FAILS, notified("1"), ARMED, COMPLETE, ENDS})},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_TRUE(isTrace(startUp(row.scenario, row.node).trace, row.expected));
  }
}

TEST(CeInternalStartupConformance, AnyUngracefulShutdownDisablesTheApplications) {
  for (const uint32_t count : {1u, 2u, 1000u, 0x80000000u, UINT32_MAX}) {
    SCOPED_TRACE(count);
    Scenario scenario;
    scenario.ungracefulCount = count;
    const SimulatedBoot result = startUp(scenario, {});
    EXPECT_TRUE(isTrace(linesBetween(result.trace, "= " + std::to_string(count), "SIG_IGN)"),
                        "0.000 main AaStartupCeUngracefulShutdownCount(context) = " + std::to_string(count) + R"(
        0.000 main Info: ceInternalStartup: ungraceful shutdown, application start-up disabled)" +
                            ARMED));
  }
}

TEST(CeInternalStartupConformance, GracefulIsACountOfZeroAlone) {
  const struct {
    int64_t count;
    int graceful;
  } cases[] = {{0, 1}, {1, 0}, {2, 0}, {UINT32_MAX, 0}};
  for (const auto &row : cases) {
    Scenario scenario;
    scenario.calls.push_back({"AaStartupCeUngracefulShutdownCount", 0, {}, row.count});
    int graceful = -1;
    const SimulatedBoot result = simulate(scenario, [&] { graceful = ceShutdownWasGraceful(CONTEXT); });
    EXPECT_EQ(graceful, row.graceful);
    EXPECT_TRUE(isTrace(result.trace, "0.000 main AaStartupCeUngracefulShutdownCount(context) = " +
                                          std::to_string(row.count) + "\n0.000 node end: exit status 0"));
  }
}

TEST(CeInternalStartupConformance, ApplicationsThatAreForbiddenAreNoFailure) {
  Scenario scenario;
  scenario.tags["sys.repair.center.reset"] = {};
  EXPECT_TRUE(isTrace(startUp(scenario, {}).trace, joined({NO_EXECUTABLES, GRACEFUL, R"(
      0.000 main AaConfigTagIsSet("sys.repair.center.reset") = 1
      0.000 main Info: appStart: repair/reset tag set, application start-up disabled)",
                                                           ARMED, COMPLETE, ENDS})));
}

// The receiver is no boolean: any value but 0 is one.
TEST(CeInternalStartupConformance, EveryReceiverButZeroGetsTheMessage) {
  for (const uint32_t receiver : {1u, 0x10000u, 0x80000000u, UINT32_MAX}) {
    SCOPED_TRACE(receiver);
    EXPECT_EQ(linesWith(startUp({}, {"", receiver}).trace, "AaSysComEuUserRegister").size(), 1u);
  }
  EXPECT_TRUE(linesWith(startUp({}, {"", 0}).trace, "AaSysComEuUserRegister").empty());
}

// Without a semaphore there are no handlers either, so that the signal meets what the process inherited.
TEST(CeInternalStartupConformance, WithoutShutdownSupportTheSequenceStillArrivesAtTheWait) {
  for (const int error : {EINVAL, ENOSYS, 1}) {
    SCOPED_TRACE(error);
    Scenario scenario;
    scenario.calls.push_back({"sem_init", 0, {}, error});
    const SimulatedBoot result = startUp(scenario, {});
    EXPECT_TRUE(isTrace(result.trace, joined({NO_EXECUTABLES, GRACEFUL, APPLICATIONS, R"(
        0.000 main sem_init(semaphore 1, 0, 0) = -1
        0.000 main Error: ceInternalStartup: Failed to init CE shutdown support)",
                                              COMPLETE, R"(
        0.000 main sem_wait(semaphore 1)
        0.000 node nothing more is going to happen: the operator ends the daemon
        0.000 node SIGTERM ends the daemon
        0.000 node end: killed by SIGTERM)"})));
    EXPECT_EQ(result.outcome.end, End::SIGNAL);
    EXPECT_EQ(result.outcome.signalNumber, SIGTERM);
  }
}

TEST(CeInternalStartupConformance, WaitHasNoEndOfItsOwn) {
  Scenario scenario;
  scenario.endSignal = 0;
  const SimulatedBoot result = startUp(scenario, {});
  EXPECT_EQ(result.outcome.end, End::STUCK);
  EXPECT_TRUE(isTrace(linesBetween(result.trace, "CE start-up complete\"", "more"), R"(
      0.000 main AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, ceInternalStartup: CE start-up complete"
      0.000 main sem_wait(semaphore 1)
      0.000 node end: nothing can happen any more)"));
}

TEST(CeInternalStartupConformance, FailedWaitIsRepeatedInSilence) {
  Scenario scenario;
  scenario.calls = {{"sem_wait", 1, {}, EINTR}, {"sem_wait", 2, {}, EINTR}, {"sem_wait", 3, {}, EINVAL}};
  EXPECT_TRUE(isTrace(startUp(scenario, {}).trace, joined({NO_EXECUTABLES, GRACEFUL, APPLICATIONS, ARMED, COMPLETE, R"(
      0.000 main sem_wait(semaphore 1)
      0.000 main sem_wait(semaphore 1) = -1
      0.000 main sem_wait(semaphore 1)
      0.000 main sem_wait(semaphore 1) = -1
      0.000 main sem_wait(semaphore 1)
      0.000 main sem_wait(semaphore 1) = -1)",
                                                           ENDS})));
}

TEST(CeInternalStartupConformance, FailedWaitIsRepeatedWithoutLimit) {
  Scenario scenario;
  scenario.calls = {{"sem_wait", 0, {}, EINVAL}};
  scenario.maxOperations = 10000;
  const SimulatedBoot result = startUp(scenario, {});
  EXPECT_EQ(result.outcome.end, End::LOOP);
  EXPECT_GT(linesWith(result.trace, "sem_wait(semaphore 1) = -1").size(), 9900u);
  EXPECT_TRUE(linesWith(result.trace, "Daemon termination initiated").empty());
}

// A whole boot with all there is: executables first, then the applications, then the receiver, then the signals.
TEST(CeInternalStartupConformance, WholeBootRunsTheStepsOneAfterTheOther) {
  Scenario scenario;
  scenario.files["/rom/AppDef.txt"] = "radio;/app/radio;-c;0;3;radio.up\n";
  ProgramBehaviour program;
  program.path = "/opt/a";
  program.sets = {{"a.up", {}, 70}};
  scenario.programs.push_back(program);
  program.path = "/app/radio";
  program.sets = {{"radio.up", {}, 10}};
  scenario.programs.push_back(program);
  scenario.signals.push_back({SIGINT, 5000, "", 1});
  const SimulatedBoot result =
      boot(scenario, {"--startup=nid=0x1011,executable=/opt/a -v#a.up,notifreceiver=0xf011315"});
  EXPECT_EQ(result.outcome.end, End::EXIT);
  EXPECT_EQ(result.outcome.exitStatus, 0);
  EXPECT_TRUE(isTrace(result.trace, R"(
      0.000 main err: RT-ORV build BANNER
      0.000 main AaStartupEarlyStartup() = 0
      0.000 main Info: systemdNotify: sending notification to systemd
      0.000 main ddal_system_notify_ready() = 0
      0.000 main err: NID set to 0x1011
      0.000 main err: Start executable '/opt/a -v#a.up'
      0.000 main err: Notify receiver set to 0xf011315
      0.000 main err: Master NID value in RT startup 0x0000
      0.000 main Info: fullStartup: CE start-up
      0.000 main AaStartupCeStartup() = 0
      0.000 node start-up record: nid=0x1011 masterNid=0x0000 masterIp="127.0.0.1" testerPort=15005 printPort=51005 printIp=0x7f000001 btsLogPort=0 testerMultiplicity=0 sysComGwProtocol=none rtConfigFile="" ORV_CE_NAME=none
      0.000 main AaProEuCreateAndStartJoinable("ceInternalStartupEu", 4096, 10, context + 0 bytes, 1) = 0, EU 1
      0.000 main Info: shutdown: Initiated CE level shutdown
      0.000 main AaStartupCeShutdown()
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executables: /opt/a -v#a.up
      0.000 1:ceInternalStartupEu Info: parseExeDefs: Executable '/opt/a' has arguments '/opt/a' and online tag to wait 'a.up'
      0.000 1:ceInternalStartupEu Info: exeStartAll: Executable '/opt/a' starting
      0.000 1:ceInternalStartupEu AaProEuCreateAndStart("/opt/a", 4132, 31, context + 600 bytes) = 0, EU 2
      0.000 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 0
      0.000 1:ceInternalStartupEu AaConfigRadGetValue(0x10070) = 0
      0.000 1:ceInternalStartupEu Info: readyWait: waiting 240000 ms for a.up to be set
      0.000 1:ceInternalStartupEu polls "a.up" 1 times
      0.000 2:/opt/a AaProEuCurrent() = 2
      0.000 2:/opt/a Info: exeRun: executable '/opt/a'(-v) starting under sentinel EU 0x2 with supervision flags 0x2
      0.000 2:/opt/a AaProCmdExec("/opt/a", "-v", 0x2)
      0.050 1:ceInternalStartupEu polls "a.up" 1 times
      0.070 node program "/opt/a" under EU 2 sets tag "a.up" = u32 1
      0.100 1:ceInternalStartupEu AaConfigTagIsSet("a.up") = 1
      0.100 1:ceInternalStartupEu Info: readyWait: a.up tag set in time
      0.100 1:ceInternalStartupEu AaStartupCeUngracefulShutdownCount(context) = 0
      0.100 1:ceInternalStartupEu AaConfigTagIsSet("sys.repair.center.reset") = 0
      0.100 1:ceInternalStartupEu AaConfigTagIsSet("sys.configuration.reset") = 0
      0.100 1:ceInternalStartupEu Info: appStart: application start-up
      0.100 1:ceInternalStartupEu AaConfigTagGetString("app.hwapi.appcfg.filename") = 2
      0.100 1:ceInternalStartupEu AaFileOpen("/rom/AppDef.txt", "r") = file 1
      0.100 1:ceInternalStartupEu reads file 1: "radio;/app/radio;-c;0;3;radio.up\n"
      0.100 1:ceInternalStartupEu AaFileClose(file 1) = 0
      0.100 1:ceInternalStartupEu AaProEuCreateAndStart("radio", 4132, 31, context + 808 bytes) = 0, EU 3
      0.100 1:ceInternalStartupEu Info: readyWait: waiting 240000 ms for radio.up to be set
      0.100 1:ceInternalStartupEu polls "radio.up" 1 times
      0.100 3:radio AaProEuCurrent() = 3
      0.100 3:radio Info: exeRun: executable '/app/radio'(-c) starting under sentinel EU 0x3 with supervision flags 0x3
      0.100 3:radio AaProCmdExec("/app/radio", "-c", 0x3)
      0.110 node program "/app/radio" under EU 3 sets tag "radio.up" = u32 1
      0.150 1:ceInternalStartupEu AaConfigTagIsSet("radio.up") = 1
      0.150 1:ceInternalStartupEu Info: readyWait: radio.up tag set in time
      0.150 1:ceInternalStartupEu Info: appStart: application start-up complete
      0.150 1:ceInternalStartupEu AaSysComMsgCreate(0xfd28, 4, 0xff004e7) = message 1
      0.150 1:ceInternalStartupEu AaSysComGetOwnNid() = 0x1011
      0.150 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0x1011fffe, payload 4 bytes) = 0
      0.150 1:ceInternalStartupEu AaSysComEuUserRegister(0) = 0x1000
      0.150 1:ceInternalStartupEu AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = message 2
      0.150 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 2, 0: id 0x1b9d, receiver 0xf011315, sender 0xf011000, payload 0 bytes) = 0
      0.150 1:ceInternalStartupEu Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315
      0.150 1:ceInternalStartupEu AaSysComUserDeregister(0x1000) = 0
      0.150 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0
      0.150 1:ceInternalStartupEu sigaction(SIGINT, handler, mask empty, flags SA_RESTART) = 0
      0.150 1:ceInternalStartupEu sigaction(SIGTERM, handler, mask empty, flags SA_RESTART) = 0
      0.150 1:ceInternalStartupEu signal(SIGHUP, SIG_IGN)
      0.150 1:ceInternalStartupEu Info: ceInternalStartup: CE start-up complete
      0.150 1:ceInternalStartupEu sem_wait(semaphore 1)
      5.000 node SIGINT
      5.000 handler err: OrvDaemon - Got SIGINT
      5.000 handler err: Initiated ORV-RT CE level shutdown
      5.000 handler sem_post(semaphore 1) = 0
      5.000 1:ceInternalStartupEu sem_wait(semaphore 1) = 0
      5.000 1:ceInternalStartupEu Info: ceInternalStartup: Daemon termination initiated
      5.000 1:ceInternalStartupEu ends
      5.000 node program "/opt/a" under EU 2 ends with the shutdown
      5.000 node program "/app/radio" under EU 3 ends with the shutdown
      5.000 main AaStartupCeShutdown() = 0
      5.000 main err: OrvDaemon: returned success
      5.000 node end: exit status 0)"));
  EXPECT_EQ(result.outcome.filesOpen + result.outcome.messagesUnsent + result.outcome.usersRegistered, 0u);
}
