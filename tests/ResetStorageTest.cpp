// A reset that is requested while the storage hangs: it is made without the record.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "FakeBoard.h"
#include "WaitUntil.h"

namespace {

class ResetStorage : public FakeBoard {
 protected:
  // The board is reset, and the daemon has said once what it could not do.
  void expectResetWithout(DaemonProcess &daemon, const std::string &what) const {
    const int waitStatus = daemon.waitForExit();
    EXPECT_TRUE(WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == SIGKILL) << waitStatus;
    EXPECT_EQ(countLinesWith("Error/ORV/platform, cannot " + what +
                                 " in 10 s and does not wait for it any longer: does the storage of " +
                                 node.path("state") + " hang?",
                             daemon.errorLines()),
              1U);
  }
};

TEST_F(ResetStorage, ResetIsMadeThoughTheFlightRecordCannotBeWritten) {
  ASSERT_EQ(mkfifo(node.path("end").c_str(), 0600), 0);
  node.writeFile("pump", "#!/bin/sh\ncat '" + node.path("end") + "'\nexit 3\n");
  chmod(node.path("pump").c_str(), 0755);
  node.define({"pump;" + node.path("pump") + ";;0;2;"});
  const auto daemon = start();
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  // The start is put on record beside the start-up.
  ASSERT_TRUE(comesTrue([this] { return flight().entries.size() == 1; }));
  // Who never lets go of the record is to the daemon what a disk is that never answers.
  const int record = open((node.path("state") + "/flight-record").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(record, LOCK_EX), 0);
  std::ofstream(node.path("end")) << "now\n";
  expectResetWithout(*daemon, "write the flight record");
  close(record);
  EXPECT_NE(fileText("state/run-record").find("resetRequested=1\n"), std::string::npos);
}

TEST_F(ResetStorage, ResetIsMadeThoughTheHoldCannotBeRead) {
  node.define({"pump;" + failingProgram({}, 3) + ";;0;2;"});
  const auto daemon = start({"FAKE_BOARD_HANGS=" + node.path("state") + "/reset-hold"});
  expectResetWithout(*daemon, "read the hold of resets");
}

}  // namespace
