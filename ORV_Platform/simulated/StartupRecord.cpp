#include "StartupRecord.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "AaStartup.h"
#include "HexText.h"
#include "Trace.h"

extern "C" {
OrvStartupConfig gOrvStartupConfig = {};
}

namespace orv::sim {
namespace {

constexpr uint32_t DEFAULT_TESTER_PORT = 15005;
constexpr uint32_t DEFAULT_PRINT_PORT = 51005;
constexpr uint32_t DEFAULT_PRINT_IP = 0x7f000001;
constexpr char DEFAULT_MASTER_IP[] = "127.0.0.1";

// The text at an address that a too long value may have overwritten: the kernel is asked to read it, into a pipe, and
// says no where there is nothing. (process_vm_readv, which could do without a pipe, is forbidden in many a container.)
std::string textAt(const char *address) {
  if (address == nullptr) return "none";
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return "unreadable";
  std::string text;
  char character = 0;
  bool isReadable = true;
  do {
    isReadable = write(ends[1], address + text.size(), 1) == 1 && read(ends[0], &character, 1) == 1;
    if (isReadable && character != '\0') text += character;
  } while (isReadable && character != '\0');
  close(ends[0]);
  close(ends[1]);
  return isReadable ? quoted(text) : "unreadable";
}

}  // namespace

void resetStartupRecord() {
  OrvStartupConfig &record = gOrvStartupConfig;
  std::memset(&record, 0, sizeof record);
  std::memcpy(record.masterIp, DEFAULT_MASTER_IP, sizeof DEFAULT_MASTER_IP);
  record.testerPort = DEFAULT_TESTER_PORT;
  record.printPort = DEFAULT_PRINT_PORT;
  record.printIp = DEFAULT_PRINT_IP;
}

std::string startupRecordText() {
  const OrvStartupConfig &record = gOrvStartupConfig;
  const std::string masterIp(record.masterIp, strnlen(record.masterIp, sizeof record.masterIp));
  const char *ceName = std::getenv("ORV_CE_NAME");
  return "nid=" + nidText(record.nid) + " masterNid=" + nidText(record.masterNid) + " masterIp=" + quoted(masterIp) +
         " testerPort=" + std::to_string(record.testerPort) + " printPort=" + std::to_string(record.printPort) +
         " printIp=" + hexText(record.printIp) + " btsLogPort=" + std::to_string(record.btsLogPort) +
         " testerMultiplicity=" + std::to_string(record.testerMultiplicity) +
         " sysComGwProtocol=" + textAt(record.sysComGwProtocol) +
         " rtConfigFile=" + quoted(std::string_view(record.rtConfigFile)) +
         " ORV_CE_NAME=" + (ceName == nullptr ? "none" : quoted(ceName));
}

}  // namespace orv::sim
