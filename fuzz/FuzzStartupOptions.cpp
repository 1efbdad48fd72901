// One --startup argument.
#include <cstring>

#include "FuzzNode.h"
#include "OrvDaemon.h"
#include "StartupOptions.h"

using orvfuzz::require;

namespace {

bool same(const void *left, const void *right, size_t size) {
  return std::memcmp(left, right, size) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  OrvStartupConfig &record = orvfuzz::startupConfig();
  static const OrvStartupConfig asLoaded = record;
  orvfuzz::forgetTagsFromTimeToTime();
  std::memcpy(&record, &asLoaded, sizeof record);
  std::memset(gExeDefString, 0, sizeof gExeDefString);
  gNotifyReceiver = 0;

  const std::string text = orvfuzz::textOf(data, size);
  std::vector<char> argument = orvfuzz::writable(text);
  parseStartupOptions(argument.data());

  require(orvfuzz::isClearedBehindText(gExeDefString));
  require(record.rtConfigFile[sizeof record.rtConfigFile - 1] == '\0');
  if (text.find("notifreceiver") == std::string::npos) require(gNotifyReceiver == 0);
  if (text.find("executable") == std::string::npos) require(gExeDefString[0] == '\0');
  // A long master address may run over what follows it in the record, and only that may.
  if (text.find("masterip") != std::string::npos) return 0;
  require(same(record.masterIp, asLoaded.masterIp, sizeof record.masterIp));
  require(same(record.platformPrivate1, asLoaded.platformPrivate1, sizeof record.platformPrivate1));
  require(same(record.platformPrivate2, asLoaded.platformPrivate2, sizeof record.platformPrivate2));
  require(orvfuzz::isClearedBehindText(record.rtConfigFile));
  const char *protocol = record.sysComGwProtocol;
  if (protocol != nullptr && *protocol != '\0') {
    require(protocol > argument.data() && protocol < argument.data() + argument.size());
  }
  return 0;
}
