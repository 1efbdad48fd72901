// A program that is started when memory runs out: in libORV.so, as the daemon uses it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <string>

#include "AaPro.h"
#include "AaStartup.h"
#include "PlatformNode.h"

namespace {

using orvtest::PlatformNode;

const testing::Environment *const NODE_ENVIRONMENT = testing::AddGlobalTestEnvironment(new PlatformNode);

// Blocks of this size and more are what the tests run out of.
constexpr size_t LARGE = 1024UL * 1024;

// How many large blocks there still are; without a limit before a test sets one.
std::atomic<int> gLargeBlocks{1000000};

void *allocate(size_t size) {
  if (size >= LARGE && gLargeBlocks.fetch_sub(1) <= 0) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

constexpr unsigned LAUNCH_FAILED_EVENT = 8;

}  // namespace

// In place of those of the C++ library, for libORV.so too.
void *operator new(size_t size) {
  void *block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void *operator new[](size_t size) {
  return operator new(size);
}
void operator delete(void *block) noexcept {
  std::free(block);
}
void operator delete[](void *block) noexcept {
  std::free(block);
}
void operator delete(void *block, size_t) noexcept {
  std::free(block);
}
void operator delete[](void *block, size_t) noexcept {
  std::free(block);
}

TEST(ProgramMemory, StartWithoutMemorySaysSoAndTheNextOneAndTheShutdownGoOn) {
  const std::string arguments(LARGE, 'x');
  int32_t waitStatus = -1;
  bool ranOut = false;
  // Wherever on its way the start runs out of it.
  for (int blocks = 0; blocks < 10; ++blocks) {
    gLargeBlocks = blocks;
    const int32_t result = AaProCmdExec("/bin/true", arguments.c_str(), 0, &waitStatus);
    const bool isLast = gLargeBlocks >= 0;
    gLargeBlocks = 1000000;
    if (isLast) break;
    ranOut = true;
    EXPECT_EQ(result, ENOMEM) << blocks;
  }
  EXPECT_TRUE(ranOut);
  EXPECT_GE(PlatformNode::countEvents(LAUNCH_FAILED_EVENT, 0,
                                      "cannot start /bin/true: Cannot allocate memory (out of processes or memory"),
            1U);
  EXPECT_EQ(AaProCmdExec("/bin/true", "", 0, &waitStatus), 0);
  // A start that is still taken for under way would be waited for without an end.
  constexpr unsigned LIMIT_S = 60;
  alarm(LIMIT_S);
  EXPECT_EQ(AaStartupCeShutdown(), 0);
  alarm(0);
}
