// What orvctl check says about start-up strings, to the letter.
#include <gtest/gtest.h>

#include <string>

#include "CheckFixture.h"

namespace {

// `count` slaves, with "#" between.
std::string slaves(int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += (i == 0 ? "" : "#") + std::string("1:10.0.0.2:1");
  return text;
}

}  // namespace

TEST(CheckStartup, NothingIsSaidOfAWellFormedOne) {
  EXPECT_EQ(findingsOf(checkStartupText(
                "nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,mastergwport="
                "15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157,syscomgwprotocol=UDPCP")),
            Lines{});
}

TEST(CheckStartup, AnUnknownKey) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=1,tester_port=2,printport=3")),
            (Lines{"1:7+11 error unknown-key: there is no key \"tester_port\"",
                   "  the daemon stops reading at a key that it does not know: \"printport=3\" is lost as well",
                   "  testerport"}));
}

TEST(CheckStartup, AnUnknownKeyAtTheEnd) {
  EXPECT_EQ(
      findingsOf(checkStartupText("nid=1,bogus=2")),
      (Lines{"1:7+5 error unknown-key: there is no key \"bogus\"",
             "  the daemon stops reading at a key that it does not know", "  one of the keys of ORVDaemonExe -h"}));
}

TEST(CheckStartup, AKeyInCapitals) {
  EXPECT_EQ(findingsOf(checkStartupText("NID=1")),
            (Lines{"1:1+3 error unknown-key: there is no key \"NID\"",
                   "  the daemon stops reading at a key that it does not know", "  nid"}));
}

TEST(CheckStartup, ABlankBehindAComma) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=1, testerport=2")),
            (Lines{"1:7+11 error unknown-key: there is no key \" testerport\"",
                   "  the daemon stops reading at a key that it does not know", "  testerport"}));
}

TEST(CheckStartup, TwoCommas) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=1,,testerport=2")),
            (Lines{"1:7+0 error unknown-key: nothing between two commas",
                   "  the daemon stops reading at a key that it does not know: \"testerport=2\" is lost as well",
                   "  one comma"}));
}

TEST(CheckStartup, ACommaAtTheEndIsHarmless) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=1,")), Lines{});
}

TEST(CheckStartup, AKeyWithoutAValue) {
  EXPECT_EQ(findingsOf(checkStartupText("nid,cename=")),
            (Lines{"1:1+3 warning no-value: the key nid has no value", "  the daemon takes it for 0",
                   "  nid=VALUE, or nothing", "1:5+7 warning no-value: the key cename has no value",
                   "  the daemon goes on with an empty text", "  cename=VALUE, or nothing"}));
}

TEST(CheckStartup, ARepeatedKey) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=1,nid=2")),
            (Lines{"1:7+3 warning repeated-key: the key nid stands there again", "  the last value counts",
                   "  the key once"}));
}

TEST(CheckStartup, ARepeatedList) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=1:10.0.0.1:5,slavenids=2:10.0.0.2:5")),
            (Lines{"1:24+9 warning repeated-key: the key slavenids stands there again",
                   "  the second list goes on at the last slave of the first, whose tags it sets again",
                   "  one list of all slaves"}));
}

TEST(CheckStartup, ANumberBeyond16Bits) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=0x21011")),
            (Lines{"1:5+7 warning number-too-large: \"0x21011\" does not fit into the node id",
                   "  the daemon goes on with 0x1011", "  a number that fits"}));
}

TEST(CheckStartup, ANegativeNodeId) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=-1")),
            (Lines{"1:5+2 warning number-too-large: \"-1\" does not fit into the node id",
                   "  the daemon goes on with 0xffff", "  a number that fits"}));
}

TEST(CheckStartup, ANumberBeyond32Bits) {
  EXPECT_EQ(findingsOf(checkStartupText("notifreceiver=0x1ffffffff")),
            (Lines{"1:15+11 warning number-too-large: \"0x1ffffffff\" does not fit into the notify receiver",
                   "  the daemon goes on with 4294967295", "  a number that fits"}));
}

TEST(CheckStartup, ATextForANumber) {
  EXPECT_EQ(findingsOf(checkStartupText("testerport=abc")),
            (Lines{"1:12+3 warning bad-number: \"abc\" is no number", "  the daemon reads 0 and passes over the rest",
                   "  a decimal number, or 0x and a hexadecimal one"}));
}

TEST(CheckStartup, RubbishBehindANumber) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=0x1011x")), (Lines{"1:11+1 warning bad-number: \"0x1011x\" is no number",
                                                                "  the daemon reads 0x1011 and passes over the rest",
                                                                "  a decimal number, or 0x and a hexadecimal one"}));
}

TEST(CheckStartup, AnOctalNumber) {
  EXPECT_EQ(findingsOf(checkStartupText("testerport=015005")),
            (Lines{"1:12+6 warning octal-number: \"015005\" is octal: it begins with 0", "  the daemon reads 6661",
                   "  15005"}));
}

TEST(CheckStartup, DigitsThatAreNotOctal) {
  EXPECT_EQ(findingsOf(checkStartupText("testerport=0805")),
            (Lines{"1:13+3 warning bad-number: \"0805\" is no number", "  the daemon reads 0 and passes over the rest",
                   "  a decimal number, or 0x and a hexadecimal one"}));
}

TEST(CheckStartup, APortThatIsNone) {
  EXPECT_EQ(findingsOf(checkStartupText("printport=70000")),
            (Lines{"1:11+5 warning no-port: \"70000\" is no port", "  the daemon goes on with 70000",
                   "  a number from 1 to 65535"}));
}

TEST(CheckStartup, ANegativeGatewayPort) {
  EXPECT_EQ(findingsOf(checkStartupText("mastergwport=-1")),
            (Lines{"1:14+2 warning no-port: \"-1\" is no port", "  the daemon goes on with -1",
                   "  a number from 1 to 65535"}));
}

TEST(CheckStartup, ADottedPrintAddress) {
  EXPECT_EQ(findingsOf(checkStartupText("printip=127.0.0.1")),
            (Lines{"1:9+9 warning dotted-address: this address is a number, not a dotted text",
                   "  the daemon reads 0x0000007f", "  0x7f000001"}));
}

TEST(CheckStartup, AMasterAddressThatRunsOver) {
  EXPECT_EQ(
      findingsOf(checkStartupText("masterip=192.168.100.1001")),
      (Lines{"1:25+1 error master-address-too-long: the master's address has 16 bytes, 1 more than fit",
             "  it runs over into the start-up record: the tester port", "  an IPv4 address, of at most 15 bytes"}));
}

TEST(CheckStartup, AMasterAddressThatRunsOverMuch) {
  EXPECT_EQ(findingsOf(checkStartupText("masterip=" + std::string(40, '1'))),
            (Lines{"1:25+25 error master-address-too-long: the master's address has 40 bytes, 25 more than fit",
                   "  it runs over into the start-up record: the tester port, the print port, the print address, what "
                   "is the platform's own",
                   "  an IPv4 address, of at most 15 bytes"}));
}

TEST(CheckStartup, ANameForTheMastersAddress) {
  EXPECT_EQ(findingsOf(checkStartupText("masterip=master.local")),
            (Lines{"1:10+12 warning no-address: the master's address is no IPv4 address",
                   "  the daemon hands it on as it is", "  192.168.10.101, for instance"}));
}

TEST(CheckStartup, ASlaveWithoutColons) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x2011")),
            (Lines{"1:11+6 error bad-slave: this is not <nid>:<address>:<port>",
                   "  no tag of slave 1 is set, without a word", "  0x2011:192.168.10.102:15156, for instance"}));
}

TEST(CheckStartup, AnEmptyFirstSlave) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=#0x2011:10.0.0.2:1")),
            (Lines{"1:11+0 warning empty-slave: the first slave is empty",
                   "  it counts as slave 1 all the same, and sets no tag", "  the list without it"}));
}

TEST(CheckStartup, EmptySlavesBetweenAreHarmless) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x2011:10.0.0.2:1##0x3011:10.0.0.3:1#")), Lines{});
}

TEST(CheckStartup, ASlaveWithoutANodeId) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x0:10.0.0.2:1")),
            (Lines{"1:11+3 error bad-slave: the node id of slave 1 is 0", "  no tag of this slave is set",
                   "  a number from 1 to 0xffff"}));
}

TEST(CheckStartup, ASlaveWithABadAddress) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x2011:300.1.1.1:1")),
            (Lines{"1:18+9 error bad-slave: the address of slave 1 is no IPv4 address",
                   "  of this slave only the tag orv.demo.slave1nid is set", "  192.168.10.102, for instance"}));
}

TEST(CheckStartup, ASlaveWithAnAddressThatIsTooLong) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x2011:192.168.100.100x:1")),
            (Lines{"1:33+1 warning cut-field: the address of slave 1 is too long",
                   "  the daemon goes on with \"192.168.100.100\"", "  an IPv4 address"}));
}

TEST(CheckStartup, ASlaveWithoutAPort) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x2011:10.0.0.2:none")),
            (Lines{"1:27+4 error bad-slave: the port of slave 1 is 0", "  the tag orv.demo.slave1gwport is not set",
                   "  a number from 1 to 65535"}));
}

TEST(CheckStartup, RubbishBehindASlavesPort) {
  EXPECT_EQ(
      findingsOf(checkStartupText("slavenids=0x2011:10.0.0.2:15156trailing")),
      (Lines{"1:32+8 warning bad-number: \"15156trailing\" is no number",
             "  the daemon reads 15156 and passes over the rest", "  a decimal number, or 0x and a hexadecimal one"}));
}

TEST(CheckStartup, ASlavePortThatIsNone) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=0x2011:10.0.0.2:99999")),
            (Lines{"1:27+5 warning no-port: \"99999\" is no port", "  the daemon goes on with 99999",
                   "  a number from 1 to 65535"}));
}

TEST(CheckStartup, MoreThan99Slaves) {
  EXPECT_EQ(findingsOf(checkStartupText("slavenids=" + slaves(100))),
            (Lines{"1:1298+12 warning too-many-slaves: this is slave 100",
                   "  the names of its tags are cut: there is room for numbers up to 99", "  a shorter list"}));
}

TEST(CheckStartup, ExecutablesAreCheckedAsWell) {
  EXPECT_EQ(findingsOf(checkStartupText("nid=1,executable=/a|/b|/c|/d")),
            (Lines{"1:27+2 error too-many-definitions: more than 3 executables",
                   "  the daemon starts none of them, and no application either",
                   "  at most 3 executables, and nothing behind the last; others belong into the definition file"}));
}

TEST(CheckStartup, ACommaInTheExecutables) {
  EXPECT_EQ(findingsOf(checkStartupText("executable=/opt/agent -l 1,2#agent.online")),
            (Lines{"1:28+14 error unknown-key: there is no key \"2#agent.online\"",
                   "  the daemon stops reading at a key that it does not know",
                   "  one of the keys of ORVDaemonExe -h; a value without a comma, which ends it"}));
}

TEST(CheckStartup, ARunTimeConfigurationWhosePathIsTooLong) {
  EXPECT_EQ(findingsOf(checkStartupText("rtconfigfile=/" + std::string(4096, 'p'))),
            (Lines{"1:4109+2 error cut-field: the path has 4097 bytes, 2 more than fit",
                   "  the platform reads another file, or none", "  a shorter path"}));
}
