// The daemon's command line: what is printed, what is set, and that no option stops the start-up.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

using Lines = std::vector<std::string>;
using DaemonOptions = DaemonTest;

// The socket on which a service manager is told of its services.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string &path) : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const auto *plain = reinterpret_cast<const sockaddr *>(&address);
    if (bind(descriptor_, plain, sizeof address) != 0) throw std::runtime_error("cannot bind " + path);
  }
  ~NotifySocket() {
    close(descriptor_);
  }
  NotifySocket(const NotifySocket &) = delete;
  NotifySocket &operator=(const NotifySocket &) = delete;

  // What has arrived, up to now.
  Lines messages() const {
    Lines result;
    char buffer[1024];
    for (;;) {
      const ssize_t length = recv(descriptor_, buffer, sizeof buffer, MSG_DONTWAIT);
      if (length < 0) return result;
      result.emplace_back(buffer, static_cast<size_t>(length));
    }
  }

 private:
  int descriptor_;
};

bool exitedWith(int waitStatus, int code) {
  return WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == code;
}

const Lines USAGE = {
    "Usage: ORVDaemonExe [options]",
    "",
    "Options:",
    "  -h                                            This help",
    "  -v, --verbose                                 Increase printing",
    "  -c, --config <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags",
    "  -s, --config_short <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags",
    " --startup[=nid=NID,testerport=<default 15005>,printport=<default 51005>,printip=<default 0x7f000001>,"
    "cename=<name>,masternid=<default NID>,masterip=<default 127.0.0.1>,mastergwport=<master gw port>,"
    "slavenids=<slave1nid:ip1:gwport>#<slave2nid:ip2:gwport>#...],configfile=<ORVEarlyConfig.xml>,"
    "rtconfigfile=<RTORVConfig.xml>,executable=</opt/pelt/PELTStartupExe>,tbtscpid=<0x4d5>",
    "Examples:./ORVDaemonExe --startup=nid=0x1011,testerport=15005",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,configfile=ORVEarlyConfig.xml,"
    "rtconfigfile=RTORVConfig.xml",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,executable=/opt/pelt/PELTStartupExe",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,tbtscpid=0x4d5",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,"
    "mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x2011,testerport=15006,cename=slave1Ce,masternid=0x1011,masterip=192.168.10.101,"
    "mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x3011,testerport=15008,cename=slave2Ce,masternid=0x1011,masterip=192.168.10.101,"
    "mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,notifreceiver=0xf011315,cename=masterCe,masternid=0x1011,"
    "masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,btslogport=15004",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,testermultiplicity=10",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,"
    "mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157,syscomgwprotocol=UDPCP",
    "",
};

// Runs a daemon that ends by itself for want of options.
void expectUsageAndFailure(const TestNode &node, const std::vector<std::string> &arguments) {
  const NotifySocket socket(node.path("notify"));
  ProcessStart start;
  start.environment = {"NOTIFY_SOCKET=" + node.path("notify")};
  const auto daemon = node.daemon(arguments, start);
  EXPECT_TRUE(exitedWith(daemon->waitForExit(), 1));
  daemon->waitForOutputLineWith(USAGE.back());
  EXPECT_EQ(daemon->outputLines(), USAGE);
  Lines errors = daemon->errorLines();
  ASSERT_FALSE(errors.empty());
  EXPECT_TRUE(errors[0].starts_with("RT-ORV build @(#)")) << errors[0];
  errors.erase(errors.begin());
  EXPECT_EQ(errors, (Lines{infoLine("systemdNotify: sending notification to systemd"),
                           errorLine("main: Command line parsing failed")}));
  EXPECT_EQ(socket.messages(), Lines{"READY=1"});
}

}  // namespace

TEST_F(DaemonOptions, NoArgumentsPrintTheUsageAfterTheReadinessNotice) {
  expectUsageAndFailure(node, {});
}

TEST_F(DaemonOptions, OnlyNonOptionArgumentsCountAsNone) {
  expectUsageAndFailure(node, {"nid=0x1011", "start"});
}

TEST_F(DaemonOptions, ReadinessIsToldOnceInAWholeRun) {
  const NotifySocket socket(node.path("notify"));
  ProcessStart start;
  start.environment = {"NOTIFY_SOCKET=" + node.path("notify")};
  const auto daemon = node.startedDaemon({"-v"}, start);
  expectGracefulEnd(*daemon);
  EXPECT_EQ(socket.messages(), (Lines{"READY=1", "STATUS=starting", "STATUS=running", "STOPPING=1"}));
}

TEST_F(DaemonOptions, HelpPrintsTheUsageAndTheStartupGoesOn) {
  const auto daemon = node.startedDaemon({"-h"});
  daemon->waitForOutputLineWith(USAGE.back());
  EXPECT_EQ(daemon->outputLines(), USAGE);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, HelpTwicePrintsTheUsageTwice) {
  const auto daemon = node.startedDaemon({"-hh"});
  Lines twice = USAGE;
  twice.insert(twice.end(), USAGE.begin(), USAGE.end());
  daemon->waitForOutputLineWith(USAGE.back(), 2);
  EXPECT_EQ(daemon->outputLines(), twice);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, VerboseChangesNothing) {
  Lines lines[2];
  const std::vector<std::string> arguments[2] = {{"-v"}, {"--verbose", "-v"}};
  for (int i = 0; i < 2; ++i) {
    const auto daemon = node.startedDaemon(arguments[i]);
    expectGracefulEnd(*daemon);
    EXPECT_EQ(daemon->outputLines(), Lines());
    lines[i] = withoutLinesOf({"shutdown"}, daemon->errorLines());
  }
  EXPECT_EQ(lines[0], lines[1]);
}

TEST_F(DaemonOptions, UnknownOptionsAreReportedAndSkipped) {
  const auto daemon = node.startedDaemon({"-x", "--nothing", "-c"});
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(countLinesWith("invalid option -- 'x'", lines), 1U);
  EXPECT_EQ(countLinesWith("unrecognized option '--nothing'", lines), 1U);
  EXPECT_EQ(countLinesWith("option requires an argument -- 'c'", lines), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, FourFormsSetTagsOfTheirWidth) {
  const auto daemon = node.startedDaemon(
      {"-c", "a=1,text=hello,minus=-1", "-s", "b=0x10004", "--config", "c=65540", "--config_short", "d=-1"});
  EXPECT_EQ(node.tagText("a"), "u32 1");
  EXPECT_EQ(node.tagText("text"), "string hello");
  EXPECT_EQ(node.tagText("minus"), "u32 4294967295");
  EXPECT_EQ(node.tagText("b"), "u16 4");
  EXPECT_EQ(node.tagText("c"), "u32 65540");
  EXPECT_EQ(node.tagText("d"), "u16 65535");
  const CommandResult shown = node.orvctl({"tag", "get", "text"});
  EXPECT_TRUE(exitedWith(shown.waitStatus, 0));
  EXPECT_EQ(countLinesWith("hello", shown.output), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, LaterOptionsOverwriteEarlierOnes) {
  const auto daemon = node.startedDaemon({"-c", "a=1", "--startup=nid=0x1,cename=first", "-s", "a=2",
                                          "--startup=nid=0x2,cename=second", "stray", "-c", "sys.ce.name=third"});
  EXPECT_EQ(node.tagText("a"), "u16 2");
  EXPECT_EQ(node.tagText("sys.ce.name"), "string third");
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(countLinesWith("NID set to 0x0001", lines), 1U);
  EXPECT_EQ(countLinesWith("NID set to 0x0002", lines), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, StartupKeysAreAcknowledged) {
  node.writeFile("early.xml", "<orv><tags><tag name=\"early\" type=\"u16\" value=\"7\"/></tags></orv>");
  node.writeFile("runtime.xml", "<orv><tags><tag name=\"runtime\">yes</tag></tags></orv>");
  const auto daemon = node.startedDaemon(
      {"--startup=nid=0x21011,testerport=15005,printport=017,printip=0x7f000001,cename=myCe,masternid=0x1011,"
       "masterip=192.168.10.101,mastergwport=15155,configfile=" +
       node.path("early.xml") + ",tbtscpid=0x104d5,btslogport=4294967295,testermultiplicity=abc," +
       "syscomgwprotocol=UDPCP,rtconfigfile=" + node.path("runtime.xml")});
  expectGracefulEnd(*daemon);
  const Lines lines = daemon->errorLines();
  const auto first = std::find(lines.begin(), lines.end(), "NID set to 0x1011");
  ASSERT_GE(lines.end() - first, 15);
  EXPECT_EQ(Lines(first, first + 15), (Lines{
                                          "NID set to 0x1011",
                                          "Tester port set to 15005",
                                          "Print port set to 15",
                                          "Print IP set to 0x7f000001",
                                          "CE name set to myCe",
                                          "Master NID set to 0x1011",
                                          "Master IP address set to 192.168.10.101",
                                          "Master GW port set to 15155",
                                          "XML CE configure from " + node.path("early.xml"),
                                          "AaTbts CPID 0x4D5",
                                          "btslogPort set to -1",
                                          "Multiplicity set to 0",
                                          "SysComGw protocol 'UDPCP'",
                                          "RT XML CE configure from " + node.path("runtime.xml"),
                                          "Master NID value in RT startup 0x1011",
                                      }));
  EXPECT_EQ(node.tagText("sys.ce.name"), "string myCe");
  EXPECT_EQ(node.tagText("orv.demo.mastergwport"), "u32 15155");
  EXPECT_EQ(node.tagText("orv.service.aatbts.cpid"), "u16 1237");
  EXPECT_EQ(node.tagText("early"), "u16 7");
  EXPECT_EQ(node.tagText("runtime"), "string yes");
}

TEST_F(DaemonOptions, StartupWithoutAListSaysTheMasterOnly) {
  const auto daemon = node.startedDaemon({"--startup"});
  EXPECT_EQ(daemon->errorLines()[2], "Master NID value in RT startup 0x0000");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, UnknownStartupKeyEndsTheListAndNothingElse) {
  const auto daemon = node.startedDaemon({"--startup=nid=1,bogus=2,testerport=3", "-c", "after=1"});
  const Lines lines = daemon->errorLines();
  EXPECT_EQ(lines[2], "NID set to 0x0001");
  EXPECT_EQ(lines[3], "Unknown option 'bogus=2'");
  EXPECT_EQ(lines[4], infoLine("fullStartup: CE start-up"));
  EXPECT_EQ(node.tagText("after"), "u32 1");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, StartupKeysWithoutAValueDoNotStopTheDaemon) {
  const auto daemon = node.startedDaemon(
      {"--startup=nid,testerport,printport,printip,cename,masternid,masterip,mastergwport,slavenids,configfile,"
       "executable,tbtscpid,notifreceiver,btslogport,testermultiplicity,syscomgwprotocol,rtconfigfile"});
  EXPECT_EQ(countLinesWith("CE name set to ", daemon->errorLines()), 1U);
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, SlaveNodesBecomeTags) {
  const auto daemon = node.startedDaemon(
      {"--startup=slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157#0:10.0.0.1:1##0x41:300.1.1.1:1#"});
  daemon->waitForOutputLineWith("AddSlave/ Failed to get GW IP for slave 4");
  EXPECT_EQ(daemon->outputLines(), (Lines{
                                       "AddSlave/ slave 1 nid=0x2011",
                                       "AddSlave/ slave 1 ip=192.168.10.102",
                                       "AddSlave/ slave 1 port=15156",
                                       "AddSlave/ slave 2 nid=0x3011",
                                       "AddSlave/ slave 2 ip=192.168.10.103",
                                       "AddSlave/ slave 2 port=15157",
                                       "AddSlave/ slave 3 nid=0x0",
                                       "Failed to get node id for slave 3",
                                       "AddSlave/ slave 4 nid=0x41",
                                       "AddSlave/ slave 4 ip=300.1.1.1",
                                       "AddSlave/ Failed to get GW IP for slave 4",
                                   }));
  EXPECT_EQ(countLinesWith("4 slavenids set", daemon->errorLines()), 1U);
  EXPECT_EQ(node.tagText("orv.demo.slave1nid"), "u16 8209");
  EXPECT_EQ(node.tagText("orv.demo.slave1ip"), "string 192.168.10.102");
  EXPECT_EQ(node.tagText("orv.demo.slave1gwport"), "u32 15156");
  EXPECT_EQ(node.tagText("orv.demo.slave2nid"), "u16 12305");
  EXPECT_EQ(node.tagText("orv.demo.slave3nid"), "not set");
  EXPECT_EQ(node.tagText("orv.demo.slave4nid"), "u16 65");
  EXPECT_EQ(node.tagText("orv.demo.slave4ip"), "not set");
  EXPECT_EQ(node.tagText("orv.demo.numberofslavenodes"), "u32 4");
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, MalformedConfigurationFileIsReportedAndTheStartupGoesOn) {
  node.writeFile("platform.xml", "<orv>\n  <tags>\n    <tga name=\"a\">1</tga>\n  </tags>\n</orv>\n");
  const auto daemon = node.startedDaemon({"-c", "app.hwapi.appcfg.filename=" + node.path("AppDef.txt")});
  const std::string report = daemon->waitForErrorLineWith(node.path("platform.xml") + ":3:");
  EXPECT_TRUE(report.starts_with("Error/ORV/platform, ")) << report;
  EXPECT_NE(report.find("expected <tag>"), std::string::npos) << report;
  expectGracefulEnd(*daemon);
}

TEST_F(DaemonOptions, MissingNamedConfigurationFileIsReportedAndTheStartupGoesOn) {
  ProcessStart start;
  start.environment = {"ORV_CONFIG=" + node.path("none.xml")};
  const auto daemon = node.startedDaemon({"-c", "app.hwapi.appcfg.filename=" + node.path("AppDef.txt")}, start);
  daemon->waitForErrorLineWith(node.path("none.xml"));
  expectGracefulEnd(*daemon);
}
