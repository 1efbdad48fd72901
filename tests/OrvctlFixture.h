// What the tests of orvctl share: a node that the test makes, and the tool run on it as a process.
#ifndef ORV_TESTS_ORVCTLFIXTURE_H
#define ORV_TESTS_ORVCTLFIXTURE_H

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Clock.h"
#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "NodeStore.h"
#include "RunRecord.h"
#include "TextLines.h"

namespace orvctltest {

using orv::EuRecord;
using orv::EuState;
using orv::NodeStore;
using orv::RunState;
using orv::TagType;
using Lines = std::vector<std::string>;

constexpr int DONE = 0;
constexpr int NO = 1;
constexpr int USAGE = 2;
constexpr int FAILED = 3;

class Orvctl : public testing::Test {
 protected:
  Orvctl() {
    std::filesystem::create_directory(node());
    std::filesystem::permissions(node(), std::filesystem::perms(0750));
  }

  std::string node() const {
    return directory_.path("node");
  }
  std::string state() const {
    return directory_.path("state");
  }

  // The store of the node; made where there is none yet.
  std::unique_ptr<NodeStore> store() const {
    std::unique_ptr<NodeStore> store;
    const orv::Status status = NodeStore::open(node(), NodeStore::Access::CREATE, store);
    EXPECT_TRUE(status.ok()) << status.message;
    return store;
  }

  CommandResult run(const Lines &arguments) const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"ORV_NODE_DIR=" + node(), "ORV_STATE_DIR=" + state(), "TZ=UTC"};
    return runCommand(start);
  }

  // Runs the tool and expects that exit code; output on one stream alone.
  std::string output(int exitCode, const Lines &arguments) const {
    const CommandResult result = run(arguments);
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << joined(arguments) << joined(result.errors);
    EXPECT_EQ(result.errors, Lines());
    return joined(result.output);
  }
  // The same for what it has to complain about: one line, which begins with the name of the tool.
  std::string complaint(int exitCode, const Lines &arguments) const {
    const CommandResult result = run(arguments);
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << joined(arguments);
    EXPECT_EQ(result.output, Lines());
    EXPECT_EQ(result.errors.size(), 1U) << joined(result.errors);
    const std::string text = result.errors.empty() ? "" : result.errors[0];
    EXPECT_TRUE(text.starts_with("orvctl: ")) << text;
    return text;
  }

  // A run whose daemon is the process `pid`.
  void beginRun(uint32_t pid, RunState runState = RunState::UP) const {
    orv::RunInfo run;
    run.state = runState;
    run.daemonPid = pid;
    run.startedNs = orv::monotonicNs();
    run.startedRealtimeNs = 1700000000ULL * 1000000000;
    run.nid = 0x10;
    run.ceName = "CE-1";
    EXPECT_TRUE(store()->beginRun(run).ok());
  }

  FreshDirectory directory_;
};

}  // namespace orvctltest

#endif
