#include "NodeActions.h"

#include "AaConfig.h"
#include "AaStartup.h"
#include "AaSysTime.h"
#include "DaemonLog.h"
#include "ddal.h"

namespace {

constexpr uint32_t RAD_BOARD_RESET_FORBIDDEN = 0x10077;
constexpr uint32_t RESET_DELAY_S = 30;
constexpr uint32_t UNIT_SECONDS = 4;

bool boardResetEnabled() {
  return AaConfigTagIsSet(WATCHDOG_ENABLED_TAG) != 0 && AaConfigRadGetValue(RAD_BOARD_RESET_FORBIDDEN) == 0;
}

}  // namespace

int32_t systemdNotify(uint32_t) {
  logInfo("systemdNotify", "sending notification to systemd");
  return ddal_system_notify_ready();
}

int shutdown(uint32_t) {
  logInfo("shutdown", "Initiated CE level shutdown");
  AaStartupCeShutdown();  // result not examined: the process ends either way
  return 1;
}

// Info throughout, a failed reset included: the daemon runs on after it, and the failure that asked for the reset has
// been reported as an error by whoever saw it.
void boardReset(uint32_t) {
  if (!boardResetEnabled()) {
    logInfo("boardReset", "hardware reset requested, but disabled");
    return;
  }
  logInfo("boardReset", "adding ", RESET_DELAY_S, " s delay before reset");
  AaSysTimeSleep(RESET_DELAY_S, UNIT_SECONDS);
  logInfo("boardReset", "doing hardware reset");
  const int32_t result = ddal_watchdog_reboot();
  if (result != 0) logInfo("boardReset", "reset failed (", result, ")");
}
