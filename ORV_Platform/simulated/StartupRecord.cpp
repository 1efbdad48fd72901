#include "StartupRecord.h"

#include <sys/uio.h>
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

// The text at an address that a too long value may have overwritten: the kernel is asked to read it, and says no where
// there is nothing.
std::string textAt(const char *address) {
  if (address == nullptr) return "none";
  std::string text;
  for (char character = 0;; text += character) {
    iovec to = {&character, 1};
    iovec from = {const_cast<char *>(address) + text.size(), 1};
    if (process_vm_readv(getpid(), &to, 1, &from, 1, 0) != 1) return "unreadable";
    if (character == '\0') return quoted(text);
  }
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
