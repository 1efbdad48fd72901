// What one operation of the node store costs, without the C interface above it: a store of its own in a temporary
// directory, with as many tags as a large node has, and in the steady state of the event ring (each new event pushes an
// old one out). Beside it, what a bare transaction of LMDB costs, on an environment with the same flags and as many
// records of a tag's size.
#include <benchmark/benchmark.h>
#include <lmdb.h>

#include <memory>
#include <string>

#include "FreshDirectory.h"
#include "NodeStore.h"

namespace {

using orv::NodeStore;
using orv::TagType;

constexpr int TAG_COUNT = 200;
constexpr uint32_t EVENT_LIMIT = 1000;

NodeStore *gStore = nullptr;  // of main, which outlives the benchmarks

std::string tagName(int number) {
  return "app.component" + std::to_string(number) + ".online";
}

orv::Event logEvent() {
  orv::Event event;
  event.text = "readyWait: app.component100.online tag set in time";
  return event;
}

void BM_NodeStoreTagIsSet_Set(benchmark::State &state) {
  const std::string name = tagName(TAG_COUNT / 2);
  bool isSet = false;
  for (auto _ : state)
    benchmark::DoNotOptimize(isSet = gStore->tagIsSet(name));
  if (!isSet) state.SkipWithError("the tag is not set");
}
BENCHMARK(BM_NodeStoreTagIsSet_Set);

void BM_NodeStoreTagIsSet_NotSet(benchmark::State &state) {
  const std::string name = "app.absent.online";
  bool isSet = true;
  for (auto _ : state)
    benchmark::DoNotOptimize(isSet = gStore->tagIsSet(name));
  if (isSet) state.SkipWithError("the tag is set");
}
BENCHMARK(BM_NodeStoreTagIsSet_NotSet);

// All threads poll the same tag, as the sentinels of a starting node do.
void BM_NodeStoreTagIsSet_Contended(benchmark::State &state) {
  const std::string name = tagName(TAG_COUNT / 2);
  for (auto _ : state)
    benchmark::DoNotOptimize(gStore->tagIsSet(name));
}
BENCHMARK(BM_NodeStoreTagIsSet_Contended)->Threads(4);

void BM_NodeStoreSetTag(benchmark::State &state) {
  const std::string name = tagName(TAG_COUNT / 2);
  uint32_t value = 0;
  for (auto _ : state) {
    if (!gStore->setTag(name, {TagType::U32, ++value, {}}).ok()) state.SkipWithError("the tag could not be set");
  }
}
BENCHMARK(BM_NodeStoreSetTag);

void BM_NodeStoreAppendEvent(benchmark::State &state) {
  const orv::Event event = logEvent();
  for (auto _ : state) {
    if (!gStore->appendEvent(event).ok()) state.SkipWithError("the event could not be appended");
  }
}
BENCHMARK(BM_NodeStoreAppendEvent);

// A bare LMDB environment. Its results are not examined one by one: without a database, nothing is measured.
class BareDatabase {
 public:
  BareDatabase() {
    constexpr unsigned FLAGS = MDB_NOSUBDIR | MDB_NOTLS | MDB_NOSYNC | MDB_NOMETASYNC;
    constexpr mdb_mode_t MODE = 0600;
    mdb_env_create(&environment_);
    MDB_txn *transaction = nullptr;
    if (mdb_env_open(environment_, directory_.path("bare.mdb").c_str(), FLAGS, MODE) != 0 ||
        mdb_txn_begin(environment_, nullptr, 0, &transaction) != 0) {
      return;
    }
    mdb_dbi_open(transaction, nullptr, 0, &table_);
    for (int number = 0; number < TAG_COUNT; ++number)
      put(transaction, tagName(number));
    isReady_ = mdb_txn_commit(transaction) == 0;
  }
  ~BareDatabase() {
    mdb_env_close(environment_);
  }
  BareDatabase(const BareDatabase &) = delete;
  BareDatabase &operator=(const BareDatabase &) = delete;

  bool isReady() const {
    return isReady_;
  }
  MDB_env *environment() const {
    return environment_;
  }
  int put(MDB_txn *transaction, std::string name) {
    MDB_val key{name.size(), name.data()};
    MDB_val value{record_.size(), record_.data()};
    return mdb_put(transaction, table_, &key, &value, 0);
  }
  int get(MDB_txn *transaction, std::string &name) const {
    MDB_val key{name.size(), name.data()};
    MDB_val value{};
    return mdb_get(transaction, table_, &key, &value);
  }

 private:
  const FreshDirectory directory_;
  std::string record_ = std::string(20, 'x');
  MDB_env *environment_ = nullptr;
  MDB_dbi table_ = 0;
  bool isReady_ = false;
};

// A read transaction that is renewed each time, with one look-up.
void BM_BareLmdbGet(benchmark::State &state) {
  const BareDatabase database;
  MDB_txn *transaction = nullptr;
  if (!database.isReady() || mdb_txn_begin(database.environment(), nullptr, MDB_RDONLY, &transaction) != 0) {
    state.SkipWithError("no database");
    return;
  }
  mdb_txn_reset(transaction);
  std::string name = tagName(TAG_COUNT / 2);
  for (auto _ : state) {
    const bool found = mdb_txn_renew(transaction) == 0 && database.get(transaction, name) == 0;
    mdb_txn_reset(transaction);
    if (!found) state.SkipWithError("the record cannot be read");
  }
  mdb_txn_abort(transaction);
}
BENCHMARK(BM_BareLmdbGet);

// A write transaction that replaces one record.
void BM_BareLmdbPut(benchmark::State &state) {
  BareDatabase database;
  if (!database.isReady()) {
    state.SkipWithError("no database");
    return;
  }
  const std::string name = tagName(TAG_COUNT / 2);
  for (auto _ : state) {
    MDB_txn *transaction = nullptr;
    if (mdb_txn_begin(database.environment(), nullptr, 0, &transaction) != 0 || database.put(transaction, name) != 0 ||
        mdb_txn_commit(transaction) != 0) {
      state.SkipWithError("the record cannot be written");
    }
  }
}
BENCHMARK(BM_BareLmdbPut);

bool fill(NodeStore &store) {
  if (!store.setEventLimit(EVENT_LIMIT).ok()) return false;
  for (int number = 0; number < TAG_COUNT; ++number) {
    if (!store.setTag(tagName(number), {TagType::U32, 1, {}}).ok()) return false;
  }
  for (uint32_t count = 0; count < EVENT_LIMIT; ++count) {
    if (!store.appendEvent(logEvent()).ok()) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const FreshDirectory directory;
  bool ready = false;
  {
    std::unique_ptr<NodeStore> store;
    ready = NodeStore::open(directory.path(), NodeStore::Access::CREATE, store).ok() && fill(*store);
    gStore = store.get();
    if (ready) benchmark::RunSpecifiedBenchmarks();
    gStore = nullptr;
  }
  return ready ? 0 : 1;
}
