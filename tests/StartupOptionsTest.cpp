// The option --startup: what each key stores, sets and prints.
#include "StartupOptions.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "NodeFixture.h"

using orvtest::Lines;

namespace {

constexpr size_t PROTOCOL_OFFSET = 64;
constexpr size_t RT_CONFIG_FILE_OFFSET = PROTOCOL_OFFSET + sizeof(char *);
constexpr size_t RECORD_SIZE = RT_CONFIG_FILE_OFFSET + 4096;

// The record is full of 0x5a before each test, the master node id with it.
constexpr const char *END_LINE = "Master NID value in RT startup 0x5a5a\n";

class ParseStartupOptions : public orvtest::NodeTest {
 protected:
  void SetUp() override {
    std::memset(record(), 0x5a, RECORD_SIZE);
  }

  // Every test says what the record has to hold; all the rest of it is as it was.
  void TearDown() override {
    size_t difference = 0;
    while (difference < RECORD_SIZE && record()[difference] == expectedRecord_[difference])
      ++difference;
    EXPECT_EQ(difference, RECORD_SIZE) << "the offset of the first byte of the record that is not as expected";
  }

  // Carries out one argument. Returns what standard error gets of it; no key but slavenids writes to standard output.
  std::string parse(const std::string &argument) {
    argument_.assign(argument.c_str(), argument.c_str() + argument.size() + 1);
    return carryOut(argument_.data());
  }
  static std::string carryOut(char *argument) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    parseStartupOptions(argument);
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return printed;
  }

  template <class Value>
  void expectInRecord(size_t offset, Value value) {
    std::memcpy(expectedRecord_.data() + offset, &value, sizeof value);
  }
  void expectInRecord(size_t offset, const std::string &text) {
    std::memcpy(expectedRecord_.data() + offset, text.data(), text.size());
  }
  void expectNid(uint16_t value) {
    expectInRecord(0, value);
  }
  void expectMasterNid(uint16_t value) {
    expectInRecord(2, value);
  }
  // With its NUL; behind that masterIp keeps what it held.
  void expectMasterIp(const std::string &text) {
    expectInRecord(4, text + '\0');
  }
  void expectTesterPort(uint32_t value) {
    expectInRecord(20, value);
  }
  void expectPrintPort(uint32_t value) {
    expectInRecord(24, value);
  }
  void expectPrintIp(uint32_t value) {
    expectInRecord(28, value);
  }
  void expectBtsLogPort(uint32_t value) {
    expectInRecord(48, value);
  }
  void expectTesterMultiplicity(uint32_t value) {
    expectInRecord(52, value);
  }
  void expectProtocol(const char *value) {
    expectInRecord(PROTOCOL_OFFSET, value);
  }
  void expectRtConfigFile(const std::string &text) {
    expectInRecord(RT_CONFIG_FILE_OFFSET, text + std::string(4096 - text.size(), '\0'));
  }

  std::vector<char> argument_;

 private:
  std::vector<char> expectedRecord_ = std::vector<char>(RECORD_SIZE, 0x5a);
};

}  // namespace

TEST_F(ParseStartupOptions, AbsentArgumentShowsTheMasterNidAlone) {
  EXPECT_EQ(carryOut(nullptr), END_LINE);
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(ParseStartupOptions, EmptyArgumentShowsTheMasterNidAlone) {
  EXPECT_EQ(parse(""), END_LINE);
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(ParseStartupOptions, KeysAreCarriedOutInTheirOrder) {
  EXPECT_EQ(parse("nid=0x1011,testerport=15005"),
            std::string("NID set to 0x1011\nTester port set to 15005\n") + END_LINE);
  expectNid(0x1011);
  expectTesterPort(15005);
}

TEST_F(ParseStartupOptions, EndLineShowsTheMasterNidThatWasSet) {
  EXPECT_EQ(parse("masternid=0x1011"), "Master NID set to 0x1011\nMaster NID value in RT startup 0x1011\n");
  expectMasterNid(0x1011);
}

TEST_F(ParseStartupOptions, NidKeepsTheLowSixteenBits) {
  EXPECT_EQ(parse("nid=0x21011"), std::string("NID set to 0x1011\n") + END_LINE);
  expectNid(0x1011);
}

TEST_F(ParseStartupOptions, NidIsReadWithBaseDetection) {
  EXPECT_EQ(parse("nid=017"), std::string("NID set to 0x000f\n") + END_LINE);
  expectNid(15);
}

TEST_F(ParseStartupOptions, NegativeNidIsStoredAsItsPattern) {
  EXPECT_EQ(parse("nid=-1"), std::string("NID set to 0xffff\n") + END_LINE);
  expectNid(0xffff);
}

TEST_F(ParseStartupOptions, NidBeyond32BitsGivesTheLimitsPattern) {
  EXPECT_EQ(parse("nid=0x100000000"), std::string("NID set to 0xffff\n") + END_LINE);
  expectNid(0xffff);
}

TEST_F(ParseStartupOptions, MasterNidKeepsTheLowSixteenBits) {
  EXPECT_EQ(parse("masternid=65537"), "Master NID set to 0x0001\nMaster NID value in RT startup 0x0001\n");
  expectMasterNid(1);
}

TEST_F(ParseStartupOptions, TextThatIsNoNumberIsZero) {
  EXPECT_EQ(parse("testerport=abc,printport=12x,nid="),
            std::string("Tester port set to 0\nPrint port set to 12\nNID set to 0x0000\n") + END_LINE);
  expectTesterPort(0);
  expectPrintPort(12);
  expectNid(0);
}

TEST_F(ParseStartupOptions, TesterPortFrom2To31UpIsPrintedNegative) {
  EXPECT_EQ(parse("testerport=2147483647"), std::string("Tester port set to 2147483647\n") + END_LINE);
  EXPECT_EQ(parse("testerport=2147483648"), std::string("Tester port set to -2147483648\n") + END_LINE);
  EXPECT_EQ(parse("testerport=4294967295"), std::string("Tester port set to -1\n") + END_LINE);
  expectTesterPort(4294967295);
}

TEST_F(ParseStartupOptions, TesterPortBeyond32BitsGivesTheLimit) {
  EXPECT_EQ(parse("testerport=4294967296"), std::string("Tester port set to -1\n") + END_LINE);
  expectTesterPort(4294967295);
}

TEST_F(ParseStartupOptions, NegativeTesterPortIsStoredAsItsPattern) {
  EXPECT_EQ(parse("testerport=-2"), std::string("Tester port set to -2\n") + END_LINE);
  expectTesterPort(4294967294);
}

TEST_F(ParseStartupOptions, PrintPortIsStored) {
  EXPECT_EQ(parse("printport=51006"), std::string("Print port set to 51006\n") + END_LINE);
  expectPrintPort(51006);
}

TEST_F(ParseStartupOptions, PrintPortFrom2To31UpIsPrintedNegative) {
  EXPECT_EQ(parse("printport=0xffffffff"), std::string("Print port set to -1\n") + END_LINE);
  expectPrintPort(0xffffffff);
}

TEST_F(ParseStartupOptions, PrintIpIsANumber) {
  EXPECT_EQ(parse("printip=0x7f000001"), std::string("Print IP set to 0x7f000001\n") + END_LINE);
  expectPrintIp(0x7f000001);
}

TEST_F(ParseStartupOptions, PrintIpIsPrintedWithEightDigits) {
  EXPECT_EQ(parse("printip=10"), std::string("Print IP set to 0x0000000a\n") + END_LINE);
  EXPECT_EQ(parse("printip=0xC0A80A65"), std::string("Print IP set to 0xc0a80a65\n") + END_LINE);
  expectPrintIp(0xc0a80a65);
}

TEST_F(ParseStartupOptions, PrintIpAsDottedTextIsReadUpToTheDot) {
  EXPECT_EQ(parse("printip=127.0.0.1"), std::string("Print IP set to 0x0000007f\n") + END_LINE);
  expectPrintIp(127);
}

TEST_F(ParseStartupOptions, BtsLogPortIsStored) {
  EXPECT_EQ(parse("btslogport=15004"), std::string("btslogPort set to 15004\n") + END_LINE);
  expectBtsLogPort(15004);
}

TEST_F(ParseStartupOptions, BtsLogPortFrom2To31UpIsPrintedNegative) {
  EXPECT_EQ(parse("btslogport=0x80000000"), std::string("btslogPort set to -2147483648\n") + END_LINE);
  expectBtsLogPort(0x80000000);
}

TEST_F(ParseStartupOptions, TesterMultiplicityIsStored) {
  EXPECT_EQ(parse("testermultiplicity=10"), std::string("Multiplicity set to 10\n") + END_LINE);
  expectTesterMultiplicity(10);
}

TEST_F(ParseStartupOptions, TesterMultiplicityFrom2To31UpIsPrintedNegative) {
  EXPECT_EQ(parse("testermultiplicity=4294967295"), std::string("Multiplicity set to -1\n") + END_LINE);
  expectTesterMultiplicity(4294967295);
}

TEST_F(ParseStartupOptions, CeNameGoesToTheEnvironmentAndATag) {
  EXPECT_EQ(parse("cename=myCe"), std::string("CE name set to myCe\n") + END_LINE);
  EXPECT_STREQ(std::getenv("ORV_CE_NAME"), "myCe");
  EXPECT_EQ(tags(), (Lines{"sys.ce.name string myCe"}));
}

TEST_F(ParseStartupOptions, CeNameOverwritesTheEnvironment) {
  ASSERT_EQ(setenv("ORV_CE_NAME", "inherited", 1), 0);
  parse("cename=first,cename=second");
  EXPECT_STREQ(std::getenv("ORV_CE_NAME"), "second");
  EXPECT_EQ(tags(), (Lines{"sys.ce.name string second"}));
}

TEST_F(ParseStartupOptions, MasterIpIsCopied) {
  EXPECT_EQ(parse("masterip=10.0.0.1"), std::string("Master IP address set to 10.0.0.1\n") + END_LINE);
  expectMasterIp("10.0.0.1");
}

TEST_F(ParseStartupOptions, MasterIpOf15CharactersFillsItsMember) {
  EXPECT_EQ(parse("masterip=192.168.100.101"), std::string("Master IP address set to 192.168.100.101\n") + END_LINE);
  expectMasterIp("192.168.100.101");
}

TEST_F(ParseStartupOptions, MasterIpOf16CharactersEndsInTheNextMember) {
  EXPECT_EQ(parse("masterip=192.168.100.1012"), std::string("Master IP address set to 192.168.100.1012\n") + END_LINE);
  expectMasterIp("192.168.100.1012");
}

TEST_F(ParseStartupOptions, MasterIpOf60CharactersRunsOverTheMembersBehindIt) {
  const std::string text(60, 'i');
  EXPECT_EQ(parse("masterip=" + text), "Master IP address set to " + text + "\n" + END_LINE);
  expectMasterIp(text);
}

TEST_F(ParseStartupOptions, MasterIpMayFillTheRecordToItsEnd) {
  const std::string text(RECORD_SIZE - 4 - 1, 'i');
  EXPECT_EQ(parse("masterip=" + text), "Master IP address set to " + text + "\n" + END_LINE);
  expectMasterIp(text);
}

TEST_F(ParseStartupOptions, MasterIpNeverRunsPastTheRecord) {
  const std::string kept(RECORD_SIZE - 4 - 1, 'i');
  EXPECT_EQ(parse("masterip=" + kept + "x"), "Master IP address set to " + kept + "\n" + END_LINE);
  EXPECT_EQ(parse("masterip=" + kept + std::string(100000, 'x')), "Master IP address set to " + kept + "\n" + END_LINE);
  expectMasterIp(kept);
}

TEST_F(ParseStartupOptions, ShorterMasterIpLeavesTheRestOfTheLongerOneBehindItsEnd) {
  parse("masterip=10.0.0.100,masterip=1.2.3.4");
  expectMasterIp(
      std::string("1.2.3.4\0"
                  "00",
                  10));
}

TEST_F(ParseStartupOptions, MasterGwPortBecomesA32BitTag) {
  EXPECT_EQ(parse("mastergwport=15155"), std::string("Master GW port set to 15155\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.demo.mastergwport u32 15155"}));
}

TEST_F(ParseStartupOptions, NegativeMasterGwPortIsStoredAsItsPattern) {
  EXPECT_EQ(parse("mastergwport=-1"), std::string("Master GW port set to -1\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.demo.mastergwport u32 4294967295"}));
}

TEST_F(ParseStartupOptions, MasterGwPortIsReadAsASignedNumber) {
  EXPECT_EQ(parse("mastergwport=4294967295"), std::string("Master GW port set to 2147483647\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.demo.mastergwport u32 2147483647"}));
}

TEST_F(ParseStartupOptions, ConfigFileIsRead) {
  const FreshDirectory directory;
  const std::string file =
      directory.write("early.xml", "<orv><tags><tag name=\"early\" type=\"u16\">7</tag></tags></orv>");
  EXPECT_EQ(parse("configfile=" + file), "XML CE configure from " + file + "\n" + END_LINE);
  EXPECT_EQ(tags(), (Lines{"early u16 7"}));
}

TEST_F(ParseStartupOptions, ConfigFileThatCannotBeReadDoesNotStopTheList) {
  const FreshDirectory directory;
  const std::string file = directory.path() + "/absent.xml";
  const std::string printed = parse("configfile=" + file + ",nid=1");
  // In between the platform says what is wrong.
  EXPECT_TRUE(printed.starts_with("XML CE configure from " + file + "\n")) << printed;
  EXPECT_TRUE(printed.ends_with(std::string("NID set to 0x0001\n") + END_LINE)) << printed;
  EXPECT_EQ(tags(), Lines{});
  expectNid(1);
}

TEST_F(ParseStartupOptions, ExecutableBecomesTheDefinitionString) {
  EXPECT_EQ(parse("executable=/opt/a -v#a.online|/opt/b"),
            std::string("Start executable '/opt/a -v#a.online|/opt/b'\n") + END_LINE);
  EXPECT_STREQ(gExeDefString, "/opt/a -v#a.online|/opt/b");
}

TEST_F(ParseStartupOptions, LaterExecutableReplacesTheEarlierOne) {
  EXPECT_EQ(parse("executable=/long/path,executable=/b"),
            std::string("Start executable '/long/path'\nStart executable '/b'\n") + END_LINE);
  EXPECT_STREQ(gExeDefString, "/b");
}

TEST_F(ParseStartupOptions, ExecutableIsCutAt255) {
  const std::string longest(255, 'e');
  EXPECT_EQ(parse("executable=" + longest), "Start executable '" + longest + "'\n" + END_LINE);
  EXPECT_EQ(gExeDefString, longest);
  // The line shows the value and not what is kept of it.
  EXPECT_EQ(parse("executable=" + longest + "f"), "Start executable '" + longest + "f'\n" + END_LINE);
  EXPECT_EQ(gExeDefString, longest);
}

TEST_F(ParseStartupOptions, TbtsCpidBecomesA16BitTag) {
  EXPECT_EQ(parse("tbtscpid=0x104d5"), std::string("AaTbts CPID 0x4D5\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.service.aatbts.cpid u16 1237"}));
}

TEST_F(ParseStartupOptions, NegativeTbtsCpidIsStoredAsItsPattern) {
  EXPECT_EQ(parse("tbtscpid=-1"), std::string("AaTbts CPID 0xFFFF\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.service.aatbts.cpid u16 65535"}));
}

TEST_F(ParseStartupOptions, NotifReceiverIsStored) {
  EXPECT_EQ(parse("notifreceiver=0xf011315"), std::string("Notify receiver set to 0xf011315\n") + END_LINE);
  EXPECT_EQ(gNotifyReceiver, 0xf011315u);
}

TEST_F(ParseStartupOptions, NotifReceiverHas32Bits) {
  EXPECT_EQ(parse("notifreceiver=0xffffffff"), std::string("Notify receiver set to 0xffffffff\n") + END_LINE);
  EXPECT_EQ(gNotifyReceiver, 0xffffffffu);
  EXPECT_EQ(parse("notifreceiver=0"), std::string("Notify receiver set to 0x0\n") + END_LINE);
  EXPECT_EQ(gNotifyReceiver, 0u);
}

TEST_F(ParseStartupOptions, SysComGwProtocolPointsIntoTheArgument) {
  EXPECT_EQ(parse("syscomgwprotocol=UDPCP,nid=1"),
            std::string("SysComGw protocol 'UDPCP'\nNID set to 0x0001\n") + END_LINE);
  const char *value = argument_.data() + std::strlen("syscomgwprotocol=");
  EXPECT_STREQ(value, "UDPCP");
  expectProtocol(value);
  expectNid(1);
}

TEST_F(ParseStartupOptions, RtConfigFileIsCopied) {
  EXPECT_EQ(parse("rtconfigfile=/long/name.xml,rtconfigfile=RT.xml"),
            std::string("RT XML CE configure from /long/name.xml\nRT XML CE configure from RT.xml\n") + END_LINE);
  expectRtConfigFile("RT.xml");
}

TEST_F(ParseStartupOptions, RtConfigFileOf4095CharactersIsWhole) {
  const std::string longest(4095, 'r');
  EXPECT_EQ(parse("rtconfigfile=" + longest), "RT XML CE configure from " + longest + "\n" + END_LINE);
  expectRtConfigFile(longest);
}

TEST_F(ParseStartupOptions, RtConfigFileOf4096CharactersIsCut) {
  const std::string kept(4095, 'r');
  // The line shows what is kept and not the value.
  EXPECT_EQ(parse("rtconfigfile=" + kept + "s"), "RT XML CE configure from " + kept + "\n" + END_LINE);
  expectRtConfigFile(kept);
}

TEST_F(ParseStartupOptions, UnknownKeyEndsTheList) {
  EXPECT_EQ(parse("nid=1,bogus=2,testerport=3"), "NID set to 0x0001\nUnknown option 'bogus=2'\n");
  expectNid(1);
}

TEST_F(ParseStartupOptions, UnknownKeyWithoutValueEndsTheList) {
  EXPECT_EQ(parse("bogus,nid=1"), "Unknown option 'bogus'\n");
}

TEST_F(ParseStartupOptions, KeyMatchesAsAWholeWordOnly) {
  EXPECT_EQ(parse("ni=1"), "Unknown option 'ni=1'\n");
  EXPECT_EQ(parse("nidx=1"), "Unknown option 'nidx=1'\n");
  EXPECT_EQ(parse("NID=1"), "Unknown option 'NID=1'\n");
  EXPECT_EQ(parse(" nid=1"), "Unknown option ' nid=1'\n");
  EXPECT_EQ(parse("nid =1"), "Unknown option 'nid =1'\n");
  EXPECT_EQ(parse("=1"), "Unknown option '=1'\n");
}

TEST_F(ParseStartupOptions, EmptySubOptionIsUnknown) {
  EXPECT_EQ(parse("nid=1,,testerport=3"), "NID set to 0x0001\nUnknown option ''\n");
  expectNid(1);
}

TEST_F(ParseStartupOptions, CommaAtTheEndEndsTheList) {
  EXPECT_EQ(parse("nid=1,"), std::string("NID set to 0x0001\n") + END_LINE);
  expectNid(1);
}

TEST_F(ParseStartupOptions, ValueGoesUpToTheNextComma) {
  EXPECT_EQ(parse("cename=a=b c,nid=1"), std::string("CE name set to a=b c\nNID set to 0x0001\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"sys.ce.name string a=b c"}));
  expectNid(1);
}

TEST_F(ParseStartupOptions, LastOccurrenceOfANumberCounts) {
  EXPECT_EQ(parse("nid=1,notifreceiver=1,tbtscpid=1,nid=2,notifreceiver=2,tbtscpid=2"),
            std::string("NID set to 0x0001\nNotify receiver set to 0x1\nAaTbts CPID 0x1\n"
                        "NID set to 0x0002\nNotify receiver set to 0x2\nAaTbts CPID 0x2\n") +
                END_LINE);
  expectNid(2);
  EXPECT_EQ(gNotifyReceiver, 2u);
  EXPECT_EQ(tags(), (Lines{"orv.service.aatbts.cpid u16 2"}));
}

TEST_F(ParseStartupOptions, LaterArgumentOverwritesAnEarlierOne) {
  EXPECT_EQ(parse("nid=1,testerport=1"), std::string("NID set to 0x0001\nTester port set to 1\n") + END_LINE);
  EXPECT_EQ(parse("nid=2"), std::string("NID set to 0x0002\n") + END_LINE);
  expectNid(2);
  expectTesterPort(1);
}

TEST_F(ParseStartupOptions, AbsentNumbersAreZero) {
  EXPECT_EQ(parse("nid,testerport,printport,printip,masternid,btslogport,testermultiplicity,notifreceiver"),
            "NID set to 0x0000\nTester port set to 0\nPrint port set to 0\nPrint IP set to 0x00000000\n"
            "Master NID set to 0x0000\nbtslogPort set to 0\nMultiplicity set to 0\nNotify receiver set to 0x0\n"
            "Master NID value in RT startup 0x0000\n");
  expectNid(0);
  expectMasterNid(0);
  expectTesterPort(0);
  expectPrintPort(0);
  expectPrintIp(0);
  expectBtsLogPort(0);
  expectTesterMultiplicity(0);
}

TEST_F(ParseStartupOptions, AbsentNumbersSetTheirTagsToZero) {
  EXPECT_EQ(parse("mastergwport,tbtscpid"), std::string("Master GW port set to 0\nAaTbts CPID 0x0\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.demo.mastergwport u32 0", "orv.service.aatbts.cpid u16 0"}));
}

TEST_F(ParseStartupOptions, AbsentTextsAreEmpty) {
  std::strcpy(gExeDefString, "/before");
  EXPECT_EQ(
      parse("cename,masterip,executable,rtconfigfile"),
      std::string("CE name set to \nMaster IP address set to \nStart executable ''\nRT XML CE configure from \n") +
          END_LINE);
  EXPECT_STREQ(std::getenv("ORV_CE_NAME"), "");
  EXPECT_EQ(tags(), (Lines{"sys.ce.name string "}));
  EXPECT_STREQ(gExeDefString, "");
  expectMasterIp("");
  expectRtConfigFile("");
}

TEST_F(ParseStartupOptions, AbsentProtocolIsAnEmptyTextThatLives) {
  EXPECT_EQ(parse("syscomgwprotocol"), std::string("SysComGw protocol ''\n") + END_LINE);
  argument_.assign(argument_.size(), 'x');
  const char *value = nullptr;
  std::memcpy(&value, record() + PROTOCOL_OFFSET, sizeof value);
  EXPECT_STREQ(value, "");
  expectProtocol(value);
}

TEST_F(ParseStartupOptions, AbsentSlaveListCountsOneItem) {
  EXPECT_EQ(parse("slavenids"), std::string("Setting slavenids... \n1 slavenids set\n") + END_LINE);
  EXPECT_EQ(tags(), (Lines{"orv.demo.numberofslavenodes u32 1"}));
}

TEST_F(ParseStartupOptions, AbsentConfigFileSetsNothing) {
  const std::string printed = parse("configfile");
  EXPECT_TRUE(printed.starts_with("XML CE configure from \n")) << printed;
  EXPECT_TRUE(printed.ends_with(END_LINE)) << printed;
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(ParseStartupOptions, NothingReachesTheSystemLog) {
  gEarlyStartupDone = 1;
  parse("nid=1,cename=a,executable=/b,bogus=2");
  expectNid(1);
  EXPECT_EQ(systemLog(), Lines{});
}
