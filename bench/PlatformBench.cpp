// What an application and the daemon's polling pay for the platform's operations on tags: a whole call of the C
// interface, against a node store of its own in a temporary directory; beside the bare system calls that a tag in a
// file of its own would cost, and the cheapest one there is.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "AaConfig.h"
#include "BenchNode.h"

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

// The bare system calls -----------------------------------------------------------------------------------------------

// What any call into the kernel costs.
void BM_Bare_getppid(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(syscall(SYS_getppid));
}
BENCHMARK(BM_Bare_getppid);

// Looking whether a file is there, as a tag test that kept each tag in a file would.
void BM_Bare_access(benchmark::State &state) {
  const FreshDirectory directory;
  const std::string file = directory.write("tag", "1");
  for (auto _ : state) {
    if (access(file.c_str(), F_OK) != 0) state.SkipWithError("the file is gone");
  }
}
BENCHMARK(BM_Bare_access);

// Reading and writing 4 bytes of an open file.
void BM_Bare_pread(benchmark::State &state) {
  const FreshDirectory directory;
  const int file = open(directory.write("tag", "1234").c_str(), O_RDWR | O_CLOEXEC);
  uint32_t value = 0;
  for (auto _ : state) {
    if (pread(file, &value, sizeof value, 0) != sizeof value) state.SkipWithError("the file cannot be read");
  }
  close(file);
}
BENCHMARK(BM_Bare_pread);

void BM_Bare_pwrite(benchmark::State &state) {
  const FreshDirectory directory;
  const int file = open(directory.write("tag", "1234").c_str(), O_RDWR | O_CLOEXEC);
  uint32_t value = 0;
  for (auto _ : state) {
    ++value;
    if (pwrite(file, &value, sizeof value, 0) != sizeof value) state.SkipWithError("the file cannot be written");
  }
  close(file);
}
BENCHMARK(BM_Bare_pwrite);

}  // namespace

int main(int argc, char **argv) {
  return benchmarkOnNode(argc, argv);
}
