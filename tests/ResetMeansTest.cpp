// What resets the board, and in which order it is called.
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/reboot.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "FakeBoard.h"
#include "WaitUntil.h"

namespace {

class ResetMeans : public FakeBoard {
 protected:
  // Whether it can be left to the daemon to call reboot(2): not even a mistake may restart the machine of the tests.
  static bool cannotReboot() {
    if (geteuid() != 0) return true;
    prctl(PR_CAPBSET_DROP, CAP_SYS_BOOT, 0, 0, 0);  // for what is executed from here on
    return prctl(PR_CAPBSET_READ, CAP_SYS_BOOT, 0, 0, 0) == 0;
  }

  // The configuration: resets by `means`, allowed.
  void resetBy(const std::string &means) const {
    node.configure("<tags><tag name=\"orv.service.aapro.watchdog_enabled\">1</tag></tags><board reset=\"" + means +
                   "\" watchdogDevice=\"" + node.path("watchdog") + "\"/>");
    node.define({"pump;" + failingProgram({}, 3) + ";;0;2;"});
  }

  Lines noting(const std::string &more = "FAKE_BOARD_NOTHING=") const {
    return {"FAKE_BOARD_CALLS=" + node.path("calls"), more};
  }

  bool hasOpen(const DaemonProcess &daemon, const std::string &file) const {
    const std::string directory = "/proc/" + std::to_string(daemon.pid()) + "/fd";
    for (const auto &descriptor : std::filesystem::directory_iterator(directory)) {
      std::error_code closed;
      if (std::filesystem::read_symlink(descriptor, closed) == node.path(file)) return true;
    }
    return false;
  }
};

const std::string REBOOT = "sync\nreboot " + std::to_string(RB_AUTOBOOT) + "\n";

}  // namespace

TEST_F(ResetMeans, RebootComesWhenTheFileSystemsAreSynced) {
  ASSERT_TRUE(cannotReboot());
  resetBy("reboot");
  startUntilReset(noting());
  EXPECT_EQ(fileText("calls"), REBOOT);
  EXPECT_NE(fileText("state/run-record").find("resetRequested=1\n"), std::string::npos);
  EXPECT_EQ(flight().entries.back().means, "reboot");
}

TEST_F(ResetMeans, RebootThatIsRefusedYieldsItsErrnoAndIsTakenBack) {
  ASSERT_TRUE(cannotReboot());
  resetBy("reboot");
  const auto daemon = start(noting("FAKE_BOARD_ERRNO=1"));
  daemon->waitForErrorLine(infoLine("boardReset: reset failed (-1)"));
  EXPECT_EQ(fileText("calls"), REBOOT);
  EXPECT_NE(fileText("state/run-record").find("resetRequested=0\n"), std::string::npos);
  EXPECT_EQ(flight().entries.back().kind, orv::FlightKind::RESET_FAILED);
  EXPECT_EQ(flight().entries.back().means, "board reset failed: reboot: Operation not permitted");
  expectGracefulEnd(*daemon);
}

TEST_F(ResetMeans, WatchdogHasItsShortestTimeOutAndIsLeftOpenAndUnfed) {
  resetBy("watchdog");
  const auto daemon = start(noting("FAKE_BOARD_ACCEPTS=1"));
  EXPECT_TRUE(comesTrue([&] { return fileText("calls") == "timeout 1\nsync\n"; })) << fileText("calls");
  EXPECT_TRUE(hasOpen(*daemon, "watchdog"));
  EXPECT_EQ(fileText("watchdog"), "");
  expectGracefulEnd(*daemon);
  EXPECT_EQ(fileText("watchdog"), "");
}
