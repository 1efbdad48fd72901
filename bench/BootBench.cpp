// Whole boots of the daemon on the simulated platform, one after the other in one process on one core: what a search
// through many boots costs.
#include <benchmark/benchmark.h>
#include <sched.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "SimulatedBoot.h"

using orv::sim::End;
using orv::sim::Scenario;

namespace {

// The turn goes from thread to thread; on one core that costs least, and a figure per core is what is wanted.
void stayOnOneCore() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(static_cast<size_t>(sched_getcpu()), &cores);
  if (sched_setaffinity(0, sizeof cores, &cores) != 0) std::abort();
}

Scenario nodeWith(unsigned applications, bool comeOnline) {
  Scenario scenario;
  std::string file;
  for (unsigned i = 0; i < applications; ++i) {
    const std::string name = "app" + std::to_string(i);
    file += name + ";/opt/app/bin/" + name + ";-c /etc/app.cfg;0;1;app." + name + ".online\n";
    orv::sim::ProgramBehaviour program;
    program.path = "/opt/app/bin/" + name;
    if (comeOnline) program.sets.push_back({"app." + name + ".online", {}, 1000});
    scenario.programs.push_back(program);
  }
  scenario.files["/rom/AppDef.txt"] = file;
  return scenario;
}

void bootAgainAndAgain(benchmark::State &state, Scenario scenario, bool newSeeds) {
  stayOnOneCore();
  const std::vector<std::string> arguments = {"--startup=nid=0x1011,executable=/opt/bin/agent -v|/opt/bin/logger"};
  for (auto _ : state) {
    if (newSeeds) ++scenario.seed;
    const SimulatedBoot result = boot(scenario, arguments, false);
    if (result.outcome.end != End::EXIT || result.outcome.exitStatus != 0) state.SkipWithError("the boot failed");
  }
  state.counters["boots"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void bootNode(benchmark::State &state) {
  bootAgainAndAgain(state, nodeWith(8, true), false);
}

void bootNodeInRandomOrder(benchmark::State &state) {
  bootAgainAndAgain(state, nodeWith(8, true), true);
}

void bootNodeWhose64ApplicationsAllTimeOut(benchmark::State &state) {
  bootAgainAndAgain(state, nodeWith(64, false), false);
}

}  // namespace

// The EUs are threads: the processor time of one thread would tell nothing.
BENCHMARK(bootNode)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(bootNodeInRandomOrder)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(bootNodeWhose64ApplicationsAllTimeOut)->UseRealTime()->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
