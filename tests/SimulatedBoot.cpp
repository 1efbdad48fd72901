#include "SimulatedBoot.h"

#include <getopt.h>

#include <cstdlib>
#include <cstring>

#include "OrvDaemon.h"

// The daemon's main, which goes by another name in a program that has one of its own.
int orvDaemonMain(int argc, char **argv);

namespace {

SimulatedBoot resultOf(const orv::sim::Outcome &outcome, bool withTrace) {
  SimulatedBoot result;
  result.outcome = outcome;
  const orv::sim::Trace &trace = orv::sim::Simulation::instance().trace();
  for (size_t i = 0; withTrace && i < trace.size(); ++i)
    result.trace.push_back(trace.line(i));
  return result;
}

}  // namespace

void resetDaemon() {
  gEarlyStartupDone = 0;
  gNotifyReceiver = 0;
  std::memset(gExeDefString, 0, sizeof gExeDefString);
  unsetenv("ORV_CE_NAME");
  optind = 0;  // makes getopt_long begin anew
}

SimulatedBoot boot(const orv::sim::Scenario &scenario, const std::vector<std::string> &arguments, bool withTrace) {
  resetDaemon();
  // The daemon cuts its arguments in place, and keeps pointers into them.
  std::vector<std::string> texts = {"ORVDaemonExe"};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char *> pointers;
  for (std::string &text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  const int count = static_cast<int>(texts.size());
  const auto outcome =
      orv::sim::Simulation::instance().run(scenario, [&] { return orvDaemonMain(count, pointers.data()); });
  return resultOf(outcome, withTrace);
}

SimulatedBoot simulate(const orv::sim::Scenario &scenario, const std::function<void()> &operations) {
  resetDaemon();
  const auto outcome = orv::sim::Simulation::instance().run(scenario, [&] {
    gEarlyStartupDone = 1;
    operations();
    return 0;
  });
  return resultOf(outcome, true);
}
