#include "OptionBoots.h"

#include <array>
#include <sstream>
#include <stdexcept>
#include <utility>

const char *const EARLY_STARTUP =
    "err: RT-ORV build BANNER\n"
    "AaStartupEarlyStartup() = 0\n"
    "Info: systemdNotify: sending notification to systemd\n"
    "ddal_system_notify_ready() = 0\n";

const char *const USAGE =
    "out: Usage: ORVDaemonExe [options]\n"
    "out: \n"
    "out: Options:\n"
    "out:   -h                                            This help\n"
    "out:   -v, --verbose                                 Increase printing\n"
    "out:   -c, --config <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags\n"
    "out:   -s, --config_short <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags\n"
    "out:  --startup[=nid=NID,testerport=<default 15005>,printport=<default 51005>,printip=<default 0x7f000001>,"
    "cename=<name>,masternid=<default NID>,masterip=<default 127.0.0.1>,mastergwport=<master gw port>,"
    "slavenids=<slave1nid:ip1:gwport>#<slave2nid:ip2:gwport>#...],configfile=<ORVEarlyConfig.xml>,"
    "rtconfigfile=<RTORVConfig.xml>,executable=</opt/pelt/PELTStartupExe>,tbtscpid=<0x4d5>\n"
    "out: Examples:./ORVDaemonExe --startup=nid=0x1011,testerport=15005\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,configfile=ORVEarlyConfig.xml,"
    "rtconfigfile=RTORVConfig.xml\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,executable=/opt/pelt/PELTStartupExe\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,tbtscpid=0x4d5\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,"
    "masterip=192.168.10.101,mastergwport=15155,"
    "slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "out: ./ORVDaemonExe --startup=nid=0x2011,testerport=15006,cename=slave1Ce,masternid=0x1011,"
    "masterip=192.168.10.101,mastergwport=15155,"
    "slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "out: ./ORVDaemonExe --startup=nid=0x3011,testerport=15008,cename=slave2Ce,masternid=0x1011,"
    "masterip=192.168.10.101,mastergwport=15155,"
    "slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,notifreceiver=0xf011315,cename=masterCe,"
    "masternid=0x1011,masterip=192.168.10.101,mastergwport=15155,"
    "slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,btslogport=15004\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,testermultiplicity=10\n"
    "out: ./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,"
    "masterip=192.168.10.101,mastergwport=15155,"
    "slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157,syscomgwprotocol=UDPCP\n"
    "out: \n";

const char *const LIFE =
    "Info: fullStartup: CE start-up\n"
    "AaStartupCeStartup() = 0\n"
    "AaProEuCreateAndStartJoinable(\"ceInternalStartupEu\", 4096, 10, context + 0 bytes, 1) = 0, EU 1\n"
    "Info: shutdown: Initiated CE level shutdown\n"
    "AaStartupCeShutdown()\n"
    "AaStartupCeShutdown() = 0\n"
    "err: OrvDaemon: returned success\n";

std::string byMain(const std::string &lines) {
  std::istringstream stream(lines);
  std::string result;
  for (std::string line; std::getline(stream, line);) {
    const size_t begin = line.find_first_not_of(' ');
    if (begin != std::string::npos) result += "0.000 main " + line.substr(begin) + "\n";
  }
  return result;
}

std::string recordWith(const std::string &changes) {
  auto members = std::to_array<std::pair<std::string, std::string>>({
      {"nid", "0x0000"},
      {"masterNid", "0x0000"},
      {"masterIp", "\"127.0.0.1\""},
      {"testerPort", "15005"},
      {"printPort", "51005"},
      {"printIp", "0x7f000001"},
      {"btsLogPort", "0"},
      {"testerMultiplicity", "0"},
      {"sysComGwProtocol", "none"},
      {"rtConfigFile", "\"\""},
      {"ORV_CE_NAME", "none"},
  });
  std::istringstream stream(changes);
  for (std::string change; stream >> change;) {
    const size_t equals = change.find('=');
    bool known = false;
    for (auto &[name, value] : members) {
      if (name != change.substr(0, equals)) continue;
      value = change.substr(equals + 1);
      known = true;
    }
    if (!known) throw std::invalid_argument("no member of the start-up record: " + change);
  }
  std::string text;
  for (const auto &[name, value] : members)
    text.append(text.empty() ? "" : " ").append(name).append("=").append(value);
  return text;
}

testing::AssertionResult bootsAs(const OptionCase &expected) {
  orv::sim::Scenario scenario;
  scenario.calls = expected.calls;
  const SimulatedBoot result = boot(scenario, expected.arguments);
  const auto lines = isTrace(linesOf(result.trace, "main"), byMain(EARLY_STARTUP + expected.lines + "\n" + LIFE));
  if (!lines) return lines;
  const auto record = isTrace(linesWith(result.trace, " node start-up record: "),
                              "0.000 node start-up record: " + recordWith(expected.record));
  if (!record) return record;
  if (result.outcome.end == orv::sim::End::EXIT && result.outcome.exitStatus == 0) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "the daemon did not end with status 0: " << result.trace.back();
}

void PrintTo(const OptionCase &optionCase, std::ostream *stream) {
  *stream << optionCase.name;
}

std::string nameOf(const testing::TestParamInfo<OptionCase> &info) {
  return info.param.name;
}
