// The initialisation-finished message: to whom it goes, from whom, and what happens where it cannot be sent.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ExpectedTrace.h"
#include "OrvDaemon.h"
#include "Startup.h"

using namespace orv::sim;

namespace {

constexpr uint32_t CONTEXT = 0xc0de;
constexpr uint32_t RECEIVER = 0x0f011315;

SimulatedBoot notify(const Scenario &scenario, uint32_t receiver = RECEIVER) {
  const SimulatedBoot result = simulate(scenario, [&] {
    gNotifyReceiver = receiver;
    initFinishNotify(CONTEXT);
  });
  EXPECT_EQ(result.outcome.usersRegistered, 0u);
  EXPECT_EQ(result.outcome.messagesUnsent, 0u);
  return result;
}

}  // namespace

TEST(InitFinishConformance, MessageIsSentWithinOneRegistration) {
  EXPECT_TRUE(isTrace(notify({}).trace, R"(
      0.000 main AaSysComEuUserRegister(0) = 0x1000
      0.000 main AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = message 1
      0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0x1b9d, receiver 0xf011315, sender 0xf011000, payload 0 bytes) = 0
      0.000 main Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315
      0.000 main AaSysComUserDeregister(0x1000) = 0
      0.000 node end: exit status 0)"));
}

TEST(InitFinishConformance, SenderIsTheFixedNodeWithTheRegisteredCpid) {
  const struct {
    uint32_t cpid;
    const char *cpidText;
    const char *sender;
  } cases[] = {
      {0x0123, "0x123", "0xf010123"},
      {1, "0x1", "0xf010001"},
      {0xffff, "0xffff", "0xf01ffff"},
      {0x8000, "0x8000", "0xf018000"},
      {0x0abc, "0xabc", "0xf010abc"},
      {0x11234, "0x11234", "0xf011234"},  // laid over the node, not added to it
      {0x80000001, "0x80000001", "0x8f010001"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.cpidText);
    Scenario scenario;
    scenario.calls.push_back({"AaSysComEuUserRegister", 0, {}, row.cpid});
    const std::string cpid = row.cpidText;
    EXPECT_TRUE(isTrace(notify(scenario).trace, "0.000 main AaSysComEuUserRegister(0) = " + cpid + R"(
        0.000 main AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = message 1
        0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0x1b9d, receiver 0xf011315, sender )" +
                                                    row.sender + R"(, payload 0 bytes) = 0
        0.000 main Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315
        0.000 main AaSysComUserDeregister()" + cpid +
                                                    R"() = 0
        0.000 node end: exit status 0)"));
  }
}

TEST(InitFinishConformance, ReceiverIsUsedAndLoggedAsItIs) {
  const struct {
    uint32_t receiver;
    const char *text;
  } cases[] = {
      {1, "0x1"},
      {0xa, "0xa"},
      {4711, "0x1267"},
      {0x00010002, "0x10002"},
      {0x0f011315, "0xf011315"},
      {0x10111315, "0x10111315"},
      {0xabcdef01, "0xabcdef01"},
      {0xffffffff, "0xffffffff"},
  };
  for (const auto &row : cases) {
    SCOPED_TRACE(row.text);
    const std::string receiver = row.text;
    EXPECT_TRUE(isTrace(notify({}, row.receiver).trace, R"(
        0.000 main AaSysComEuUserRegister(0) = 0x1000
        0.000 main AaSysComMsgCreate(0x1b9d, 0, )" + receiver +
                                                            R"() = message 1
        0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0x1b9d, receiver )" +
                                                            receiver + R"(, sender 0xf011000, payload 0 bytes) = 0
        0.000 main Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to )" +
                                                            receiver + R"(
        0.000 main AaSysComUserDeregister(0x1000) = 0
        0.000 node end: exit status 0)"));
  }
}

TEST(InitFinishConformance, FailedRegistrationIsReportedAndLeavesNothingToDo) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysComEuUserRegister", 0, {}, 0});
  EXPECT_TRUE(isTrace(notify(scenario).trace, R"(
      0.000 main AaSysComEuUserRegister(0) = 0x0
      0.000 main Error: initFinishNotify: syscom registration failed
      0.000 node end: exit status 0)"));
}

TEST(InitFinishConformance, FailedCreationIsReportedAndTheRegistrationTakenBack) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysComMsgCreate", 0, "0x1b9d", 0});
  EXPECT_TRUE(isTrace(notify(scenario).trace, R"(
      0.000 main AaSysComEuUserRegister(0) = 0x1000
      0.000 main AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = null
      0.000 main Error: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG creation failed
      0.000 main AaSysComUserDeregister(0x1000) = 0
      0.000 node end: exit status 0)"));
}

TEST(InitFinishConformance, FailedSendIsNotNoticed) {
  for (const int32_t result : {1, 113, -1}) {
    SCOPED_TRACE(result);
    Scenario scenario;
    scenario.calls.push_back({"AaSysComMsgSendWithPriority", 0, {}, result});
    EXPECT_TRUE(isTrace(notify(scenario).trace, R"(
        0.000 main AaSysComEuUserRegister(0) = 0x1000
        0.000 main AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = message 1
        0.000 main AaSysComMsgSendWithPriority(message 1, 0: id 0x1b9d, receiver 0xf011315, sender 0xf011000, payload 0 bytes) = )" +
                                                    std::to_string(result) + R"(
        0.000 main Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315
        0.000 main AaSysComUserDeregister(0x1000) = 0
        0.000 node end: exit status 0)"));
  }
}

TEST(InitFinishConformance, FailedDeregistrationIsNotNoticed) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysComUserDeregister", 0, {}, 22});
  EXPECT_TRUE(isTrace(linesBetween(notify(scenario).trace, "sent to 0xf011315", "node end: exit status 0"), R"(
      0.000 main Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to 0xf011315
      0.000 main AaSysComUserDeregister(0x1000) = 22
      0.000 node end: exit status 0)"));
}

// Whole boots: the receiver as the command line has it, and the one message of the boot, in its place.
TEST(InitFinishConformance, ReceiverOfTheCommandLineGetsTheMessageBeforeTheSignalsAreArmed) {
  const struct {
    const char *option;
    const char *receiver;
  } cases[] = {{"notifreceiver=0xf011315", "0xf011315"},
               {"notifreceiver=0xF0A1315", "0xf0a1315"},
               {"notifreceiver=251728661", "0xf011315"},
               {"notifreceiver=010", "0x8"},
               {"notifreceiver=0xf011315,notifreceiver=5", "0x5"}};
  for (const auto &row : cases) {
    SCOPED_TRACE(row.option);
    const std::string receiver = row.receiver;
    const SimulatedBoot result = boot({}, {std::string("--startup=nid=0x2011,") + row.option});
    EXPECT_TRUE(isTrace(
        linesBetween(result.trace, "sender 0x2011fffe, payload 4 bytes) = 0", "sem_init(semaphore 1, 0, 0) = 0"),
        R"(
        0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0x2011fffe, payload 4 bytes) = 0
        0.000 1:ceInternalStartupEu AaSysComEuUserRegister(0) = 0x1000
        0.000 1:ceInternalStartupEu AaSysComMsgCreate(0x1b9d, 0, )" +
            receiver + R"() = message 2
        0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 2, 0: id 0x1b9d, receiver )" +
            receiver + R"(, sender 0xf011000, payload 0 bytes) = 0
        0.000 1:ceInternalStartupEu Info: initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG sent to )" +
            receiver + R"(
        0.000 1:ceInternalStartupEu AaSysComUserDeregister(0x1000) = 0
        0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0)"));
  }
}

TEST(InitFinishConformance, WithoutAReceiverThereIsNeitherRegistrationNorMessage) {
  for (const char *option : {"nid=0x2011", "nid=0x2011,notifreceiver=0", "nid=0x2011,notifreceiver=none",
                             "nid=0x2011,notifreceiver=7,notifreceiver=0"}) {
    SCOPED_TRACE(option);
    const SimulatedBoot result = boot({}, {std::string("--startup=") + option});
    EXPECT_TRUE(isTrace(
        linesBetween(result.trace, "sender 0x2011fffe, payload 4 bytes) = 0", "sem_init(semaphore 1, 0, 0) = 0"),
        R"(
        0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, sender 0x2011fffe, payload 4 bytes) = 0
        0.000 1:ceInternalStartupEu sem_init(semaphore 1, 0, 0) = 0)"));
    EXPECT_TRUE(linesWith(result.trace, "User").empty());
  }
}

TEST(InitFinishConformance, FailureOfTheMessageDoesNotStopTheStartUp) {
  for (const char *call : {"AaSysComEuUserRegister", "AaSysComMsgCreate"}) {
    SCOPED_TRACE(call);
    Scenario scenario;
    scenario.calls.push_back({call, 0, {}, 0});
    const SimulatedBoot result = boot(scenario, {"--startup=notifreceiver=1"});
    EXPECT_EQ(linesWith(result.trace, "Error/ORV/OrvDaemon, initFinishNotify: ").size(), 1u);
    EXPECT_EQ(linesWith(result.trace, "ceInternalStartup: CE start-up complete\"").size(), 1u);
    EXPECT_EQ(result.outcome.end, End::EXIT);
    EXPECT_EQ(result.outcome.exitStatus, 0);
  }
}
