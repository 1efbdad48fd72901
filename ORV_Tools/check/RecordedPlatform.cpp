// What the daemon's parsers call, for a tool that has no platform: what is set is noted, and nothing else happens.
#include "AaConfig.h"
#include "AaStartup.h"
#include "DaemonLog.h"
#include "check/DaemonParsers.h"

using orv::checking::recorded;
using orv::checking::SetTag;

extern "C" {

OrvStartupConfig gOrvStartupConfig = {};

int32_t AaConfigTagSetString(const char *name, const char *text) {
  recorded().tags.push_back({name, SetTag::Type::STRING, text, 0});
  return 0;
}

int32_t AaConfigTagSetU16(const char *name, uint16_t value) {
  recorded().tags.push_back({name, SetTag::Type::U16, "", value});
  return 0;
}

int32_t AaConfigTagSetU32(const char *name, uint32_t value) {
  recorded().tags.push_back({name, SetTag::Type::U32, "", value});
  return 0;
}

int32_t AaConfigTagReadFile(const char *path) {
  recorded().configFiles.emplace_back(path);
  return 0;
}
}

void daemonLog(uint32_t, const std::string &, int, const std::string &) {}
