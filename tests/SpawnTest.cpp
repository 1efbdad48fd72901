// How a process is started: the errors of a start, what is passed on, and whose death ends it.
#include "Spawn.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "FreshDirectory.h"
#include "OtherUser.h"

namespace {

struct Started {
  int error = 0;
  pid_t pid = 0;
};

Started start(const std::string &file, const std::string &argument, orv::SpawnRequest request = {}) {
  std::string name = file;
  std::string given = argument;
  char *const arguments[] = {name.data(), given.data(), nullptr};
  char *const environment[] = {nullptr};
  request.file = file.c_str();
  request.arguments = arguments;
  request.environment = environment;
  Started started;
  started.error = orv::spawnProgram(request, started.pid);
  return started;
}

int endOf(pid_t pid) {
  int waitStatus = 0;
  EXPECT_EQ(waitpid(pid, &waitStatus, 0), pid);
  return waitStatus;
}

class Spawn : public testing::Test {
 protected:
  std::string file(const std::string &text, mode_t mode) const {
    std::ofstream(directory.path("file")) << text;
    EXPECT_EQ(chmod(directory.path("file").c_str(), mode), 0);
    return directory.path("file");
  }

  const FreshDirectory directory;
};

}  // namespace

TEST_F(Spawn, ProgramOfAThreadThatEndsIsKilledByTheKernel) {
  Started started;
  std::thread([&] { started = start("/bin/sleep", "1000"); }).join();
  ASSERT_EQ(started.error, 0);
  const int waitStatus = endOf(started.pid);
  EXPECT_TRUE(WIFSIGNALED(waitStatus) && WTERMSIG(waitStatus) == SIGKILL) << waitStatus;
}

TEST_F(Spawn, ProcessThatOutlivesItsParentDoesNotEndWithTheThread) {
  Started started;
  orv::SpawnRequest request;
  request.outlivesParent = true;
  std::thread([&] { started = start("/bin/sleep", "0.05", request); }).join();
  ASSERT_EQ(started.error, 0);
  EXPECT_EQ(endOf(started.pid), 0);
}

TEST_F(Spawn, MissingFileIsNoEntry) {
  EXPECT_EQ(start(directory.path("none"), "").error, ENOENT);
}

TEST_F(Spawn, DirectoryCannotBeExecuted) {
  EXPECT_EQ(start(directory.path(""), "").error, EACCES);
}

TEST_F(Spawn, FileWithoutPermissionCannotBeExecuted) {
  EXPECT_EQ(start(file("#!/bin/sh\n", 0644), "").error, EACCES);
}

TEST_F(Spawn, MissingInterpreterIsNoEntry) {
  EXPECT_EQ(start(file("#!/nowhere/interpreter\n", 0755), "").error, ENOENT);
}

TEST_F(Spawn, FileWithoutAFormatCannotBeExecuted) {
  EXPECT_EQ(start(file("no interpreter named\n", 0755), "").error, ENOEXEC);
}

TEST_F(Spawn, WithoutAProcessLeftIsTryAgain) {
  // Root is not bound by the limit on processes, so this is tried as an ordinary user, who has this process at least.
  if (!canActAsSomebody()) GTEST_SKIP() << "no ordinary user can be had here";
  EXPECT_EQ(asSomebody([] {
              const rlimit one = {1, 1};
              return setrlimit(RLIMIT_NPROC, &one) == 0 && start("/bin/true", "").error == EAGAIN ? 0 : 1;
            }),
            0);
}

TEST_F(Spawn, DescriptorsArePassedOnAsThreeAndFourWhateverTheirNumbers) {
  // The second lies where the first is to go.
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  ASSERT_EQ(write(ends[1], "four\n", 5), 5);
  close(ends[1]);
  const int inTheWay = dup3(ends[0], 3, O_CLOEXEC);
  ASSERT_EQ(inTheWay == 3 || ends[0] == 3, true);
  int firstEnds[2];
  ASSERT_EQ(pipe2(firstEnds, O_CLOEXEC), 0);
  ASSERT_EQ(write(firstEnds[1], "three\n", 6), 6);
  close(firstEnds[1]);
  const std::string script =
      file("read three <&3\nread four <&4\n[ \"$three $four\" = 'three four' ] && ! (true <&5) 2>/dev/null\n", 0755);
  orv::SpawnRequest request;
  request.passedOn = {firstEnds[0], 3};
  const Started started = start("/bin/sh", script, request);
  ASSERT_EQ(started.error, 0);
  EXPECT_EQ(endOf(started.pid), 0);
}
