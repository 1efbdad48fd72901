// orvctl msg between two nodes: sent on one, heard on the other, through their gateways.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "GatewayNodes.h"
#include "ProcessTable.h"

namespace {

class OrvctlBetweenNodes : public testing::Test {
 protected:
  OrvctlBetweenNodes() {
    trustEachOther({&master_, &slave_});
    master_.start();
    slave_.start();
    slave_.waitForConnection(master_);
  }
  ~OrvctlBetweenNodes() override {
    slave_.stop();
    master_.stop();
  }

  // The tool on the master, listening.
  std::unique_ptr<DaemonProcess> listener() const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH, "msg", "listen", "--cpid", "0x04e7", "--count", "1"};
    start.environment = master_.files().environment();
    auto process = std::make_unique<DaemonProcess>(start);
    const std::string name = master_.files().nodeDirectory() + "/syscom/04e7";
    const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
    while (!std::filesystem::exists(name) && std::chrono::steady_clock::now() < deadline)
      std::this_thread::yield();
    return process;
  }

  const GatewayPlaces places_ = ownPlaces();
  GatewayNode master_{places_, MASTER};
  GatewayNode slave_{places_, FIRST_SLAVE};
};

TEST_F(OrvctlBetweenNodes, MessageArrivesAsItWasSent) {
  const auto heard = listener();
  const CommandResult sent = slave_.files().orvctl(
      {"msg", "send", "--to", "0x1011:0x04e7", "--from", "0x2011:0x1000", "--id", "7", "--text", "hello"});
  EXPECT_EQ(sent.waitStatus, 0);
  const int waitStatus = heard->waitForExit();
  EXPECT_EQ(waitStatus, 0);
  // It is the gateway in the daemon's process that hands it over.
  EXPECT_EQ(heard->outputLines(), std::vector<std::string>{"0x0007 from 0x20111000 to 0x101104e7, pid " +
                                                           std::to_string(master_.daemon().pid()) + ", uid " +
                                                           std::to_string(getuid()) + ", 5 bytes: \"hello\""});
}

TEST_F(OrvctlBetweenNodes, NodeThatIsNoPeerIsRefusedWithTheReason) {
  const CommandResult sent = slave_.files().orvctl({"msg", "send", "--to", "0x5011:0x04e7", "--id", "7"});
  ASSERT_TRUE(WIFEXITED(sent.waitStatus));
  EXPECT_EQ(WEXITSTATUS(sent.waitStatus), 1);
  EXPECT_EQ(sent.errors,
            std::vector<std::string>{"orvctl: message 0x0007 to 0x501104e7 refused: node 0x5011 is another node and "
                                     "this node's gateway has no way to it (it is no peer, or its lines in the log "
                                     "tell why)"});
}

}  // namespace
