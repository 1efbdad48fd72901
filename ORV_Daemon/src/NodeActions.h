// Single operations that act on the node as a whole: the readiness notice, the shutdown request, the board reset.
#ifndef ORV_DAEMON_NODEACTIONS_H
#define ORV_DAEMON_NODEACTIONS_H

#include <cstdint>

// Being set is what enables the watchdog, and with it board resets, whatever the tag's value.
constexpr const char *WATCHDOG_ENABLED_TAG = "orv.service.aapro.watchdog_enabled";

// Tells systemd that the service is ready: the platform's early start-up is done, not that the CE is up. Returns the
// board library's result. `context` is the start-up context word, not read, as in the two below.
int32_t systemdNotify(uint32_t context);

// Asks the platform for the CE-level shutdown and returns when the CE is down, which makes this call the daemon's
// resident life: the platform waits in it for the internal start-up EU, and that one for the shutdown signal.
// Returns 1.
int shutdown(uint32_t context);

// Resets the board, 30 s from now, where the watchdog is enabled and no R&D parameter forbids it; otherwise says so.
// Returns when the reset is disabled or failed, and, though nobody should be there to see it, when it was requested.
// Blocks the calling EU only. Several EUs may be in here at once: each decides, waits and requests for itself.
void boardReset(uint32_t context);

#endif
