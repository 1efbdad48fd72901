// A node of its own for a benchmark program that uses libORV.so as any program would.
#ifndef ORV_BENCH_BENCHNODE_H
#define ORV_BENCH_BENCHNODE_H

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include "AaStartup.h"
#include "FreshDirectory.h"

// Runs the benchmarks of the program on a node in a temporary directory (of $TMPDIR, as FreshDirectory has it), which
// is started and lasts as long. `prepare` is called before the start; benchmarks run only where it returns true.
// Returns the exit status.
inline int benchmarkOnNode(
    int argc, char **argv, bool (*prepare)() = [] { return true; }) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const FreshDirectory directory;
  setenv("ORV_NODE_DIR", directory.path("node").c_str(), 1);
  setenv("ORV_STATE_DIR", directory.path("state").c_str(), 1);
  unsetenv("ORV_CONFIG");
  const bool ready = prepare() && AaStartupEarlyStartup() == 0;
  if (ready) benchmark::RunSpecifiedBenchmarks();
  return ready ? 0 : 1;
}

#endif
