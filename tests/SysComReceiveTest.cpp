// Receiving messages through the C interface of libORV.so, as an application does it.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "../ORV_Platform/linux/SysComMessage.h"
#include "../ORV_Platform/linux/SysComReceive.h"
#include "AaSysCom.h"
#include "PlatformNode.h"

namespace {

using orvtest::PlatformNode;

constexpr uint16_t OWN_NID = 0x1011;
constexpr uint32_t LOCAL = 0x0FF00000;
constexpr uint32_t FIXED = 0x04E7;
constexpr uint32_t LIMIT_MS = 30000;

[[maybe_unused]] const testing::Environment *gNode = testing::AddGlobalTestEnvironment(new PlatformNode);

struct FreeMessage {
  void operator()(OrvSysComMessage *message) const {
    orvSysComMsgFree(message);
  }
};
using Message = std::unique_ptr<OrvSysComMessage, FreeMessage>;

// Null where none comes in time; any other failure fails the test.
Message receive(uint32_t cpid, uint32_t timeoutMs = LIMIT_MS) {
  OrvSysComMessage *message = nullptr;
  const int32_t result = orvSysComMsgReceive(cpid, timeoutMs, &message);
  EXPECT_TRUE(result == 0 || result == ETIMEDOUT) << std::strerror(result);
  EXPECT_EQ(result == 0, message != nullptr);
  return Message(message);
}

std::string payloadOf(const Message &message) {
  return {static_cast<const char *>(orvSysComMsgPayload(message.get())), orvSysComMsgPayloadSize(message.get())};
}

int32_t send(uint32_t messageId, uint32_t receiver, const std::string &payload = "", uint32_t sender = 0) {
  void *message = AaSysComMsgCreate(messageId, static_cast<uint32_t>(payload.size()), receiver);
  EXPECT_NE(message, nullptr);
  if (message == nullptr) return ENOMEM;
  std::memcpy(static_cast<char *>(message) + 8, &sender, sizeof sender);
  payload.copy(static_cast<char *>(message) + sizeof(orv::MessageHeader), payload.size());
  return AaSysComMsgSendWithPriority(&message, 0);
}

std::string socketPath(uint32_t cpid) {
  char name[16];
  std::snprintf(name, sizeof name, "/syscom/%04x", cpid);
  return PlatformNode::nodeDirectory() + name;
}

// The socket address of the user `cpid`.
sockaddr_un addressOf(uint32_t cpid) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = socketPath(cpid);
  if (path.size() >= sizeof address.sun_path) std::abort();
  path.copy(address.sun_path, path.size());
  return address;
}

// A datagram as any process can send one.
void sendBytes(uint32_t cpid, const std::string &bytes) {
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = addressOf(cpid);
  EXPECT_EQ(
      sendto(descriptor, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address), sizeof address),
      static_cast<ssize_t>(bytes.size()))
      << std::strerror(errno);
  close(descriptor);
}

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

class SysComReceive : public testing::Test {
 protected:
  void SetUp() override {
    PlatformNode::startupConfig().nid = OWN_NID;
  }
  void TearDown() override {
    for (const uint32_t cpid : registered_) {
      AaSysComUserDeregister(cpid);  // result not examined: the test may have done it
    }
  }
  void registerFixed(uint32_t cpid) {
    ASSERT_EQ(orvSysComUserRegister(cpid), 0);
    registered_.push_back(cpid);
  }
  uint32_t registerAny() {
    registered_.push_back(AaSysComEuUserRegister(0));
    return registered_.back();
  }

 private:
  std::vector<uint32_t> registered_;
};

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

// --- waiting --------------------------------------------------------------------------------------------------------

TEST_F(SysComReceive, TryingTakesWhatIsThereAndNothingElse) {
  registerFixed(FIXED);
  EXPECT_EQ(receive(FIXED, 0), nullptr);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_NE(receive(FIXED, 0), nullptr);
  EXPECT_EQ(receive(FIXED, 0), nullptr);
}

TEST_F(SysComReceive, WaitEndsNoSoonerThanItsTimeOut) {
  registerFixed(FIXED);
  timespec begin{};
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &begin);
  EXPECT_EQ(receive(FIXED, 20), nullptr);
  clock_gettime(CLOCK_MONOTONIC, &end);
  EXPECT_GE((end.tv_sec - begin.tv_sec) * 1000000000LL + end.tv_nsec - begin.tv_nsec, 20000000LL);
}

TEST_F(SysComReceive, WaitEndsWithTheMessage) {
  registerFixed(FIXED);
  for (const uint32_t timeoutMs : {LIMIT_MS, static_cast<uint32_t>(INT_MAX) + 1, ORV_SYSCOM_FOREVER}) {
    std::thread sender([] { EXPECT_EQ(send(7, LOCAL | FIXED), 0); });
    EXPECT_NE(receive(FIXED, timeoutMs), nullptr) << timeoutMs;
    sender.join();
  }
}

void ignoreSignal(int) {}

TEST_F(SysComReceive, SignalHandlerEndsNoWait) {
  registerFixed(FIXED);
  struct sigaction action {};
  action.sa_handler = ignoreSignal;  // without SA_RESTART
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
  std::atomic<bool> received{false};
  std::thread receiver([&received] { received = receive(FIXED) != nullptr; });
  for (int i = 0; i < 50; ++i) {
    pthread_kill(receiver.native_handle(), SIGUSR1);
    std::this_thread::yield();
  }
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  receiver.join();
  EXPECT_TRUE(received);
  sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(SysComReceive, DescriptorIsReadableWhereAMessageWaits) {
  registerFixed(FIXED);
  pollfd waited{orvSysComUserDescriptor(FIXED), POLLIN, 0};
  ASSERT_GE(waited.fd, 0);
  EXPECT_EQ(poll(&waited, 1, 0), 0);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_EQ(poll(&waited, 1, static_cast<int>(LIMIT_MS)), 1);
  EXPECT_EQ(waited.revents, POLLIN);
  EXPECT_NE(receive(FIXED, 0), nullptr);
  EXPECT_EQ(poll(&waited, 1, 0), 0);
}

// --- errors ---------------------------------------------------------------------------------------------------------

TEST_F(SysComReceive, ThereIsNothingToReceiveForAStranger) {
  OrvSysComMessage *message = nullptr;
  EXPECT_EQ(orvSysComMsgReceive(FIXED, 0, &message), ENOENT);
  EXPECT_EQ(orvSysComMsgReceive(0x10000 | FIXED, 0, &message), ENOENT);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(orvSysComUserDescriptor(FIXED), -1);
}

TEST_F(SysComReceive, PlaceForTheMessageHasToBeNamed) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  EXPECT_EQ(orvSysComMsgReceive(FIXED, 0, nullptr), EINVAL);
  EXPECT_NE(receive(FIXED, 0), nullptr);
}

TEST_F(SysComReceive, NothingIsReceivedAfterTheDeregistration) {
  registerFixed(FIXED);
  ASSERT_EQ(AaSysComUserDeregister(FIXED), 0);
  OrvSysComMessage *message = nullptr;
  EXPECT_EQ(orvSysComMsgReceive(FIXED, ORV_SYSCOM_FOREVER, &message), ENOENT);
  EXPECT_EQ(orvSysComUserDescriptor(FIXED), -1);
}

TEST_F(SysComReceive, DeregistrationEndsEveryWait) {
  registerFixed(FIXED);
  std::atomic<int> waiting{0};
  std::atomic<int> canceled{0};
  std::vector<std::thread> receivers;
  for (int number = 0; number < 3; ++number) {
    receivers.emplace_back([&waiting, &canceled] {
      OrvSysComMessage *message = nullptr;
      ++waiting;
      const int32_t result = orvSysComMsgReceive(FIXED, ORV_SYSCOM_FOREVER, &message);
      // A thread that comes after the deregistration meets no user at all.
      if (result == ECANCELED || result == ENOENT) ++canceled;
    });
  }
  while (waiting < 3)
    std::this_thread::yield();
  EXPECT_EQ(AaSysComUserDeregister(FIXED), 0);
  for (std::thread &receiver : receivers)
    receiver.join();
  EXPECT_EQ(canceled, 3);
}

TEST_F(SysComReceive, MessagesThatNobodyTookBeforeTheDeregistrationAreReported) {
  registerFixed(FIXED);
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  sendBytes(FIXED, "no message");
  ASSERT_EQ(send(7, LOCAL | FIXED), 0);
  ASSERT_EQ(AaSysComUserDeregister(FIXED), 0);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "the user with CPID 0x04e7 was deregistered before it took 2 messages"),
            1u);
}

TEST_F(SysComReceive, QueueThatIsFullIsReportedToTheSenderAndLosesNothing) {
  registerFixed(FIXED);
  constexpr uint32_t FAR_TOO_MANY = 100000;
  uint32_t sent = 0;
  int32_t result = 0;
  while (sent < FAR_TOO_MANY && (result = send(sent, LOCAL | FIXED)) == 0)
    ++sent;
  EXPECT_EQ(result, EAGAIN);
  EXPECT_GT(sent, 0u);
  for (uint32_t number = 0; number < sent; ++number) {
    const Message message = receive(FIXED, 0);
    ASSERT_NE(message, nullptr) << number;
    EXPECT_EQ(orvSysComMsgId(message.get()), number);
  }
  EXPECT_EQ(receive(FIXED, 0), nullptr);
  EXPECT_EQ(send(7, LOCAL | FIXED), 0) << "there is room again";
}

// --- many threads ---------------------------------------------------------------------------------------------------

TEST_F(SysComReceive, EachMessageGoesToOneOfTheThreadsThatReceive) {
  constexpr int THREADS = 4;
  constexpr int PER_SENDER = 50;
  registerFixed(FIXED);
  std::vector<std::atomic<int>> seen(THREADS * PER_SENDER);
  std::atomic<int> taken{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < THREADS; ++number) {
    threads.emplace_back([&seen, &taken] {
      while (++taken <= THREADS * PER_SENDER) {
        const Message message = receive(FIXED);
        if (message == nullptr) return;
        ++seen.at(orvSysComMsgId(message.get()));
      }
    });
    threads.emplace_back([number] {
      for (int i = 0; i < PER_SENDER; ++i) {
        // A full queue is a matter of time here.
        while (send(static_cast<uint32_t>(number * PER_SENDER + i), LOCAL | FIXED) != 0)
          std::this_thread::yield();
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  for (size_t id = 0; id < seen.size(); ++id)
    EXPECT_EQ(seen[id], 1) << id;
}

TEST_F(SysComReceive, ThreadsMayRegisterReceiveAndDeregisterAtTheSameTime) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (uint32_t number = 0; number < 4; ++number) {
    threads.emplace_back([number, &failures] {
      for (uint32_t round = 0; round < 20; ++round) {
        const uint32_t cpid = 0x0100 + number;
        if (orvSysComUserRegister(cpid) != 0) ++failures;
        if (send(round, LOCAL | cpid) != 0) ++failures;
        const Message message = receive(cpid);
        if (message == nullptr || orvSysComMsgId(message.get()) != round) ++failures;
        if (AaSysComUserDeregister(cpid) != 0) ++failures;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
