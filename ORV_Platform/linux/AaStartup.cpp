#include "AaStartup.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <string>

#include "Command.h"
#include "ExecutionUnits.h"
#include "GatewayLoader.h"
#include "NodePaths.h"
#include "Platform.h"
#include "PlatformConfig.h"
#include "PlatformReset.h"
#include "RunRecord.h"
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

std::atomic<uint32_t> gUngracefulCount{0};

void complainUnlessOk(uint32_t severity, const Status &status) {
  if (!status.ok()) platformComplain(severity, status.message);
}

uint64_t realtimeNs() {
  using namespace std::chrono;
  return static_cast<uint64_t>(duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count());
}

uint32_t settingOr(const NodeStore &store, const char *tagName, uint32_t fallback) {
  const std::optional<Tag> tag = store.tag(tagName);
  return tag && tag->value.type != TagType::STRING ? tag->value.number : fallback;
}

ResetLimits resetLimits(const NodeStore &store) {
  ResetLimits limits;
  limits.resetBudget = settingOr(store, BOARD_RESET_BUDGET_TAG, limits.resetBudget);
  limits.resetWindowS = settingOr(store, BOARD_RESET_WINDOW_TAG, limits.resetWindowS);
  return limits;
}

void appendEvent(NodeStore &store, EventKind kind, const std::string &text) {
  Event event;
  event.kind = kind;
  event.euId = currentEu();
  event.text = text;
  complainUnlessOk(SEVERITY_WARNING, store.appendEvent(event));
}

Status earlyStartup() {
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
  clearMessageSockets(nodeDirectory());
  const std::string fileName = configurationFile();
  if (configurationFileIsNamed() || access(fileName.c_str(), F_OK) == 0) {
    complainUnlessOk(SEVERITY_ERROR, applyPlatformConfig(store, fileName));
  }
  return Status::success();
}

// Says what the run record makes of the last runs.
void reportRunRecord(const RunRecord &record, const ResetLimits &limits) {
  if (record.ungracefulCount != 0) {
    platformComplain(SEVERITY_WARNING, "ungraceful CE shutdowns: " + std::to_string(record.ungracefulCount) +
                                           "; a graceful shutdown clears them, and `orvctl ungraceful --clear` does");
  }
  if (record.resetsInARow != 0) {
    platformComplain(SEVERITY_WARNING, "board resets in a row that this node requested soon after its start: " +
                                           std::to_string(record.resetsInARow) + "; more than " +
                                           std::to_string(limits.resetBudget) + " count as an ungraceful shutdown");
  }
}

Status ceStartup() {
  NodeStore *store = nodeStore();
  if (store == nullptr) return Status::failure(ENODEV, "the CE cannot start without a node store");
  if (gOrvStartupConfig.masterNid == 0) gOrvStartupConfig.masterNid = gOrvStartupConfig.nid;
  if (gOrvStartupConfig.rtConfigFile[0] != '\0') {
    complainUnlessOk(SEVERITY_ERROR, applyPlatformConfig(*store, gOrvStartupConfig.rtConfigFile));
  }
  RunRecord record;
  const ResetLimits limits = resetLimits(*store);
  // Without a state directory the node runs all the same; it only cannot know how its last run ended.
  complainUnlessOk(SEVERITY_ERROR, recordStart(stateDirectory(), limits, record));
  gUngracefulCount = record.ungracefulCount;
  reportRunRecord(record, limits);

  RunInfo run = store->run().value_or(RunInfo{});
  run.state = RunState::UP;
  run.nid = gOrvStartupConfig.nid;
  const char *ceName = std::getenv("ORV_CE_NAME");
  run.ceName = ceName == nullptr ? "" : ceName;
  Status status = store->updateRun(run);
  if (!status.ok()) return status;
  startGateway(*store);
  appendEvent(*store, EventKind::CE_STARTED, "node id " + std::to_string(run.nid));
  return Status::success();
}

Status ceShutdown() {
  joinEus();
  NodeStore *store = nodeStore();
  const uint32_t graceMs =
      store == nullptr ? DEFAULT_GRACE_TIME_MS : settingOr(*store, BOARD_GRACE_TIME_TAG, DEFAULT_GRACE_TIME_MS);
  Status ended = endPrograms(graceMs);
  complainUnlessOk(SEVERITY_ERROR, ended);
  stopGateway(store);
  if (store == nullptr) return ended;
  RunInfo run = store->run().value_or(RunInfo{});
  run.state = RunState::DOWN;
  complainUnlessOk(SEVERITY_WARNING, store->updateRun(run));
  appendEvent(*store, EventKind::CE_STOPPED, "");
  clearMessageSockets(nodeDirectory());
  Status recorded = recordGracefulShutdown(stateDirectory());
  complainUnlessOk(SEVERITY_ERROR, recorded);
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

void recordReset(const std::string &text) {
  if (NodeStore *store = nodeStore()) appendEvent(*store, EventKind::RESET_REQUESTED, text);
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
  return orv::gUngracefulCount;
}

extern "C" void orvPlatformResetRefused(const char *reason) {
  orv::asResult([=] {
    orv::recordReset(reason);
    orv::platformLog(orv::SEVERITY_WARNING, reason);
    return orv::Status::success();
  });
}

extern "C" void orvPlatformResetBegins(const char *means) {
  orv::asResult([=] {
    orv::recordReset(means);
    const orv::NodeStore *store = orv::nodeStore();
    const orv::ResetLimits limits = store == nullptr ? orv::ResetLimits{} : orv::resetLimits(*store);
    return orv::recordResetRequest(orv::stateDirectory(), limits);
  });
}

extern "C" void orvPlatformResetFailed(const char *reason) {
  orv::asResult([=] {
    orv::recordReset(reason);
    orv::platformLog(orv::SEVERITY_ERROR, reason);
    return orv::withdrawResetRequest(orv::stateDirectory());
  });
}
