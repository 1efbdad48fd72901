// What the service manager (systemd, or whoever set NOTIFY_SOCKET) is told, beside the readiness: the state of the
// start-up, the end, and that the daemon lives.
#ifndef ORV_LINUX_SERVICEMANAGER_H
#define ORV_LINUX_SERVICEMANAGER_H

#include <string>

#include "Status.h"

namespace orv {

// Sends one notice, "STATUS=running" for example, to NOTIFY_SOCKET as the environment had it at the first call. Nothing
// happens where there is none, and a manager that does not read does not make the caller wait: libsystemd's own
// sd_notify would.
void tellServiceManager(const std::string &notice);

// Feeds the manager's watchdog (WATCHDOG=1) at half the interval that WATCHDOG_USEC asks for, from a thread of its own,
// from now until stopFeeding. Without WATCHDOG_USEC, or where WATCHDOG_PID names another process, there is no thread.
// Fails with the errno where the interval cannot be understood or there is no thread to be had.
Status startFeeding();

// Ends the feeding for good. Returns when the thread has ended; without effect where there is none.
void stopFeeding();

}  // namespace orv

#endif
