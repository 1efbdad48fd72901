// Where a node's files are, and which directories are fit for them.
#include "NodePaths.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include "FreshDirectory.h"
#include "MountNamespace.h"
#include "NodeStore.h"
#include "OtherUser.h"

namespace {

constexpr uid_t SOMEBODY = 12345;

class NodePaths : public testing::Test {
 protected:
  void SetUp() override {
    for (const char *name :
         {"ORV_NODE_DIR", "ORV_STATE_DIR", "ORV_CONFIG", "XDG_RUNTIME_DIR", "XDG_STATE_HOME", "TMPDIR"})
      unsetenv(name);
    umask(022);
  }
};

using NodePathsDefaults = NodePaths;
using PrivateDirectory = NodePaths;

mode_t modeOf(const std::string &path) {
  struct stat file {};
  return lstat(path.c_str(), &file) == 0 ? file.st_mode & 07777 : 0;
}

TEST_F(NodePathsDefaults, NamedDirectoriesComeFirst) {
  setenv("ORV_NODE_DIR", "/some/node", 1);
  setenv("ORV_STATE_DIR", "/some/state", 1);
  setenv("ORV_CONFIG", "/some/file.xml", 1);
  setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  setenv("XDG_STATE_HOME", "/home/somebody/state", 1);
  EXPECT_EQ(orv::nodeDirectory(), "/some/node");
  EXPECT_EQ(orv::stateDirectory(), "/some/state");
  EXPECT_EQ(orv::configurationFile(), "/some/file.xml");
  EXPECT_TRUE(orv::configurationFileIsNamed());
}

TEST_F(NodePathsDefaults, EmptyVariablesCountAsUnset) {
  const std::string node = orv::nodeDirectory();
  const std::string state = orv::stateDirectory();
  setenv("ORV_NODE_DIR", "", 1);
  setenv("ORV_STATE_DIR", "", 1);
  setenv("ORV_CONFIG", "", 1);
  EXPECT_EQ(orv::nodeDirectory(), node);
  EXPECT_EQ(orv::stateDirectory(), state);
  EXPECT_EQ(orv::configurationFile(), "/etc/orv/platform.xml");
  EXPECT_FALSE(orv::configurationFileIsNamed());
}

TEST_F(NodePathsDefaults, RootHasTheBoardsDirectories) {
  // Skipped for anybody else, whose directories are those of the tests below.
  if (geteuid() != 0) GTEST_SKIP() << "for root alone";
  setenv("XDG_RUNTIME_DIR", "/run/user/0", 1);
  setenv("XDG_STATE_HOME", "/root/state", 1);
  EXPECT_EQ(orv::nodeDirectory(), "/run/orv");
  EXPECT_EQ(orv::stateDirectory(), "/var/lib/orv");
}

TEST_F(NodePathsDefaults, SomebodyHasDirectoriesOfTheirOwn) {
  // Skipped for a root who is alone in a user namespace: there is no ordinary user to be.
  if (!canActAsSomebody()) GTEST_SKIP() << "there is no user but root";
  EXPECT_EQ(asSomebody([] {
              int wrong = 0;
              const std::string name = "orv-" + std::to_string(geteuid());
              unsetenv("HOME");
              if (orv::nodeDirectory() != "/tmp/" + name) wrong |= 1;
              if (orv::stateDirectory() != "/tmp/" + name + "/state") wrong |= 2;
              setenv("TMPDIR", "/scratch", 1);
              setenv("HOME", "/home/somebody", 1);
              if (orv::nodeDirectory() != "/scratch/" + name) wrong |= 4;
              if (orv::stateDirectory() != "/home/somebody/.local/state/orv") wrong |= 8;
              setenv("XDG_RUNTIME_DIR", "/run/user/12345", 1);
              setenv("XDG_STATE_HOME", "/home/somebody/state", 1);
              if (orv::nodeDirectory() != "/run/user/12345/orv") wrong |= 16;
              if (orv::stateDirectory() != "/home/somebody/state/orv") wrong |= 32;
              return wrong;
            }),
            0);
}

TEST_F(NodePathsDefaults, RelativeFoldersOfTheUserDoNotCount) {
  // Skipped for a root who is alone in a user namespace: there is no ordinary user to be.
  if (!canActAsSomebody()) GTEST_SKIP() << "there is no user but root";
  EXPECT_EQ(asSomebody([] {
              setenv("XDG_RUNTIME_DIR", "run", 1);
              setenv("TMPDIR", "tmp", 1);
              return orv::nodeDirectory() == "/tmp/orv-" + std::to_string(geteuid()) ? 0 : 1;
            }),
            0);
}

TEST_F(PrivateDirectory, IsMadeWithItsParents) {
  const FreshDirectory fresh;
  const std::string directory = fresh.path("a/b/node");
  EXPECT_TRUE(orv::ensurePrivateDirectory(directory).ok());
  EXPECT_EQ(modeOf(directory), 0750U);
  EXPECT_EQ(modeOf(fresh.path("a")), 0755U);
  EXPECT_EQ(modeOf(fresh.path("a/b")), 0755U);
  EXPECT_TRUE(orv::checkPrivateDirectory(directory).ok());
}

// Makes a node with a store in it where /etc/group has a group "orv". Returns 0 when all of it belongs to the group; a
// number of its own for each of what does not, or NOT_POSSIBLE.
constexpr int NOT_POSSIBLE = 98;

int makeNodeWithGroup(const std::string &node, const std::string &groups) {
  constexpr gid_t GROUP = 4242;
  const auto groupOf = [](const std::string &path) {
    struct stat file {};
    return lstat(path.c_str(), &file) == 0 ? file.st_gid : 0;
  };
  if (!enterMountNamespace() || mount(groups.c_str(), "/etc/group", nullptr, MS_BIND, nullptr) != 0)
    return NOT_POSSIBLE;
  if (!orv::ensurePrivateDirectory(node).ok()) return 1;
  std::unique_ptr<orv::NodeStore> store;
  if (!orv::NodeStore::open(node, orv::NodeStore::Access::CREATE, store).ok()) return 2;
  if (groupOf(node) != GROUP || modeOf(node) != 0750) return 3;
  for (const char *file : {"/node.mdb", "/node.mdb-lock"}) {
    if (groupOf(node + file) != GROUP || modeOf(node + file) != 0640) return 4;
  }
  return 0;
}

TEST_F(PrivateDirectory, AndStoreBelongToTheGroupWhereThereIsOne) {
  // Skipped for an ordinary user and for a root who is alone: they have no groups to give a file to.
  if (!canActAsAnotherUser()) GTEST_SKIP() << "only root can give a file to a group";
  const FreshDirectory fresh;
  const std::string groups = fresh.write("group", "root:x:0:\norv:x:4242:somebody\n");
  const pid_t child = fork();
  if (child == 0) _exit(makeNodeWithGroup(fresh.path("node"), groups));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  // Skipped where kernel, container or chroot forbids it: a group can be had only in a file system of the test's own.
  if (WEXITSTATUS(status) == NOT_POSSIBLE) GTEST_SKIP() << "no mount namespace";
  EXPECT_EQ(status, 0);
}

TEST_F(PrivateDirectory, PresentOneIsLeftAsItIs) {
  const FreshDirectory fresh;
  ASSERT_EQ(mkdir(fresh.path("node").c_str(), 0700), 0);
  EXPECT_TRUE(orv::ensurePrivateDirectory(fresh.path("node")).ok());
  EXPECT_EQ(modeOf(fresh.path("node")), 0700U);
}

TEST_F(PrivateDirectory, SlashesAtTheEndDoNotMatter) {
  const FreshDirectory fresh;
  EXPECT_TRUE(orv::ensurePrivateDirectory(fresh.path("node//")).ok());
  EXPECT_EQ(modeOf(fresh.path("node")), 0750U);
  EXPECT_TRUE(orv::checkPrivateDirectory(fresh.path("node/")).ok());
}

TEST_F(PrivateDirectory, CheckMakesNothing) {
  const FreshDirectory fresh;
  const orv::Status status = orv::checkPrivateDirectory(fresh.path("node"));
  EXPECT_EQ(status.code, ENOENT);
  EXPECT_NE(status.message.find(fresh.path("node")), std::string::npos) << status.message;
  EXPECT_NE(status.message.find("ORV_NODE_DIR"), std::string::npos) << status.message;
  EXPECT_FALSE(std::filesystem::exists(fresh.path("node")));
}

TEST_F(PrivateDirectory, SymbolicLinkIsRefused) {
  const FreshDirectory fresh;
  ASSERT_EQ(mkdir(fresh.path("real").c_str(), 0700), 0);
  std::filesystem::create_directory_symlink(fresh.path("real"), fresh.path("node"));
  for (const char *name : {"node", "node/"}) {
    const orv::Status status = orv::ensurePrivateDirectory(fresh.path(name));
    EXPECT_EQ(status.code, ELOOP);
    EXPECT_NE(status.message.find("symbolic link"), std::string::npos) << status.message;
  }
}

TEST_F(PrivateDirectory, FileInItsPlaceIsRefused) {
  const FreshDirectory fresh;
  fresh.write("node", "text");
  EXPECT_EQ(orv::ensurePrivateDirectory(fresh.path("node")).code, ENOTDIR);
  EXPECT_EQ(fresh.read("node"), "text");
}

TEST_F(PrivateDirectory, FileInAParentsPlaceIsRefused) {
  const FreshDirectory fresh;
  fresh.write("a", "text");
  const orv::Status status = orv::ensurePrivateDirectory(fresh.path("a/node"));
  EXPECT_EQ(status.code, ENOTDIR);
  EXPECT_NE(status.message.find(fresh.path("a/node")), std::string::npos) << status.message;
}

TEST_F(PrivateDirectory, WritableByEverybodyIsRefused) {
  const FreshDirectory fresh;
  ASSERT_EQ(mkdir(fresh.path("node").c_str(), 0700), 0);
  ASSERT_EQ(chmod(fresh.path("node").c_str(), 0702), 0);
  const orv::Status status = orv::ensurePrivateDirectory(fresh.path("node"));
  EXPECT_EQ(status.code, EPERM);
  EXPECT_NE(status.message.find("chmod o-w " + fresh.path("node")), std::string::npos) << status.message;
}

TEST_F(PrivateDirectory, FolderForEverybodyIsRefusedAndNobodyToldToCloseIt) {
  const FreshDirectory fresh;
  ASSERT_EQ(chmod(fresh.path().c_str(), 01777), 0);
  const orv::Status status = orv::checkPrivateDirectory(fresh.path());
  EXPECT_EQ(status.code, EPERM);
  EXPECT_EQ(status.message.find("chmod"), std::string::npos) << status.message;
}

TEST_F(PrivateDirectory, WritableByTheGroupIsAccepted) {
  const FreshDirectory fresh;
  ASSERT_EQ(mkdir(fresh.path("node").c_str(), 0700), 0);
  ASSERT_EQ(chmod(fresh.path("node").c_str(), 0770), 0);
  EXPECT_TRUE(orv::checkPrivateDirectory(fresh.path("node")).ok());
}

TEST_F(PrivateDirectory, OfAnotherUserIsRefused) {
  // Skipped for an ordinary user, and for a root who is alone: nobody can give a directory away but a root who has
  // somebody to give it to.
  if (!canActAsAnotherUser()) GTEST_SKIP() << "only root can give a directory away";
  const FreshDirectory fresh;
  ASSERT_EQ(mkdir(fresh.path("node").c_str(), 0700), 0);
  ASSERT_EQ(chown(fresh.path("node").c_str(), SOMEBODY, SOMEBODY), 0);
  const orv::Status status = orv::checkPrivateDirectory(fresh.path("node"));
  EXPECT_EQ(status.code, EPERM);
  EXPECT_NE(status.message.find("user 12345"), std::string::npos) << status.message;
}

TEST_F(PrivateDirectory, OfRootIsAcceptedForAnybody) {
  // Skipped for a root who is alone in a user namespace: there is no ordinary user to be.
  if (!canActAsSomebody()) GTEST_SKIP() << "there is no user but root";
  EXPECT_EQ(asSomebody([] { return orv::checkPrivateDirectory("/usr").ok() ? 0 : 1; }), 0);
}

TEST_F(PrivateDirectory, WhoMayNotMakeItIsToldSo) {
  // Skipped for a root who is alone in a user namespace: there is no ordinary user to be.
  if (!canActAsSomebody()) GTEST_SKIP() << "there is no user but root";
  EXPECT_EQ(asSomebody([] { return orv::ensurePrivateDirectory("/usr/orv-test").code == EACCES ? 0 : 1; }), 0);
}

}  // namespace
