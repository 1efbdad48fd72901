#include "FaultMaker.h"

#include <csignal>
#include <string>

namespace boots {
namespace {

using orv::sim::CallResult;
using orv::sim::Scenario;
using orv::sim::SignalEvent;

constexpr uint64_t FEW_OPERATIONS = 3000;

struct Fault {
  const char *call;
  uint32_t weight;
  int64_t results[4];
  const char *argument;  // at times only for this one
};

constexpr Fault FAULTS[] = {
    {"AaStartupEarlyStartup", 2, {1, -1, 5, 0}, nullptr},
    {"AaStartupCeStartup", 2, {1, -1, 22, 1}, nullptr},
    {"AaStartupCeShutdown", 2, {1, -1, 0, 0}, nullptr},
    {"AaStartupCeUngracefulShutdownCount", 6, {0, 1, 2, 4000000000}, nullptr},
    {"AaProEuCreateAndStart", 8, {1, -1, 11, 12}, "app0"},
    {"AaProEuCreateAndStartJoinable", 2, {1, -1, 11, 12}, nullptr},
    {"AaProEuCurrent", 3, {0, 10, 0xffffffff, 1}, nullptr},
    {"AaProCmdExec", 8, {0, 5, 1, -1}, "/opt/app0"},
    {"AaConfigTagSetString", 2, {1, -1, 5, 1}, "sys.ce.name"},
    {"AaConfigTagSetU16", 2, {1, -1, 5, 1}, nullptr},
    {"AaConfigTagSetU32", 2, {1, -1, 5, 1}, nullptr},
    {"AaConfigTagReadFile", 1, {0, 1, -1, 2}, nullptr},
    {"AaConfigTagIsSet", 8, {0, 1, -1, 2}, "orv.service.aapro.watchdog_enabled"},
    {"AaConfigTagGetString", 3, {1, -1, 2, 0}, nullptr},
    {"AaConfigRadGetValue", 5, {0, 1, 100, 5000}, "0x10070"},
    {"AaSysComEuUserRegister", 4, {0, 0, 0x123, 0xffff}, nullptr},
    {"AaSysComUserDeregister", 2, {1, -1, 5, 1}, nullptr},
    {"AaSysComMsgCreate", 5, {0, 0, 0, 0}, "0x1b9d"},
    {"AaSysComMsgSendWithPriority", 4, {1, -1, 5, 22}, "0xfd28"},
    {"AaSysComGetOwnNid", 3, {0, 1, 0x1011, 0xffff}, nullptr},
    {"AaFileOpen", 3, {0, 0, 0, 0}, "/rom/AppDef.txt"},
    {"AaFileRead", 6, {0, 0, -1, 1}, nullptr},
    {"AaFileClose", 2, {1, -1, 5, 1}, nullptr},
    {"AaSysTimeSleep", 4, {1, -1, 22, 0}, nullptr},
    {"AaSysLogPrint", 3, {1, -1, 5, 1}, nullptr},
    {"ddal_system_notify_ready", 2, {1, -1, -2, 0}, nullptr},
    {"ddal_watchdog_reboot", 6, {-5, 1, -1, 2147483647}, nullptr},
    {"sem_init", 4, {38, 22, 1, 38}, nullptr},
    {"sem_wait", 5, {4, 22, 11, 4}, nullptr},
    {"sem_post", 5, {75, 22, 4, 75}, nullptr},
};

constexpr uint32_t totalWeight() {
  uint32_t total = 0;
  for (const Fault &fault : FAULTS)
    total += fault.weight;
  return total;
}

const Fault &pickFault(Random &random) {
  uint32_t left = random.below(totalWeight());
  const Fault *fault = FAULTS;
  while (left >= fault->weight)
    left -= fault++->weight;
  return *fault;
}

CallResult makeFault(Random &random) {
  const Fault &fault = pickFault(random);
  CallResult result;
  result.call = fault.call;
  result.result = random.pick(fault.results);
  if (random.perMille(800)) result.occurrence = random.between(1, random.perMille(700) ? 3 : 100);
  if (fault.argument != nullptr && random.perMille(300)) result.argument = fault.argument;
  return result;
}

constexpr int NUMBERS[] = {SIGTERM, SIGTERM, SIGTERM, SIGINT,  SIGINT,  SIGHUP, SIGHUP,
                           SIGUSR1, SIGCHLD, SIGPIPE, SIGQUIT, SIGKILL, SIGALRM};

// Parts of console lines behind which a signal comes.
constexpr const char *LATE_LINES[] = {"CE start-up complete", "Got SIG", "termination initiated",
                                      "Initiated ORV-RT CE level shutdown", "Not able to trigger"};
constexpr const char *ANY_LINES[] = {"Initiated CE level shutdown",
                                     "application start-up",
                                     "Executable",
                                     "waiting",
                                     "tag set in time",
                                     "not set in time",
                                     "starting under sentinel",
                                     "failed",
                                     "launch failed",
                                     "requesting system reset",
                                     "adding 30 s delay",
                                     "doing hardware reset",
                                     "reset failed",
                                     "sent to",
                                     "fullStartup",
                                     "systemdNotify",
                                     "Failed to init",
                                     "skipping",
                                     "terminated successfully"};

uint64_t makeMoment(Random &random) {
  const uint32_t kind = random.below(10);
  if (kind < 1) return 0;
  if (kind < 6) return random.below(2000);
  return kind < 8 ? random.below(40000) : random.below(600000);
}

SignalEvent makeSignal(Random &random) {
  SignalEvent signal;
  signal.number = random.pick(NUMBERS);
  if (random.perMille(300)) {
    signal.atMs = makeMoment(random);
    return signal;
  }
  signal.afterLine = random.perMille(600) ? random.pick(LATE_LINES) : random.pick(ANY_LINES);
  if (random.perMille(200)) signal.occurrence = random.between(1, 4);
  return signal;
}

}  // namespace

void makeFaults(Random &random, Scenario &scenario) {
  if (random.perMille(150)) {
    scenario.reset.result = static_cast<int32_t>(random.below(4)) - 2;
  }
  scenario.reset.takesEffect = random.perMille(500);
  if (random.perMille(450)) return;
  const uint32_t count = random.between(1, random.perMille(800) ? 2 : 6);
  for (uint32_t i = 0; i < count; ++i) {
    const CallResult fault = makeFault(random);
    scenario.calls.push_back(fault);
    // The wait for the end is taken up again and again.
    if (fault.call == "sem_wait" && fault.occurrence == 0) scenario.maxOperations = FEW_OPERATIONS;
  }
}

void makeSignals(Random &random, Scenario &scenario) {
  if (random.perMille(100)) scenario.endSignal = SIGINT;
  if (random.perMille(60)) scenario.endSignal = 0;
  if (random.perMille(15)) scenario.endSignal = SIGHUP;
  if (random.perMille(15)) scenario.endSignal = SIGUSR2;
  if (random.perMille(600)) return;
  const uint32_t count = random.between(1, random.perMille(850) ? 2 : 5);
  for (uint32_t i = 0; i < count; ++i)
    scenario.signals.push_back(makeSignal(random));
}

}  // namespace boots
