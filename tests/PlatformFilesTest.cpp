// Files and time through the C interface of libORV.so.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

#include "AaFile.h"
#include "AaSysTime.h"
#include "PlatformNode.h"

namespace {

using orvtest::PlatformNode;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr uint32_t UNIT_MS = 3;
constexpr uint32_t UNIT_S = 4;

[[maybe_unused]] const testing::Environment *gNode = testing::AddGlobalTestEnvironment(new PlatformNode);

class File : public testing::Test {
 protected:
  // The path cannot be opened, and the log names it.
  void expectRefused(const std::string &path, const char *mode) {
    EXPECT_EQ(AaFileOpen(path.c_str(), mode), nullptr) << path << " " << mode;
    EXPECT_GE(PlatformNode::countEvents(orvtest::LOG_EVENT, orvtest::WARNING, "cannot open " + path + ": "), 1u);
  }
  FreshDirectory files_;
};

// The descriptor of this process that is open at `path`, -1 where there is none.
int descriptorOf(const std::string &path) {
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) == path) return std::stoi(entry.path().filename());
  }
  return -1;
}

volatile sig_atomic_t gSignals = 0;

void countSignal(int) {
  gSignals = gSignals + 1;
}

milliseconds sleepTime(uint32_t amount, uint32_t unit) {
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(AaSysTimeSleep(amount, unit), 0);
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

}  // namespace

TEST_F(File, IsReadInItems) {
  void *file = AaFileOpen(files_.write("text", "abcdefgh").c_str(), "r");
  ASSERT_NE(file, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(AaFileRead(buffer, 3, 2, file), 2u);
  EXPECT_STREQ(buffer, "abcdef");
  EXPECT_EQ(AaFileRead(buffer, 3, 2, file), 0u) << "two bytes are no whole item";
  EXPECT_EQ(AaFileRead(buffer, 1, 1, file), 0u);
  EXPECT_EQ(AaFileClose(file), 0);
}

TEST_F(File, EndsWhereItEnds) {
  void *file = AaFileOpen(files_.write("text", std::string("a\0b", 3)).c_str(), "rb");
  ASSERT_NE(file, nullptr);
  char buffer[16] = {};
  EXPECT_EQ(AaFileRead(buffer, 1, sizeof buffer, file), 3u);
  EXPECT_EQ(buffer[1], '\0');
  EXPECT_EQ(buffer[2], 'b');
  EXPECT_EQ(AaFileClose(file), 0);
}

TEST_F(File, EmptyOneHasNothingToRead) {
  void *file = AaFileOpen(files_.write("text", "").c_str(), "r");
  ASSERT_NE(file, nullptr);
  char buffer[1] = {'x'};
  EXPECT_EQ(AaFileRead(buffer, 1, 1, file), 0u);
  EXPECT_EQ(buffer[0], 'x');
  EXPECT_EQ(AaFileClose(file), 0);
}

TEST_F(File, NothingIsReadWhereNothingCanBe) {
  void *file = AaFileOpen(files_.write("text", "abc").c_str(), "r");
  ASSERT_NE(file, nullptr);
  char buffer[4] = {};
  EXPECT_EQ(AaFileRead(buffer, 0, 5, file), 0u);
  EXPECT_EQ(AaFileRead(buffer, 5, 0, file), 0u);
  EXPECT_EQ(AaFileRead(nullptr, 1, 1, file), 0u);
  EXPECT_EQ(AaFileRead(buffer, 1, 1, nullptr), 0u);
  EXPECT_EQ(AaFileRead(buffer, UINT32_MAX, UINT32_MAX, file), 0u) << "no buffer is as long as that";
  EXPECT_EQ(AaFileRead(buffer, 1, 3, file), 3u) << "the file is where it was";
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(AaFileClose(file), 0);
}

TEST_F(File, IsClosedForProgramsThatAreStarted) {
  const std::string path = std::filesystem::canonical(files_.write("text", "abc")).string();
  void *file = AaFileOpen(path.c_str(), "r");
  ASSERT_NE(file, nullptr);
  const int descriptor = descriptorOf(path);
  ASSERT_GE(descriptor, 0);
  EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(AaFileClose(file), 0);
  EXPECT_EQ(descriptorOf(path), -1);
}

TEST_F(File, SymbolicLinkToAFileIsFollowed) {
  files_.write("text", "abc");
  const std::string link = files_.path() + "/link";
  ASSERT_EQ(symlink("text", link.c_str()), 0);
  void *file = AaFileOpen(link.c_str(), "r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(AaFileClose(file), 0);
}

TEST_F(File, MissingOneIsRefused) {
  expectRefused(files_.path() + "/none", "r");
  errno = 0;
  EXPECT_EQ(AaFileOpen((files_.path() + "/none").c_str(), "r"), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(File, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
  expectRefused(files_.path(), "r");
  expectRefused("/dev/zero", "r");

  const std::string fifo = files_.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  expectRefused(fifo, "r");

  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = files_.path() + "/socket";
  ASSERT_LT(path.copy(address.sun_path, sizeof address.sun_path - 1), sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  expectRefused(path, "r");
  close(listener);
}

TEST_F(File, ModesThatWriteAreRefusedAndChangeNothing) {
  const std::string path = files_.write("text", "abc");
  for (const char *mode : {"w", "a", "r+", "rb+", "wx", "", "x"}) {
    expectRefused(path, mode);
  }
  EXPECT_EQ(std::filesystem::file_size(path), 3u);
  expectRefused(files_.path() + "/new", "w");
  EXPECT_FALSE(std::filesystem::exists(files_.path() + "/new"));
}

TEST_F(File, NullArgumentsAreRefused) {
  EXPECT_EQ(AaFileOpen(nullptr, "r"), nullptr);
  EXPECT_EQ(AaFileOpen(files_.write("text", "abc").c_str(), nullptr), nullptr);
  EXPECT_EQ(AaFileClose(nullptr), EINVAL);
}

TEST(Sleep, LastsAtLeastAsLongAsAsked) {
  EXPECT_GE(sleepTime(30, UNIT_MS), milliseconds(30));
  EXPECT_GE(sleepTime(1, UNIT_S), milliseconds(1000));
}

TEST(Sleep, OfNothingReturnsAtOnce) {
  // Far below the shortest unit that could be meant by mistake for a second; of several, since the machine may hold one
  // up.
  for (const uint32_t unit : {UNIT_MS, UNIT_S}) {
    milliseconds shortest = sleepTime(0, unit);
    for (int i = 0; i < 4; ++i)
      shortest = std::min(shortest, sleepTime(0, unit));
    EXPECT_LT(shortest, milliseconds(900)) << unit;
  }
}

TEST(Sleep, UnknownUnitIsRefused) {
  for (const uint32_t unit : {0u, 1u, 2u, 5u, UINT32_MAX}) {
    EXPECT_EQ(AaSysTimeSleep(1, unit), EINVAL) << unit;
  }
}

TEST(Sleep, IsNotCutShortBySignals) {
  struct sigaction action {};
  action.sa_handler = countSignal;  // without SA_RESTART: each signal interrupts the call below
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
  gSignals = 0;
  const itimerval every5Ms = {{0, 5000}, {0, 5000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &every5Ms, nullptr), 0);
  EXPECT_GE(sleepTime(60, UNIT_MS), milliseconds(60));
  const itimerval off = {};
  ASSERT_EQ(setitimer(ITIMER_REAL, &off, nullptr), 0);
  EXPECT_GE(gSignals, 1);
  ASSERT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
}
