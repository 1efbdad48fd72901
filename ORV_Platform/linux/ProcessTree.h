// Who a process is, and which EU's program it is or descends from: what the provenance of a tag is made of.
//
// Everything comes from /proc and is as of the moment of asking. A process that is gone, or that the caller may not
// look at, is answered with as much as the kernel tells.
#ifndef ORV_LINUX_PROCESSTREE_H
#define ORV_LINUX_PROCESSTREE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "StoreRecords.h"

namespace orv {

// Fields of /proc/PID/stat.
struct ProcessStat {
  std::string name;  // as the kernel has it, up to 15 bytes
  char state = '?';
  uint32_t parentPid = 0;
  uint32_t group = 0;
  uint64_t processorTicks = 0;  // user and system time of all of its threads, in clock ticks
  uint64_t startTicks = 0;      // clock ticks since the boot
};

// /proc/PID/`name`, as much of it as there is up to 256 KiB; nothing where it cannot be read.
std::optional<std::string> readProcFile(uint32_t pid, const char *name);

// Nothing for a process that is not there.
std::optional<ProcessStat> processStat(uint32_t pid);

// A moment of CLOCK_MONOTONIC in nanoseconds for the start of a process, to a clock tick. The kernel counts the time
// that the machine was suspended and the clock does not; it is taken off as it is now.
uint64_t startedMonotonicNs(uint64_t startTicks);

// The setter that the process `pid` is, without its EU. What is not known stays at its default.
Setter identify(uint32_t pid);

// The EUs of a node, and what else it takes to know their processes.
struct EuProcesses {
  std::vector<EuRecord> eus;
  uint32_t daemonPid = 0;     // 0: not known
  std::string nodeDirectory;  // compared with ORV_NODE_DIR
};

struct EuOfProcess {
  std::string name;
  uint32_t id = 0;  // 0: its record is not written yet
};

// The EU whose program the process is or descends from. In this order:
//  - upwards from parent to parent to the program of an EU that runs, or to a child of the daemon, which knows its EU's
//    name before the store does (ORV_EU_NAME);
//  - the process group of an EU's program, which keeps its number when the program has ended;
//  - for a process that left its group and lost its parent, ORV_EU_NAME in its environment, where ORV_NODE_DIR there is
//    this node and the EU is one that the store knows.
// Nothing for the daemon itself and for what is no program of the node.
std::optional<EuOfProcess> euOfProcess(uint32_t pid, const EuProcesses &node);

}  // namespace orv

#endif
