// What one operation of the node store costs, without the C interface above it: a store of its own in a temporary
// directory, with as many tags as a large node has, and in the steady state of the event ring (each new event pushes an
// old one out).
#include <benchmark/benchmark.h>

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
