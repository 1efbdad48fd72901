// What it costs to run one command to its end: a whole AaProCmdExec in an EU, as a sentinel calls it (the process
// group, the records and the events of its start and its end included), beside a bare posix_spawn and waitpid. Both run
// the same program, which is linked statically and ends at once.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <semaphore>

#include "AaPro.h"
#include "BenchNode.h"

extern char **environ;

namespace {

struct Run {
  benchmark::State &state;
  std::binary_semaphore ended{0};
};

void *runCommands(void *argument) {
  Run &run = **static_cast<Run **>(argument);
  for (auto _ : run.state) {
    int32_t waitStatus = 0;
    if (AaProCmdExec(ORV_TINY_PROGRAM, "", 0, &waitStatus) != 0) run.state.SkipWithError("the command failed");
  }
  run.ended.release();
  return nullptr;
}

void BM_AaProCmdExec(benchmark::State &state) {
  constexpr uint32_t STACK_BYTES = 4132;
  Run run{state};
  Run *argument = &run;
  uint32_t euId = 0;
  if (AaProEuCreateAndStart(&euId, "bench", runCommands, STACK_BYTES, 0, &argument, sizeof argument) != 0) {
    state.SkipWithError("no EU could be started");
    return;
  }
  run.ended.acquire();
}
BENCHMARK(BM_AaProCmdExec)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_Bare_posix_spawn_waitpid(benchmark::State &state) {
  char path[] = ORV_TINY_PROGRAM;
  char *const arguments[] = {path, nullptr};
  for (auto _ : state) {
    pid_t pid = 0;
    int waitStatus = 0;
    if (posix_spawn(&pid, path, nullptr, nullptr, arguments, environ) != 0 || waitpid(pid, &waitStatus, 0) != pid ||
        waitStatus != 0) {
      state.SkipWithError("the program failed");
    }
  }
}
BENCHMARK(BM_Bare_posix_spawn_waitpid)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char **argv) {
  return benchmarkOnNode(argc, argv);
}
