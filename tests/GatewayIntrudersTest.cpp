// What a gateway makes of those who say what a gateway does not say, with a trusted key and without one.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "Descriptor.h"
#include "GatewayNodes.h"
#include "RawGateway.h"

namespace {

using orv::gateway::MessageFrame;
using orv::gateway::SequenceVerdict;
using orv::gateway::Verdict;
using orv::gateway::VerdictFrame;
using Lines = std::vector<std::string>;

constexpr uint64_t EPOCH = 77;

MessageFrame frameOf(uint64_t sequence, uint64_t oldestOpen, uint64_t epoch = EPOCH) {
  MessageFrame frame;
  frame.node = FIRST_SLAVE;
  frame.epoch = epoch;
  frame.sequence = sequence;
  frame.oldestOpen = oldestOpen;
  frame.timeLeftMs = 60000;
  frame.header = {0x0a00 + static_cast<uint32_t>(sequence), addressOf(MASTER), addressOf(FIRST_SLAVE), 0};
  return frame;
}

// A master that trusts the test's own gateway as node 0x2011.
class GatewayIntruders : public testing::Test {
 protected:
  explicit GatewayIntruders(const std::string &settings = "") : master(places, MASTER, settings) {
    master.makeKeys();
    EXPECT_EQ(master.files().orvctl({"keys", "trust", "0x2011", raw.key()}).waitStatus, 0);
    master.start();
  }

  void connect() {
    raw.connect("tcp://" + places.of(MASTER).address + ":" + std::to_string(places.of(MASTER).port), master.key());
  }
  void send(const MessageFrame &frame) {
    raw.send(orv::gateway::encodeMessage(frame));
  }
  // The verdicts on the next `count` messages: "1 0" for number 1 and the verdict 0.
  Lines verdicts(size_t count) {
    Lines texts;
    while (texts.size() < count) {
      for (const SequenceVerdict &each : raw.receive().verdicts) {
        texts.push_back(std::to_string(each.sequence) + " " + std::to_string(static_cast<int>(each.verdict)));
      }
    }
    return texts;
  }
  // What the listener has got besides its user's line, once it has got message `last`.
  static Lines messagesUpTo(const DaemonProcess &listener, const std::string &last) {
    listener.waitForOutputLineWith("message " + last);
    Lines ids;
    for (const std::string &line : listener.outputLines()) {
      if (line.starts_with("message ")) ids.push_back(line.substr(8, 6));
    }
    return ids;
  }

  // A connection to the port, without anything of ZeroMQ.
  int connectPlainly() const {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(places.of(MASTER).port);
    EXPECT_EQ(inet_pton(AF_INET, places.of(MASTER).address.c_str(), &address.sin_addr), 1);
    EXPECT_EQ(::connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return descriptor;
  }
  void sendPlainly(const std::string &bytes) const {
    const orv::Descriptor connection(connectPlainly());
    // The gateway may have had enough before the end of it.
    static_cast<void>(!::send(connection.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
  }

  GatewayPlaces places = ownPlaces();
  GatewayNode master;
  RawGateway raw;
};

class GatewayHolds : public GatewayIntruders {
 protected:
  GatewayHolds() : GatewayIntruders(" queue=\"5\"") {}
};

// The first 64 bytes of a connection: the greeting of ZeroMQ's protocol 3.1 with a mechanism.
std::string greeting(const std::string &mechanism) {
  std::string bytes("\xff\0\0\0\0\0\0\0\1\x7f\3\1", 12);
  bytes += mechanism;
  bytes.resize(64);
  return bytes;
}

}  // namespace

TEST_F(GatewayIntruders, MessageOfATrustedGatewayArrives) {
  const auto listener = master.receiver();
  connect();
  send(frameOf(1, 1));
  EXPECT_EQ(verdicts(1), Lines{"1 0"});
  EXPECT_EQ(messagesUpTo(*listener, "0x0a01"), Lines{"0x0a01"});
}

TEST_F(GatewayHolds, NoMoreThanItsQueueForAUserThatTakesNothing) {
  // More than any user's socket takes, and less than may be under way.
  constexpr uint64_t COUNT = 900;
  constexpr uint64_t QUEUE = 5;
  const auto holder = master.receiver({"hold"});
  connect();
  for (uint64_t sequence = 1; sequence <= COUNT; ++sequence) {
    MessageFrame frame = frameOf(sequence, 1);
    frame.timeLeftMs = 600000;
    send(frame);
  }
  // What waits for the user has no verdict for ten minutes; all the others have one at once.
  Lines expected;
  const Lines found = verdicts(COUNT - QUEUE);
  const uint64_t taken = static_cast<uint64_t>(
      std::ranges::count_if(found, [](const std::string &verdict) { return verdict.ends_with(" 0"); }));
  for (uint64_t sequence = 1; sequence <= taken; ++sequence)
    expected.push_back(std::to_string(sequence) + " 0");
  for (uint64_t sequence = taken + QUEUE + 1; sequence <= COUNT; ++sequence)
    expected.push_back(std::to_string(sequence) + " 2");
  EXPECT_GT(taken, 0U);
  EXPECT_EQ(found, expected);
}

TEST_F(GatewayIntruders, FrameThatNamesAnotherNodeThanItsKeyIsDropped) {
  const auto listener = master.receiver();
  connect();
  MessageFrame frame = frameOf(1, 1);
  frame.node = SECOND_SLAVE;
  send(frame);
  send(frameOf(1, 1));
  EXPECT_EQ(verdicts(1), Lines{"1 0"});
  master.waitForLine(
      "gateway: node 0x2011: 1 message claiming to come from another node (1 in all); the last: node 0x3011");
  EXPECT_EQ(messagesUpTo(*listener, "0x0a01"), Lines{"0x0a01"});
}

TEST_F(GatewayIntruders, MessageThatClaimsAnotherSenderIsRefused) {
  const auto listener = master.receiver();
  connect();
  MessageFrame frame = frameOf(1, 1);
  frame.header.sender = addressOf(SECOND_SLAVE);
  send(frame);
  send(frameOf(2, 1));
  EXPECT_EQ(verdicts(2), (Lines{"1 3", "2 0"}));
  EXPECT_EQ(messagesUpTo(*listener, "0x0a02"), Lines{"0x0a02"});
}

TEST_F(GatewayIntruders, MessageForAnotherNodeIsRefused) {
  connect();
  MessageFrame frame = frameOf(1, 1);
  frame.header.receiver = addressOf(SECOND_SLAVE);
  send(frame);
  EXPECT_EQ(verdicts(1), Lines{"1 4"});
}

TEST_F(GatewayIntruders, MessageThatIsSentAgainIsDeliveredOnceAndAnsweredAgain) {
  const auto listener = master.receiver();
  connect();
  for (const uint64_t sequence : {1, 1, 2, 1, 2, 3})
    send(frameOf(sequence, 1));
  EXPECT_EQ(verdicts(6), (Lines{"1 0", "1 0", "2 0", "1 0", "2 0", "3 0"}));
  EXPECT_EQ(messagesUpTo(*listener, "0x0a03"), (Lines{"0x0a01", "0x0a02", "0x0a03"}));
}

TEST_F(GatewayIntruders, MessageThatIsSentAgainOnANewConnectionIsDeliveredOnce) {
  const auto listener = master.receiver();
  connect();
  send(frameOf(1, 1));
  EXPECT_EQ(verdicts(1), Lines{"1 0"});
  raw.disconnect();
  connect();
  send(frameOf(1, 1));
  send(frameOf(2, 1));
  EXPECT_EQ(verdicts(2), (Lines{"1 0", "2 0"}));
  EXPECT_EQ(messagesUpTo(*listener, "0x0a02"), (Lines{"0x0a01", "0x0a02"}));
}

TEST_F(GatewayIntruders, MessageAheadOfItsTurnIsLeftUntilItsTurn) {
  const auto listener = master.receiver();
  connect();
  for (const uint64_t sequence : {1, 3, 2, 3})
    send(frameOf(sequence, 1));
  EXPECT_EQ(verdicts(3), (Lines{"1 0", "2 0", "3 0"}));
  EXPECT_EQ(messagesUpTo(*listener, "0x0a03"), (Lines{"0x0a01", "0x0a02", "0x0a03"}));
}

TEST_F(GatewayIntruders, MessageOfARunThatIsOverIsLeft) {
  const auto listener = master.receiver();
  connect();
  send(frameOf(1, 1));
  send(frameOf(1, 1, EPOCH + 1));
  send(frameOf(2, 1));
  send(frameOf(2, 1, EPOCH + 1));
  EXPECT_EQ(verdicts(3), (Lines{"1 0", "1 0", "2 0"}));
  EXPECT_EQ(messagesUpTo(*listener, "0x0a02"), (Lines{"0x0a01", "0x0a01", "0x0a02"}));
}

TEST_F(GatewayIntruders, FramesThatCannotBeUnderstoodAreCounted) {
  const auto listener = master.receiver();
  connect();
  const std::string good = orv::gateway::encodeMessage(frameOf(1, 1));
  raw.send("");
  raw.send("hello");
  raw.send(good.substr(0, good.size() - 1));
  raw.send(good + "more");
  raw.send(good, ZMQ_SNDMORE);
  raw.send(good);
  raw.send(good);
  EXPECT_EQ(verdicts(1), Lines{"1 0"});
  master.waitForLine("that cannot be understood (5 in all)");
  EXPECT_EQ(messagesUpTo(*listener, "0x0a01"), Lines{"0x0a01"});
}

TEST_F(GatewayIntruders, FrameOverTheLimitEndsItsConnectionAlone) {
  const auto listener = master.receiver();
  connect();
  send(frameOf(1, 1));
  EXPECT_EQ(verdicts(1), Lines{"1 0"});
  raw.send(std::string(1024 * 1024, 'x'));
  raw.waitForEndOfConnection();
  raw.disconnect();
  connect();
  send(frameOf(2, 1));
  EXPECT_EQ(verdicts(1), Lines{"2 0"});
  EXPECT_EQ(messagesUpTo(*listener, "0x0a02"), (Lines{"0x0a01", "0x0a02"}));
}

TEST_F(GatewayIntruders, PortSurvivesWhatIsThrownAtIt) {
  const auto listener = master.receiver();
  std::mt19937 random(20240601);
  const auto bytes = [&](size_t size) {
    std::string text(size, '\0');
    for (char &byte : text)
      byte = static_cast<char>(random());
    return text;
  };
  const std::string curve = greeting("CURVE");
  for (int i = 0; i < 3000; ++i) {
    const size_t size = random() % 2048;
    switch (i % 6) {
      case 0:  // nothing but a connection
        sendPlainly("");
        break;
      case 1:
        sendPlainly(bytes(size));
        break;
      case 2:
        sendPlainly(curve.substr(0, size % curve.size()));
        break;
      case 3:
        sendPlainly(greeting("NULL") + bytes(size));
        break;
      case 4:  // a command of any kind and size
        sendPlainly(curve + std::string("\4", 1) + bytes(size));
        break;
      default: {  // a frame that claims to be longer than anything
        sendPlainly(curve + "\2" + bytes(8) + bytes(size));
        break;
      }
    }
  }
  master.waitForLine("gateway: address 127.0.0.1: ");
  connect();
  send(frameOf(1, 1));
  EXPECT_EQ(verdicts(1), Lines{"1 0"});
  EXPECT_EQ(messagesUpTo(*listener, "0x0a01"), Lines{"0x0a01"});
  bool isCounted = false;
  for (const std::string &line : master.lines())
    isCounted = isCounted || line.find("failed: it was none of a gateway") != std::string::npos;
  EXPECT_TRUE(isCounted);
  master.stop();
}

TEST_F(GatewayIntruders, HandshakesThatNeverEndAreOverInTime) {
  const orv::Descriptor idle(connectPlainly());
  const orv::Descriptor half(connectPlainly());
  const std::string bytes = greeting("CURVE").substr(0, 20);
  ASSERT_EQ(::send(half.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  master.waitForLine("failed: it was none of a gateway (2 in all)");
}

TEST(GatewayWithoutKeys, TakesMessagesOfItsPeersAlone) {
  const GatewayPlaces places = loopbackPlaces();
  GatewayNode master(places, MASTER);
  master.start();
  const auto listener = master.receiver();
  RawGateway raw;
  raw.connect("tcp://127.0.0.1:" + std::to_string(places.of(MASTER).port), "");
  MessageFrame frame = frameOf(1, 1);
  frame.node = 0x4011;
  raw.send(orv::gateway::encodeMessage(frame));
  raw.send(orv::gateway::encodeMessage(frameOf(1, 1)));
  EXPECT_EQ(raw.receive().verdicts.size(), 1U);
  master.waitForLine(
      "gateway: address 127.0.0.1: 1 message claiming to come from another node (1 in all); the last: node 0x4011, "
      "which is no peer");
  listener->waitForOutputLineWith("message 0x0a01");
}
