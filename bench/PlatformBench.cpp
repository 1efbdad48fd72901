// What an application and the daemon's polling pay for the platform's operations on tags: a whole call of the C
// interface, against a node store of its own in a temporary directory.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include "AaConfig.h"
#include "AaStartup.h"
#include "FreshDirectory.h"

namespace {

void BM_AaConfigTagIsSet_Set(benchmark::State &state) {
  AaConfigTagSetU32("bench.online", 1);
  int32_t isSet = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(isSet = AaConfigTagIsSet("bench.online"));
  if (isSet == 0) state.SkipWithError("the tag is not set");
}
BENCHMARK(BM_AaConfigTagIsSet_Set);

void BM_AaConfigTagIsSet_NotSet(benchmark::State &state) {
  int32_t isSet = 1;
  for (auto _ : state)
    benchmark::DoNotOptimize(isSet = AaConfigTagIsSet("bench.absent"));
  if (isSet != 0) state.SkipWithError("the tag is set");
}
BENCHMARK(BM_AaConfigTagIsSet_NotSet);

void BM_AaConfigTagSetU32(benchmark::State &state) {
  uint32_t value = 0;
  for (auto _ : state) {
    if (AaConfigTagSetU32("bench.counter", ++value) != 0) state.SkipWithError("the tag could not be set");
  }
}
BENCHMARK(BM_AaConfigTagSetU32);

void BM_AaConfigRadGetValue(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(AaConfigRadGetValue(0x10070));
}
BENCHMARK(BM_AaConfigRadGetValue);

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const FreshDirectory directory;
  setenv("ORV_NODE_DIR", directory.path("node").c_str(), 1);
  setenv("ORV_STATE_DIR", directory.path("state").c_str(), 1);
  unsetenv("ORV_CONFIG");
  const bool ready = AaStartupEarlyStartup() == 0;
  if (ready) benchmark::RunSpecifiedBenchmarks();
  return ready ? 0 : 1;
}
