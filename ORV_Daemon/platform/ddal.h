// The device-driver abstraction library, libTARNDDAL.so: what the daemon needs of the board and of the init system.
#ifndef ORV_PLATFORM_DDAL_H
#define ORV_PLATFORM_DDAL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Tells the service manager that this service is ready. 0 is success.
int32_t ddal_system_notify_ready(void);

// Resets the board. 0 is success: the reset is under way and the caller has not long to live. Any other value is a
// failure code, and the board runs on.
int32_t ddal_watchdog_reboot(void);

#ifdef __cplusplus
}
#endif

#endif
