// A node that has started costs nothing: no thread of the daemon wakes up before there is something to do, and none
// keeps memory that only its start took.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ProcessTable.h"
#include "TestNode.h"

namespace {

class DaemonIdle : public DaemonTest {
 protected:
  void defineApplications(int count) {
    std::vector<std::string> definitions;
    for (int i = 0; i < count; ++i) {
      definitions.push_back("app" + std::to_string(i) + ";" + node.program() + ";stay;0;3;");
    }
    node.define(definitions);
  }
};

// Longer than any poll's interval that would be of use to somebody.
constexpr auto WINDOW = std::chrono::seconds(1);

}  // namespace

TEST_F(DaemonIdle, NoThreadWakesUpOnceThreeExecutablesAndSixtyFourApplicationsRun) {
  defineApplications(64);
  const std::string exe = node.program();
  const auto daemon =
      node.startedDaemon({"--startup=executable=" + exe + " online a#a|" + exe + " online b#b|" + exe + " stay"});
  daemon->waitForOutputLineWith("running ", 65);

  // The last programs' starts may still be followed by their records, so that the first window need not be a quiet one;
  // a thread that wakes up at intervals leaves none.
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  bool quiet = false;
  while (!quiet && std::chrono::steady_clock::now() < deadline) {
    const unsigned long before = contextSwitches(daemon->pid());
    std::this_thread::sleep_for(WINDOW);
    quiet = contextSwitches(daemon->pid()) == before;
  }
  EXPECT_TRUE(quiet) << "the daemon's threads go on waking up";
  expectGracefulEnd(*daemon);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they make every frame larger
namespace {

// How much of each thread's stack is in memory, in kB: of every mapping of the daemon that has the size of one.
std::vector<unsigned> stacksInMemory(pid_t daemon) {
  constexpr unsigned STACK_KB = 256;
  std::ifstream mappings("/proc/" + std::to_string(daemon) + "/smaps");
  std::vector<unsigned> found;
  unsigned sizeKb = 0;
  for (std::string line; std::getline(mappings, line);) {
    std::istringstream words(line);
    std::string key;
    unsigned kb = 0;
    words >> key >> kb;
    if (key == "Size:") sizeKb = kb;
    if (key == "Private_Dirty:" && sizeKb == STACK_KB) found.push_back(kb);
  }
  return found;
}

}  // namespace

TEST_F(DaemonIdle, ThreadsThatWaitKeepLittleOfTheirStacksInMemory) {
  constexpr int APPLICATIONS = 64;
  // The start-up's table of that many definitions alone has 52 kB; a start's pointers and the child's frames have 8 kB.
  constexpr unsigned LITTLE_KB = 16;
  defineApplications(APPLICATIONS);
  const auto daemon = node.startedDaemon({"-v"});
  daemon->waitForOutputLineWith("running ", APPLICATIONS);
  const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
  std::vector<unsigned> stacks;
  do {
    stacks = stacksInMemory(daemon->pid());
  } while (!stacks.empty() && *std::ranges::max_element(stacks) > LITTLE_KB &&
           std::chrono::steady_clock::now() < deadline);
  ASSERT_GE(stacks.size(), static_cast<size_t>(APPLICATIONS));
  EXPECT_LE(*std::ranges::max_element(stacks), LITTLE_KB);
  expectGracefulEnd(*daemon);
}
#endif
