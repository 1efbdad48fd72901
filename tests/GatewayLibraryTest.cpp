// The gateway's library by itself, where the machine does not give it all that it asks for.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <mutex>
#include <string>

#include "FreshDirectory.h"
#include "GatewayInterface.h"
#include "KeyFiles.h"

namespace {

std::mutex gMutex;
std::string gLog;

void log(uint32_t, const char *text) {
  const std::lock_guard lock(gMutex);
  gLog += text + std::string("\n");
}

void event(const char *) {}

}  // namespace

// In place of the C library's, for the gateway's library too: the machine has no instance left.
extern "C" __attribute__((visibility("default"))) int inotify_init1(int) noexcept {
  errno = EMFILE;
  return -1;
}

TEST(GatewayLibrary, SaysThatChangesOfTrustAreNotSeenWhereKeysCannotBeWatched) {
  const FreshDirectory directory;
  const std::string keys = directory.path("keys");
  ASSERT_TRUE(orv::writeKeyPair(keys, orv::KeyPair{}, false).ok());
  void *library = dlopen(ORV_GATEWAY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto start = reinterpret_cast<OrvGatewayStart>(dlsym(library, "orvGatewayStart"));
  const auto stop = reinterpret_cast<OrvGatewayStop>(dlsym(library, "orvGatewayStop"));
  const std::string nodeDirectory = directory.path();
  OrvGatewaySettings settings{};
  settings.version = ORV_GATEWAY_VERSION;
  settings.nid = 0x1011;
  settings.address = "127.0.0.1";
  settings.nodeDirectory = nodeDirectory.c_str();
  settings.keyDirectory = keys.c_str();
  settings.queueLimit = 1;
  settings.deliveryTimeoutMs = 1000;
  const OrvGatewayHost host = {log, event};
  void *gateway = nullptr;
  char failure[1024] = "";
  ASSERT_EQ(start(&host, &settings, &gateway, failure, sizeof failure), 0) << failure;
  stop(gateway);
  const std::string expected =
      "gateway: what becomes trusted, or untrusted, is not seen before the next start: " + keys +
      " cannot be watched: Too many open files (more is to be had by the sysctls fs.inotify.*)\n";
  const std::lock_guard lock(gMutex);
  EXPECT_NE(gLog.find(expected), std::string::npos) << gLog;
}
