// What the tests share that receive messages through the C interface of libORV.so, as an application does it.
#ifndef ORV_TESTS_SYSCOMFIXTURE_H
#define ORV_TESTS_SYSCOMFIXTURE_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "../ORV_Platform/linux/SysComMessage.h"
#include "../ORV_Platform/linux/SysComReceive.h"
#include "AaSysCom.h"
#include "PlatformNode.h"

namespace orvtest {

inline const testing::Environment *const SYSCOM_NODE = testing::AddGlobalTestEnvironment(new PlatformNode);

constexpr uint16_t OWN_NID = 0x1011;
constexpr uint32_t LOCAL = 0x0FF00000;
constexpr uint32_t FIXED = 0x04E7;
constexpr uint32_t LIMIT_MS = 30000;

struct FreeMessage {
  void operator()(OrvSysComMessage *message) const {
    orvSysComMsgFree(message);
  }
};
using Message = std::unique_ptr<OrvSysComMessage, FreeMessage>;

// Null where none comes in time; any other failure fails the test.
inline Message receive(uint32_t cpid, uint32_t timeoutMs = LIMIT_MS) {
  OrvSysComMessage *message = nullptr;
  const int32_t result = orvSysComMsgReceive(cpid, timeoutMs, &message);
  EXPECT_TRUE(result == 0 || result == ETIMEDOUT) << std::strerror(result);
  EXPECT_EQ(result == 0, message != nullptr);
  return Message(message);
}

inline std::string payloadOf(const Message &message) {
  return {static_cast<const char *>(orvSysComMsgPayload(message.get())), orvSysComMsgPayloadSize(message.get())};
}

inline int32_t send(uint32_t messageId, uint32_t receiver, const std::string &payload = "", uint32_t sender = 0) {
  void *message = AaSysComMsgCreate(messageId, static_cast<uint32_t>(payload.size()), receiver);
  EXPECT_NE(message, nullptr);
  if (message == nullptr) return ENOMEM;
  std::memcpy(static_cast<char *>(message) + 8, &sender, sizeof sender);
  payload.copy(static_cast<char *>(message) + sizeof(orv::MessageHeader), payload.size());
  return AaSysComMsgSendWithPriority(&message, 0);
}

inline std::string socketPath(uint32_t cpid) {
  char name[16];
  std::snprintf(name, sizeof name, "/syscom/%04x", cpid);
  return PlatformNode::nodeDirectory() + name;
}

// The socket address of the user `cpid`.
inline sockaddr_un addressOf(uint32_t cpid) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = socketPath(cpid);
  if (path.size() >= sizeof address.sun_path) std::abort();
  path.copy(address.sun_path, path.size());
  return address;
}

// A datagram as any process can send one.
inline void sendBytes(uint32_t cpid, const std::string &bytes) {
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const sockaddr_un address = addressOf(cpid);
  EXPECT_EQ(
      sendto(descriptor, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address), sizeof address),
      static_cast<ssize_t>(bytes.size()))
      << std::strerror(errno);
  close(descriptor);
}

class SysComTest : public testing::Test {
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

}  // namespace orvtest

#endif
