// The node store under random kills and under many processes at once.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "NodeStoreFixture.h"

using namespace storetest;

namespace {

using orv::EuRecord;
using orv::OutputLine;
using orv::StoreEntry;
using NodeStoreKills = NodeStoreTest;
using NodeStoreManyProcesses = NodeStoreTest;

// --- Kills ----------------------------------------------------------------------------------------------------------

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(ORV_EMULATED)
// With a sanitizer or in an emulator a process takes some twenty times as long to be made and to end; what it is to
// find does not depend on the count.
constexpr uint32_t KILLS = 500;
#else
constexpr uint32_t KILLS = 10'000;
#endif
constexpr uint32_t WRITERS = 24;
constexpr uint32_t SEED = 20'231'114;
constexpr uint32_t KILLS_BETWEEN_CHECKS = 50;
constexpr uint32_t KILLS_BETWEEN_OPENINGS = 500;  // as the daemon opens it: every page is looked at

// What all writers have been told by the store, which outlives them: the last change of each that was acknowledged.
class Acknowledged {
 public:
  Acknowledged() {
    void *memory = mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
    counters_ = new (memory) Counters{};
  }
  ~Acknowledged() {
    munmap(counters_, sizeof(Counters));
  }
  Acknowledged(const Acknowledged &) = delete;
  Acknowledged &operator=(const Acknowledged &) = delete;

  std::atomic<uint32_t> &of(uint32_t writer) const {
    return counters_->of[writer];
  }
  uint64_t total() const {
    uint64_t sum = 0;
    for (const std::atomic<uint32_t> &each : counters_->of)
      sum += each;
    return sum;
  }

 private:
  struct Counters {
    std::atomic<uint32_t> of[WRITERS];
  };
  Counters *counters_;
};

std::string pairName(uint32_t writer, const char *half) {
  return "pair" + std::to_string(writer) + "." + half;
}

// Every kind of change, each with two parts that have to agree in whatever state the store is seen.
Status change(NodeStore &store, uint32_t writer, uint32_t value) {
  NodeStore::Settings pair;
  const std::string padding(value % 3000, 'x');  // on a page of its own now and then
  pair.tags = {{pairName(writer, "a"), text(std::to_string(value) + padding)},
               {pairName(writer, "b"), text(std::to_string(value) + padding)}};
  if (Status status = store.apply(pair); !status.ok()) return status;
  std::vector<StoreEntry> batch(2);
  for (uint32_t half = 0; half < 2; ++half) {
    batch[half].eu = EuRecord{};
    batch[half].eu->id = 2 * writer + half;
    batch[half].eu->pid = value;
    batch[half].event = logEvent(padding);
  }
  if (Status status = store.write(batch); !status.ok()) return status;
  const std::vector<OutputLine> lines = {{2 * value + 1, 0, false, padding}, {2 * value + 2, 0, false, padding}};
  if (Status status = store.appendOutput(writer, lines); !status.ok()) return status;
  bool wasSet = false;
  Status status = store.setTag("flicker", u32(value));
  return status.ok() ? store.unsetTag("flicker", wasSet) : status;
}

// Writes until it is killed; what it returns is what went wrong.
int writeForEver(const std::string &directory, uint32_t writer, std::atomic<uint32_t> &acknowledged) {
  std::unique_ptr<NodeStore> store;
  if (!NodeStore::open(directory, Access::EXISTING, store).ok()) return 1;
  for (uint32_t value = acknowledged + 1;; ++value) {
    if (const Status status = change(*store, writer, value); !status.ok()) {
      std::cerr << "writer " << writer << ": " << status.code << ": " << status.message << "\n";
      return 2;
    }
    acknowledged = value;
  }
}

uint32_t numberIn(const std::string &text) {
  return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
}

// Each pair as it is in one state of the store: both halves agree. Returns the value of each writer.
std::map<uint32_t, uint32_t> expectWholePairs(const NodeStore &store) {
  std::map<std::string, std::string> tags;
  for (const orv::Tag &tag : store.tags())
    tags[tag.name] = tag.value.text;
  std::map<uint32_t, uint32_t> values;
  for (uint32_t writer = 0; writer < WRITERS; ++writer) {
    EXPECT_EQ(tags[pairName(writer, "a")], tags[pairName(writer, "b")]) << "writer " << writer;
    values[writer] = numberIn(tags[pairName(writer, "a")]);
  }
  std::map<uint32_t, uint32_t> pids;
  for (const EuRecord &eu : store.eus())
    pids[eu.id] = eu.pid;
  for (uint32_t writer = 0; writer < WRITERS; ++writer)
    EXPECT_EQ(pids[2 * writer], pids[2 * writer + 1]) << "writer " << writer;
  return values;
}

void expectEventsWithoutGaps(const NodeStore &store) {
  const std::vector<Event> events = store.events();
  for (size_t i = 1; i < events.size(); ++i)
    ASSERT_EQ(events[i].sequence, events[i - 1].sequence + 1);
}

// Both lines of a change or none.
void expectWholeOutput(const NodeStore &store) {
  for (uint32_t writer = 0; writer < WRITERS; ++writer) {
    const orv::ProgramOutput output = store.output(writer);
    EXPECT_EQ(output.last.empty() ? 0 : output.last.back().number % 2, 0U) << "writer " << writer;
  }
}

void expectConsistent(const NodeStore &store, const Acknowledged &acknowledged) {
  // Before the store is read, so that it may only be ahead.
  std::vector<uint32_t> before;
  for (uint32_t writer = 0; writer < WRITERS; ++writer)
    before.push_back(acknowledged.of(writer));
  for (const auto &[writer, value] : expectWholePairs(store))
    EXPECT_GE(value, before[writer]) << "an acknowledged change of writer " << writer << " is lost";
  expectEventsWithoutGaps(store);
  expectWholeOutput(store);
}

// Opens it as the daemon does, which looks at every page, and writes a tag.
bool isSoundForTheDaemon(const std::string &directory) {
  Child daemon([&] {
    std::unique_ptr<NodeStore> store;
    std::string setAside;
    const bool opened = NodeStore::open(directory, Access::CREATE, store, &setAside).ok();
    return opened && setAside.empty() && store->setTag("daemon", u32(1)).ok() ? 0 : 1;
  });
  return daemon.waitForEnd() == 0;
}

TEST_F(NodeStoreKills, AnyWriterAtAnyMomentHarmsNobody) {
  std::cout << "seed " << SEED << ", " << KILLS << " kills of " << WRITERS << " writers\n";
  std::mt19937 random(SEED);
  std::uniform_int_distribution<uint32_t> chooseWriter(0, WRITERS - 1);
  std::uniform_int_distribution<uint32_t> choosePauseUs(0, 1000);
  const Acknowledged acknowledged;
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(1000).ok());
  const auto start = [&](uint32_t writer) {
    return std::make_unique<Child>(
        [&, writer] { return writeForEver(directory_.path(), writer, acknowledged.of(writer)); });
  };
  std::vector<std::unique_ptr<Child>> writers;
  for (uint32_t writer = 0; writer < WRITERS; ++writer)
    writers.push_back(start(writer));
  for (uint32_t kills = 1; kills <= KILLS && !HasFailure(); ++kills) {
    // The moments are the test's input, so nothing is waited for here.
    usleep(choosePauseUs(random));
    const uint32_t writer = chooseWriter(random);
    const int status = writers[writer]->end(SIGKILL);
    ASSERT_TRUE(WIFSIGNALED(status)) << "writer " << writer << " gave up with wait status " << status << " before kill "
                                     << kills;
    // Before its successor: nobody else changes this writer's values.
    const uint32_t expected = acknowledged.of(writer);
    const uint32_t found = numberIn(store->tag(pairName(writer, "a")).value_or(orv::Tag{}).value.text);
    ASSERT_TRUE(found == expected || found == expected + 1) << found << " where " << expected << " was acknowledged";
    writers[writer] = start(writer);
    if (kills % KILLS_BETWEEN_CHECKS == 0) expectConsistent(*store, acknowledged);
    if (kills % KILLS_BETWEEN_OPENINGS != 0) continue;
    EXPECT_TRUE(isSoundForTheDaemon(directory_.path())) << kills;
  }
  writers.clear();
  expectConsistent(*store, acknowledged);
  // They were killed while they wrote, and not before they came to it.
  EXPECT_GT(acknowledged.total(), KILLS / 2);
  std::cout << acknowledged.total() << " changes of five transactions each were acknowledged\n";
}

// --- Many processes -------------------------------------------------------------------------------------------------

std::string tagOf(int process) {
  return "process" + std::to_string(process) + ".online";
}

// Sets its tag and polls until it sees those of all others.
int setAndPoll(const std::string &directory, int own, int processes) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::seconds(120);
  std::unique_ptr<NodeStore> store;
  if (!NodeStore::open(directory, Access::EXISTING, store).ok()) return 1;
  if (!store->setTag(tagOf(own), u32(static_cast<uint32_t>(own))).ok()) return 2;
  for (int other = 0; other < processes; ++other) {
    while (!store->tagIsSet(tagOf(other))) {
      if (Clock::now() > deadline) return 3;
    }
    const auto tag = store->tag(tagOf(other));
    if (!tag || tag->value.number != static_cast<uint32_t>(other)) return 4;
  }
  return 0;
}

TEST_F(NodeStoreManyProcesses, SixtyFourSetAndPollAtOnceAndEachSeesEveryTag) {
  constexpr int PROCESSES = 64;
  const auto store = create();
  std::vector<std::unique_ptr<Child>> children;
  for (int process = 0; process < PROCESSES; ++process)
    children.push_back(
        std::make_unique<Child>([&, process] { return setAndPoll(directory_.path(), process, PROCESSES); }));
  for (const auto &child : children)
    EXPECT_EQ(child->waitForEnd(), 0);
  std::set<uint32_t> setters;
  for (const orv::Tag &tag : store->tags())
    setters.insert(tag.setter.pid);
  EXPECT_EQ(setters.size(), static_cast<size_t>(PROCESSES)) << "each tag tells who set it";
  EXPECT_EQ(store->events().size(), static_cast<size_t>(PROCESSES));
}

TEST_F(NodeStoreManyProcesses, MoreThanLmdbsOwnLimitHaveReadersAtOnce) {
  constexpr int PROCESSES = 200;  // LMDB alone has places for 126
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  const Progress progress;
  std::vector<std::unique_ptr<Child>> children;
  for (int process = 0; process < PROCESSES; ++process) {
    children.push_back(std::make_unique<Child>([&] {
      const auto own = existing();
      if (!own->tagIsSet("a") || !progress.tell()) return 1;
      for (;;)
        pause();
      return 0;
    }));
  }
  progress.await(PROCESSES);
  EXPECT_TRUE(isSetForAnother("a"));
}

// How many places of the table of readers are taken by processes that are gone.
int deadReaders(const std::string &file) {
  Child child([&] {
    MDB_env *environment = nullptr;
    int dead = -1;
    if (mdb_env_create(&environment) != 0 || mdb_env_set_maxdbs(environment, 8) != 0 ||
        mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC, 0640) != 0 ||
        mdb_reader_check(environment, &dead) != 0) {
      return 99;
    }
    return dead;
  });
  return WEXITSTATUS(child.waitForEnd());
}

TEST_F(NodeStoreManyProcesses, DeadReadersAreClearedAtTheStart) {
  const auto leaveDeadReader = [&] {
    const Progress progress;
    Child reader([&] {
      const auto own = existing();
      own->tagIsSet("a");
      progress.tell();
      for (;;)
        pause();
      return 0;
    });
    progress.await(1);
    reader.end(SIGKILL);
  };
  // Who has it open keeps the table: the last one out takes it away.
  const auto keeper = create();
  leaveDeadReader();
  EXPECT_EQ(deadReaders(file()), 1) << "a dead reader is there until somebody looks";
  leaveDeadReader();
  Child start([&] {
    create();
    return 0;
  });
  start.waitForEnd();
  EXPECT_EQ(deadReaders(file()), 0);
}

}  // namespace
