// The log's sinks, with the sockets of a journal and of a syslog daemon played by the test in a mount namespace of its
// own: what arrives there is what the real ones would get from the real client libraries.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "AaError.h"
#include "AaPro.h"
#include "AaStartup.h"
#include "AaSysLog.h"
#include "FreshDirectory.h"
#include "Limited.h"
#include "MountNamespace.h"

namespace {

bool gInNamespace = false;

int listenAt(const char *path, int type) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  const int descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << std::strerror(errno);
  const timeval limit = {60, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  if (type == SOCK_STREAM) {
    EXPECT_EQ(listen(descriptor, 1), 0);
  }
  return descriptor;
}

std::string receive(int descriptor) {
  char buffer[4096];
  const ssize_t length = recv(descriptor, buffer, sizeof buffer, 0);
  return length < 0 ? std::string("nothing: ") + std::strerror(errno)
                    : std::string(buffer, static_cast<size_t>(length));
}

class SystemLog : public testing::Test {
 protected:
  // A fresh /run for each test; the node store is the process's, and stays that of the first test.
  void SetUp() override {
    if (!gInNamespace) {
      // Skipped where kernel, container or chroot forbids it: there is no other way to put a journal's socket in place.
      if (!enterMountNamespace()) GTEST_SKIP() << "no mount namespace: " << std::strerror(errno);
      gInNamespace = true;
      static const FreshDirectory directory;
      setenv("ORV_NODE_DIR", directory.path("node").c_str(), 1);
      setenv("ORV_STATE_DIR", directory.path("state").c_str(), 1);
      ASSERT_EQ(AaStartupEarlyStartup(), 0);
    }
    ASSERT_EQ(mount("tmpfs", "/run", "tmpfs", 0, nullptr), 0);
  }
  void TearDown() override {
    umount2("/run", MNT_DETACH);
  }
};

// The first of these tests, since a process keeps what it once has opened for its log.
TEST_F(SystemLog, ProcessThatHadNoDescriptorForItsFirstLineLogsItsLaterOnes) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // Skipped with sanitizers: they open descriptors of their own to see whether memory can be read, and take it for
  // lost where there are none.
  GTEST_SKIP() << "a sanitizer needs descriptors";
#endif
  const int journal = listenAt("/run/systemd/journal/socket", SOCK_DGRAM);
  {
    const Limited descriptors(RLIMIT_NOFILE, nextDescriptor());
    AaSysLogPrint(2, "lost line");
    // Returns when the line has been tried.
    AaErrorExceptionRaise(0, 0, 0, 0, "no descriptors", "file", 1);
  }
  AaSysLogPrint(2, "later line");
  std::string record;
  do {
    record = receive(journal);
    EXPECT_FALSE(record.starts_with("nothing: ")) << record;
  } while (!record.starts_with("nothing: ") && record.find("MESSAGE=later line\n") == std::string::npos);
  close(journal);
}

TEST_F(SystemLog, LineReachesTheJournalWithItsFields) {
  const int journal = listenAt("/run/systemd/journal/socket", SOCK_DGRAM);
  EXPECT_EQ(AaSysLogPrint(4, "ORV/OrvDaemon, %s", "100% \"done\""), 0);
  const std::string record = receive(journal);
  EXPECT_NE(record.find("MESSAGE=ORV/OrvDaemon, 100% \"done\"\n"), std::string::npos) << record;
  EXPECT_NE(record.find("PRIORITY=3\n"), std::string::npos) << record;
  EXPECT_NE(record.find("SYSLOG_IDENTIFIER=SystemLogTest\n"), std::string::npos) << record;
  EXPECT_NE(record.find("ORV_EU=\n"), std::string::npos) << record;
  close(journal);
}

TEST_F(SystemLog, SeveritiesBecomeTheJournalsPriorities) {
  const int journal = listenAt("/run/systemd/journal/socket", SOCK_DGRAM);
  const std::pair<uint32_t, const char *> expected[] = {{1, "7"}, {2, "6"}, {3, "4"}, {4, "3"}, {5, "2"}};
  for (const auto &[severity, priority] : expected) {
    AaSysLogPrint(severity, "line");
    EXPECT_NE(receive(journal).find(std::string("PRIORITY=") + priority + "\n"), std::string::npos) << severity;
  }
  close(journal);
}

TEST_F(SystemLog, WithoutAJournalTheLineGoesToSyslog) {
  ASSERT_EQ(mount("tmpfs", "/dev", "tmpfs", 0, nullptr), 0);
  const int syslogSocket = listenAt("/dev/log", SOCK_DGRAM);
  EXPECT_EQ(AaSysLogPrint(3, "%s line", "one"), 0);
  const std::string record = receive(syslogSocket);
  EXPECT_TRUE(record.starts_with("<28>")) << record;  // facility daemon, warning
  EXPECT_TRUE(record.ends_with(": one line")) << record;
  close(syslogSocket);
  umount2("/dev", MNT_DETACH);
}

void *runEcho(void *) {
  int32_t waitStatus = -1;
  AaProCmdExec("/bin/echo", "said by the program", 0, &waitStatus);
  return nullptr;
}

TEST_F(SystemLog, ProgramsOutputGoesToTheJournalUnderItsEusName) {
  const int journal = listenAt("/run/systemd/journal/stdout", SOCK_STREAM);
  struct stat standardError = {};
  ASSERT_EQ(fstat(STDERR_FILENO, &standardError), 0);
  setenv("JOURNAL_STREAM", (std::to_string(standardError.st_dev) + ":" + std::to_string(standardError.st_ino)).c_str(),
         1);
  uint32_t id = 0;
  ASSERT_EQ(AaProEuCreateAndStart(&id, "echoEu", runEcho, 4132, 31, nullptr, 0), 0);
  const int stream = accept(journal, nullptr, nullptr);
  ASSERT_GE(stream, 0) << std::strerror(errno);
  std::string text;
  char buffer[1024];
  for (ssize_t length = 0; (length = read(stream, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<size_t>(length));
  EXPECT_TRUE(text.starts_with("echoEu\n")) << text;
  EXPECT_TRUE(text.ends_with("\nsaid by the program\n")) << text;
  unsetenv("JOURNAL_STREAM");
  close(stream);
  close(journal);
}

}  // namespace
