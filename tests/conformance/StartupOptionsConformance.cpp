// The option --startup: what each of its keys stores, sets and prints, and how the list ends.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "OrvDaemon.h"
#include "StartupOptions.h"

using namespace orv::sim;

namespace {

class StartupOptionsConformance : public testing::TestWithParam<OptionCase> {};

// Read before the first boot.
const uint32_t RECEIVER_AT_LOAD = gNotifyReceiver;
const std::string EXECUTABLES_AT_LOAD(gExeDefString, EXE_DEF_STRING_SIZE);

const std::string END = "err: Master NID value in RT startup 0x0000\n";

}  // namespace

TEST_P(StartupOptionsConformance, PrintsCallsAndStores) {
  EXPECT_TRUE(bootsAs(GetParam()));
}

const OptionCase KEY_CASES[] = {
    {"Nid", {"--startup=nid=0x1011"}, "err: NID set to 0x1011\n" + END, "nid=0x1011"},
    {"TesterPort", {"--startup=testerport=15006"}, "err: Tester port set to 15006\n" + END, "testerPort=15006"},
    {"PrintPort", {"--startup=printport=51006"}, "err: Print port set to 51006\n" + END, "printPort=51006"},
    {"PrintIp", {"--startup=printip=0xA00020B"}, "err: Print IP set to 0x0a00020b\n" + END, "printIp=0xa00020b"},
    {"CeName",
     {"--startup=cename=myCe"},
     "err: CE name set to myCe\n AaConfigTagSetString(\"sys.ce.name\", \"myCe\") = 0\n" + END,
     "ORV_CE_NAME=\"myCe\""},
    {"MasterNid",
     {"--startup=masternid=0xa0b"},
     "err: Master NID set to 0x0a0b\n err: Master NID value in RT startup 0x0a0b",
     "masterNid=0x0a0b"},
    {"MasterIp",
     {"--startup=masterip=192.168.10.101"},
     "err: Master IP address set to 192.168.10.101\n" + END,
     "masterIp=\"192.168.10.101\""},
    {"MasterGwPort",
     {"--startup=mastergwport=15155"},
     "AaConfigTagSetU32(\"orv.demo.mastergwport\", 15155) = 0\n err: Master GW port set to 15155\n" + END},
    {"SlaveNids",
     {"--startup=slavenids=0x2011:10.0.0.2:1"},
     R"(err: Setting slavenids... 0x2011:10.0.0.2:1
        out: AddSlave/ slave 1 nid=0x2011
        AaConfigTagSetU16("orv.demo.slave1nid", 8209) = 0
        out: AddSlave/ slave 1 ip=10.0.0.2
        AaConfigTagSetString("orv.demo.slave1ip", "10.0.0.2") = 0
        out: AddSlave/ slave 1 port=1
        AaConfigTagSetU32("orv.demo.slave1gwport", 1) = 0
        err: 1 slavenids set
        AaConfigTagSetU32("orv.demo.numberofslavenodes", 1) = 0
)" + END},
    {"ConfigFile",
     {"--startup=configfile=ORVEarlyConfig.xml"},
     "err: XML CE configure from ORVEarlyConfig.xml\n AaConfigTagReadFile(\"ORVEarlyConfig.xml\") = 2\n" + END},
    {"Executable", {"--startup=executable=/opt/one -a"}, "err: Start executable '/opt/one -a'\n" + END},
    {"TbtsCpid",
     {"--startup=tbtscpid=0x4d5"},
     "err: AaTbts CPID 0x4D5\n AaConfigTagSetU16(\"orv.service.aatbts.cpid\", 1237) = 0\n" + END},
    {"NotifReceiver", {"--startup=notifreceiver=0xF011315"}, "err: Notify receiver set to 0xf011315\n" + END},
    {"BtsLogPort", {"--startup=btslogport=15004"}, "err: btslogPort set to 15004\n" + END, "btsLogPort=15004"},
    {"TesterMultiplicity",
     {"--startup=testermultiplicity=10"},
     "err: Multiplicity set to 10\n" + END,
     "testerMultiplicity=10"},
    {"SysComGwProtocol",
     {"--startup=syscomgwprotocol=UDPCP"},
     "err: SysComGw protocol 'UDPCP'\n" + END,
     "sysComGwProtocol=\"UDPCP\""},
    {"RtConfigFile",
     {"--startup=rtconfigfile=RTORVConfig.xml"},
     "err: RT XML CE configure from RTORVConfig.xml\n" + END,
     "rtConfigFile=\"RTORVConfig.xml\""},
    {"KeysActInTheirOrder",
     {"--startup=rtconfigfile=r.xml,nid=0x1011,masternid=0x3011,cename=x,testerport=1,mastergwport=2,configfile=e.xml,"
      "tbtscpid=3"},
     R"(err: RT XML CE configure from r.xml
        err: NID set to 0x1011
        err: Master NID set to 0x3011
        err: CE name set to x
        AaConfigTagSetString("sys.ce.name", "x") = 0
        err: Tester port set to 1
        AaConfigTagSetU32("orv.demo.mastergwport", 2) = 0
        err: Master GW port set to 2
        err: XML CE configure from e.xml
        AaConfigTagReadFile("e.xml") = 2
        err: AaTbts CPID 0x3
        AaConfigTagSetU16("orv.service.aatbts.cpid", 3) = 0
        err: Master NID value in RT startup 0x3011)",
     "nid=0x1011 masterNid=0x3011 testerPort=1 rtConfigFile=\"r.xml\" ORV_CE_NAME=\"x\""},
};
INSTANTIATE_TEST_SUITE_P(Keys, StartupOptionsConformance, testing::ValuesIn(KEY_CASES), nameOf);

const OptionCase LIST_CASES[] = {
    {"OptionWithoutArgumentPrintsTheMasterNidOnly", {"--startup"}, END},
    {"EmptyArgumentPrintsTheMasterNidOnly", {"--startup="}, END},
    {"MasterNidIsPrintedAsTheRecordHoldsIt",
     {"--startup=masternid=0x21011", "--startup"},
     R"(err: Master NID set to 0x1011
        err: Master NID value in RT startup 0x1011
        err: Master NID value in RT startup 0x1011)",
     "masterNid=0x1011"},
    {"TwoKeys",
     {"--startup=nid=0x1011,testerport=15005"},
     "err: NID set to 0x1011\n err: Tester port set to 15005\n" + END,
     "nid=0x1011 testerPort=15005"},
    {"SeparatorAtTheEnd", {"--startup=nid=1,"}, "err: NID set to 0x0001\n" + END, "nid=0x0001"},
    {"LastValueOfAKeyCounts",
     {"--startup=nid=1,testerport=2,nid=3,testerport=4,masterip=10.0.0.10,masterip=1.2.3.4,cename=one,cename=b,"
      "syscomgwprotocol=TCP,syscomgwprotocol=U"},
     R"(err: NID set to 0x0001
        err: Tester port set to 2
        err: NID set to 0x0003
        err: Tester port set to 4
        err: Master IP address set to 10.0.0.10
        err: Master IP address set to 1.2.3.4
        err: CE name set to one
        AaConfigTagSetString("sys.ce.name", "one") = 0
        err: CE name set to b
        AaConfigTagSetString("sys.ce.name", "b") = 0
        err: SysComGw protocol 'TCP'
        err: SysComGw protocol 'U'
)" + END,
     "nid=0x0003 testerPort=4 masterIp=\"1.2.3.4\" ORV_CE_NAME=\"b\" sysComGwProtocol=\"U\""},
    {"UnknownKeyEndsTheList",
     {"--startup=nid=1,bogus=2,testerport=3"},
     "err: NID set to 0x0001\n err: Unknown option 'bogus=2'",
     "nid=0x0001"},
    {"UnknownKeyWithoutValue", {"--startup=bogus,nid=1"}, "err: Unknown option 'bogus'"},
    {"UnknownKeyAtTheEnd",
     {"--startup=nid=1,bogus"},
     "err: NID set to 0x0001\n err: Unknown option 'bogus'",
     "nid=0x0001"},
    {"UnknownKeyEndsItsOwnArgumentOnly",
     {"--startup=bogus=1", "--startup=nid=1"},
     "err: Unknown option 'bogus=1'\n err: NID set to 0x0001\n" + END,
     "nid=0x0001"},
    {"NothingBetweenSeparatorsIsAnUnknownKey",
     {"--startup=nid=1,,testerport=3"},
     "err: NID set to 0x0001\n err: Unknown option ''",
     "nid=0x0001"},
    {"SeparatorAtTheBeginning", {"--startup=,nid=1"}, "err: Unknown option ''"},
    {"BeginningOfAKeyIsNoKey", {"--startup=ni=1"}, "err: Unknown option 'ni=1'"},
    {"MoreThanAKeyIsNoKey", {"--startup=nids=1"}, "err: Unknown option 'nids=1'"},
    {"KeyInCapitalsIsNoKey", {"--startup=NID=1"}, "err: Unknown option 'NID=1'"},
    {"KeyWithABlankIsNoKey", {"--startup= nid=1"}, "err: Unknown option ' nid=1'"},
    {"KeyThatAnotherBeginsWithIsItself", {"--startup=master=1"}, "err: Unknown option 'master=1'"},
    {"ValueReachesToTheNextSeparator",
     {"--startup=cename=a=b:c,syscomgwprotocol==x"},
     "err: CE name set to a=b:c\n AaConfigTagSetString(\"sys.ce.name\", \"a=b:c\") = 0\n"
     "err: SysComGw protocol '=x'\n" +
         END,
     "sysComGwProtocol=\"=x\" ORV_CE_NAME=\"a=b:c\""},
    {"EmptyValues",
     {"--startup=nid=,masternid=,cename=,syscomgwprotocol=,masterip=,mastergwport="},
     R"(err: NID set to 0x0000
        err: Master NID set to 0x0000
        err: CE name set to 
        AaConfigTagSetString("sys.ce.name", "") = 0
        err: SysComGw protocol ''
        err: Master IP address set to 
        AaConfigTagSetU32("orv.demo.mastergwport", 0) = 0
        err: Master GW port set to 0
)" + END,
     "masterIp=\"\" sysComGwProtocol=\"\" ORV_CE_NAME=\"\""},
    {"KeysWithoutValuesActOnAnEmptyText",
     {"--startup=nid,testerport,cename,tbtscpid,masterip,syscomgwprotocol,configfile,rtconfigfile,executable"},
     R"(err: NID set to 0x0000
        err: Tester port set to 0
        err: CE name set to 
        AaConfigTagSetString("sys.ce.name", "") = 0
        err: AaTbts CPID 0x0
        AaConfigTagSetU16("orv.service.aatbts.cpid", 0) = 0
        err: Master IP address set to 
        err: SysComGw protocol ''
        err: XML CE configure from 
        AaConfigTagReadFile("") = 2
        err: RT XML CE configure from 
        err: Start executable ''
)" + END,
     "testerPort=0 masterIp=\"\" sysComGwProtocol=\"\" ORV_CE_NAME=\"\""},
    {"RefusedTagsAndFilesDoNotEndTheList",
     {"--startup=cename=x,mastergwport=1,tbtscpid=2,configfile=e.xml,nid=3"},
     R"(err: CE name set to x
        AaConfigTagSetString("sys.ce.name", "x") = 7
        AaConfigTagSetU32("orv.demo.mastergwport", 1) = 8
        err: Master GW port set to 1
        err: AaTbts CPID 0x2
        AaConfigTagSetU16("orv.service.aatbts.cpid", 2) = -1
        err: XML CE configure from e.xml
        AaConfigTagReadFile("e.xml") = 9
        err: NID set to 0x0003
)" + END,
     "nid=0x0003 ORV_CE_NAME=\"x\"",
     {{"AaConfigTagSetString", 0, {}, 7},
      {"AaConfigTagSetU32", 0, {}, 8},
      {"AaConfigTagSetU16", 0, {}, -1},
      {"AaConfigTagReadFile", 0, {}, 9}}},
};
INSTANTIATE_TEST_SUITE_P(Lists, StartupOptionsConformance, testing::ValuesIn(LIST_CASES), nameOf);

TEST(StartupOptionsConformance, LongTextsAreUsedWholeWhereTheyHaveNoField) {
  const std::string text(5000, 'x');
  EXPECT_TRUE(bootsAs({"",
                       {"--startup=cename=" + text + ",syscomgwprotocol=" + text + ",configfile=" + text +
                        ",slavenids=" + text + ",bogus=" + text},
                       "err: CE name set to " + text + "\nAaConfigTagSetString(\"sys.ce.name\", \"" + text +
                           "\") = 0\nerr: SysComGw protocol '" + text + "'\nerr: XML CE configure from " + text +
                           "\nAaConfigTagReadFile(\"" + text + "\") = 2\nerr: Setting slavenids... " + text +
                           "\nerr: 1 slavenids set\nAaConfigTagSetU32(\"orv.demo.numberofslavenodes\", 1) = 0\n"
                           "err: Unknown option 'bogus=" +
                           text + "'",
                       "sysComGwProtocol=\"" + text + "\" ORV_CE_NAME=\"" + text + "\""}));
}

TEST(StartupOptionsConformance, ConfigFileSetsItsTagsAtOnce) {
  Scenario scenario;
  scenario.configFiles["early.xml"] = {{"app.hwapi.appcfg.filename", {TagType::STRING, 0, "/early"}}};
  const SimulatedBoot result = boot(scenario, {"--startup=configfile=early.xml"});
  EXPECT_TRUE(isTrace(linesWith(result.trace, "early"), R"(
    0.000 main err: XML CE configure from early.xml
    0.000 main AaConfigTagReadFile("early.xml") = 0
    0.000 1:ceInternalStartupEu AaConfigTagGetString("app.hwapi.appcfg.filename") = 0, buffer 1 "/early"
    0.000 1:ceInternalStartupEu AaFileOpen("/early", "r") = null
  )"));
}

TEST(StartupOptionsConformance, NotifyReceiverAndExecutableReachTheInternalStartup) {
  const SimulatedBoot result = boot({}, {"--startup=notifreceiver=0xf011315,executable=/opt/one -a"});
  EXPECT_EQ(gNotifyReceiver, 0xf011315U);
  EXPECT_EQ(linesWith(result.trace, "parseExeDefs: Executables: /opt/one -a").size(), 2U);
  EXPECT_EQ(linesWith(result.trace, "AaSysComMsgCreate(0x1b9d, 0, 0xf011315) = ").size(), 1U);
}

TEST(StartupOptionsConformance, CeNameReplacesTheOneOfTheEnvironment) {
  std::string argument = "cename=own";
  simulate({}, [&] {
    setenv("ORV_CE_NAME", "inherited", 1);
    parseStartupOptions(argument.data());
  });
  EXPECT_STREQ(getenv("ORV_CE_NAME"), "own");
}

TEST(StartupOptionsConformance, ThereIsNoReceiverAndNoExecutableAtLoad) {
  EXPECT_EQ(RECEIVER_AT_LOAD, 0U);
  EXPECT_EQ(EXECUTABLES_AT_LOAD, std::string(256, '\0'));
}

TEST(StartupOptionsConformance, WithoutArgumentNothingChanges) {
  simulate({}, [] {
    std::memset(gExeDefString, 'e', EXE_DEF_STRING_SIZE - 1);
    gNotifyReceiver = 5;
    setenv("ORV_CE_NAME", "inherited", 1);
    parseStartupOptions(nullptr);
  });
  EXPECT_EQ(gExeDefString, std::string(EXE_DEF_STRING_SIZE - 1, 'e'));
  EXPECT_EQ(gNotifyReceiver, 5U);
  EXPECT_STREQ(getenv("ORV_CE_NAME"), "inherited");
}
