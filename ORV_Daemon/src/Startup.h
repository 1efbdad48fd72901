// CE start-up and the daemon's lifetime.
//
// fullStartup starts the CE and an EU, "ceInternalStartupEu", in which ceInternalStartup brings up everything that the
// daemon supervises, in a fixed order, arms the shutdown signals, and waits for one. SIGINT and SIGTERM post a
// semaphore; the sequence wakes and ends, with it the EU, and with that the platform's CE shutdown, in which the main
// thread has been waiting. A signal that comes before the signals are armed meets the disposition that the process
// inherited.
#ifndef ORV_DAEMON_STARTUP_H
#define ORV_DAEMON_STARTUP_H

#include <cstdint>

// Early start-up: before any option is read, so that the platform never sees the command line here and systemd learns
// of readiness before the CE exists. Always returns 1. Main thread.
int earlyStartup(uint32_t context);

// Starts the CE and the EU of the internal start-up, without waiting for it. Returns 1, or 0 when either could not be
// started (logged); a CE that has been started is not stopped then. Main thread.
int fullStartup(uint32_t context);

// Executables, applications, the initialisation-finished message, the shutdown signals, then the wait. Whatever fails
// on the way, it arrives at the wait. Runs in "ceInternalStartupEu".
void ceInternalStartup(uint32_t context);

// 1 when the platform counts no ungraceful CE shutdown, else 0.
int ceShutdownWasGraceful(uint32_t context);

// Sends the initialisation-finished message to gNotifyReceiver. The message's arrival is the whole information; a
// failure is logged and goes no further.
void initFinishNotify(uint32_t context);

// Makes the shutdown semaphore and installs the signal handlers. Returns 1, or 0 when there is no semaphore; then no
// handler is installed either.
int initCeShutdownSupport(uint32_t context);

// The handler of SIGINT and SIGTERM. Any other number is answered on standard error and triggers nothing.
extern "C" void shutdownSignalHandler(int signalNumber);

#endif
