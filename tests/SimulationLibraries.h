// Whether the simulation's libraries can be loaded under a program of this build.
//
// ThreadSanitizer's run-time calls sigaction before any library is set up, and the simulation defines it: the daemon
// does not come as far as its main. What such tests show is shown in the other builds; boots in one process, whose
// simulation is linked otherwise, run under this sanitizer too.
#ifndef ORV_TESTS_SIMULATIONLIBRARIES_H
#define ORV_TESTS_SIMULATIONLIBRARIES_H

#ifdef __SANITIZE_THREAD__
constexpr bool CAN_LOAD_SIMULATION = false;
#else
constexpr bool CAN_LOAD_SIMULATION = true;
#endif

// For the message of a skipped test.
constexpr const char *CANNOT_LOAD_SIMULATION = "ThreadSanitizer cannot be started with the simulation's libraries";

#endif
