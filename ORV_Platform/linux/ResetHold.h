// Board resets held off while somebody debugs: a small file in the state directory that says until when.
//
// It survives a restart of the daemon, and ends by itself: at its time, and with the boot of the machine, since it is
// counted on a clock that no setting of the time can move.
#ifndef ORV_LINUX_RESETHOLD_H
#define ORV_LINUX_RESETHOLD_H

#include <cstdint>
#include <string>

#include "Status.h"

namespace orv {

constexpr uint32_t DEFAULT_RESET_HOLD_MIN = 30;
constexpr uint32_t MAX_RESET_HOLD_MIN = 24 * 60;

// Holds resets off from now on for so many minutes, 1 to MAX_RESET_HOLD_MIN (else EINVAL), whatever was held before.
Status holdResets(const std::string &stateDirectory, uint32_t minutes);

// Lets resets through again. `wasHeld` tells whether they were held.
Status releaseResets(const std::string &stateDirectory, bool &wasHeld);

// For how long resets are still held, in nanoseconds; 0 where they are not, and where the file cannot be understood: a
// node that has to be reset is not to be kept from it by a damaged file. Fails with the errno where it cannot be read.
Status resetHoldLeft(const std::string &stateDirectory, uint64_t &leftNs);

}  // namespace orv

#endif
