// A node of its own for a test program that uses libORV.so as any program would.
//
// The library opens one node store in the life of a process, so all tests of one process share a node, which lasts
// until the process ends. Tests therefore use names of their own, and see the events of their own time only. For its
// files each test has a fresh directory beside that.
#ifndef ORV_TESTS_PLATFORMNODE_H
#define ORV_TESTS_PLATFORMNODE_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "AaStartup.h"
#include "AaSysLog.h"
#include "FreshDirectory.h"

namespace orvtest {

struct NodeEvent {
  uint64_t monotonicNs = 0;
  unsigned kind = 0;  // the numbers of orv::EventKind
  unsigned code = 0;
  std::string text;
};

constexpr unsigned TAG_SET_EVENT = 9;
constexpr unsigned LOG_EVENT = 10;
constexpr unsigned MESSAGE_SENT_EVENT = 12;
constexpr unsigned MESSAGE_UNDELIVERED_EVENT = 13;
constexpr unsigned INFO = 2;
constexpr unsigned WARNING = 3;
constexpr unsigned ERROR = 4;

// Remembers when the running test began.
class TestClock : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo &) override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    startNs() = static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
  }
  static uint64_t &startNs() {
    static uint64_t ns = 0;
    return ns;
  }
};

class PlatformNode : public testing::Environment {
 public:
  // `prepare`, where it is not null, is called with the node directory before the early start-up.
  explicit PlatformNode(void (*prepare)(const std::string &nodeDirectory) = nullptr) : prepare_(prepare) {
    testing::UnitTest::GetInstance()->listeners().Append(new TestClock);
  }

  void SetUp() override {
    // Tests that are repeated set their environment up again.
    if (!nodeDirectory().empty()) return;
    static const FreshDirectory directory;
    nodeDirectory() = directory.path() + "/node";
    std::filesystem::create_directory(nodeDirectory());
    std::filesystem::permissions(nodeDirectory(), std::filesystem::perms(0750));
    setenv("ORV_NODE_DIR", nodeDirectory().c_str(), 1);
    setenv("ORV_STATE_DIR", (directory.path() + "/state").c_str(), 1);
    setenv("ORV_CONFIG", directory.write("platform.xml", "<orv/>").c_str(), 1);
    if (prepare_ != nullptr) prepare_(nodeDirectory());
    ASSERT_EQ(AaStartupEarlyStartup(), 0);
  }

  static std::string &nodeDirectory() {
    static std::string directory;
    return directory;
  }

  // The start-up record by its address: naming it here would move the library's object into the test program.
  static OrvStartupConfig &startupConfig() {
    void *record = dlsym(RTLD_DEFAULT, "gOrvStartupConfig");
    if (record == nullptr) std::abort();
    return *static_cast<OrvStartupConfig *>(record);
  }

  // The events since the running test began, oldest first. The daemon's thread writes them: a line of the reader's own,
  // which comes after all that happened before the call and is left out of the result, tells when they are there.
  static std::vector<NodeEvent> events() {
    static unsigned calls = 0;
    const std::string mark = "events asked for, call " + std::to_string(++calls);
    AaSysLogPrint(INFO, "%s", mark.c_str());
    constexpr int ATTEMPTS = 3000;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
      std::vector<NodeEvent> found = readEvents();
      const auto isMark = [&](const NodeEvent &event) { return event.text == mark; };
      if (std::any_of(found.begin(), found.end(), isMark)) {
        std::erase_if(found, [](const NodeEvent &event) { return event.text.starts_with("events asked for, call "); });
        return found;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ADD_FAILURE() << "the line \"" << mark << "\" does not come";
    return {};
  }

  // How many of these events of that kind and code have `part` in their text.
  static size_t countEvents(unsigned kind, unsigned code, const std::string &part) {
    size_t count = 0;
    for (const NodeEvent &event : events()) {
      if (event.kind == kind && event.code == code && event.text.find(part) != std::string::npos) ++count;
    }
    return count;
  }

 private:
  static std::vector<NodeEvent> readEvents() {
    const std::string reader = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "NodeEvents";
    FILE *output = popen(("'" + reader + "' '" + nodeDirectory() + "'").c_str(), "re");
    if (output == nullptr) std::abort();
    std::string text;
    for (int c = std::fgetc(output); c != EOF; c = std::fgetc(output)) {
      text += static_cast<char>(c);
    }
    EXPECT_EQ(pclose(output), 0) << "the events of the node could not be read";
    std::istringstream lines(text);
    std::vector<NodeEvent> found;
    for (NodeEvent event;
         lines >> event.monotonicNs >> event.kind >> event.code && lines.get() && std::getline(lines, event.text);) {
      if (event.monotonicNs >= TestClock::startNs()) found.push_back(event);
    }
    return found;
  }

  void (*prepare_)(const std::string &nodeDirectory);
};

}  // namespace orvtest

#endif
