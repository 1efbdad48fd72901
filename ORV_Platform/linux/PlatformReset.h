// What libTARNDDAL.so tells libORV.so of a board reset. The two are one implementation of the platform and replaced
// together; a library of another maker has no use for this.
//
// All are called by the EU that asks for the reset. `means` is what is to reset the board: "/dev/watchdog", "reboot".
#ifndef ORV_LINUX_PLATFORMRESET_H
#define ORV_LINUX_PLATFORMRESET_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// A board reset was asked for and is not made; `reason` says why not. Recorded in the node's events and its log.
void orvPlatformResetRefused(const char *reason);

// Non-zero when an operator holds resets off: the reset is not to be made. What would have been done is then logged,
// and recorded in the node's events and the flight record. Zero where the hold cannot be read within 10 s.
int32_t orvPlatformResetIsHeld(const char *means);

// A board reset is about to be made. Logged and recorded in the node's events first, then, each synced, in the flight
// record and in the run record, so that the next start knows of it. Returns though the storage hangs, which is given
// 10 s for each.
void orvPlatformResetBegins(const char *means);

// Writes what the page cache holds to all file systems; returns when that is done, or after 10 s.
void orvPlatformSyncFileSystems(void);

// The reset that began could not be made after all: logged and recorded, and what the run record says of it is taken
// back.
void orvPlatformResetFailed(const char *reason);

#ifdef __cplusplus
}
#endif

#endif
