// The print port: each line of the log as one datagram, to the letter; and the daemon that sends them.
#include "PrintPort.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>

#include "Pattern.h"
#include "TestNode.h"

namespace {

using orv::LogLine;

constexpr const char *MARK = "\xEF\xBB\xBF";

LogLine lineOf(const std::string &text) {
  LogLine line;
  line.severity = 4;
  line.text = text;
  line.identifier = "ORVDaemonExe";
  line.pid = 4711;
  line.realtimeNs = 1700000000'123456789;
  line.eu = "pump";
  line.nid = 0x1011;
  line.application = "/opt/pump";
  return line;
}

const std::string HEAD =
    "<27>1 2023-11-14T22:13:20.123456Z board ORVDaemonExe 4711 log [orv@32473 eu=\"pump\" nid=\"0x1011\" "
    "application=\"/opt/pump\"] ";

std::string datagram(const LogLine &line) {
  return orv::printPortDatagram(line, "board");
}

// A UDP port of the test's own.
class Port {
 public:
  Port() : descriptor_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr *>(&address), length), 0);
    EXPECT_EQ(getsockname(descriptor_, reinterpret_cast<sockaddr *>(&address), &length), 0);
    number_ = ntohs(address.sin_port);
    constexpr timeval LIMIT = {30, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &LIMIT, sizeof LIMIT);
  }
  ~Port() {
    close(descriptor_);
  }
  Port(const Port &) = delete;
  Port &operator=(const Port &) = delete;

  unsigned number() const {
    return number_;
  }
  std::string next() const {
    char text[4096];
    const ssize_t length = recv(descriptor_, text, sizeof text, 0);
    return length < 0 ? "nothing" : std::string(text, static_cast<size_t>(length));
  }
  // The next datagram with `part` in it.
  std::string nextWith(const std::string &part) const {
    for (;;) {
      const std::string text = next();
      if (text == "nothing" || text.find(part) != std::string::npos) return text;
    }
  }
  bool isEmpty() const {
    char text[1];
    return recv(descriptor_, text, sizeof text, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
  }

 private:
  int descriptor_;
  unsigned number_ = 0;
};

using PrintPort = DaemonTest;

}  // namespace

TEST(PrintPortDatagram, LineToTheLetter) {
  EXPECT_EQ(datagram(lineOf("ORV/OrvDaemon, exeRun: failed")), HEAD + MARK + "ORV/OrvDaemon, exeRun: failed");
  EXPECT_EQ(datagram(lineOf("")), HEAD + MARK);
}

TEST(PrintPortDatagram, SeverityIsThatOfSyslog) {
  const std::pair<uint32_t, const char *> expected[] = {{0, "<31>1 "}, {1, "<31>1 "}, {2, "<30>1 "},
                                                        {3, "<28>1 "}, {4, "<27>1 "}, {5, "<26>1 "}};
  for (const auto &[severity, begin] : expected) {
    LogLine line = lineOf("x");
    line.severity = severity;
    EXPECT_TRUE(datagram(line).starts_with(begin)) << severity;
  }
}

TEST(PrintPortDatagram, WhatIsNotKnownIsLeftOut) {
  LogLine line = lineOf("x");
  line.nid.reset();
  line.eu = "";
  line.application = "";
  line.identifier = "";
  EXPECT_EQ(orv::printPortDatagram(line, ""),
            std::string("<27>1 2023-11-14T22:13:20.123456Z - - 4711 log [orv@32473 eu=\"\"] ") + MARK + "x");
}

TEST(PrintPortDatagram, TimeHasAllItsDigits) {
  LogLine line = lineOf("x");
  line.realtimeNs = 5'000'001'999;
  EXPECT_TRUE(datagram(line).starts_with("<27>1 1970-01-01T00:00:05.000001Z ")) << datagram(line);
}

TEST(PrintPortDatagram, NamesOfTheHeadAreCutAndHaveNoBlanks) {
  LogLine line = lineOf("x");
  line.identifier = "a b\xC3\xA4" + std::string(100, 'c');
  EXPECT_NE(orv::printPortDatagram(line, std::string(300, 'h'))
                .find("Z " + std::string(255, 'h') + " a?b??" + std::string(43, 'c') + " 4711 "),
            std::string::npos);
}

TEST(PrintPortDatagram, ValuesOfStructuredDataAreEscaped) {
  LogLine line = lineOf("x");
  line.eu = "a\"b\\c]d\ne\xC3\xA4";
  EXPECT_NE(datagram(line).find(" eu=\"a\\\"b\\\\c\\]d e\xC3\xA4\" "), std::string::npos) << datagram(line);
  line.eu = "no UTF-8 \xFF";
  EXPECT_NE(datagram(line).find(" eu=\"no?UTF-8??\" "), std::string::npos) << datagram(line);
}

TEST(PrintPortDatagram, LineStaysOneLine) {
  EXPECT_EQ(datagram(lineOf("one\ntwo\r\n\tthree\x1B[0m\x7F")), HEAD + MARK + "one two   three [0m ");
}

TEST(PrintPortDatagram, TextThatIsNoUtf8HasNoMark) {
  EXPECT_EQ(datagram(lineOf("caf\xC3\xA9 \xF0\x9F\x9A\xB0")), HEAD + MARK + "caf\xC3\xA9 \xF0\x9F\x9A\xB0");
  for (const char *text : {"caf\xE9", "\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF0\x80\x80\xAF",
                           "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\x80"}) {
    EXPECT_EQ(datagram(lineOf(text)), HEAD + text);
  }
}

TEST(PrintPortDatagram, LongTextIsCutBetweenCharacters) {
  std::string text;
  while (text.size() < 3000)
    text += "\xC3\xA4";
  const std::string cut = datagram(lineOf(text));
  EXPECT_GE(cut.size(), 2047U);
  EXPECT_LE(cut.size(), 2048U);
  EXPECT_TRUE(cut.ends_with("\xC3\xA4"));
}

TEST(PrintPortAddress, ThereAndBack) {
  const std::optional<orv::PrintPortAddress> address = orv::parsePrintPort("192.168.1.2:51005");
  ASSERT_TRUE(address);
  EXPECT_EQ(address->ip, 0xC0A80102U);
  EXPECT_EQ(address->port, 51005U);
  EXPECT_EQ(orv::printPortText(*address), "192.168.1.2:51005");
  for (const char *text :
       {"", "127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536", "127.0.0.1:5x", ":51005", "localhost:51005"}) {
    EXPECT_FALSE(orv::parsePrintPort(text)) << text;
  }
}

TEST_F(PrintPort, DaemonPrintsWhereTheStartUpRecordSays) {
  const Port port;
  const auto daemon =
      node.startedDaemon({"--startup=nid=0x1011,printip=0x7f000001,printport=" + std::to_string(port.number())});
  char host[HOST_NAME_MAX + 1] = "";
  gethostname(host, sizeof host - 1);
  const std::string complete = port.nextWith("CE start-up complete");
  const Pattern expected("^<30>1 [0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z " +
                         std::string(host) + " ORVDaemonExe " + std::to_string(daemon->pid()) +
                         " log \\[orv@32473 eu=\"ceInternalStartupEu\" nid=\"0x1011\"\\] " + MARK +
                         "ORV/OrvDaemon, ceInternalStartup: CE start-up complete$");
  EXPECT_TRUE(expected.isIn(complete)) << complete;
  expectGracefulEnd(*daemon);
}

TEST_F(PrintPort, ProgramsOwnLineNamesItsEu) {
  const Port port;
  node.define({"pump;" + node.program() + ";log hello;0;0;"});
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011,printport=" + std::to_string(port.number())});
  const std::string line = port.nextWith(std::string(MARK) + "hello");
  EXPECT_NE(line.find(" [orv@32473 eu=\"pump\" nid=\"0x1011\" application=\"" + node.program() + "\"] "),
            std::string::npos)
      << line;
  EXPECT_TRUE(line.ends_with(std::string(MARK) + "hello")) << line;
  expectGracefulEnd(*daemon);
}

TEST_F(PrintPort, PortZeroPrintsNothing) {
  const Port port;
  ProcessStart start;
  // Meant for a program of another node, not for this one.
  start.environment = {"ORV_PRINT_PORT=127.0.0.1:" + std::to_string(port.number())};
  expectGracefulEnd(*node.startedDaemon({"--startup=printport=0"}, start));
  EXPECT_TRUE(port.isEmpty()) << port.next();
}

TEST_F(PrintPort, NumberThatIsNoPortIsSaid) {
  const auto daemon = node.startedDaemon({"--startup=printport=65536"});
  EXPECT_EQ(
      countLinesWith("Error/ORV/platform, the print port 65536 is no UDP port, so that nothing is printed (choose "
                     "from 1 to 65535)",
                     daemon->errorLines()),
      1U);
  expectGracefulEnd(*daemon);
}
