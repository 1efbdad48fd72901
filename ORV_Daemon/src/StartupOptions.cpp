#include "StartupOptions.h"

#include <arpa/inet.h>
#include <stdlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "AaConfig.h"
#include "AaStartup.h"
#include "OrvDaemon.h"
#include "TextFields.h"

uint32_t gNotifyReceiver = 0;
char gExeDefString[EXE_DEF_STRING_SIZE] = "";

namespace {

void applyNid(char *value, unsigned &) {
  gOrvStartupConfig.nid = toLow16(value);
  std::fprintf(stderr, "NID set to 0x%04x\n", gOrvStartupConfig.nid);
}

// "%d" shows ports and counts from 2^31 up as negative numbers; the lines are matched by scripts and stay so.
void applyTesterPort(char *value, unsigned &) {
  gOrvStartupConfig.testerPort = toUnsigned32(value);
  std::fprintf(stderr, "Tester port set to %d\n", static_cast<int32_t>(gOrvStartupConfig.testerPort));
}

void applyPrintPort(char *value, unsigned &) {
  gOrvStartupConfig.printPort = toUnsigned32(value);
  std::fprintf(stderr, "Print port set to %d\n", static_cast<int32_t>(gOrvStartupConfig.printPort));
}

void applyPrintIp(char *value, unsigned &) {
  gOrvStartupConfig.printIp = toUnsigned32(value);
  std::fprintf(stderr, "Print IP set to 0x%08x\n", gOrvStartupConfig.printIp);
}

void applyCeName(char *value, unsigned &) {
  setenv("ORV_CE_NAME", value, 1);
  std::fprintf(stderr, "CE name set to %s\n", value);
  AaConfigTagSetString("sys.ce.name", value);
}

void applyMasterNid(char *value, unsigned &) {
  gOrvStartupConfig.masterNid = toLow16(value);
  std::fprintf(stderr, "Master NID set to 0x%04x\n", gOrvStartupConfig.masterNid);
}

// A text of 16 characters or more runs over into the members that follow, as the platform's users know it; it never
// runs past the record. Addressed from the start of the record, since the write is one to the record and not to the
// member.
void applyMasterIp(char *value, unsigned &) {
  constexpr size_t OFFSET = offsetof(OrvStartupConfig, masterIp);
  constexpr size_t ROOM = sizeof(OrvStartupConfig) - OFFSET;
  char *masterIp = reinterpret_cast<char *>(&gOrvStartupConfig) + OFFSET;
  const size_t length = std::min(std::strlen(value), ROOM - 1);
  std::memcpy(masterIp, value, length);
  masterIp[length] = '\0';
  std::fprintf(stderr, "Master IP address set to %s\n", masterIp);
}

void applyMasterGwPort(char *value, unsigned &) {
  const int32_t port = toSigned32(value, 0);
  AaConfigTagSetU32("orv.demo.mastergwport", static_cast<uint32_t>(port));
  std::fprintf(stderr, "Master GW port set to %d\n", port);
}

// The counter is not reset between two keys of one argument: a second list goes on at the last number of the first.
void applySlaveNids(char *value, unsigned &slaveIndex) {
  std::fprintf(stderr, "Setting slavenids... %s\n", value);
  char *rest = value;
  AddSlave(strsep(&rest, "#"), slaveIndex);
  while (rest != nullptr) {
    char *item = strsep(&rest, "#");
    if (*item == '\0') continue;
    ++slaveIndex;
    AddSlave(item, slaveIndex);
  }
  const unsigned count = slaveIndex + 1;
  std::fprintf(stderr, "%d slavenids set\n", static_cast<int>(count));
  AaConfigTagSetU32("orv.demo.numberofslavenodes", count);
}

void applyConfigFile(char *value, unsigned &) {
  std::fprintf(stderr, "XML CE configure from %s\n", value);
  AaConfigTagReadFile(value);
}

void applyExecutable(char *value, unsigned &) {
  std::fprintf(stderr, "Start executable '%s'\n", value);
  copyCut(gExeDefString, sizeof gExeDefString, value);
}

void applyTbtsCpid(char *value, unsigned &) {
  const uint16_t cpid = toLow16(value);
  std::fprintf(stderr, "AaTbts CPID 0x%X\n", cpid);
  AaConfigTagSetU16("orv.service.aatbts.cpid", cpid);
}

void applyNotifReceiver(char *value, unsigned &) {
  gNotifyReceiver = toUnsigned32(value);
  std::fprintf(stderr, "Notify receiver set to 0x%x\n", gNotifyReceiver);
}

void applyBtsLogPort(char *value, unsigned &) {
  gOrvStartupConfig.btsLogPort = toUnsigned32(value);
  std::fprintf(stderr, "btslogPort set to %d\n", static_cast<int32_t>(gOrvStartupConfig.btsLogPort));
}

void applyTesterMultiplicity(char *value, unsigned &) {
  gOrvStartupConfig.testerMultiplicity = toUnsigned32(value);
  std::fprintf(stderr, "Multiplicity set to %d\n", static_cast<int32_t>(gOrvStartupConfig.testerMultiplicity));
}

void applySysComGwProtocol(char *value, unsigned &) {
  gOrvStartupConfig.sysComGwProtocol = value;
  std::fprintf(stderr, "SysComGw protocol '%s'\n", value);
}

void applyRtConfigFile(char *value, unsigned &) {
  copyCut(gOrvStartupConfig.rtConfigFile, sizeof gOrvStartupConfig.rtConfigFile, value);
  std::fprintf(stderr, "RT XML CE configure from %s\n", gOrvStartupConfig.rtConfigFile);
}

struct StartupKey {
  const char *name;
  // `slaveIndex` counts the slave items of the whole argument.
  void (*apply)(char *value, unsigned &slaveIndex);
};

constexpr StartupKey STARTUP_KEYS[] = {
    {"nid", applyNid},
    {"testerport", applyTesterPort},
    {"printport", applyPrintPort},
    {"printip", applyPrintIp},
    {"cename", applyCeName},
    {"masternid", applyMasterNid},
    {"masterip", applyMasterIp},
    {"mastergwport", applyMasterGwPort},
    {"slavenids", applySlaveNids},
    {"configfile", applyConfigFile},
    {"executable", applyExecutable},
    {"tbtscpid", applyTbtsCpid},
    {"notifreceiver", applyNotifReceiver},
    {"btslogport", applyBtsLogPort},
    {"testermultiplicity", applyTesterMultiplicity},
    {"syscomgwprotocol", applySysComGwProtocol},
    {"rtconfigfile", applyRtConfigFile},
};
constexpr size_t KEY_COUNT = std::size(STARTUP_KEYS);
static_assert(KEY_COUNT == 17, "a start-up key was added or lost");

// The keys as getsubopt wants them. It takes pointers to writable texts and writes to none.
std::array<char *, KEY_COUNT + 1> keyTokens() {
  std::array<char *, KEY_COUNT + 1> tokens{};
  for (size_t i = 0; i < KEY_COUNT; ++i)
    tokens[i] = const_cast<char *>(STARTUP_KEYS[i].name);
  return tokens;
}

// Cuts `text` at its first ":". Returns what follows, null when there is no ":".
char *cutAtColon(char *text) {
  char *colon = std::strchr(text, ':');
  if (colon == nullptr) return nullptr;
  *colon = '\0';
  return colon + 1;
}

// The name of one of a slave's tags. Names are cut to the buffer, which holds slave numbers up to 99.
template <size_t SIZE>
void formatTagName(char (&name)[SIZE], const char *format, int slave) {
  // A cut name is no failure: the slave is only not to be found under its full name.
  [[maybe_unused]] const int written = std::snprintf(name, SIZE, format, slave);
}

}  // namespace

int AddSlave(char *item, unsigned index) {
  const int slave = static_cast<int>(index + 1);
  char nidTag[20];
  char ipTag[19];
  char portTag[23];
  formatTagName(nidTag, "orv.demo.slave%dnid", slave);
  formatTagName(ipTag, "orv.demo.slave%dip", slave);
  formatTagName(portTag, "orv.demo.slave%dgwport", slave);

  char *ipText = cutAtColon(item);
  if (ipText == nullptr) return 0;
  char *portText = cutAtColon(ipText);
  if (portText == nullptr) return 0;

  const uint16_t nid = toLow16(item);
  std::printf("AddSlave/ slave %d nid=0x%x\n", slave, nid);
  if (nid == 0) {
    std::printf("Failed to get node id for slave %d\n", slave);
    return 0;
  }
  AaConfigTagSetU16(nidTag, nid);

  char ip[16];
  copyCut(ip, sizeof ip, ipText);
  std::printf("AddSlave/ slave %d ip=%s\n", slave, ip);
  in_addr address{};
  if (inet_pton(AF_INET, ip, &address) < 1) {
    std::printf("AddSlave/ Failed to get GW IP for slave %d\n", slave);
    return 0;
  }
  AaConfigTagSetString(ipTag, ip);

  const uint32_t port = toUnsigned32(portText);
  std::printf("AddSlave/ slave %d port=%d\n", slave, static_cast<int32_t>(port));
  if (port == 0) {
    std::printf("AddSlave/ Failed to get GW port for slave %d\n", slave);
    return 0;
  }
  AaConfigTagSetU32(portTag, port);
  return 1;
}

void parseStartupOptions(char *argument) {
  // The record may keep a pointer to it (syscomgwprotocol).
  static char absentValue[] = "";
  const auto tokens = keyTokens();
  unsigned slaveIndex = 0;
  char *rest = argument;
  while (rest != nullptr && *rest != '\0') {
    char *value = nullptr;
    const int key = getsubopt(&rest, tokens.data(), &value);
    if (key < 0) {
      std::fprintf(stderr, "Unknown option '%s'\n", value);
      return;
    }
    STARTUP_KEYS[key].apply(value == nullptr ? absentValue : value, slaveIndex);
  }
  std::fprintf(stderr, "Master NID value in RT startup 0x%04x\n", gOrvStartupConfig.masterNid);
}
