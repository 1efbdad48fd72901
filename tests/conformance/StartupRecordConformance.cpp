// Where the start-up options store: the bytes of the start-up record, the limits of texts, and the two variables.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "AaStartup.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "OrvDaemon.h"
#include "StartupOptions.h"

using namespace orv::sim;

namespace {

constexpr char FILLED = 0x5a;
constexpr size_t MASTER_IP_OFFSET = 4;
constexpr size_t PROTOCOL_OFFSET = 64;
constexpr size_t RT_CONFIG_FILE_OFFSET = PROTOCOL_OFFSET + sizeof(char *);
constexpr size_t RECORD_SIZE = RT_CONFIG_FILE_OFFSET + 4096;

std::string recordBytes() {
  return {reinterpret_cast<const char *>(&gOrvStartupConfig), RECORD_SIZE};
}

// Carries out one argument on a record that is full of one value.
struct Options {
  explicit Options(const std::string &argument) : text(argument) {
    result = simulate({}, [this] {
      std::memset(static_cast<void *>(&gOrvStartupConfig), FILLED, RECORD_SIZE);
      std::memset(gExeDefString, FILLED, EXE_DEF_STRING_SIZE);
      parseStartupOptions(text.data());
      record = recordBytes();
      executables.assign(gExeDefString, EXE_DEF_STRING_SIZE);
    });
  }

  std::string text;
  SimulatedBoot result;
  std::string record;
  std::string executables;
};

std::string filledRecord() {
  return std::string(RECORD_SIZE, FILLED);
}

template <class Value>
std::string bytesOf(Value value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

std::string withBytes(std::string record, size_t offset, const std::string &bytes) {
  return record.replace(offset, bytes.size(), bytes);
}

// A text and the NULs up to the size of its field.
std::string field(const std::string &text, size_t size) {
  return text + std::string(size - text.size(), '\0');
}

// What the keys had stored at the moment when the first line was written.
struct AtFirstLine {
  bool written = false;
  std::string record;
  std::string executables;
  std::string ceName;
  uint32_t receiver = 0;
};

ssize_t lookAround(void *cookie, const char *, size_t length) {
  auto &seen = *static_cast<AtFirstLine *>(cookie);
  if (std::exchange(seen.written, true)) return static_cast<ssize_t>(length);
  seen.record = recordBytes();
  seen.executables = gExeDefString;
  const char *ceName = std::getenv("ORV_CE_NAME");
  seen.ceName = ceName == nullptr ? "none" : ceName;
  seen.receiver = gNotifyReceiver;
  return static_cast<ssize_t>(length);
}

AtFirstLine atFirstLine(std::string argument) {
  AtFirstLine seen;
  simulate({}, [&] {
    cookie_io_functions_t functions = {};
    functions.write = lookAround;
    FILE *const own = std::exchange(stderr, fopencookie(&seen, "w", functions));
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    std::memset(static_cast<void *>(&gOrvStartupConfig), FILLED, RECORD_SIZE);
    parseStartupOptions(argument.data());
    std::fclose(std::exchange(stderr, own));
  });
  return seen;
}

struct Stored {
  std::string argument;
  size_t offset;
  std::string bytes;
};

}  // namespace

TEST(StartupRecordConformance, EachKeyWritesItsMemberAndNoOtherByte) {
  const std::vector<Stored> cases = {
      {"nid=0x1234", 0, bytesOf<uint16_t>(0x1234)},
      {"masternid=0x1234", 2, bytesOf<uint16_t>(0x1234)},
      {"masterip=10.0.0.1", 4, std::string("10.0.0.1\0", 9)},
      {"testerport=0x12345678", 20, bytesOf<uint32_t>(0x12345678)},
      {"printport=0x12345678", 24, bytesOf<uint32_t>(0x12345678)},
      {"printip=0x12345678", 28, bytesOf<uint32_t>(0x12345678)},
      {"btslogport=0x12345678", 48, bytesOf<uint32_t>(0x12345678)},
      {"testermultiplicity=0x12345678", 52, bytesOf<uint32_t>(0x12345678)},
      {"rtconfigfile=r.xml", RT_CONFIG_FILE_OFFSET, field("r.xml", 4096)},
      // Those that are none of the record's.
      {"cename=x", 0, ""},
      {"mastergwport=1", 0, ""},
      {"slavenids=0x2011:10.0.0.2:1#0x3011:10.0.0.3:2", 0, ""},
      {"configfile=e.xml", 0, ""},
      {"executable=/one", 0, ""},
      {"tbtscpid=1", 0, ""},
      {"notifreceiver=1", 0, ""},
      {"bogus=1", 0, ""},
      {"", 0, ""},
  };
  for (const Stored &stored : cases) {
    SCOPED_TRACE(stored.argument);
    const std::string expected = withBytes(filledRecord(), stored.offset, stored.bytes);
    EXPECT_EQ(Options(stored.argument).record, expected);
    EXPECT_EQ(atFirstLine(stored.argument).record, expected);
  }
}

TEST(StartupRecordConformance, OnlyTheExecutableStringIsStoredAfterItsLine) {
  EXPECT_EQ(atFirstLine("cename=myCe").ceName, "myCe");
  EXPECT_EQ(atFirstLine("notifreceiver=0x12345678").receiver, 0x12345678U);
  const AtFirstLine executable = atFirstLine("executable=/one");
  EXPECT_TRUE(executable.written);
  EXPECT_EQ(executable.executables, "");
  EXPECT_STREQ(gExeDefString, "/one");
  EXPECT_NE(atFirstLine("syscomgwprotocol=UDPCP").record, filledRecord());
}

TEST(StartupRecordConformance, ProtocolIsThePointerToTheArgumentItself) {
  const Options options("syscomgwprotocol=UDPCP,nid=0x5a5a");
  const char *const inArgument = options.text.data() + std::strlen("syscomgwprotocol=");
  EXPECT_EQ(options.record, withBytes(filledRecord(), PROTOCOL_OFFSET, bytesOf(inArgument)));
  EXPECT_STREQ(inArgument, "UDPCP");
}

TEST(StartupRecordConformance, MasterNidIsPrintedFromTheRecordWhateverItHolds) {
  EXPECT_TRUE(
      isTrace(linesOf(Options("").result.trace, "main"), "0.000 main err: Master NID value in RT startup 0x5a5a"));
}

TEST(StartupRecordConformance, MasterIpIsCopiedWhole) {
  const std::string texts[] = {
      "192.168.100.101",                      // 15 characters: the longest that fits
      "192.168.100.1011",                     // its end is the first byte of the tester port
      "192.168.100.101.20",                   // two characters of the tester port
      std::string(RECORD_SIZE - 4 - 2, 'm'),  // its end is the record's last byte but one
      std::string(RECORD_SIZE - 4 - 1, 'm'),  // its end is the record's last byte
  };
  for (const std::string &text : texts) {
    SCOPED_TRACE(text.size());
    const Options options("masterip=" + text);
    EXPECT_EQ(options.record, withBytes(filledRecord(), MASTER_IP_OFFSET, text + '\0'));
    EXPECT_EQ(options.result.trace.front(), "0.000 main err: Master IP address set to " + text);
  }
}

TEST(StartupRecordConformance, MasterIpNeverRunsPastTheRecord) {
  for (const size_t excess : {1U, 2U, 1000U}) {
    SCOPED_TRACE(excess);
    const std::string kept(RECORD_SIZE - 4 - 1, 'm');
    const Options options("masterip=" + kept + std::string(excess, 'm'));
    EXPECT_EQ(options.record, withBytes(filledRecord(), MASTER_IP_OFFSET, kept + '\0'));
    EXPECT_EQ(options.result.trace.front(), "0.000 main err: Master IP address set to " + kept);
  }
}

TEST(StartupRecordConformance, OverlongMasterIpReachesTheCeStartupWithWhatItOverwrote) {
  uint32_t testerPort = 0;
  uint32_t printPort = 0;
  std::memcpy(&testerPort, "qrst", sizeof testerPort);
  std::memcpy(&printPort, "uvw", sizeof printPort);
  EXPECT_TRUE(bootsAs({"",
                       {"--startup=masterip=abcdefghijklmnopqrstuvw"},
                       "err: Master IP address set to abcdefghijklmnopqrstuvw\n"
                       "err: Master NID value in RT startup 0x0000\n",
                       "masterIp=\"abcdefghijklmnop\" testerPort=" + std::to_string(testerPort) +
                           " printPort=" + std::to_string(printPort)}));
}

TEST(StartupRecordConformance, RtConfigFileKeeps4095CharactersAndAnEnd) {
  for (const size_t length : {4094U, 4095U, 4096U, 5000U}) {
    SCOPED_TRACE(length);
    const std::string kept(length < 4095 ? length : 4095, 'r');
    const Options options("rtconfigfile=" + std::string(length, 'r'));
    EXPECT_EQ(options.record, withBytes(filledRecord(), RT_CONFIG_FILE_OFFSET, field(kept, 4096)));
    EXPECT_EQ(options.result.trace.front(), "0.000 main err: RT XML CE configure from " + kept);
  }
}

TEST(StartupRecordConformance, RtConfigFileIsReplacedNotExtended) {
  const Options options("rtconfigfile=" + std::string(5000, 'r') + ",rtconfigfile=/short");
  EXPECT_EQ(options.record, withBytes(filledRecord(), RT_CONFIG_FILE_OFFSET, field("/short", 4096)));
}

TEST(StartupRecordConformance, ExecutableStringKeeps255CharactersAndAnEnd) {
  for (const size_t length : {0U, 1U, 254U, 255U, 256U, 300U}) {
    SCOPED_TRACE(length);
    const std::string text(length, 'e');
    const Options options("executable=" + text);
    EXPECT_EQ(options.executables, field(text.substr(0, 255), 256));
    EXPECT_EQ(options.result.trace.front(), "0.000 main err: Start executable '" + text + "'") << "printed uncut";
  }
}

TEST(StartupRecordConformance, ExecutableStringIsReplacedNotExtended) {
  EXPECT_EQ(Options("executable=/a,executable=/b").executables, field("/b", 256));
  EXPECT_EQ(Options("executable=" + std::string(300, 'e') + ",executable=/b").executables, field("/b", 256));
}

TEST(StartupRecordConformance, OtherKeysLeaveExecutableStringAndReceiverAlone) {
  const std::string untouched(EXE_DEF_STRING_SIZE, FILLED);
  EXPECT_EQ(Options("nid=1,rtconfigfile=/r,cename=x,tbtscpid=1,slavenids=0x1:10.0.0.2:1").executables, untouched);
  EXPECT_EQ(gNotifyReceiver, 0U);
  EXPECT_EQ(Options("notifreceiver=7,notifreceiver=0x12345678,bogus=1,notifreceiver=9").executables, untouched);
  EXPECT_EQ(gNotifyReceiver, 0x12345678U);
}
