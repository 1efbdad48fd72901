// The board's part of the simulation, which libTARNDDAL.so reaches through libORV.so.
#ifndef ORV_SIMULATED_BOARD_H
#define ORV_SIMULATED_BOARD_H

#include <cstdint>

extern "C" {
int32_t orvSimulatedNotifyReady(void);
int32_t orvSimulatedWatchdogReboot(void);
}

#endif
