// What the node says at its start of the device that is to reset the board, and that it leaves the device alone.
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "FakeBoard.h"
#include "RunRecord.h"

namespace {

class ResetDevice : public FakeBoard {
 protected:
  static std::string complaint(const std::string &device, const std::string &reason) {
    return "the board cannot be reset by " + device + ": " + reason +
           " (load the watchdog's driver, or name its device: watchdogDevice in the configuration)";
  }
  // What a start says of the device, a `<board>` with these attributes being configured.
  Lines linesOfAStart(const std::string &attributes) const {
    node.configure("<board " + attributes + "/>");
    return linesOfAStart();
  }
  Lines linesOfAStart() const {
    Lines lines = startAndStop();
    std::erase_if(lines, [](const std::string &line) { return line.find("cannot be reset") == std::string::npos; });
    return lines;
  }
};

TEST_F(ResetDevice, MissingOneIsSaidOnceAtTheStart) {
  std::filesystem::remove(node.path("watchdog"));
  EXPECT_EQ(linesOfAStart(),
            Lines{"Warning/ORV/platform, " + complaint(node.path("watchdog"), "No such file or directory")});
}

TEST_F(ResetDevice, MissingOneIsSaidToTheNodesLog) {
  // With the machine's own boot id the test can read the node's store.
  node.writeFile("boot-id", orv::currentBootId() + "\n");
  std::filesystem::remove(node.path("watchdog"));
  const auto daemon = start();
  daemon->waitForErrorLine(infoLine("ceInternalStartup: CE start-up complete"));
  const orv::Event event = node.waitForEvent(orv::EventKind::LOG, "cannot be reset");
  EXPECT_EQ(event.text, complaint(node.path("watchdog"), "No such file or directory"));
  EXPECT_EQ(event.code, 3U) << "a warning";
  expectGracefulEnd(*daemon);
}

TEST_F(ResetDevice, OneThatIsNoCharacterDeviceIsSaid) {
  EXPECT_EQ(linesOfAStart("reset=\"watchdog\" watchdogDevice=\"" + node.path("pstore") + "\""),
            Lines{"Warning/ORV/platform, " + complaint(node.path("pstore"), "it is no character device")});
}

TEST_F(ResetDevice, OneThatIsThereIsNeitherMentionedNorOpened) {
  const int opened = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(inotify_add_watch(opened, node.path("watchdog").c_str(), IN_OPEN), 0);
  EXPECT_EQ(linesOfAStart(), Lines());
  inotify_event event{};
  EXPECT_EQ(read(opened, &event, sizeof event), -1) << "the start has opened the device";
  std::ifstream(node.path("watchdog")).close();
  EXPECT_EQ(read(opened, &event, sizeof event), static_cast<ssize_t>(sizeof event)) << "an open would have been seen";
  close(opened);
}

TEST_F(ResetDevice, MissingOneIsNotMentionedWhereNothingIsToResetByIt) {
  const std::string missing = " watchdogDevice=\"" + node.path("none") + "\"";
  EXPECT_EQ(linesOfAStart("reset=\"none\"" + missing), Lines());
  EXPECT_EQ(linesOfAStart("reset=\"reboot\"" + missing), Lines());
  EXPECT_EQ(linesOfAStart(missing), Lines());
}

}  // namespace
