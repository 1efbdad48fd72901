#include "ExpectedUsage.h"

namespace boots {
namespace {

constexpr const char *LINES[] = {
    "Usage: ORVDaemonExe [options]",
    "",
    "Options:",
    "  -h                                            This help",
    "  -v, --verbose                                 Increase printing",
    "  -c, --config <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags",
    "  -s, --config_short <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags",
    " --startup[=nid=NID,testerport=<default 15005>,printport=<default 51005>,printip=<default 0x7f000001>,cename"
    "=<name>,masternid=<default NID>,masterip=<default 127.0.0.1>,mastergwport=<master gw port>,slavenids=<slave1"
    "nid:ip1:gwport>#<slave2nid:ip2:gwport>#...],configfile=<ORVEarlyConfig.xml>,rtconfigfile=<RTORVConfig.xml>,e"
    "xecutable=</opt/pelt/PELTStartupExe>,tbtscpid=<0x4d5>",
    "Examples:./ORVDaemonExe --startup=nid=0x1011,testerport=15005",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,configfile=ORVEarlyConfig.xml,rtconfigfile="
    "RTORVConfig.xml",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,executable=/opt/pelt/PELTStartupExe",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,tbtscpid=0x4d5",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.10"
    "1,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x2011,testerport=15006,cename=slave1Ce,masternid=0x1011,masterip=192.168.10.10"
    "1,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x3011,testerport=15008,cename=slave2Ce,masternid=0x1011,masterip=192.168.10.10"
    "1,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,notifreceiver=0xf011315,cename=masterCe,masternid=0x101"
    "1,masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:151"
    "57",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,btslogport=15004",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,testermultiplicity=10",
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.10"
    "1,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157,syscomgwprotocol=UDPC"
    "P",
    "",
};

}  // namespace

std::span<const char *const> usageLines() {
  return LINES;
}

}  // namespace boots
