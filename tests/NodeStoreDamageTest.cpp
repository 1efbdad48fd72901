// Stores damaged at random places: whatever is in the file, a node starts with a store that works.
#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <random>
#include <vector>

#include "NodeStoreFixture.h"
#include "StoreCheck.h"

using namespace storetest;

namespace {

constexpr uint32_t SEED = 20'231'114;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(ORV_EMULATED)
// Two processes each, and a sanitizer's takes some twenty times as long to be made and to end.
constexpr int DAMAGES = 60;
#else
constexpr int DAMAGES = 600;
#endif
constexpr size_t PAGE = 4096;
constexpr int SET_ASIDE = 77;

class NodeStoreDamage : public NodeStoreTest {
 protected:
  // The file of a store with something of every kind in it.
  std::string someFile() const {
    {
      const auto store = create();
      EXPECT_TRUE(store->beginRun(someRun()).ok());
      for (uint32_t i = 0; i < 60; ++i) {
        orv::EuRecord eu;
        eu.id = i;
        const Event event = logEvent(std::string(i * 7, 'e'));
        EXPECT_TRUE(store->putEu(eu, &event).ok());
        EXPECT_TRUE(store->setTag("tag" + std::to_string(i), text(std::string(i * 60, 't'))).ok());
        EXPECT_TRUE(store->setRad(i, i, RadOrigin::OPERATOR).ok());
        EXPECT_TRUE(store->appendOutput(i, std::vector<orv::OutputLine>{{1, 0, false, "line"}}).ok());
      }
    }
    return directory_.read(FILE_NAME);
  }
};

void readAll(const NodeStore &store) {
  store.tags();
  store.eus();
  store.rads();
  store.events();
  store.output(5);
  store.euStatuses();
}

// As a daemon that starts the node and then as its programs: 0 or SET_ASIDE when all of it can be done.
int useAll(const std::string &directory) {
  std::unique_ptr<NodeStore> store;
  std::string setAside;
  if (!NodeStore::open(directory, Access::CREATE, store, &setAside).ok()) return 1;
  readAll(*store);
  if (!store->beginRun(someRun()).ok()) return 2;
  for (int i = 0; i < 100; ++i) {
    const std::string name = "tag" + std::to_string(i);
    if (!store->setTag(name, text(std::string(1000, 'x'))).ok() || !store->tagIsSet(name)) return 3;
  }
  return setAside.empty() ? 0 : SET_ASIDE;
}

// As the operator's tool, which is also there for a node that is down: 0, whether the store is refused or not.
int look(const std::string &directory) {
  std::unique_ptr<NodeStore> store;
  const Status status = NodeStore::open(directory, Access::EXAMINED, store);
  if (!status.ok()) return status.message.empty() ? 1 : 0;
  readAll(*store);
  store->run();
  return 0;
}

// Whether some state that `file` still tells of is sound.
bool isSound(const std::string &file) {
  constexpr size_t MAX_BYTES = 64UL * 1024 * 1024;
  constexpr size_t TRANSACTIONS = 2000;
  for (size_t id = 1; id < TRANSACTIONS; ++id) {
    if (orv::isSoundStore(file, MAX_BYTES, id)) return true;
  }
  return false;
}

// A whole page of it, or some bytes of one.
std::string damaged(std::string file, std::mt19937 &random) {
  const size_t page = random() % (file.size() / PAGE) * PAGE;
  const bool isWhole = random() % 2 == 0;
  const size_t changes = isWhole ? PAGE : 1 + random() % 16;
  for (size_t change = 0; change < changes; ++change)
    file[page + (isWhole ? change : random() % PAGE)] = static_cast<char>(random());
  return file;
}

TEST_F(NodeStoreDamage, AtAnyPlaceEndsNoProcessAndHindersNoStart) {
  std::cout << "seed " << SEED << "\n";
  std::mt19937 random(SEED);
  const std::string whole = someFile();
  std::map<int, int> results;
  for (int damage = 0; damage < DAMAGES; ++damage) {
    const FreshDirectory copy;
    copy.write(FILE_NAME, damaged(whole, random));
    Child tool([&] { return look(copy.path()); });
    EXPECT_EQ(tool.waitForEnd(), 0) << "damage " << damage;
    Child start([&] { return useAll(copy.path()); });
    const int status = start.waitForEnd();
    ASSERT_TRUE(WIFEXITED(status)) << "damage " << damage << " ends the process: " << status;
    ++results[WEXITSTATUS(status)];
  }
  EXPECT_EQ(results[0] + results[SET_ASIDE], DAMAGES);
  // Both kinds: what was noticed, and what is in no page that is used or in what a record says.
  EXPECT_GT(results[SET_ASIDE], DAMAGES / 4);
  EXPECT_GT(results[0], DAMAGES / 10);
}

// What LMDB itself makes is never taken for damage, whatever has been done with the store.
TEST_F(NodeStoreDamage, IsNotSeenWhereThereIsNone) {
  std::mt19937 random(SEED);
  auto store = create();
  ASSERT_TRUE(store->setEventLimit(100).ok());
  for (int round = 0; round < 300; ++round) {
    for (int change = 0; change < 20; ++change) {
      const std::string name = "tag" + std::to_string(random() % 200) + std::string(random() % 200, 'n');
      bool wasSet = false;
      if (random() % 3 == 0) {
        ASSERT_TRUE(store->unsetTag(name, wasSet).ok());
      } else {
        ASSERT_TRUE(store->setTag(name, text(std::string(random() % 4095, 't'))).ok());
      }
      const std::vector<orv::OutputLine> line = {{static_cast<uint64_t>(round * 20 + change + 1), 0, false, name}};
      ASSERT_TRUE(store->appendOutput(static_cast<uint32_t>(random() % 5), line).ok());
    }
    if (round % 100 == 50) {
      ASSERT_TRUE(store->beginRun(someRun()).ok());
    }
    store.reset();
    std::string setAside;
    ASSERT_TRUE(NodeStore::open(directory_.path(), Access::CREATE, store, &setAside).ok());
    ASSERT_EQ(setAside, "") << round;
  }
}

TEST_F(NodeStoreDamage, FreePagesAtTheEndMayBeMissingAndOthersMayNot) {
  {
    const auto store = create();
    const auto name = [](int tag) { return "long" + std::to_string(tag); };
    for (int tag = 0; tag < 100; ++tag)
      ASSERT_TRUE(store->setTag(name(tag), text(std::string(4000, 'x'))).ok());
    bool wasSet = false;
    for (int tag = 0; tag < 100; ++tag)
      ASSERT_TRUE(store->unsetTag(name(tag), wasSet).ok());
    // What is used now finds its place among the pages that have become free.
    for (uint32_t change = 0; change < 20; ++change)
      ASSERT_TRUE(store->setTag("short", u32(change)).ok());
  }
  const std::string whole = directory_.read(FILE_NAME);
  std::string kept = whole;
  while (isSound(kept.substr(0, kept.size() - PAGE)))
    kept.resize(kept.size() - PAGE);
  EXPECT_LT(kept.size(), whole.size());
  const auto startWith = [](const std::string &file) {
    const FreshDirectory copy;
    copy.write(FILE_NAME, file);
    Child start([&] { return useAll(copy.path()); });
    return WEXITSTATUS(start.waitForEnd());
  };
  EXPECT_EQ(startWith(kept), 0);
  EXPECT_EQ(startWith(kept.substr(0, kept.size() - PAGE)), SET_ASIDE);
}

TEST_F(NodeStoreDamage, IsNotSeenInAStoreThatChangesMeanwhile) {
  constexpr int WRITERS = 3;
  constexpr int LOOKS = DAMAGES / 3;
  create();
  std::vector<std::unique_ptr<Child>> writers;
  for (int writer = 0; writer < WRITERS; ++writer) {
    writers.push_back(std::make_unique<Child>([&, writer] {
      const auto store = existing();
      for (uint32_t i = 0;; ++i) {
        const std::string name = "tag" + std::to_string(writer) + "." + std::to_string(i % 100);
        if (!store->setTag(name, text(std::string(i % 4000, 'x'))).ok()) return 1;
      }
    }));
  }
  for (int round = 0; round < LOOKS; ++round) {
    std::unique_ptr<NodeStore> store;
    const Status status = NodeStore::open(directory_.path(), Access::EXAMINED, store);
    ASSERT_TRUE(status.ok()) << round << ": " << status.message;
  }
  for (const auto &writer : writers)
    EXPECT_TRUE(WIFSIGNALED(writer->end(SIGKILL))) << "wrote to the end";
}

}  // namespace
