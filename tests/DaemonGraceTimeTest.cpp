// The time that a shutdown leaves to programs where nothing is configured.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "TestNode.h"

using DaemonGraceTime = DaemonTest;

TEST_F(DaemonGraceTime, IsTenSecondsWhereNothingElseIsConfigured) {
  const auto daemon = node.startedDaemon({"--startup=executable=" + node.program() + " ignore-term"});
  daemon->waitForOutputLineWith("running ");
  const auto begin = std::chrono::steady_clock::now();
  expectGracefulEnd(*daemon);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_EQ(node.waitForEu(node.program(), orv::EuState::SHUT_DOWN).waitStatus, SIGKILL);
}
