// A program that storms the log, or its standard output, and another one that dies meanwhile: the daemon notices as if
// nothing were going on, and does not grow.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "StormSize.h"
#include "TestNode.h"

namespace {

class DaemonLogStorm : public DaemonTest {
 protected:
  // A program that exits with 3 as soon as the pipe "end" has had a writer.
  std::string victim() const {
    EXPECT_EQ(mkfifo(node.path("end").c_str(), 0600), 0);
    node.writeFile("victim", "#!/bin/sh\ncat '" + node.path("end") + "'\nexit 3\n");
    chmod(node.path("victim").c_str(), 0755);
    return node.path("victim");
  }
  void endVictim() const {
    std::ofstream(node.path("end")) << "now\n";
  }

  // It takes minutes on a machine that has much else to do, and no command here may take more than one.
  bool stormIsOver() const {
    constexpr int MINUTES = 13;
    for (int turn = 0; turn < 2 * MINUTES; ++turn) {
      if (node.orvctl({"tag", "wait", "storm.over", "--timeout", "30"}).waitStatus == 0) return true;
    }
    return false;
  }

  void expectWeathered(const std::string &storm) {
    node.define({"victim;" + victim() + ";;0;1;",
                 "storm;" + node.program() + ";" + storm + " " + std::to_string(STORM_LINES) + ";0;0;"});
    const auto daemon = node.startedDaemon({"-v"});
    node.waitForEu("storm", orv::EuState::RUNNING);
    const std::string pid = std::to_string(daemon->pid());
    const unsigned long before = anonymousKib(pid);
    endVictim();
    // Said by the sentinel, who also raises the error: neither waits for the storm.
    daemon->waitForErrorLine(errorLine("exeRun: executable '" + node.path("victim") + "' failed with status 3"));
    node.waitForFinishedEu("victim");
    // Only now may the storm end, and only after so many lines.
    EXPECT_EQ(node.orvctl({"tag", "set", "storm.end"}).waitStatus, 0);
    EXPECT_TRUE(stormIsOver());
    const orv::EuRecord storming = node.waitForFinishedEu("storm");
    EXPECT_EQ(storming.waitStatus, 0);
    if (MEMORY_TELLS) {
      EXPECT_LT(anonymousKib(pid), before + MAX_GROWTH_KIB);
    }
    expectGracefulEnd(*daemon);
  }
};

}  // namespace

TEST_F(DaemonLogStorm, LinesOfAProgramToTheLog) {
  expectWeathered("log-storm");
  // The ring is full and not fuller.
  EXPECT_LE(node.events().size(), orv::DEFAULT_EVENT_LIMIT);
}

TEST_F(DaemonLogStorm, LinesOnTheStandardOutputOfAProgram) {
  expectWeathered("print-storm");
}
