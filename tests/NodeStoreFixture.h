// What the tests of the node store share: a store in a fresh directory, opened as the daemon and as a program does,
// child processes, and garbage planted through LMDB itself while no store is open.
#ifndef ORV_TESTS_NODESTOREFIXTURE_H
#define ORV_TESTS_NODESTOREFIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <lmdb.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "FreshDirectory.h"
#include "NodeStore.h"
#include "TextLines.h"

namespace storetest {

using orv::Event;
using orv::EventKind;
using orv::NodeStore;
using orv::RadOrigin;
using orv::Status;
using orv::TagType;
using orv::TagValue;
using Access = orv::NodeStore::Access;

constexpr const char *FILE_NAME = "node.mdb";

inline TagValue text(const std::string &value) {
  return {TagType::STRING, 0, value};
}

inline TagValue u16(uint32_t value) {
  return {TagType::U16, value, {}};
}

inline TagValue u32(uint32_t value) {
  return {TagType::U32, value, {}};
}

inline Event logEvent(const std::string &words) {
  Event event;
  event.text = words;
  return event;
}

inline orv::RunInfo someRun() {
  orv::RunInfo run;
  run.daemonPid = 42;
  run.startedNs = 1000;
  run.startedRealtimeNs = 2000;
  return run;
}

// A process made by fork. It must not use what its parent opened.
class Child {
 public:
  explicit Child(const std::function<int()> &body) : pid_(fork()) {
    if (pid_ == 0) _exit(body());
  }
  ~Child() {
    if (pid_ > 0) end(SIGKILL);
  }
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  // Returns the wait status.
  int end(int signal) {
    kill(pid_, signal);
    return waitForEnd();
  }
  pid_t pid() const {
    return pid_;
  }
  int waitForEnd() {
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }

 private:
  pid_t pid_;
};

// Bytes from a child to its parent: "so far have I come".
class Progress {
 public:
  Progress() {
    if (pipe2(ends_, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
  }
  ~Progress() {
    for (const int end : ends_)
      close(end);
  }
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  bool tell() const {
    return write(ends_[1], "x", 1) == 1;
  }
  void await(int steps) const {
    for (char step = 0; steps > 0; --steps)
      EXPECT_EQ(read(ends_[0], &step, 1), 1);
  }

 private:
  int ends_[2] = {-1, -1};
};

class NodeStoreTest : public testing::Test {
 protected:
  NodeStoreTest() {
    umask(022);
  }

  std::unique_ptr<NodeStore> create() const {
    std::unique_ptr<NodeStore> store;
    const Status status = NodeStore::open(directory_.path(), Access::CREATE, store);
    EXPECT_TRUE(status.ok()) << status.message;
    return store;
  }

  std::unique_ptr<NodeStore> existing() const {
    std::unique_ptr<NodeStore> store;
    const Status status = NodeStore::open(directory_.path(), Access::EXISTING, store);
    EXPECT_TRUE(status.ok()) << status.message;
    return store;
  }

  Status tryExisting() const {
    std::unique_ptr<NodeStore> store;
    return NodeStore::open(directory_.path(), Access::EXISTING, store);
  }

  // Opens with Access::CREATE, expects that the file there is set aside, and returns the sentence that says so.
  std::string createInPlaceOfDamaged() const {
    std::unique_ptr<NodeStore> store;
    std::string setAside;
    const Status status = NodeStore::open(directory_.path(), Access::CREATE, store, &setAside);
    EXPECT_TRUE(status.ok()) << status.message;
    EXPECT_TRUE(std::filesystem::exists(file() + ".damaged"));
    EXPECT_TRUE(contains(setAside, file() + ".damaged")) << setAside;
    if (store) {
      EXPECT_TRUE(store->setTag("works", u32(1)).ok());
      EXPECT_TRUE(store->tagIsSet("works"));
    }
    return setAside;
  }

  // Whether a process that opens the store anew finds the tag.
  bool isSetForAnother(const std::string &name) const {
    Child other([&] { return existing()->tagIsSet(name) ? 0 : 1; });
    return other.waitForEnd() == 0;
  }

  // Writes records past the store. No store may be open.
  void plant(const char *table, const std::string &key, const std::string &record) const {
    MDB_env *environment = nullptr;
    MDB_txn *transaction = nullptr;
    MDB_dbi handle = 0;
    ASSERT_EQ(mdb_env_create(&environment), 0);
    ASSERT_EQ(mdb_env_set_maxdbs(environment, 8), 0);
    ASSERT_EQ(mdb_env_open(environment, file().c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0640), 0);
    ASSERT_EQ(mdb_txn_begin(environment, nullptr, 0, &transaction), 0);
    ASSERT_EQ(mdb_dbi_open(transaction, table, MDB_CREATE, &handle), 0);
    MDB_val keyValue{key.size(), const_cast<char *>(key.data())};
    MDB_val recordValue{record.size(), const_cast<char *>(record.data())};
    ASSERT_EQ(mdb_put(transaction, handle, &keyValue, &recordValue, 0), 0);
    ASSERT_EQ(mdb_txn_commit(transaction), 0);
    mdb_env_close(environment);
  }

  std::string file() const {
    return directory_.path(FILE_NAME);
  }

  FreshDirectory directory_;
};

}  // namespace storetest

#endif
