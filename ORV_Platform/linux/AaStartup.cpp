#include "AaStartup.h"

#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "BoardSettings.h"
#include "Caretaker.h"
#include "Clock.h"
#include "Command.h"
#include "ExecutionUnits.h"
#include "FlightRecorder.h"
#include "GatewayLoader.h"
#include "Guard.h"
#include "NodePaths.h"
#include "Platform.h"
#include "PlatformConfig.h"
#include "PrintPort.h"
#include "RunRecord.h"
#include "RunRecorder.h"
#include "RunningPrograms.h"
#include "ServiceManager.h"
#include "ServiceThread.h"
#include "StartupStage.h"
#include "StoreWriter.h"
#include "SysComUsers.h"

extern "C" {
// The defaults are those that the daemon's help text names. A master node id of 0 stands for the own one.
OrvStartupConfig gOrvStartupConfig = {
    .nid = 0,
    .masterNid = 0,
    .masterIp = "127.0.0.1",
    .testerPort = 15005,
    .printPort = 51005,
    .printIp = 0x7f000001,
    .platformPrivate1 = {},
    .btsLogPort = 0,
    .testerMultiplicity = 0,
    .platformPrivate2 = {},
    .sysComGwProtocol = nullptr,
    .rtConfigFile = "",
};
}

namespace orv {
namespace {

constexpr uint32_t DEFAULT_GRACE_TIME_MS = 10000;

void complainUnlessOk(uint32_t severity, const Status &status) {
  if (!status.ok()) platformComplain(severity, status.message);
}

Status earlyStartup() {
  // EUs wait for programs: an arena for each of them would be memory for nothing.
  mallopt(M_ARENA_MAX, 1);
  closePrintPort();
  prepareForPrograms();
  Status status = claimNode();
  if (!status.ok()) return status;
  NodeStore &store = *nodeStore();
  RunInfo run;
  run.daemonPid = static_cast<uint32_t>(getpid());
  run.startedNs = monotonicNs();
  run.startedRealtimeNs = realtimeNs();
  status = store.beginRun(run);
  if (!status.ok()) return status;
  if (const int error = startStoreWriter(); error != 0) {
    platformComplain(
        SEVERITY_WARNING,
        std::string("no thread for the node store, whose writing now holds up the EUs: ") + std::strerror(error));
  }
  clearMessageSockets(nodeDirectory());
  const std::string fileName = configurationFile();
  if (configurationFileIsNamed() || access(fileName.c_str(), F_OK) == 0) {
    complainUnlessOk(SEVERITY_ERROR, applyPlatformConfig(store, fileName));
  }
  return Status::success();
}

Status ceStartup() {
  NodeStore *store = nodeStore();
  if (store == nullptr) return Status::failure(ENODEV, "the CE cannot start without a node store");
  complainUnlessOk(SEVERITY_ERROR, openPrintPort(gOrvStartupConfig.printIp, gOrvStartupConfig.printPort));
  if (gOrvStartupConfig.masterNid == 0) gOrvStartupConfig.masterNid = gOrvStartupConfig.nid;
  if (gOrvStartupConfig.rtConfigFile[0] != '\0') {
    complainUnlessOk(SEVERITY_ERROR, applyPlatformConfig(*store, gOrvStartupConfig.rtConfigFile));
  }
  complainUnlessOk(SEVERITY_WARNING, checkResetDevice(*store));
  beginRunStart(*store, resetLimits(*store));
  RunInfo run = store->run().value_or(RunInfo{});
  run.state = RunState::UP;
  run.nid = gOrvStartupConfig.nid;
  run.masterNid = gOrvStartupConfig.masterNid;
  const char *ceName = std::getenv("ORV_CE_NAME");
  run.ceName = ceName == nullptr ? "" : ceName;
  Status status = store->updateRun(run);
  if (!status.ok()) return status;
  startGateway(*store);
  beginStartup();
  recordEvent(EventKind::CE_STARTED, "node id " + std::to_string(run.nid));
  complainUnlessOk(SEVERITY_WARNING, startCaretaker());
  return Status::success();
}

Status ceShutdown() {
  // The daemon's main thread waits here for as long as the node is up.
  markStack(SERVICE_STACK_BYTES);
  releaseUnusedStack();
  joinEus();
  storeWriterIsToEnd();
  endStartup();
  stopFeeding();
  NodeStore *store = nodeStore();
  const uint32_t graceMs =
      store == nullptr ? DEFAULT_GRACE_TIME_MS : numberSetting(*store, BOARD_GRACE_TIME_TAG, DEFAULT_GRACE_TIME_MS);
  Status ended = endPrograms(graceMs);
  complainUnlessOk(SEVERITY_ERROR, ended);
  if (store != nullptr) beginRunStop();
  stopGateway(store);
  stopCaretaker();
  stopGuard();  // the caretaker starts it, and in a run this short may have done so only now
  if (store != nullptr) recordEvent(EventKind::CE_STOPPED, "");
  stopStoreWriter();
  if (store != nullptr) {
    RunInfo run = store->run().value_or(RunInfo{});
    run.state = RunState::DOWN;
    complainUnlessOk(SEVERITY_WARNING, store->updateRun(run));
    clearMessageSockets(nodeDirectory());
  }
  Status recorded = store == nullptr ? Status::success() : finishRunStop();
  return ended.ok() ? recorded : ended;
}

// Runs one operation of the interface: its failure is said here, once, and becomes the result.
template <class Operation>
int32_t asResult(Operation operation) {
  try {
    const Status status = operation();
    if (!status.ok()) platformComplain(SEVERITY_ERROR, status.message);
    return status.code;
  } catch (const std::exception &) {
    return ENOMEM;
  }
}

}  // namespace
}  // namespace orv

extern "C" int32_t AaStartupEarlyStartup(void) {
  return orv::asResult(orv::earlyStartup);
}

extern "C" int32_t AaStartupCeStartup(void) {
  return orv::asResult(orv::ceStartup);
}

extern "C" int32_t AaStartupCeShutdown(void) {
  try {
    return orv::ceShutdown().code;
  } catch (const std::exception &) {
    return ENOMEM;
  }
}

extern "C" uint32_t AaStartupCeUngracefulShutdownCount(uint32_t) {
  return orv::ungracefulCount();
}
