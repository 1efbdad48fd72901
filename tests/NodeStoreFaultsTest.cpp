// What happens to a node store from outside: no space, killed processes, threads in each other's way.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mount.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

#include "MountNamespace.h"
#include "NodeStoreFixture.h"
#include "WaitUntil.h"

using namespace storetest;

namespace {

using NodeStoreFull = NodeStoreTest;
using NodeStoreProcesses = NodeStoreTest;
using NodeStoreThreads = NodeStoreTest;

// --- No space left --------------------------------------------------------------------------------------------------

TEST_F(NodeStoreFull, OlderHalfOfTheEventsGoesForANewOne) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100000).ok());
  const Event event = logEvent(std::string(orv::MAX_EVENT_TEXT_LENGTH, 'x'));
  constexpr uint64_t MORE_THAN_FIT = 64 * 1024;
  uint64_t appended = 0;
  for (; appended < MORE_THAN_FIT; ++appended) {
    const Status status = store->appendEvent(event);
    ASSERT_TRUE(status.ok()) << appended << ": " << status.message;
  }
  const auto events = store->events();
  EXPECT_GT(events.front().sequence, 1U);
  EXPECT_GT(events.size(), 20000U) << "no more than half is dropped";
  EXPECT_EQ(events.back().sequence, appended);
  EXPECT_EQ(events.size(), appended - events.front().sequence + 1) << "and no event in between is missing";
}

TEST_F(NodeStoreFull, EventsGoForTagsToo) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100000).ok());
  const Event event = logEvent(std::string(orv::MAX_EVENT_TEXT_LENGTH, 'x'));
  for (int i = 0; i < 30000; ++i)
    ASSERT_TRUE(store->appendEvent(event).ok());
  // Their texts take 43 MiB (each has pages of its own), which are not left beside 30000 events.
  for (int i = 0; i < 5500; ++i) {
    const Status status = store->setTag("tag" + std::to_string(i), text(std::string(orv::MAX_TAG_TEXT_LENGTH, 't')));
    ASSERT_TRUE(status.ok()) << i << ": " << status.message;
  }
  EXPECT_GT(store->events().front().sequence, 1U);
  EXPECT_EQ(store->tags().size(), 5500U);
}

TEST_F(NodeStoreFull, WriteFailsWithASentenceWhereNothingCanGo) {
  const auto store = create();
  orv::EuRecord eu;
  eu.args = std::string(1024UL * 1024, 'a');
  Status status;
  for (eu.id = 1; status.ok() && eu.id < 100; ++eu.id)
    status = store->putEu(eu, nullptr);
  EXPECT_EQ(status.code, MDB_MAP_FULL);
  EXPECT_TRUE(contains(status.message, "the store is full")) << status.message;
  EXPECT_TRUE(contains(status.message, file())) << status.message;
  EXPECT_GT(store->eus().size(), 50U);
  EXPECT_TRUE(store->beginRun(someRun()).ok()) << "a new run forgets the EUs, and has space again";
  EXPECT_TRUE(store->setTag("a", u32(1)).ok());
}

// Reads from the first moment on for as long as it lives.
int readForEver(const std::string &file, const Progress &progress) {
  MDB_env *environment = nullptr;
  MDB_txn *transaction = nullptr;
  if (mdb_env_create(&environment) != 0 || mdb_env_set_maxdbs(environment, 8) != 0 ||
      mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC, 0640) != 0 ||
      mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction) != 0 || !progress.tell()) {
    return 1;
  }
  for (;;)
    pause();
}

TEST_F(NodeStoreFull, ReaderThatKeepsItFullIsWaitedForAndItsEndMakesSpace) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  const Progress progress;
  Child reader([&] { return readForEver(file(), progress); });
  progress.await(1);
  // Each leaves the pages of the one before, which the reader keeps from being used again.
  const std::string value(orv::MAX_TAG_TEXT_LENGTH, 'x');
  Status status;
  uint64_t changes = 0;
  while (status.ok() && changes < 64 * 1024) {
    status = store->setTag("a", text(value));
    ++changes;
  }
  EXPECT_EQ(status.code, MDB_MAP_FULL) << changes;
  EXPECT_TRUE(contains(status.message, "a process that stopped in the middle of reading")) << status.message;
  reader.end(SIGKILL);
  EXPECT_TRUE(store->setTag("a", u32(2)).ok());
  EXPECT_EQ(store->tag("a")->value.number, 2U);
}

// Runs `body` in a process that has `directory` on a file system of 256 KiB, filled but for `freeKib`.
// Returns what `body` returns, or -1 where a process may not have a file system of its own.
int onSmallFileSystem(const std::string &directory, size_t freeKib, const std::function<int()> &body) {
  constexpr int NOT_POSSIBLE = 99;
  constexpr size_t KIB = 1024;
  Child child([&] {
    if (!enterMountNamespace() || mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=256k") != 0) {
      return NOT_POSSIBLE;
    }
    const std::string filling((256 - freeKib) * KIB, 'x');
    const int file = open((directory + "/filling").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (write(file, filling.data(), filling.size()) != static_cast<ssize_t>(filling.size())) return NOT_POSSIBLE;
    close(file);
    return body();
  });
  const int status = child.waitForEnd();
  if (!WIFEXITED(status)) return status;
  return WEXITSTATUS(status) == NOT_POSSIBLE ? -1 : WEXITSTATUS(status);
}

TEST_F(NodeStoreFull, FullFileSystemIsReportedAtOpening) {
  for (const size_t freeKib : {0U, 4U, 64U, 76U}) {
    const int result = onSmallFileSystem(directory_.path(), freeKib, [&] {
      std::unique_ptr<NodeStore> store;
      const Status status = NodeStore::open(directory_.path(), Access::CREATE, store);
      return status.code == ENOSPC || status.code == EIO ? 0 : 1;
    });
    // Skipped where kernel, container or chroot forbids it: a file system of a size of its own cannot be had otherwise.
    if (result == -1) GTEST_SKIP() << "no mount namespace";
    EXPECT_EQ(result, 0) << freeKib << " KiB free";
  }
}

TEST_F(NodeStoreFull, FileSystemThatFillsUpLaterIsReportedAndLosesNothing) {
  const int result = onSmallFileSystem(directory_.path(), 160, [&] {
    std::unique_ptr<NodeStore> store;
    if (!NodeStore::open(directory_.path(), Access::CREATE, store).ok()) return 1;
    uint32_t count = 0;
    while (count < 100 && store->setTag("tag" + std::to_string(count), text(std::string(2000, 'x'))).ok())
      ++count;
    if (count == 0 || count == 100) return 2;
    if (store->tags().size() != count || !store->tagIsSet("tag0")) return 3;
    if (unlink(directory_.path("filling").c_str()) != 0) return 4;
    return store->setTag("later", u32(1)).ok() && store->tags().size() == count + 1 ? 0 : 5;
  });
  // Skipped as above.
  if (result == -1) GTEST_SKIP() << "no mount namespace";
  EXPECT_EQ(result, 0);
}

// --- Processes ------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreProcesses, SeeEachOthersTags) {
  const auto store = create();
  Child other([&] { return existing()->setTag("from.child", u32(1)).ok() ? 0 : 1; });
  ASSERT_EQ(other.waitForEnd(), 0);
  EXPECT_TRUE(store->tagIsSet("from.child"));
  EXPECT_NE(store->tag("from.child")->setter.pid, static_cast<uint32_t>(getpid()));
}

TEST_F(NodeStoreProcesses, WriteAtTheSameTimeWithoutLoss) {
  constexpr int WRITERS = 4;
  constexpr int TAGS = 100;
  create();
  {
    std::vector<std::unique_ptr<Child>> children;
    for (int writer = 0; writer < WRITERS; ++writer) {
      children.push_back(std::make_unique<Child>([&, writer] {
        const auto store = existing();
        for (int tag = 0; tag < TAGS; ++tag) {
          if (!store->setTag("w" + std::to_string(writer) + "." + std::to_string(tag), u32(1)).ok()) return 1;
        }
        return 0;
      }));
    }
    for (const auto &child : children)
      EXPECT_EQ(child->waitForEnd(), 0);
  }
  const auto store = existing();
  EXPECT_EQ(store->tags().size(), static_cast<size_t>(WRITERS * TAGS));
  EXPECT_EQ(store->events().back().sequence, static_cast<uint64_t>(WRITERS * TAGS));
}

TEST_F(NodeStoreProcesses, KilledWriterHarmsNobody) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("kept", text("value")).ok());
  for (int round = 0; round < 60; ++round) {
    const Progress progress;
    Child writer([&] {
      const auto own = existing();
      for (uint32_t i = 0;; ++i) {
        if (!own->setTag("tag" + std::to_string(i % 50), text(std::string(i % 4000, 'x'))).ok()) return 1;
        if (!progress.tell()) return 2;
      }
    });
    // Somewhere in the change that follows this many.
    progress.await(1 + round % 7);
    writer.end(SIGKILL);
    const std::string name = "round" + std::to_string(round);
    ASSERT_TRUE(store->setTag(name, u32(1)).ok()) << round;
    ASSERT_TRUE(store->tagIsSet(name));
  }
  EXPECT_EQ(store->tag("kept")->value.text, "value");
  EXPECT_GE(store->tags().size(), 61U);
  uint64_t expected = store->events().front().sequence;
  for (const Event &event : store->events())
    ASSERT_EQ(event.sequence, expected++);
}

// Holds the lock of all writers, as a process that is in the middle of a change does.
int holdWriteLock(const std::string &file, const Progress &progress) {
  MDB_env *environment = nullptr;
  MDB_txn *transaction = nullptr;
  if (mdb_env_create(&environment) != 0 || mdb_env_set_maxdbs(environment, 5) != 0 ||
      mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC, 0640) != 0 ||
      mdb_txn_begin(environment, nullptr, 0, &transaction) != 0 || !progress.tell()) {
    return 1;
  }
  for (;;)
    pause();
}

TEST_F(NodeStoreProcesses, ReadingDoesNotWaitForAWriter) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  const Progress progress;
  Child writer([&] { return holdWriteLock(file(), progress); });
  progress.await(1);
  EXPECT_TRUE(store->tagIsSet("a"));
  EXPECT_FALSE(store->tagIsSet("b"));
  EXPECT_EQ(store->tags().size(), 1U);
}

TEST_F(NodeStoreProcesses, WriterThatDiesWithTheLockGivesItBack) {
  const auto store = create();
  const Progress progress;
  Child writer([&] { return holdWriteLock(file(), progress); });
  progress.await(1);
  writer.end(SIGKILL);
  EXPECT_TRUE(store->setTag("a", u32(1)).ok());
  EXPECT_TRUE(store->tagIsSet("a"));
}

// Holds the place at the head of the queue of writers, which is a lock of the file.
int holdQueue(const std::string &file, const Progress &progress) {
  const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (descriptor < 0 || fcntl(descriptor, F_SETLK, &lock) != 0 || !progress.tell()) return 1;
  for (;;)
    pause();
}

// Whether a process waits for a lock that `pid` holds on a file: the kernel lists it below that lock.
bool isWaitedFor(pid_t pid) {
  std::ifstream locks("/proc/locks");
  bool isHeld = false;
  for (std::string line; std::getline(locks, line);) {
    if (contains(line, "-> POSIX")) {
      if (isHeld) return true;
    } else {
      isHeld = contains(line, " WRITE " + std::to_string(pid) + " ");
    }
  }
  return false;
}

TEST_F(NodeStoreProcesses, WritersQueueUpAtTheFileAndGoOnWhenItsHolderIsKilled) {
  const auto store = create();
  const Progress progress;
  Child holder([&] { return holdQueue(file(), progress); });
  progress.await(1);
  std::atomic<bool> isSet = false;
  std::thread setter([&] {
    EXPECT_TRUE(store->setTag("a", u32(1)).ok());
    isSet = true;
  });
  EXPECT_TRUE(comesTrue([&] { return isWaitedFor(holder.pid()) || isSet; }));
  EXPECT_FALSE(isSet);
  EXPECT_FALSE(store->tagIsSet("a")) << "reading is not held up";
  holder.end(SIGKILL);
  setter.join();
  EXPECT_TRUE(store->tagIsSet("a"));
}

TEST_F(NodeStoreProcesses, PlacesOfKilledReadersAreUsedAgain) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  constexpr int READERS_EACH = 8;  // what one process keeps at most
  // More places than there are, if none came back.
  constexpr int ROUNDS = 1024 / READERS_EACH + 10;
  for (int round = 0; round < ROUNDS; ++round) {
    const Progress progress;
    Child reader([&] {
      const auto own = existing();
      std::vector<std::thread> threads;
      for (int i = 0; i < READERS_EACH; ++i)
        threads.emplace_back([&] { own->tagIsSet("a"); });
      for (std::thread &thread : threads)
        thread.join();
      progress.tell();
      for (;;)
        pause();
      return 0;
    });
    progress.await(1);
    reader.end(SIGKILL);
  }
  EXPECT_TRUE(store->tagIsSet("a"));
  EXPECT_TRUE(isSetForAnother("a"));
}

// --- Threads --------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreThreads, ReadAndWriteAtTheSameTime) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  constexpr int READERS = 12;  // more than read transactions are kept
  constexpr int WRITERS = 2;
  constexpr int ROUNDS = 300;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int reader = 0; reader < READERS; ++reader) {
    threads.emplace_back([&] {
      for (int round = 0; round < ROUNDS; ++round) {
        if (!store->tagIsSet("a") || store->tagIsSet("absent") || !store->tag("a")) ++failures;
      }
    });
  }
  for (int writer = 0; writer < WRITERS; ++writer) {
    threads.emplace_back([&, writer] {
      for (int round = 0; round < ROUNDS; ++round) {
        if (!store->setTag("w" + std::to_string(writer), u32(static_cast<uint32_t>(round))).ok()) ++failures;
      }
    });
  }
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(store->tag("w0")->value.number, static_cast<uint32_t>(ROUNDS - 1));
  EXPECT_EQ(store->events().back().sequence, static_cast<uint64_t>(WRITERS * ROUNDS + 1));
}

TEST_F(NodeStoreThreads, CancelledThreadDoesNotKeepTheLockOfTheWriters) {
  const auto store = create();
  for (int round = 0; round < 20; ++round) {
    std::atomic<bool> running{false};
    struct Argument {
      NodeStore *store;
      std::atomic<bool> *running;
    } argument{store.get(), &running};
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void *raw) -> void * {
                    const auto *own = static_cast<Argument *>(raw);
                    const TagValue value = {TagType::U32, 1, {}};
                    for (;;) {
                      if (!own->store->setTag("a", value).ok()) return raw;
                      own->running->store(true);
                      pthread_testcancel();
                    }
                  },
                  &argument),
              0);
    EXPECT_TRUE(comesTrue([&] { return running.load(); }));
    ASSERT_EQ(pthread_cancel(thread), 0);
    void *result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    ASSERT_TRUE(store->setTag("b", u32(1)).ok());
  }
}

}  // namespace
