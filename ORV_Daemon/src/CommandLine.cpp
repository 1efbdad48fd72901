#include "CommandLine.h"

#include <getopt.h>

#include <cstdio>

#include "ConfigTags.h"
#include "StartupOptions.h"

namespace {

constexpr option LONG_OPTIONS[] = {
    {"verbose", no_argument, nullptr, 'v'},
    {"startup", optional_argument, nullptr, 0},
    {"config", required_argument, nullptr, 0},
    {"config_short", required_argument, nullptr, 's'},
    {nullptr, 0, nullptr, 0},
};

// One that sets a variable would return 0 as well, and has nothing to be dispatched.
constexpr bool noneSetsAVariable() {
  for (const option &each : LONG_OPTIONS) {
    if (each.flag != nullptr) return false;
  }
  return true;
}
static_assert(noneSetsAVariable());

enum LongOption { LONG_VERBOSE = 0, LONG_STARTUP = 1, LONG_CONFIG = 2, LONG_CONFIG_SHORT = 3 };

void dispatch(int value, int longIndex) {
  switch (value) {
    case 'c':
      configTags(optarg, 0);
      break;
    case 's':
      configTags(optarg, 1);
      break;
    case 'h':
      usage();
      break;
    case 0:
      dispatchLongOption(longIndex, optarg);
      break;
    default:  // 'v' is accepted and has no effect; for '?' getopt_long has printed its own diagnostic
      break;
  }
}

}  // namespace

void dispatchLongOption(int index, char *argument) {
  switch (index) {
    case LONG_VERBOSE:
      break;
    case LONG_STARTUP:
      parseStartupOptions(argument);
      break;
    case LONG_CONFIG:
      configTags(argument, 0);
      break;
    case LONG_CONFIG_SHORT:
      configTags(argument, 1);
      break;
    default:
      std::fprintf(stderr, "Unknown option '%s'\n", argument == nullptr ? "" : argument);
      break;
  }
}

bool parseCommandLine(int argc, char **argv) {
  constexpr const char *SHORT_OPTIONS = "vhc:s:";
  int longIndex = 0;
  int value = getopt_long(argc, argv, SHORT_OPTIONS, LONG_OPTIONS, &longIndex);
  if (value == -1) return false;
  while (value != -1) {
    dispatch(value, longIndex);
    value = getopt_long(argc, argv, SHORT_OPTIONS, LONG_OPTIONS, &longIndex);
  }
  // The daemon stays resident: what the options printed must not wait in a buffer until it ends.
  std::fflush(stdout);
  return true;
}

void usage() {
  std::puts("Usage: ORVDaemonExe [options]\n");
  std::puts("Options:");
  std::puts("  -h                                            This help");
  std::puts("  -v, --verbose                                 Increase printing");
  std::puts("  -c, --config <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags");
  std::puts("  -s, --config_short <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags");
  std::puts(
      " --startup[=nid=NID,testerport=<default 15005>,printport=<default 51005>,printip=<default "
      "0x7f000001>,cename=<name>,masternid=<default NID>,masterip=<default 127.0.0.1>,mastergwport=<master gw "
      "port>,slavenids=<slave1nid:ip1:gwport>#<slave2nid:ip2:gwport>#...],configfile=<ORVEarlyConfig.xml>,rtconfigfile="
      "<RTORVConfig.xml>,executable=</opt/pelt/PELTStartupExe>,tbtscpid=<0x4d5>");
  std::printf("Examples:");
  std::puts("./ORVDaemonExe --startup=nid=0x1011,testerport=15005");
  std::puts("./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe");
  std::puts(
      "./ORVDaemonExe "
      "--startup=nid=0x1011,testerport=15005,cename=myCe,configfile=ORVEarlyConfig.xml,rtconfigfile=RTORVConfig.xml");
  std::puts("./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,executable=/opt/pelt/PELTStartupExe");
  std::puts("./ORVDaemonExe --startup=nid=0x1011,testerport=15005,tbtscpid=0x4d5");
  std::puts(
      "./ORVDaemonExe "
      "--startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,mastergwport="
      "15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157");
  std::puts(
      "./ORVDaemonExe "
      "--startup=nid=0x2011,testerport=15006,cename=slave1Ce,masternid=0x1011,masterip=192.168.10.101,mastergwport="
      "15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157");
  std::puts(
      "./ORVDaemonExe "
      "--startup=nid=0x3011,testerport=15008,cename=slave2Ce,masternid=0x1011,masterip=192.168.10.101,mastergwport="
      "15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157");
  std::puts(
      "./ORVDaemonExe "
      "--startup=nid=0x1011,testerport=15005,notifreceiver=0xf011315,cename=masterCe,masternid=0x1011,masterip=192.168."
      "10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157");
  std::puts("./ORVDaemonExe --startup=nid=0x1011,testerport=15005,btslogport=15004");
  std::puts("./ORVDaemonExe --startup=nid=0x1011,testerport=15005,testermultiplicity=10");
  std::puts(
      "./ORVDaemonExe "
      "--startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,mastergwport="
      "15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157,syscomgwprotocol=UDPCP");
  std::putchar('\n');
}
