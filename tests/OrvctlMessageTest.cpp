// orvctl msg: what is sent, what is printed of what comes, and how both end.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "OrvctlFixture.h"
#include "SysComMessage.h"
#include "SysComReception.h"
#include "SysComUsers.h"

using namespace orvctltest;

namespace {

constexpr uint16_t CPID = 0x04e7;
constexpr std::chrono::seconds LIMIT(30);

// A user of the node, or its gateway, played by the test itself.
class User {
 public:
  explicit User(const std::string &nodeDirectory, const std::string &name = "04e7") {
    orv::MessageDirectory directory;
    const orv::Status made = directory.makeAndLock(nodeDirectory);
    EXPECT_TRUE(made.ok()) << made.message;
    const orv::Status bound = directory.bind(name, socket_);
    EXPECT_TRUE(bound.ok()) << bound.message;
  }
  ~User() {
    close(socket_.descriptor);
  }
  User(const User &) = delete;
  User &operator=(const User &) = delete;

  // Null where none is waiting.
  orv::Received receive() const {
    orv::Received message;
    if (orv::takeMessage(socket_.descriptor, message) != 0) message.reset();
    return message;
  }
  std::string payload() const {
    const orv::Received message = receive();
    if (message == nullptr) return "no message";
    return {reinterpret_cast<const char *>(message->payload()), message->header.payloadSize};
  }

 private:
  orv::MessageSocket socket_;
};

class OrvctlMessage : public Orvctl {
 protected:
  OrvctlMessage() {
    beginRun(static_cast<uint32_t>(getpid()));  // node id 0x10
  }

  std::string socketPath(uint16_t cpid = CPID) const {
    char name[16];
    std::snprintf(name, sizeof name, "/syscom/%04x", cpid);
    return node() + name;
  }

  // The texts of the node's message events of a kind.
  Lines eventTexts(orv::EventKind kind) const {
    Lines texts;
    for (const orv::Event &event : store()->events()) {
      if (event.kind == kind) texts.push_back(event.text);
    }
    return texts;
  }

  // Sends as a program of the node does; `payload` is also what the header says unless `claimedSize` is given.
  void sendTo(uint16_t cpid, const std::string &payload, uint32_t messageId = 0x1b9d) const {
    const orv::MessageHeader header{messageId, 0x0ff00000U | cpid, 0x0f011000, static_cast<uint32_t>(payload.size())};
    const std::string bytes = std::string(reinterpret_cast<const char *>(&header), sizeof header) + payload;
    sendBytes(cpid, bytes);
  }
  void sendBytes(uint16_t cpid, const std::string &bytes) const {
    EXPECT_EQ(orv::sendToMessageSocket(node(), cpid, bytes.data(), bytes.size()), 0);
  }

  // The tool, listening.
  std::unique_ptr<DaemonProcess> listener(Lines arguments) const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH, "msg", "listen", "--cpid", "0x04e7"};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"ORV_NODE_DIR=" + node()};
    auto process = std::make_unique<DaemonProcess>(start);
    const auto deadline = std::chrono::steady_clock::now() + LIMIT;
    while (!std::filesystem::exists(socketPath()) && std::chrono::steady_clock::now() < deadline)
      std::this_thread::yield();
    EXPECT_TRUE(std::filesystem::exists(socketPath()));
    return process;
  }

  static std::string own(const std::string &message, const std::string &payload) {
    return message + ", pid " + std::to_string(getpid()) + ", uid " + std::to_string(getuid()) + ", " + payload;
  }
  static void expectExit(DaemonProcess &process, int exitCode) {
    const int waitStatus = process.waitForExit();
    EXPECT_TRUE(WIFEXITED(waitStatus)) << waitStatus;
    EXPECT_EQ(WEXITSTATUS(waitStatus), exitCode) << joined(process.errorLines());
  }
};

using OrvctlMessageSend = OrvctlMessage;
using OrvctlMessageListen = OrvctlMessage;

// --- send -----------------------------------------------------------------------------------------------------------

TEST_F(OrvctlMessageSend, MessageComesAsItWasAskedFor) {
  const User user(node());
  EXPECT_EQ(output(DONE, {"msg", "send", "--to", "0x0ff0:0x04e7", "--id", "0x1B9D", "--from", "0x10:0x1234", "--text",
                          "hello"}),
            "");
  const orv::Received message = user.receive();
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->header.messageId, 0x1B9Du);
  EXPECT_EQ(message->header.receiver, 0x0ff004e7u);
  EXPECT_EQ(message->header.sender, 0x00101234u);
  EXPECT_EQ(message->header.payloadSize, 5u);
  EXPECT_EQ(std::string(reinterpret_cast<const char *>(message->payload()), 5), "hello");
  EXPECT_NE(message->senderPid, getpid());
  EXPECT_EQ(eventTexts(orv::EventKind::MESSAGE_SENT), Lines{"message 0x1b9d from 0x00101234 to 0x0ff004e7"});
}

TEST_F(OrvctlMessageSend, EveryNameOfTheOwnNodeWillDo) {
  const User user(node());
  for (const char *address : {"0x0f01:0x04e7", "0x0ff0:0x04e7", "0x10:1255", "16:1255", "0x001004e7"}) {
    EXPECT_EQ(output(DONE, {"msg", "send", "--to", address, "--id", "7"}), "") << address;
    EXPECT_EQ(user.payload(), "") << address;
  }
}

TEST_F(OrvctlMessageSend, PayloadIsEmptyDigitsTextOrAFile) {
  const User user(node());
  const Lines message = {"msg", "send", "--to", "0x10:0x04e7", "--id", "7"};
  const auto payload = [&](const Lines &options) {
    Lines arguments = message;
    arguments.insert(arguments.end(), options.begin(), options.end());
    EXPECT_EQ(output(DONE, arguments), "");
    return user.payload();
  };
  EXPECT_EQ(payload({}), "");
  EXPECT_EQ(payload({"--payload", "00fFa1"}), std::string("\0\xff\xa1", 3));
  EXPECT_EQ(payload({"--text", "1 0"}), "1 0");
  const std::string longest(orv::MAX_PAYLOAD_SIZE, 'x');
  EXPECT_EQ(payload({"--file", directory_.write("payload", longest)}), longest);
}

TEST_F(OrvctlMessageSend, NobodyToReceiveIsTheAnswerNo) {
  EXPECT_EQ(complaint(NO, {"msg", "send", "--to", "0x10:0x04e7", "--id", "7"}),
            "orvctl: message 0x0007 to 0x001004e7 not delivered: no user is registered with CPID 0x04e7");
  EXPECT_EQ(eventTexts(orv::EventKind::MESSAGE_UNDELIVERED), Lines{"message 0x0007 from 0x00000000 to 0x001004e7"});
}

TEST_F(OrvctlMessageSend, QueueThatIsFullIsTheAnswerNo) {
  const User user(node());
  constexpr int FAR_TOO_MANY = 100000;
  const std::string bytes(sizeof(orv::MessageHeader), '\0');
  int error = 0;
  for (int i = 0; i < FAR_TOO_MANY && error == 0; ++i)
    error = orv::sendToMessageSocket(node(), CPID, bytes.data(), bytes.size());
  ASSERT_EQ(error, EAGAIN);
  EXPECT_TRUE(contains(complaint(NO, {"msg", "send", "--to", "0x10:0x04e7", "--id", "7"}),
                       "the queue of the user with CPID 0x04e7 is full"));
}

TEST_F(OrvctlMessageSend, MessageToAnotherNodeGoesToTheGateway) {
  const User gateway(node(), orv::gatewaySocketName(0x2011));
  EXPECT_EQ(output(DONE, {"msg", "send", "--to", "0x2011:0x04e7", "--id", "7", "--text", "hello"}), "");
  const orv::Received message = gateway.receive();
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->header.receiver, 0x201104e7u);
  EXPECT_EQ(message->header.payloadSize, 5u);
}

TEST_F(OrvctlMessageSend, GatewayThatTakesNoMoreIsTheAnswerNo) {
  const User gateway(node(), orv::gatewaySocketName(0x2011));
  constexpr int FAR_TOO_MANY = 100000;
  const std::string bytes(sizeof(orv::MessageHeader), '\0');
  int error = 0;
  for (int i = 0; i < FAR_TOO_MANY && error == 0; ++i)
    error = orv::sendToGatewaySocket(node(), 0x2011, bytes.data(), bytes.size());
  ASSERT_EQ(error, EAGAIN);
  EXPECT_EQ(complaint(NO, {"msg", "send", "--to", "0x2011:0x04e7", "--id", "7"}),
            "orvctl: message 0x0007 to 0x201104e7 not taken: the queue of the gateway is full");
}

TEST_F(OrvctlMessageSend, OtherNodeWithoutAWayToItIsRefusedWithTheReason) {
  const Lines command = {"msg", "send", "--to", "0x2011:0x04e7", "--id", "7"};
  const std::string refused = "orvctl: message 0x0007 to 0x201104e7 refused: node 0x2011 is another node and ";
  EXPECT_EQ(complaint(NO, command), refused + "this node has no gateway: it has no gateway port");
  ASSERT_TRUE(store()->setTag("orv.gateway.state", {TagType::STRING, 0, "it was shut down"}).ok());
  EXPECT_EQ(complaint(NO, command), refused + "this node has no gateway: it was shut down");
  ASSERT_TRUE(store()->setTag("orv.gateway.state", {TagType::STRING, 0, "up"}).ok());
  EXPECT_TRUE(complaint(NO, command).starts_with(refused + "this node's gateway has no way to it"));
  EXPECT_EQ(eventTexts(orv::EventKind::MESSAGE_UNDELIVERED).size(), 3U);
}

TEST_F(OrvctlMessageSend, BadUseIsRefused) {
  const Lines message = {"msg", "send", "--to", "0x10:0x04e7", "--id", "7"};
  const auto refusal = [&](const Lines &options) {
    Lines arguments = message;
    arguments.insert(arguments.end(), options.begin(), options.end());
    return complaint(USAGE, arguments);
  };
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "send", "--to", "0x10:0x10000", "--id", "7"}),
                       "\"0x10:0x10000\" is not an address (NID:CPID such as 0x1011:0x04e7"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "send", "--to", "0x10:", "--id", "7"}), "is not an address"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "send", "--to", "radio", "--id", "7"}), "is not an address"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "send", "--to", "0x10:1", "--id", "x"}), "\"x\" is not a number"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "send", "--id", "7"}), "--to is required"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "send", "--to", "0x10:1"}), "--id is required"));
  for (const char *digits : {"0", "0x", "+1", "0g", " 1"}) {
    EXPECT_TRUE(contains(refusal({"--payload", digits}), "is not a text of hexadecimal digits")) << digits;
  }
  EXPECT_TRUE(contains(refusal({"--payload", "00", "--text", "x"}), "excludes"));
  EXPECT_TRUE(contains(refusal({"--text", "x", "--file", "x"}), "excludes"));
  EXPECT_TRUE(contains(refusal({"--text", std::string(orv::MAX_PAYLOAD_SIZE + 1, 'x')}),
                       "a payload of 65521 bytes is over the limit of 65520"));
}

TEST_F(OrvctlMessageSend, FileThatCannotBeTakenIsAFailure) {
  const Lines message = {"msg", "send", "--to", "0x10:0x04e7", "--id", "7", "--file"};
  const auto failure = [&](const std::string &file) {
    Lines arguments = message;
    arguments.push_back(file);
    return complaint(FAILED, arguments);
  };
  EXPECT_EQ(failure(directory_.path("none")), "orvctl: " + directory_.path("none") + ": No such file or directory");
  const std::string tooLong = directory_.write("long", std::string(orv::MAX_PAYLOAD_SIZE + 1, 'x'));
  EXPECT_EQ(failure(tooLong), "orvctl: " + tooLong + ": it has more than 65520 bytes");
}

TEST_F(OrvctlMessage, MisspeltCommandIsGuessed) {
  EXPECT_EQ(complaint(USAGE, {"msg", "sent"}), "orvctl: there is no command \"msg sent\" (did you mean \"msg send\"?)");
  EXPECT_EQ(complaint(USAGE, {"listen"}), "orvctl: there is no command \"listen\" (did you mean \"msg listen\"?)");
  EXPECT_EQ(complaint(USAGE, {"msg"}), "orvctl: a command is missing: orvctl msg send|listen (see orvctl --help)");
}

TEST_F(OrvctlMessage, WithoutANodeBothFail) {
  const std::string none = directory_.path("none");
  EXPECT_TRUE(contains(complaint(FAILED, {"msg", "send", "--to", "0x10:1", "--id", "7", "--node-dir", none}),
                       "there is no node in " + none));
  EXPECT_TRUE(
      contains(complaint(FAILED, {"msg", "listen", "--cpid", "1", "--node-dir", none}), "there is no node in " + none));
}

// --- listen ---------------------------------------------------------------------------------------------------------

TEST_F(OrvctlMessageListen, EachMessageIsALine) {
  const auto process = listener({"--count", "4"});
  sendTo(CPID, "");
  sendTo(CPID, "hello", 7);
  sendTo(CPID, "two\nlines");
  sendTo(CPID, std::string("\0", 1));
  expectExit(*process, DONE);
  const std::string all = " from 0x0f011000 to 0x0ff004e7";
  EXPECT_EQ(process->outputLines(),
            (Lines{own("0x1b9d" + all, "0 bytes"), own("0x0007" + all, "5 bytes: \"hello\""),
                   own("0x1b9d" + all, "9 bytes: 74776f0a6c696e6573"), own("0x1b9d" + all, "1 byte: 00")}));
  EXPECT_EQ(process->errorLines(), Lines());
  EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(OrvctlMessageListen, LineIsPrintedWhenItsMessageComes) {
  const auto process = listener({});
  sendTo(CPID, "first");
  EXPECT_TRUE(process->waitForOutputLineWith("first").ends_with("5 bytes: \"first\""));
  sendTo(CPID, "second");
  process->waitForOutputLineWith("second");
  process->signal(SIGTERM);
  expectExit(*process, DONE);
}

TEST_F(OrvctlMessageListen, LineCanBeJson) {
  const auto process = listener({"--count", "2", "--json"});
  sendTo(CPID, "hello");
  sendTo(CPID, "");
  expectExit(*process, DONE);
  const std::string begin =
      "{\"id\":\"0x1b9d\",\"sender\":\"0x0f011000\",\"receiver\":\"0x0ff004e7\",\"pid\":" + std::to_string(getpid()) +
      ",\"uid\":" + std::to_string(getuid()) + ",\"gid\":" + std::to_string(getgid());
  EXPECT_EQ(process->outputLines(), (Lines{begin + ",\"payloadSize\":5,\"payload\":\"68656c6c6f\"}",
                                           begin + ",\"payloadSize\":0,\"payload\":\"\"}"}));
}

TEST_F(OrvctlMessageListen, LongestMessageIsPrintedWhole) {
  const auto process = listener({"--count", "1"});
  const std::string payload(orv::MAX_PAYLOAD_SIZE, 'x');
  sendTo(CPID, payload);
  expectExit(*process, DONE);
  EXPECT_TRUE(contains(joined(process->outputLines()), "65520 bytes: \"" + payload + "\""));
}

TEST_F(OrvctlMessageListen, WhatIsNoMessageIsPassedOver) {
  const auto process = listener({"--count", "1"});
  sendBytes(CPID, "nonsense");
  sendTo(CPID, "sense");
  expectExit(*process, DONE);
  EXPECT_EQ(process->outputLines().size(), 1U);
  EXPECT_EQ(process->errorLines(),
            Lines{"orvctl: passed over 8 bytes of process " + std::to_string(getpid()) + ", which are no message"});
}

TEST_F(OrvctlMessageListen, TimeIsOverWithoutAMessage) {
  EXPECT_EQ(complaint(NO, {"msg", "listen", "--cpid", "0x04e7", "--timeout", "0"}),
            "orvctl: 0 of any number of messages came in time");
  EXPECT_EQ(complaint(NO, {"msg", "listen", "--cpid", "0x04e7", "--timeout", "0.01", "--count", "3"}),
            "orvctl: 0 of 3 messages came in time");
  EXPECT_FALSE(std::filesystem::exists(socketPath()));
}

TEST_F(OrvctlMessageListen, SignalEndsItAndFreesTheCpid) {
  for (const int number : {SIGINT, SIGTERM}) {
    const auto process = listener({});
    process->signal(number);
    expectExit(*process, DONE);
    EXPECT_EQ(process->errorLines(), Lines());
    EXPECT_FALSE(std::filesystem::exists(socketPath()));
  }
  const auto process = listener({"--count", "2", "--timeout", "1e300"});
  sendTo(CPID, "one");
  process->waitForOutputLineWith("one");
  process->signal(SIGINT);
  expectExit(*process, NO);
  EXPECT_EQ(process->errorLines(), Lines{"orvctl: 1 of 2 messages came before the signal"});
}

TEST_F(OrvctlMessageListen, MessagesBeyondTheCountAreCounted) {
  const auto process = listener({"--count", "2"});
  process->signal(SIGSTOP);
  siginfo_t stopped{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(process->pid()), &stopped, WSTOPPED), 0);
  for (const char *payload : {"1", "2", "3", "4"})
    sendTo(CPID, payload);
  process->signal(SIGCONT);
  expectExit(*process, DONE);
  EXPECT_EQ(process->outputLines().size(), 2U);
  EXPECT_EQ(process->errorLines(), Lines{"orvctl: 2 more messages not taken"});
}

TEST_F(OrvctlMessageListen, CpidOfALivingProgramIsAFailure) {
  const User user(node());
  EXPECT_EQ(complaint(FAILED, {"msg", "listen", "--cpid", "0x04e7"}),
            "orvctl: a program of the node receives under CPID 0x04e7 already (end it first, or listen to another "
            "CPID)");
  EXPECT_TRUE(std::filesystem::exists(socketPath()));
}

TEST_F(OrvctlMessageListen, CpidOfADeadProgramIsTakenOver) {
  { const User dead(node()); }
  ASSERT_TRUE(std::filesystem::exists(socketPath()));
  EXPECT_EQ(complaint(NO, {"msg", "listen", "--cpid", "0x04e7", "--timeout", "0"}),
            "orvctl: 0 of any number of messages came in time");
}

TEST_F(OrvctlMessageListen, BadUseIsRefused) {
  for (const char *cpid : {"0", "0x10000", "x", ""}) {
    EXPECT_TRUE(contains(complaint(USAGE, {"msg", "listen", "--cpid", cpid}), "is not a number from 1 to 65535"));
  }
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "listen"}), "--cpid is required"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "listen", "--cpid", "1", "--count", "0"}), "is not a number from 1"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "listen", "--cpid", "1", "--timeout", "-1"}), "number of seconds"));
  EXPECT_TRUE(contains(complaint(USAGE, {"msg", "listen", "--cpid", "1", "--timeout", "nan"}), "number of seconds"));
}

TEST_F(OrvctlMessageListen, HearsWhatIsSentWithTheSameTool) {
  const auto process = listener({"--count", "1"});
  EXPECT_EQ(output(DONE, {"msg", "send", "--to", "0x10:0x04e7", "--id", "5", "--text", "hello"}), "");
  expectExit(*process, DONE);
  EXPECT_TRUE(contains(joined(process->outputLines()), "0x0005 from 0x00000000 to 0x001004e7, pid "));
}

}  // namespace
