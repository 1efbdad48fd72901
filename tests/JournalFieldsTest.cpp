// The log's lines as the journal and a syslog daemon get them, and what becomes of those that they do not take.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "LogSink.h"
#include "Pattern.h"
#include "PromptReceiver.h"
#include "TestNode.h"

namespace {

using orv::LogLine;
using orv::LogSink;

LogLine lineOf(const std::string &text) {
  LogLine line;
  line.severity = 3;
  line.text = text;
  line.identifier = "ORVDaemonExe";
  line.pid = 4711;
  line.eu = "pump";
  line.nid = 0x10;
  line.application = "/opt/pump";
  return line;
}

// A sink whose receiver the test is.
class LogSinkTest : public testing::Test {
 protected:
  LogSink sink{"the journal", [](const LogLine &line) { return line.text; },
               [this](std::string_view text) {
                 if (error != 0) return error;
                 if (roomFor == 0) return EAGAIN;
                 --roomFor;
                 taken.emplace_back(text);
                 return 0;
               },
               [this] { return nowNs; }};
  std::vector<std::string> taken;
  int error = 0;
  unsigned roomFor = 1000;
  uint64_t nowNs = 1'000'000'000;
};

class JournalFields : public DaemonTest {
 protected:
  ProcessStart start(const std::string &variable) const {
    ProcessStart start;
    start.environment = {variable + "=" + node.path("sink")};
    return start;
  }
  // The next record with `part` in it.
  template <typename Receiver>
  static std::string recordWith(const std::string &part, Receiver &sink) {
    for (;;) {
      const std::string record = sink.next();
      if (record.starts_with("nothing") || record.find(part) != std::string::npos) return record;
    }
  }
  std::string recordWith(const std::string &part) {
    return recordWith(part, *sink);
  }

  std::unique_ptr<PromptReceiver> sink = std::make_unique<PromptReceiver>(node.path("sink"));
};

}  // namespace

TEST(JournalDatagram, FieldsToTheLetter) {
  EXPECT_EQ(orv::journalDatagram(lineOf("no water")),
            "MESSAGE=no water\nPRIORITY=4\nSYSLOG_IDENTIFIER=ORVDaemonExe\nORV_EU=pump\nORV_NID=0x0010\n"
            "ORV_APPLICATION=/opt/pump\n");
}

TEST(JournalDatagram, WhatIsNotKnownIsLeftOut) {
  LogLine line = lineOf("x");
  line.nid.reset();
  line.eu = "";
  line.application = "";
  EXPECT_EQ(orv::journalDatagram(line), "MESSAGE=x\nPRIORITY=4\nSYSLOG_IDENTIFIER=ORVDaemonExe\nORV_EU=\n");
}

TEST(JournalDatagram, TextOfSeveralLinesComesWithItsLength) {
  const std::string datagram = orv::journalDatagram(lineOf("one\ntwo"));
  EXPECT_TRUE(datagram.starts_with(std::string("MESSAGE\n\7\0\0\0\0\0\0\0one\ntwo\nPRIORITY=4\n", 35))) << datagram;
  const std::string longOne = orv::journalDatagram(lineOf(std::string(257, 'x') + "\n"));
  EXPECT_TRUE(longOne.starts_with(std::string("MESSAGE\n\2\1\0\0\0\0\0\0xxx", 19)));
}

TEST(JournalDatagram, TextIsCutToTheJournalsLineLimit) {
  EXPECT_TRUE(orv::journalDatagram(lineOf(std::string(100000, 'x')))
                  .starts_with("MESSAGE=" + std::string(48 * 1024, 'x') + "\n"));
}

TEST(SyslogDatagram, LineToTheLetter) {
  setenv("TZ", "UTC", 1);
  tzset();
  LogLine line = lineOf("no water");
  line.realtimeNs = 1700000000'123456789;
  EXPECT_EQ(orv::syslogDatagram(line), "<28>Nov 14 22:13:20 ORVDaemonExe[4711]: no water");
  line.realtimeNs = 1'000'000'000;
  EXPECT_EQ(orv::syslogDatagram(line), "<28>Jan  1 00:00:01 ORVDaemonExe[4711]: no water");
}

TEST_F(LogSinkTest, LinesThatAreTakenAreAllThereIs) {
  EXPECT_TRUE(sink.write(lineOf("a")));
  EXPECT_TRUE(sink.write(lineOf("b")));
  EXPECT_EQ(taken, (std::vector<std::string>{"a", "b"}));
}

TEST_F(LogSinkTest, NobodyThereIsToldToTheCaller) {
  for (const int absent : {ENOENT, ECONNREFUSED, EACCES, ENETUNREACH}) {
    error = absent;
    EXPECT_FALSE(sink.write(lineOf("a"))) << absent;
  }
  EXPECT_EQ(sink.lost(), 0U);
}

TEST_F(LogSinkTest, LostLinesAreCountedAndToldOnceItTakesLinesAgain) {
  error = EAGAIN;
  for (int i = 0; i < 7; ++i)
    EXPECT_TRUE(sink.write(lineOf("lost")));
  EXPECT_EQ(sink.lost(), 7U);
  error = 0;
  sink.write(lineOf("a"));
  sink.write(lineOf("b"));
  EXPECT_EQ(taken, (std::vector<std::string>{
                       "a", "ORV/platform, the journal did not take 7 lines of this process in time", "b"}));
  EXPECT_EQ(sink.lost(), 0U);
}

TEST_F(LogSinkTest, LossesAreToldOnceASecondAtMost) {
  const auto loseOne = [&] {
    error = ENOBUFS;
    sink.write(lineOf("lost"));
    error = 0;
    sink.write(lineOf("taken"));
  };
  loseOne();
  EXPECT_EQ(taken.size(), 2U);
  loseOne();
  nowNs += 999'999'999;
  loseOne();
  EXPECT_EQ(taken.size(), 4U);
  EXPECT_EQ(sink.lost(), 2U);
  nowNs += 1;
  sink.write(lineOf("taken"));
  EXPECT_EQ(taken.back(), "ORV/platform, the journal did not take 2 lines of this process in time");
}

TEST_F(LogSinkTest, ReportThatIsLostItselfIsNotForgotten) {
  error = EAGAIN;
  sink.write(lineOf("lost"));
  sink.write(lineOf("lost"));
  // Room for the line and not for the report behind it.
  error = 0;
  roomFor = 1;
  sink.write(lineOf("a"));
  EXPECT_EQ(taken, std::vector<std::string>{"a"});
  EXPECT_EQ(sink.lost(), 2U);
}

TEST_F(JournalFields, LineOfASentinelNamesNodeEuAndApplication) {
  node.define({"pump;" + node.program() + ";exit 3;0;0;"});
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011"}, start("ORV_JOURNAL_SOCKET"));
  EXPECT_EQ(recordWith("failed with status"),
            "MESSAGE=ORV/OrvDaemon, exeRun: executable '" + node.program() +
                "' failed with status 3\nPRIORITY=3\nSYSLOG_IDENTIFIER=ORVDaemonExe\nORV_EU=pump\nORV_NID=0x1011\n"
                "ORV_APPLICATION=" +
                node.program() + "\n");
  expectGracefulEnd(*daemon);
}

TEST_F(JournalFields, LineOfTheStartUpHasNoApplication) {
  const auto daemon = node.startedDaemon({"-v"}, start("ORV_JOURNAL_SOCKET"));
  EXPECT_EQ(recordWith("CE start-up complete\n"),
            "MESSAGE=ORV/OrvDaemon, ceInternalStartup: CE start-up complete\nPRIORITY=6\n"
            "SYSLOG_IDENTIFIER=ORVDaemonExe\nORV_EU=ceInternalStartupEu\nORV_NID=0x0000\n");
  expectGracefulEnd(*daemon);
}

TEST_F(JournalFields, ProgramsOwnLineNamesItsEu) {
  node.define({"pump;" + node.program() + ";log hello;0;0;"});
  const auto daemon = node.startedDaemon({"--startup=nid=0x1011"}, start("ORV_JOURNAL_SOCKET"));
  EXPECT_EQ(recordWith("MESSAGE=hello"),
            "MESSAGE=hello\nPRIORITY=6\nSYSLOG_IDENTIFIER=program\nORV_EU=pump\nORV_NID=0x1011\nORV_APPLICATION=" +
                node.program() + "\n");
  expectGracefulEnd(*daemon);
}

TEST_F(JournalFields, WithoutAJournalTheSyslogDaemonGetsTheLine) {
  ProcessStart both = start("ORV_SYSLOG_SOCKET");
  both.environment.push_back("ORV_JOURNAL_SOCKET=" + node.path("nobody"));
  both.environment.push_back("TZ=UTC");
  const auto daemon = node.startedDaemon({"-v"}, both);
  const std::string record = recordWith("CE start-up complete");
  const Pattern expected("^<30>[A-Z][a-z][a-z] [ 1-3][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} ORVDaemonExe\\[" +
                         std::to_string(daemon->pid()) +
                         "\\]: ORV/OrvDaemon, ceInternalStartup: CE start-up complete$");
  EXPECT_TRUE(expected.isIn(record)) << record;
  expectGracefulEnd(*daemon);
}

TEST_F(JournalFields, JournalThatDoesNotReadHoldsNothingUp) {
  sink.reset();
  std::filesystem::remove(node.path("sink"));
  const DatagramReceiver slow(node.path("sink"));
  DatagramReceiver::fill(node.path("sink"));
  node.define({"pump;" + node.program() + ";exit 3;0;1;"});
  const auto daemon = node.startedDaemon({"-v"}, start("ORV_JOURNAL_SOCKET"));
  node.waitForFinishedEu("pump");
  EXPECT_EQ(node.raisedErrors().size(), 1U);
  // As soon as it reads, it hears what it has missed: with the next line, which may be under way already.
  std::string report;
  while (report.empty() && !slow.isEmpty()) {
    const std::string record = slow.next();
    if (record.find("did not take") != std::string::npos) report = record;
  }
  daemon->signal(SIGTERM);
  if (report.empty()) report = recordWith("did not take", slow);
  const Pattern expected(
      "^MESSAGE=ORV/platform, the journal did not take [0-9]+ lines of this process in time\nPRIORITY=4\n");
  EXPECT_TRUE(expected.isIn(report)) << report;
  EXPECT_EQ(daemon->waitForExit(), 0);
}
