// The board's settings as the node's tags hold them; see PlatformConfig.h for those that <board> sets.
#ifndef ORV_LINUX_BOARDSETTINGS_H
#define ORV_LINUX_BOARDSETTINGS_H

#include <cstdint>
#include <string>

#include "BoardWord.h"
#include "NodeStore.h"
#include "RunRecord.h"
#include "Status.h"

namespace orv {

// Where the board's word is read; strings. A board, or a test, that has it elsewhere sets them among the tags of its
// configuration.
constexpr const char *BOARD_WATCHDOG_CLASS_TAG = "orv.board.watchdogclass";  // directory: /sys/class/watchdog
constexpr const char *BOARD_PSTORE_TAG = "orv.board.pstore";                 // directory: /sys/fs/pstore
// "device" where the watchdog device may be opened for its boot status; see BoardWord.h.
constexpr const char *BOARD_BOOT_STATUS_TAG = "orv.board.bootstatus";

constexpr const char *DEFAULT_WATCHDOG_DEVICE = "/dev/watchdog";

// The value of a number tag; `fallback` where it is not set, or a text.
uint32_t numberSetting(const NodeStore &store, const char *tagName, uint32_t fallback);

// The value of a text tag; `fallback` where it is not set, or a number.
std::string textSetting(const NodeStore &store, const char *tagName, const std::string &fallback);

ResetLimits resetLimits(const NodeStore &store);

BoardWordSources boardWordSources(const NodeStore &store);

// Fails where the board is to be reset by a watchdog whose device is not there (with its errno) or is no character
// device (ENOTTY, as the request of a reset would). The device is not opened, which would start many a watchdog:
// whether a driver of another kind is behind it shows only when a reset is wanted.
Status checkResetDevice(const NodeStore &store);

}  // namespace orv

#endif
