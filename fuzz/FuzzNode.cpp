// The node of a fuzz target, made before the first input.
#include "FuzzNode.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace orvfuzz {
namespace {

std::string gNodeDirectory;

// Standard error as it was before libFuzzer closed it.
int gStandardError = -1;

// Makes a node below $TMPDIR and starts it early. It is removed when the process ends by itself.
void makeNode() {
  std::string base = (std::filesystem::temp_directory_path() / "orv-fuzz.XXXXXX").string();
  require(mkdtemp(base.data()) != nullptr);
  gNodeDirectory = base + "/node";
  std::ofstream(base + "/platform.xml") << "<orv/>";
  setenv("ORV_NODE_DIR", gNodeDirectory.c_str(), 1);
  setenv("ORV_STATE_DIR", (base + "/state").c_str(), 1);
  setenv("ORV_CONFIG", (base + "/platform.xml").c_str(), 1);
  require(AaStartupEarlyStartup() == 0);
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(gNodeDirectory).parent_path(), ignored);
  });
}

// Runs fuzz-node-tags on the node. Returns its wait status.
int forgetTags() {
  std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "fuzz-node-tags";
  char option[] = "--forget";
  char *arguments[] = {program.data(), gNodeDirectory.data(), option, nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, gStandardError, STDERR_FILENO);
  pid_t pid = 0;
  require(posix_spawn(&pid, program.c_str(), &actions, nullptr, arguments, environ) == 0);
  posix_spawn_file_actions_destroy(&actions);
  int waitStatus = -1;
  // libFuzzer's alarm clock interrupts system calls.
  pid_t ended = -1;
  do {
    ended = waitpid(pid, &waitStatus, 0);
  } while (ended < 0 && errno == EINTR);
  require(ended == pid);
  return waitStatus;
}

}  // namespace

void forgetTagsFromTimeToTime() {
  constexpr unsigned INPUTS = 1000;
  static unsigned count = 0;
  if (++count % INPUTS != 0) return;
  const int waitStatus = forgetTags();
  if (waitStatus == 0) return;
  dprintf(gStandardError, "fuzz-node-tags ended with wait status %d\n", waitStatus);
  std::abort();
}

}  // namespace orvfuzz

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  orvfuzz::gStandardError = dup(STDERR_FILENO);
  orvfuzz::makeNode();
  return 0;
}
