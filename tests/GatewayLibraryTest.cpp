// The gateway's library by itself, where the machine does not give it all that it asks for.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <mutex>
#include <string>

#include "FreshDirectory.h"
#include "GatewayInterface.h"
#include "KeyFiles.h"

namespace {

constexpr int AS_EXPECTED = 0;
constexpr int NOT_POSSIBLE = 99;

std::mutex gMutex;
std::string gLog;

void log(uint32_t, const char *text) {
  const std::lock_guard lock(gMutex);
  gLog += text + std::string("\n");
}

void event(const char *) {}

// A user namespace in which nobody has an inotify instance. Returns false where kernel or container forbids it.
bool leaveNoInotify() {
  const std::string uid = std::to_string(geteuid());
  if (unshare(CLONE_NEWUSER) != 0) return false;
  std::ofstream("/proc/self/uid_map") << "0 " + uid + " 1";
  std::ofstream limit("/proc/sys/user/max_inotify_instances");
  return static_cast<bool>(limit << "0" << std::flush);
}

int startWithKeys(const std::string &directory) {
  void *library = dlopen(ORV_GATEWAY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return 1;
  const auto start = reinterpret_cast<OrvGatewayStart>(dlsym(library, "orvGatewayStart"));
  const auto stop = reinterpret_cast<OrvGatewayStop>(dlsym(library, "orvGatewayStop"));
  const std::string keys = directory + "/keys";
  OrvGatewaySettings settings{};
  settings.version = ORV_GATEWAY_VERSION;
  settings.nid = 0x1011;
  settings.address = "127.0.0.1";
  settings.nodeDirectory = directory.c_str();
  settings.keyDirectory = keys.c_str();
  settings.queueLimit = 1;
  settings.deliveryTimeoutMs = 1000;
  const OrvGatewayHost host = {log, event};
  void *gateway = nullptr;
  char failure[1024] = "";
  if (start(&host, &settings, &gateway, failure, sizeof failure) != 0) return 2;
  stop(gateway);
  const std::string expected =
      "gateway: what becomes trusted, or untrusted, is not seen before the next start: " + keys +
      " cannot be watched: Too many open files (more is to be had by the sysctls fs.inotify.*)\n";
  return gLog.find(expected) == std::string::npos ? 3 : AS_EXPECTED;
}

}  // namespace

TEST(GatewayLibrary, SaysThatChangesOfTrustAreNotSeenWhereKeysCannotBeWatched) {
  const FreshDirectory directory;
  ASSERT_TRUE(orv::writeKeyPair(directory.path("keys"), orv::KeyPair{}, false).ok());
  const pid_t child = fork();
  if (child == 0) _exit(leaveNoInotify() ? startWithKeys(directory.path()) : NOT_POSSIBLE);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << status;
  // Skipped where there are no user namespaces: the machine's own limit is not a test's to change.
  if (WEXITSTATUS(status) == NOT_POSSIBLE) GTEST_SKIP() << "no user namespace";
  EXPECT_EQ(WEXITSTATUS(status), AS_EXPECTED);
}
