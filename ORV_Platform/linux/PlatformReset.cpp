#include "PlatformReset.h"

#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "BoardSettings.h"
#include "ExecutionUnits.h"
#include "FlightRecorder.h"
#include "LastRun.h"
#include "NoThrow.h"
#include "NodePaths.h"
#include "Platform.h"
#include "ResetHold.h"
#include "RunRecord.h"
#include "RunRecorder.h"
#include "StoreWriter.h"

namespace orv {
namespace {

void complainUnlessOk(const Status &status) {
  if (!status.ok()) platformComplain(SEVERITY_ERROR, status.message);
}

void writeEntry(const FlightEntry &entry) {
  complainUnlessOk(withinStorageLimit("write the flight record", [entry] {
    FlightEntry own = entry;
    return appendFlightEntry(stateDirectory(), own);
  }));
}

void resetRefused(const std::string &reason) {
  recordEvent(EventKind::RESET_REQUESTED, reason);
  flushRecords();
  platformLog(SEVERITY_WARNING, reason);
}

bool resetIsHeld(const std::string &means) {
  finishRunStart();
  const auto found = std::make_shared<std::atomic<uint64_t>>(0);
  // A hold that cannot be read holds nothing: the reset is what the node needs.
  complainUnlessOk(withinStorageLimit("read the hold of resets", [found] {
    uint64_t leftNs = 0;
    Status read = resetHoldLeft(stateDirectory(), leftNs);
    *found = leftNs;
    return read;
  }));
  if (*found == 0) return false;
  const FlightEntry entry = resetEntry(FlightKind::RESET_HELD, means);
  const std::string text = "would have reset the board by " + means + ", as asked for by " + requesterText(entry) +
                           ": resets are held (orvctl reset hold --off lets them through)";
  recordEvent(EventKind::RESET_HELD, text);
  platformLog(SEVERITY_WARNING, text);
  writeEntry(entry);
  return true;
}

void resetBegins(const std::string &means) {
  finishRunStart();
  const FlightEntry entry = resetEntry(FlightKind::RESET_REQUESTED, means);
  recordEvent(EventKind::RESET_REQUESTED, "board reset by " + means);
  flushRecords();
  platformLog(SEVERITY_WARNING, "board reset by " + means + ", as asked for by " + requesterText(entry));
  flushRecords();
  writeEntry(entry);
  const NodeStore *store = nodeStore();
  const ResetLimits limits = store == nullptr ? ResetLimits{} : resetLimits(*store);
  complainUnlessOk(
      withinStorageLimit("write the run record", [limits] { return recordResetRequest(stateDirectory(), limits); }));
}

void resetFailed(const std::string &reason) {
  recordEvent(EventKind::RESET_REQUESTED, reason);
  flushRecords();
  platformLog(SEVERITY_ERROR, reason);
  writeEntry(resetEntry(FlightKind::RESET_FAILED, reason));
  complainUnlessOk(withinStorageLimit("write the run record", [] { return withdrawResetRequest(stateDirectory()); }));
}

template <typename Operation>
void quietly(Operation operation) {
  withoutExceptions<int>(0, [&] {
    operation();
    return 0;
  });
}

}  // namespace
}  // namespace orv

extern "C" void orvPlatformResetRefused(const char *reason) {
  orv::quietly([=] { orv::resetRefused(reason); });
}

extern "C" int32_t orvPlatformResetIsHeld(const char *means) {
  return orv::withoutExceptions<int32_t>(0, [=] { return orv::resetIsHeld(means) ? 1 : 0; });
}

extern "C" void orvPlatformResetBegins(const char *means) {
  orv::quietly([=] { orv::resetBegins(means); });
}

extern "C" void orvPlatformSyncFileSystems(void) {
  orv::quietly([] {
    orv::complainUnlessOk(orv::withinStorageLimit("sync the file systems", [] {
      sync();
      return orv::Status::success();
    }));
  });
}

extern "C" void orvPlatformResetFailed(const char *reason) {
  orv::quietly([=] { orv::resetFailed(reason); });
}
