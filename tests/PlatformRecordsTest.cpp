// What a process that runs a node records, where descriptors and room are short: in libORV.so, as the daemon uses it.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "AaPro.h"
#include "AaSysLog.h"
#include "Limited.h"
#include "PlatformNode.h"
#include "WaitUntil.h"

namespace {

using orvtest::INFO;
using orvtest::LOG_EVENT;
using orvtest::PlatformNode;

const testing::Environment *const NODE_ENVIRONMENT = testing::AddGlobalTestEnvironment(new PlatformNode);

constexpr unsigned LAST_WORDS_EVENT = 15;

// How often the thread of that name has given its processor up to wait for something; nothing where there is none.
std::optional<unsigned long> waitsOf(const std::string &thread) {
  for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name != thread) continue;
    std::ifstream status(task.path() / "status");
    const std::string key = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with(key)) return std::stoul(line.substr(key.size()));
    }
  }
  return std::nullopt;
}

}  // namespace

TEST(PlatformRecords, LongTextIsCutBetweenCharacters) {
  std::string text = "x";
  while (text.size() < 2000)
    text += "\xC3\xA4";
  AaSysLogPrint(INFO, "%s", text.c_str());
  EXPECT_EQ(PlatformNode::countEvents(LOG_EVENT, INFO, text.substr(0, 999)), 1U);
  EXPECT_EQ(PlatformNode::countEvents(LOG_EVENT, INFO, text.substr(0, 1000)), 0U) << "half a character";
}

TEST(PlatformRecords, WhatTheStoreDoesNotTakeIsTriedAgainNowAndThen) {
  std::signal(SIGXFSZ, SIG_IGN);
  {
    // Less than the store's file has already: no page of it can be written.
    const Limited fileSize(RLIMIT_FSIZE, 4096);
    AaSysLogPrint(INFO, "refused at first");
    ASSERT_TRUE(comesTrue([] { return waitsOf("orvStoreWriter").has_value(); })) << "it names itself when it runs";
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const unsigned long before = waitsOf("orvStoreWriter").value();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const unsigned long waits = waitsOf("orvStoreWriter").value() - before;
    const std::chrono::duration<double> seconds = Clock::now() - begin;
    EXPECT_GT(waits, 0U) << "it is not tried again";
    EXPECT_LT(static_cast<double>(waits) / seconds.count(), 100.0) << "times a second";
  }
  EXPECT_EQ(PlatformNode::countEvents(LOG_EVENT, INFO, "refused at first"), 1U);
}

TEST(PlatformRecords, CaretakerThatFoundNoDescriptorIsStartedByALaterProgram) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // Skipped with sanitizers: they open descriptors of their own to see whether memory can be read, and take it for
  // lost where there are none.
  GTEST_SKIP() << "a sanitizer needs descriptors";
#endif
  // What is opened for the log is kept, and need not be found in the short time.
  PlatformNode::events();
  int32_t waitStatus = -1;
  {
    const Limited descriptors(RLIMIT_NOFILE, nextDescriptor() + 1);
    EXPECT_EQ(AaProCmdExec("/bin/true", "", 0, &waitStatus), 0) << "it can do without, and has the one that is left";
    EXPECT_EQ(waitStatus, 0);
  }
  EXPECT_EQ(AaProCmdExec("/bin/sh", "-c 'echo a word; exit 3'", 0, &waitStatus), 5);
  EXPECT_TRUE(comesTrue([] { return PlatformNode::countEvents(LAST_WORDS_EVENT, 0, "a word") == 1; }));
}
