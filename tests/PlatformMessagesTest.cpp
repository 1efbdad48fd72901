// SysCom inside a node through the C interface of libORV.so. Other processes of the node are played by plain sockets at
// the places where users have theirs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "../ORV_Platform/linux/SysComMessage.h"
#include "../ORV_Platform/linux/SysComReceive.h"
#include "AaSysCom.h"
#include "Limited.h"
#include "PlatformNode.h"

namespace {

using orv::MessageHeader;
using orvtest::MESSAGE_SENT_EVENT;
using orvtest::MESSAGE_UNDELIVERED_EVENT;
using orvtest::PlatformNode;

constexpr uint16_t OWN_NID = 0x1011;
constexpr uint32_t LOCAL = 0x0FF00000;
constexpr uint32_t DEAD_BEFORE_START = 0x7ffe;
constexpr uint32_t ALIVE_BEFORE_START = 0x7ffd;

std::string socketPath(uint32_t cpid) {
  char name[16];
  std::snprintf(name, sizeof name, "/syscom/%04x", cpid);
  return PlatformNode::nodeDirectory() + name;
}

// A socket of another process of the node.
class OtherUser {
 public:
  explicit OtherUser(uint32_t cpid) : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = socketPath(cpid);
    if (path.size() >= sizeof address.sun_path) std::abort();
    path.copy(address.sun_path, path.size());
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0) << std::strerror(errno);
  }
  ~OtherUser() {
    close(descriptor_);
  }
  OtherUser(const OtherUser &) = delete;
  OtherUser &operator=(const OtherUser &) = delete;
  int descriptor() const {
    return descriptor_;
  }

 private:
  int descriptor_;
};

// What a process leaves that dies without a word.
void leaveDeadSocket(uint32_t cpid) {
  const OtherUser dead(cpid);
}

// Before the node starts: what an earlier run has left, and a program that outlived it. Never closed.
void prepareEarlierRun(const std::string &nodeDirectory) {
  std::filesystem::create_directory(nodeDirectory + "/syscom");
  leaveDeadSocket(DEAD_BEFORE_START);
  static const auto *alive = new OtherUser(ALIVE_BEFORE_START);
  ASSERT_GE(alive->descriptor(), 0);
}

[[maybe_unused]] const testing::Environment *gNode =
    testing::AddGlobalTestEnvironment(new PlatformNode(prepareEarlierRun));

class Messages : public testing::Test {
 protected:
  void SetUp() override {
    PlatformNode::startupConfig().nid = OWN_NID;
    for (uint32_t cpid = 0x1000; cpid < 0x1010; ++cpid) {
      std::filesystem::remove(socketPath(cpid));
    }
    std::filesystem::remove(socketPath(0x04e7));
  }
  void TearDown() override {
    for (const uint32_t cpid : registered_) {
      AaSysComUserDeregister(cpid);  // result not examined: the test may have done it
    }
  }
  uint32_t registerUser() {
    const uint32_t cpid = AaSysComEuUserRegister(0);
    registered_.push_back(cpid);
    return cpid;
  }

 private:
  std::vector<uint32_t> registered_;
};

// The next message to a user of this process, as it was sent; nothing where none is waiting.
std::optional<std::string> receiveFor(uint32_t cpid) {
  OrvSysComMessage *message = nullptr;
  if (orvSysComMsgReceive(cpid, 0, &message) != 0) return std::nullopt;
  const MessageHeader header{orvSysComMsgId(message), orvSysComMsgReceiver(message), orvSysComMsgSender(message),
                             orvSysComMsgPayloadSize(message)};
  std::string bytes(reinterpret_cast<const char *>(&header), sizeof header);
  bytes.append(static_cast<const char *>(orvSysComMsgPayload(message)), header.payloadSize);
  orvSysComMsgFree(message);
  return bytes;
}

// The same at the socket of another process.
std::optional<std::string> receive(int descriptor) {
  std::string message(2 * orv::MAX_MESSAGE_SIZE, '\0');
  const ssize_t size = recv(descriptor, message.data(), message.size(), MSG_DONTWAIT);
  if (size < 0) return std::nullopt;
  message.resize(static_cast<size_t>(size));
  return message;
}

MessageHeader headerOf(const std::string &message) {
  MessageHeader header{};
  EXPECT_GE(message.size(), sizeof header);
  std::memcpy(&header, message.data(), std::min(message.size(), sizeof header));
  return header;
}

int32_t sendEmpty(uint32_t messageId, uint32_t receiver) {
  void *message = AaSysComMsgCreate(messageId, 0, receiver);
  EXPECT_NE(message, nullptr);
  const int32_t result = AaSysComMsgSendWithPriority(&message, 0);
  EXPECT_EQ(message, nullptr);
  return result;
}

uint32_t queueLimit() {
  std::ifstream file("/proc/sys/net/unix/max_dgram_qlen");
  uint32_t limit = 0;
  file >> limit;
  return limit;
}

}  // namespace

TEST_F(Messages, EarlyStartUpRemovesWhatDeadProcessesLeft) {
  EXPECT_FALSE(std::filesystem::exists(socketPath(DEAD_BEFORE_START)));
  EXPECT_TRUE(std::filesystem::exists(socketPath(ALIVE_BEFORE_START)));
}

TEST_F(Messages, RegistrationGivesTheLowestFreeCpid) {
  EXPECT_EQ(registerUser(), 0x1000u);
  EXPECT_EQ(registerUser(), 0x1001u);
  EXPECT_EQ(registerUser(), 0x1002u);
  EXPECT_EQ(AaSysComUserDeregister(0x1001), 0);
  EXPECT_EQ(registerUser(), 0x1001u);
}

TEST_F(Messages, RegistrationPassesOverUsersOfOtherProcesses) {
  const OtherUser other(0x1000);
  EXPECT_EQ(registerUser(), 0x1001u);
}

TEST_F(Messages, RegistrationReusesTheSocketOfADeadProcess) {
  leaveDeadSocket(0x1000);
  EXPECT_EQ(registerUser(), 0x1000u);
  EXPECT_EQ(sendEmpty(1, LOCAL | 0x1000), 0);
}

TEST_F(Messages, RegistrationIsOutOfReachOfOtherUsersOfTheMachine) {
  ASSERT_EQ(registerUser(), 0x1000u);
  const auto permissions = std::filesystem::status(PlatformNode::nodeDirectory() + "/syscom").permissions();
  EXPECT_EQ(permissions & std::filesystem::perms::others_write, std::filesystem::perms::none);
  EXPECT_EQ(permissions & std::filesystem::perms::group_write, std::filesystem::perms::none);
}

TEST_F(Messages, DeregistrationFreesTheCpid) {
  const uint32_t cpid = registerUser();
  EXPECT_TRUE(std::filesystem::exists(socketPath(cpid)));
  EXPECT_GE(orvSysComUserDescriptor(cpid), 0);
  EXPECT_EQ(AaSysComUserDeregister(cpid), 0);
  EXPECT_FALSE(std::filesystem::exists(socketPath(cpid)));
  EXPECT_EQ(orvSysComUserDescriptor(cpid), -1);
}

TEST_F(Messages, DeregistrationOfAStrangerFails) {
  const OtherUser other(0x1000);
  EXPECT_NE(AaSysComUserDeregister(0x1000), 0);
  EXPECT_NE(AaSysComUserDeregister(0), 0);
  EXPECT_NE(AaSysComUserDeregister(0x10000), 0);
  EXPECT_TRUE(std::filesystem::exists(socketPath(0x1000)));
}

TEST_F(Messages, DeregistrationLeavesTheNameToItsNewOwner) {
  const uint32_t cpid = registerUser();
  std::filesystem::remove(socketPath(cpid));
  const OtherUser newOwner(cpid);
  EXPECT_EQ(AaSysComUserDeregister(cpid), 0);
  EXPECT_TRUE(std::filesystem::exists(socketPath(cpid)));
}

TEST_F(Messages, ArriveWholeWithTheirHeader) {
  const uint32_t cpid = registerUser();
  void *message = AaSysComMsgCreate(0x1B9D, 5, LOCAL | cpid);
  ASSERT_NE(message, nullptr);
  char *bytes = static_cast<char *>(message);
  EXPECT_EQ(std::string(bytes + sizeof(MessageHeader), 5), std::string(5, '\0'));
  const uint32_t sender = 0x0F011234;
  std::memcpy(bytes + 8, &sender, sizeof sender);
  std::memcpy(bytes + sizeof(MessageHeader), "hello", 5);
  EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), 0);
  EXPECT_EQ(message, nullptr);

  const std::optional<std::string> received = receiveFor(cpid);
  ASSERT_TRUE(received.has_value());
  const MessageHeader header = headerOf(*received);
  EXPECT_EQ(header.messageId, 0x1B9Du);
  EXPECT_EQ(header.receiver, LOCAL | cpid);
  EXPECT_EQ(header.sender, sender);
  EXPECT_EQ(header.payloadSize, 5u);
  EXPECT_EQ(received->substr(sizeof header), "hello");
  EXPECT_EQ(
      PlatformNode::countEvents(MESSAGE_SENT_EVENT, 0x1B9D,
                                "from 0x0f011234 to 0x0ff0" + socketPath(cpid).substr(socketPath(cpid).size() - 4)),
      1u);
}

TEST_F(Messages, ArriveInTheOrderOfSending) {
  const uint32_t cpid = registerUser();
  for (uint32_t messageId = 1; messageId <= 3; ++messageId) {
    EXPECT_EQ(sendEmpty(messageId, LOCAL | cpid), 0);
  }
  for (uint32_t messageId = 1; messageId <= 3; ++messageId) {
    const std::optional<std::string> received = receiveFor(cpid);
    ASSERT_TRUE(received.has_value());
    EXPECT_EQ(headerOf(*received).messageId, messageId);
  }
  EXPECT_FALSE(receiveFor(cpid).has_value());
}

TEST_F(Messages, ReachUsersOfOtherProcesses) {
  AaSysComUserDeregister(registerUser());  // makes the message directory
  const OtherUser other(0x04e7);
  EXPECT_EQ(sendEmpty(0xFD28, 0x0FF004E7), 0);
  const std::optional<std::string> received = receive(other.descriptor());
  ASSERT_TRUE(received.has_value());
  EXPECT_EQ(headerOf(*received).messageId, 0xFD28u);
}

TEST_F(Messages, AllNamesOfTheOwnNodeAreLocal) {
  const uint32_t cpid = registerUser();
  for (const uint32_t node : {0x0F01u, 0x0FF0u, uint32_t{OWN_NID}}) {
    EXPECT_EQ(sendEmpty(node, node << 16 | cpid), 0) << node;
  }
}

TEST_F(Messages, ToAnotherNodeAreRefusedAndReported) {
  const uint32_t cpid = registerUser();
  EXPECT_EQ(sendEmpty(0x0A01, 0x20110000 | cpid), EHOSTUNREACH);
  EXPECT_FALSE(receiveFor(cpid).has_value());
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "message 0x0a01 to 0x20111000 refused: node 0x2011 is another node and this "
                                      "node has no gateway"),
            1u);
  EXPECT_EQ(PlatformNode::countEvents(MESSAGE_UNDELIVERED_EVENT, 0x0A01, "to 0x20111000"), 1u);
}

TEST_F(Messages, ToAnotherNodeForWhichThereIsNoDescriptorSayThat) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // Skipped with sanitizers: they open descriptors of their own to see whether memory can be read, and take it for
  // lost where there are none.
  GTEST_SKIP() << "a sanitizer needs descriptors";
#endif
  {
    const Limited descriptors(RLIMIT_NOFILE, nextDescriptor());
    EXPECT_EQ(sendEmpty(0x0A09, 0x20111000), EMFILE);
  }
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "message 0x0a09 to 0x20111000 not delivered: this node's gateway cannot be "
                                      "reached: Too many open files"),
            1u);
  EXPECT_EQ(PlatformNode::countEvents(MESSAGE_UNDELIVERED_EVENT, 0x0A09, "to 0x20111000"), 1u);
}

TEST_F(Messages, ToNobodyAreReportedUndelivered) {
  EXPECT_EQ(sendEmpty(0x0A02, LOCAL | 0x04e7), ENOENT);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING,
                                      "message 0x0a02 to 0x0ff004e7 not delivered: no user is registered with CPID "
                                      "0x04e7"),
            1u);
  EXPECT_EQ(PlatformNode::countEvents(MESSAGE_UNDELIVERED_EVENT, 0x0A02, "to 0x0ff004e7"), 1u);
  EXPECT_EQ(PlatformNode::countEvents(MESSAGE_SENT_EVENT, 0x0A02, ""), 0u);
}

TEST_F(Messages, ToADeadProcessAreReportedUndelivered) {
  AaSysComUserDeregister(registerUser());  // makes the message directory
  leaveDeadSocket(0x04e7);
  EXPECT_EQ(sendEmpty(0x0A03, LOCAL | 0x04e7), ECONNREFUSED);
  EXPECT_EQ(PlatformNode::countEvents(MESSAGE_UNDELIVERED_EVENT, 0x0A03, "to 0x0ff004e7"), 1u);
}

TEST_F(Messages, ToAFullQueueAreReportedAndNeverWaitedFor) {
  const uint32_t cpid = registerUser();
  const uint32_t limit = queueLimit() + 2;
  uint32_t sent = 0;
  int32_t result = 0;
  while (sent < limit && (result = sendEmpty(0x0A04, LOCAL | cpid)) == 0) {
    ++sent;
  }
  EXPECT_EQ(result, EAGAIN);
  EXPECT_GT(sent, 0u);
  EXPECT_EQ(PlatformNode::countEvents(MESSAGE_UNDELIVERED_EVENT, 0x0A04, ""), 1u);
  EXPECT_TRUE(receiveFor(cpid).has_value());
  EXPECT_EQ(sendEmpty(0x0A04, LOCAL | cpid), 0) << "room for one has been made";
}

TEST_F(Messages, FullQueueHoldsBackNobodyElse) {
  const uint32_t slow = registerUser();
  const uint32_t other = registerUser();
  const uint32_t limit = queueLimit() + 2;
  for (uint32_t sent = 0; sent < limit && sendEmpty(0x0A05, LOCAL | slow) == 0; ++sent) {
  }
  EXPECT_NE(sendEmpty(0x0A05, LOCAL | slow), 0);
  EXPECT_EQ(sendEmpty(0x0A05, LOCAL | other), 0);
}

TEST_F(Messages, LongestPayloadArrivesWholeAndALongerOneIsRefused) {
  const uint32_t cpid = registerUser();
  void *message = AaSysComMsgCreate(1, orv::MAX_PAYLOAD_SIZE, LOCAL | cpid);
  ASSERT_NE(message, nullptr);
  std::memset(static_cast<char *>(message) + sizeof(MessageHeader), 'x', orv::MAX_PAYLOAD_SIZE);
  EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), 0);
  const std::optional<std::string> received = receiveFor(cpid);
  ASSERT_TRUE(received.has_value());
  EXPECT_EQ(received->size(), orv::MAX_MESSAGE_SIZE);
  EXPECT_EQ(received->substr(sizeof(MessageHeader)), std::string(orv::MAX_PAYLOAD_SIZE, 'x'));

  EXPECT_EQ(AaSysComMsgCreate(0x0A06, orv::MAX_PAYLOAD_SIZE + 1, LOCAL | cpid), nullptr);
  EXPECT_EQ(AaSysComMsgCreate(0x0A06, UINT32_MAX, LOCAL | cpid), nullptr);
  EXPECT_EQ(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING, "message 0x0a06 to 0x0ff01000 not created"),
            2u);
}

TEST_F(Messages, PayloadSizeInTheHeaderIsTheLibrarysOwn) {
  const uint32_t cpid = registerUser();
  void *message = AaSysComMsgCreate(1, 4, LOCAL | cpid);
  ASSERT_NE(message, nullptr);
  static_cast<MessageHeader *>(message)->payloadSize = 4000;
  EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), 0);
  const std::optional<std::string> received = receiveFor(cpid);
  ASSERT_TRUE(received.has_value());
  EXPECT_EQ(received->size(), sizeof(MessageHeader) + 4);
  EXPECT_EQ(headerOf(*received).payloadSize, 4u);
}

TEST_F(Messages, WhatIsNoMessageIsRefusedAndLeftAlone) {
  const uint32_t cpid = registerUser();
  MessageHeader notCreated{1, LOCAL | cpid, 0, 0};
  void *message = &notCreated;
  EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), EINVAL);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(notCreated.messageId, 1u);
  EXPECT_FALSE(receiveFor(cpid).has_value());
}

TEST_F(Messages, CanBeSentOnceOnly) {
  const uint32_t cpid = registerUser();
  void *message = AaSysComMsgCreate(1, 0, LOCAL | cpid);
  void *again = message;
  EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), 0);
  EXPECT_EQ(AaSysComMsgSendWithPriority(&again, 0), EINVAL);
  EXPECT_TRUE(receiveFor(cpid).has_value());
  EXPECT_FALSE(receiveFor(cpid).has_value());
}

TEST_F(Messages, NullIsRefused) {
  void *message = nullptr;
  EXPECT_EQ(AaSysComMsgSendWithPriority(&message, 0), EINVAL);
  EXPECT_EQ(AaSysComMsgSendWithPriority(nullptr, 0), EINVAL);
}

TEST_F(Messages, WorkInANodeDirectoryLongerThanASocketAddress) {
  const std::string shortDirectory = PlatformNode::nodeDirectory();
  const FreshDirectory files;
  const std::string directory = files.path() + "/" + std::string(200, 'd');
  ASSERT_EQ(mkdir(directory.c_str(), 0750), 0);
  ASSERT_EQ(setenv("ORV_NODE_DIR", directory.c_str(), 1), 0);

  const uint32_t cpid = registerUser();
  EXPECT_EQ(cpid, 0x1000u);
  EXPECT_TRUE(std::filesystem::is_socket(directory + "/syscom/1000"));
  EXPECT_EQ(registerUser(), 0x1001u) << "a living socket is seen as one";
  EXPECT_EQ(sendEmpty(7, LOCAL | cpid), 0);
  EXPECT_TRUE(receiveFor(cpid).has_value());
  EXPECT_EQ(sendEmpty(7, LOCAL | 0x04e7), ENOENT);
  EXPECT_EQ(AaSysComUserDeregister(cpid), 0);
  EXPECT_FALSE(std::filesystem::exists(directory + "/syscom/1000"));
  EXPECT_EQ(AaSysComUserDeregister(0x1001), 0);

  ASSERT_EQ(setenv("ORV_NODE_DIR", shortDirectory.c_str(), 1), 0);
}

TEST_F(Messages, RegistrationFailsWhereTheDirectoryCannotBeMade) {
  const std::string directory = PlatformNode::nodeDirectory();
  ASSERT_EQ(setenv("ORV_NODE_DIR", (directory + "/none").c_str(), 1), 0);
  EXPECT_EQ(AaSysComEuUserRegister(0), 0u);
  EXPECT_EQ(sendEmpty(7, LOCAL | 0x04e7), ENOENT);
  ASSERT_EQ(setenv("ORV_NODE_DIR", directory.c_str(), 1), 0);
  EXPECT_GE(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING, "no SysCom user registered: "), 1u);
}

TEST_F(Messages, ManyThreadsMayRegisterSendAndDeregister) {
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&failures] {
      for (int round = 0; round < 20; ++round) {
        const uint32_t cpid = AaSysComEuUserRegister(0);
        void *message = AaSysComMsgCreate(cpid, 0, LOCAL | cpid);
        if (AaSysComMsgSendWithPriority(&message, 0) != 0) ++failures;
        const std::optional<std::string> received = receiveFor(cpid);
        if (!received || headerOf(*received).messageId != cpid) ++failures;
        if (AaSysComUserDeregister(cpid) != 0) ++failures;
      }
    });
  }
  for (std::thread &thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
}

TEST_F(Messages, OwnNodeIdIsTheOneOfTheStartUpRecord) {
  EXPECT_EQ(AaSysComGetOwnNid(), OWN_NID);
}

TEST_F(Messages, OwnNodeIdIsTheDaemonsWhereTheRecordHasNone) {
  ASSERT_EQ(AaStartupCeStartup(), 0);
  PlatformNode::startupConfig().nid = 0;
  EXPECT_EQ(AaSysComGetOwnNid(), OWN_NID);
}
