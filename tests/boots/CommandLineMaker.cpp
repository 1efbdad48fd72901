#include "CommandLineMaker.h"

namespace boots {
namespace {

constexpr const char *NUMBERS[] = {"0",           "1",    "15005",       "0x1011",    "017",        "0x21011",
                                   "-1",          "-5",   "abc",         "",          "12abc",      " 7",
                                   "+9",          "0x",   "0xg",         "08",        "4294967295", "2147483648",
                                   "65536",       "0X1F", "99999999999", "0b11",      "2147483647", "-2147483648",
                                   "-2147483649", "\t3",  "-",           "0xffffffff"};
constexpr const char *NUMBER_KEYS[] = {"nid",        "testerport",        "printport", "printip",
                                       "masternid",  "mastergwport",      "tbtscpid",  "notifreceiver",
                                       "btslogport", "testermultiplicity"};
constexpr const char *RECEIVERS[] = {"0xf011315", "0", "1", "0xFFFFFFFF", "07", "252842773", "x"};
constexpr const char *TEXTS[] = {"",    "myCe",     "my Ce", "%s%n%d", "UDPCP",
                                 "a=b", "\xc3\xa4", "it's",  "\"q\"",  "two\nlines"};
constexpr const char *ADDRESSES[] = {"192.168.10.101", "127.0.0.1", "", "none", "255.255.255.255", "1.2.3.4.5"};
constexpr const char *FILE_NAMES[] = {"early.xml", "runtime.xml", "missing.xml", ""};
constexpr const char *SLAVE_IPS[] = {"192.168.10.102",      "10.0.0.2",       "300.1.1.1", "1.2.3", "", "01.2.3.4",
                                     "1.2.3.4567890123456", "255.255.255.255"};
constexpr const char *TAG_NAMES[] = {
    "a",           "b.c",         "sys.repair.center.reset",   "orv.service.aapro.watchdog_enabled",
    "app0.online", "exe0.online", "app.hwapi.appcfg.filename", "%s"};
constexpr const char *TAG_TEXTS[] = {"hello", "/rom/AppDef.txt", "1.5", "0x", " ", "%n", "7 ", "yes"};
constexpr const char *ODD_ARGUMENTS[] = {
    "-x", "-vh",   "-v", "--verbose", "--verbose=1", "--verb", "--bogus", "--bogus=3", "--conf", "--c=1",   "--config_",
    "-",  "plain", "",   "-hx",       "--=",         "-:",     "--s",     "-h",        "-c",     "--config"};

std::string number(Random &random) {
  return random.perMille(300) ? std::to_string(random.below(100000)) : random.pick(NUMBERS);
}

std::string makeSlaves(Random &random) {
  const uint32_t count = random.perMille(5) ? random.between(98, 102) : random.below(4);
  std::string text;
  for (uint32_t i = 0; i <= count; ++i) {
    if (i > 0) text += random.perMille(80) ? "##" : "#";
    if (random.perMille(80)) {
      text += random.perMille(500) ? "" : "7:no.port";
      continue;
    }
    text += random.perMille(800) ? std::to_string(random.between(1, 70000)) : number(random);
    text += std::string(":") + (random.perMille(700) ? SLAVE_IPS[0] : random.pick(SLAVE_IPS));
    text += ":" + (random.perMille(700) ? "15156" : number(random));
  }
  return text;
}

std::string makeSubOption(Random &random) {
  const uint32_t kind = random.below(1000);
  if (kind < 550) {
    std::string text = random.pick(NUMBER_KEYS);
    text += "=" + number(random);
    return text;
  }
  if (kind < 650) return std::string("notifreceiver=") + random.pick(RECEIVERS);
  if (kind < 720) return std::string("cename=") + random.pick(TEXTS);
  if (kind < 770) return std::string("masterip=") + random.pick(ADDRESSES);
  if (kind < 850) return "slavenids=" + makeSlaves(random);
  if (kind < 890) return std::string("configfile=") + random.pick(FILE_NAMES);
  if (kind < 910) return std::string("syscomgwprotocol=") + random.pick(TEXTS);
  if (kind < 950) return std::string("rtconfigfile=") + random.pick(FILE_NAMES);
  if (kind < 953) return "rtconfigfile=" + std::string(random.between(4094, 4097), 'r');
  if (kind < 970) return "";
  if (kind < 980) return "executable=/opt/other";
  return random.perMille(500) ? "bogus=2" : "nidd=2";
}

std::string makeStartup(Random &random, const std::string &executables) {
  const uint32_t count = random.below(5);
  const uint32_t place = random.below(count + 1);
  std::string text;
  for (uint32_t i = 0; i <= count; ++i) {
    if (i == place && !executables.empty()) text += "executable=" + executables + ",";
    if (i == count) break;
    const std::string subOption = makeSubOption(random);
    // An empty one ends the list, so it is rare.
    text += subOption.empty() && !random.perMille(200) ? "nid=0x1011" : subOption;
    text += ",";
  }
  if (!text.empty() && random.perMille(900)) text.pop_back();
  return text;
}

std::string makeTagList(Random &random) {
  std::string text;
  const uint32_t count = random.between(1, 3);
  for (uint32_t i = 0; i < count; ++i) {
    if (i > 0) text += random.perMille(900) ? "," : ",,=";
    const uint32_t name = random.below(random.perMille(300) ? 8 : 2);
    text += TAG_NAMES[name];
    text += random.perMille(950) ? "=" : ",";
    text += random.perMille(600) ? number(random) : random.pick(TAG_TEXTS);
  }
  if (random.perMille(50)) text += ",unfinished";
  return text;
}

void addTags(Random &random, std::vector<std::string> &arguments) {
  const std::string list = makeTagList(random);
  switch (random.below(6)) {
    case 0:
      arguments.push_back("-c" + list);
      return;
    case 1:
      arguments.insert(arguments.end(), {"-s", list});
      return;
    case 2:
      arguments.push_back("--config=" + list);
      return;
    case 3:
      arguments.insert(arguments.end(), {"--config_short", list});
      return;
    case 4:
      arguments.insert(arguments.end(), {"--config", list});
      return;
    default:
      arguments.insert(arguments.end(), {"-vc", list});
  }
}

}  // namespace

std::vector<std::string> makeArguments(Random &random, const std::string &executables) {
  std::vector<std::string> arguments;
  if (random.perMille(10)) {
    if (random.perMille(500)) arguments.emplace_back("plain");
    return arguments;
  }
  if (random.perMille(80)) arguments.emplace_back(random.pick(ODD_ARGUMENTS));
  if (random.perMille(200)) addTags(random, arguments);
  if (random.perMille(5)) arguments.emplace_back("--");
  if (random.perMille(30)) arguments.emplace_back("--startup");
  std::string startup = random.perMille(950) ? "--startup=" : "--sta=";
  startup += makeStartup(random, executables);
  arguments.push_back(startup);
  if (random.perMille(60)) arguments.push_back("--startup=" + makeStartup(random, ""));
  if (random.perMille(150)) addTags(random, arguments);
  if (random.perMille(60)) arguments.emplace_back(random.pick(ODD_ARGUMENTS));
  return arguments;
}

}  // namespace boots
