// Time.
#ifndef ORV_PLATFORM_AASYSTIME_H
#define ORV_PLATFORM_AASYSTIME_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Suspends the calling EU for `amount` units; unit 3 is milliseconds, unit 4 seconds. 0 is success.
int32_t AaSysTimeSleep(uint32_t amount, uint32_t unit);

#ifdef __cplusplus
}
#endif

#endif
