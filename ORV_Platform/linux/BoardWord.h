// What the board itself says of its last reset: its watchdogs' boot status, and what a kernel that panicked left in
// pstore.
//
// Opening a watchdog device starts it on many boards, and with some drivers nothing stops it again. So the boot status
// is read where the kernel shows it without that, in /sys/class/watchdog/*/bootstatus. A kernel without these files
// (CONFIG_WATCHDOG_SYSFS) has the device's WDIOC_GETBOOTSTATUS alone; it is asked only where the configuration says
// that the device may be opened for it.
#ifndef ORV_LINUX_BOARDWORD_H
#define ORV_LINUX_BOARDWORD_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orv {

struct BoardWordSources {
  std::string watchdogClass = "/sys/class/watchdog";
  std::string pstoreDirectory = "/sys/fs/pstore";
  std::string askedDevice;  // asked by WDIOC_GETBOOTSTATUS where `watchdogClass` says nothing; empty: never
};

// A record that a dying kernel left.
struct KernelRecord {
  std::string identity;  // name and time, which tell it from a record of another crash under the same name
  std::string name;
  std::string headline;  // its first line: "Panic#1 Part1"; empty where it cannot be read
};

struct BoardWord {
  std::vector<std::string> watchdogs;  // a sentence for each one that says something
  bool watchdogReset = false;          // one of them says that it reset the board
  std::vector<KernelRecord> kernelRecords;
};

// Asks all `sources`; one that is not there or cannot be read says nothing.
BoardWord askBoard(const BoardWordSources &sources);

// "the watchdog reset the board, power failed", of the flags of WDIOC_GETBOOTSTATUS; empty for 0.
std::string bootStatusText(uint32_t flags);

}  // namespace orv

#endif
