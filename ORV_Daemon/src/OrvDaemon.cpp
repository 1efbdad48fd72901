// The process entry.
#include "OrvDaemon.h"

#include <cstdio>

#include "BuildBanner.h"
#include "CommandLine.h"
#include "DaemonLog.h"
#include "NodeActions.h"
#include "Startup.h"

extern "C" {
// The build banner, a what-string: `what ORVDaemonExe` finds it by its first four characters, and a tool that loads the
// executable's symbols finds it by name.
__attribute__((visibility("default"))) extern const char *ORV_VER;
const char *ORV_VER = ORV_BUILD_BANNER;
}

namespace {

// The start-up context. It has no contents; its address is the context word that all start-up operations hand on.
struct StartupContext {};

}  // namespace

int main(int argc, char **argv) {
  StartupContext contextObject;
  // Nobody reads through the word, so the low half of an address does where addresses have 64 bits.
  const auto context = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&contextObject));

  std::fprintf(stderr, "RT-ORV build %s\n", ORV_VER);
  if (earlyStartup(context) == 0) return 1;
  if (!parseCommandLine(argc, argv)) {
    usage();
    logError("main", "Command line parsing failed");
    return 1;
  }
  if (fullStartup(context) == 0) return 1;
  shutdown(context);
  std::fputs("OrvDaemon: returned success\n", stderr);
  return 0;
}
