#include "ddal.h"

#include "Board.h"

extern "C" {

int32_t ddal_system_notify_ready(void) {
  return orvSimulatedNotifyReady();
}

int32_t ddal_watchdog_reboot(void) {
  return orvSimulatedWatchdogReboot();
}

}  // extern "C"
