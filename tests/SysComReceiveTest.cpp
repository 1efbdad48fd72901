// Receiving messages through the C interface of libORV.so, as an application does it.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>

#include "SysComFixture.h"

using namespace orvtest;

namespace {

// Runs `body` in a child process, which ends without a word, and returns the child's id.
template <typename Body>
pid_t inAnotherProcess(Body body) {
  const pid_t child = fork();
  if (child == 0) {
    body();
    _exit(0);
  }
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  return child;
}

// Binds the name of `cpid` as another program of the node has it. Safe between fork and exec.
int bindName(uint32_t cpid) {
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = addressOf(cpid);
  if (bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) _exit(1);
  return descriptor;
}

using SysComReceive = SysComTest;

// --- registration ---------------------------------------------------------------------------------------------------

TEST_F(SysComReceive, FixedCpidReceivesWhatIsSentToIt) {
  registerFixed(FIXED);
  ASSERT_EQ(send(0x1B9D, LOCAL | FIXED, "hello", 0x0F011234), 0);
  const Message message = receive(FIXED);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(orvSysComMsgId(message.get()), 0x1B9Du);
  EXPECT_EQ(orvSysComMsgReceiver(message.get()), LOCAL | FIXED);
  EXPECT_EQ(orvSysComMsgSender(message.get()), 0x0F011234u);
  EXPECT_EQ(payloadOf(message), "hello");
}

TEST_F(SysComReceive, CpidThatWasGivenOutReceivesTheSame) {
  const uint32_t cpid = registerAny();
  ASSERT_GE(cpid, 0x1000u);
  ASSERT_EQ(send(7, LOCAL | cpid, "hello"), 0);
  const Message message = receive(cpid);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(payloadOf(message), "hello");
}

TEST_F(SysComReceive, FirstAndLastCpidCanBeRegistered) {
  for (const uint32_t cpid : {0x0001u, 0xFFFFu}) {
    registerFixed(cpid);
    EXPECT_EQ(send(7, LOCAL | cpid), 0);
    EXPECT_NE(receive(cpid), nullptr);
  }
}

TEST_F(SysComReceive, NumberThatIsNoCpidIsRefused) {
  EXPECT_EQ(orvSysComUserRegister(0), EINVAL);
  EXPECT_EQ(orvSysComUserRegister(0x10000), EINVAL);
  EXPECT_EQ(orvSysComUserRegister(UINT32_MAX), EINVAL);
}

TEST_F(SysComReceive, CpidOfThisProcessIsTaken) {
  registerFixed(FIXED);
  EXPECT_EQ(orvSysComUserRegister(FIXED), EADDRINUSE);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "no SysCom user registered: this process has registered CPID 0x04e7 already"),
            1u);
  EXPECT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_NE(receive(FIXED), nullptr) << "the first registration is as it was";
}

TEST_F(SysComReceive, CpidOfThisProcessIsTakenThoughItsNameWasDeleted) {
  registerFixed(FIXED);
  std::filesystem::remove(socketPath(FIXED));
  EXPECT_EQ(orvSysComUserRegister(FIXED), EADDRINUSE);
}

TEST_F(SysComReceive, CpidOfALivingProcessIsTaken) {
  AaSysComUserDeregister(registerAny());  // makes the message directory
  const int other = bindName(FIXED);
  EXPECT_EQ(orvSysComUserRegister(FIXED), EADDRINUSE);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING, "no SysCom user registered: cannot bind "),
            1u);
  close(other);
  std::filesystem::remove(socketPath(FIXED));
}

TEST_F(SysComReceive, CpidOfADeadProcessIsReused) {
  AaSysComUserDeregister(registerAny());  // makes the message directory
  inAnotherProcess([] { bindName(FIXED); });
  ASSERT_TRUE(std::filesystem::exists(socketPath(FIXED)));
  EXPECT_EQ(send(7, LOCAL | FIXED), ECONNREFUSED);
  registerFixed(FIXED);
  EXPECT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_NE(receive(FIXED), nullptr);
}

TEST_F(SysComReceive, CpidThatIsFixedIsNotGivenOut) {
  registerFixed(0x1000);
  EXPECT_EQ(registerAny(), 0x1001u);
}

TEST_F(SysComReceive, CpidIsFreeAfterItsDeregistration) {
  registerFixed(FIXED);
  EXPECT_TRUE(std::filesystem::exists(socketPath(FIXED)));
  EXPECT_EQ(AaSysComUserDeregister(FIXED), 0);
  EXPECT_FALSE(std::filesystem::exists(socketPath(FIXED)));
  EXPECT_EQ(send(7, LOCAL | FIXED), ENOENT);
  registerFixed(FIXED);
  EXPECT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_NE(receive(FIXED), nullptr);
}

TEST_F(SysComReceive, RegistrationFailsWhereTheDirectoryCannotBeMade) {
  const std::string directory = PlatformNode::nodeDirectory();
  ASSERT_EQ(setenv("ORV_NODE_DIR", (directory + "/none").c_str(), 1), 0);
  EXPECT_EQ(orvSysComUserRegister(FIXED), ENOENT);
  ASSERT_EQ(setenv("ORV_NODE_DIR", directory.c_str(), 1), 0);
}

// --- what a message is ----------------------------------------------------------------------------------------------

TEST_F(SysComReceive, MessageTellsWhoHandedItOver) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  const Message own = receive(FIXED);
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(orvSysComMsgSenderPid(own.get()), getpid());
  EXPECT_EQ(orvSysComMsgSenderUid(own.get()), getuid());
  EXPECT_EQ(orvSysComMsgSenderGid(own.get()), getgid());

  const orv::MessageHeader header{7, LOCAL | FIXED, 0, 0};
  const std::string bytes(reinterpret_cast<const char *>(&header), sizeof header);
  const pid_t other = inAnotherProcess([&bytes] { sendBytes(FIXED, bytes); });
  const Message foreign = receive(FIXED);
  ASSERT_NE(foreign, nullptr);
  EXPECT_EQ(orvSysComMsgSenderPid(foreign.get()), other);
}

TEST_F(SysComReceive, EmptyPayloadHasAnAddressToo) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  const Message message = receive(FIXED);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(orvSysComMsgPayloadSize(message.get()), 0u);
  EXPECT_NE(orvSysComMsgPayload(message.get()), nullptr);
}

TEST_F(SysComReceive, LongestPayloadComesWhole) {
  registerFixed(FIXED);
  std::string payload(orv::MAX_PAYLOAD_SIZE, '\0');
  for (size_t i = 0; i < payload.size(); ++i)
    payload[i] = static_cast<char>(i % 251);
  ASSERT_EQ(send(7, LOCAL | FIXED, payload), 0);
  const Message message = receive(FIXED);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(payloadOf(message), payload);
}

TEST_F(SysComReceive, PayloadIsAlignedForAnyType) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED, "x"), 0);
  const Message message = receive(FIXED);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(orvSysComMsgPayload(message.get())) % alignof(max_align_t), 0u);
}

TEST_F(SysComReceive, MessageOutlivesTheRegistration) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED, "kept"), 0);
  const Message message = receive(FIXED);
  ASSERT_NE(message, nullptr);
  ASSERT_EQ(AaSysComUserDeregister(FIXED), 0);
  EXPECT_EQ(payloadOf(message), "kept");
}

TEST_F(SysComReceive, FreeingNothingIsAllowed) {
  orvSysComMsgFree(nullptr);
}

// Too short for a header, longer than any message, and one that says another size than it has: none is ever handed out,
// cut or not, and the message behind them is.
TEST_F(SysComReceive, DatagramsThatAreNoMessagesAreReportedAndPassedOver) {
  registerFixed(FIXED);
  const orv::MessageHeader lying{7, LOCAL | FIXED, 0, 3};
  sendBytes(FIXED, "");
  sendBytes(FIXED, "short");
  sendBytes(FIXED, std::string(orv::MAX_MESSAGE_SIZE + 1, 'x'));
  sendBytes(FIXED, std::string(reinterpret_cast<const char *>(&lying), sizeof lying) + "four");
  ASSERT_EQ(send(8, LOCAL | FIXED, "true"), 0);
  const Message message = receive(FIXED, 0);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(orvSysComMsgId(message.get()), 8u);
  EXPECT_EQ(receive(FIXED, 0), nullptr);
  for (const char *size : {" 0 bytes", " 5 bytes", " 65537 bytes", " 20 bytes"}) {
    EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                        "the user with CPID 0x04e7 was sent" + std::string(size) + " by process " +
                                            std::to_string(getpid()) + " that are no message"),
              1u)
        << size;
  }
}

}  // namespace
