// What the operations of libORV.so share: the node store of this process and the platform's own voice in the log.
#ifndef ORV_LINUX_PLATFORM_H
#define ORV_LINUX_PLATFORM_H

#include <cstdint>
#include <string>

#include "NodeStore.h"
#include "Status.h"

namespace orv {

// Severities of the node's log, as AaSysLogPrint takes them.
constexpr uint32_t SEVERITY_INFO = 2;
constexpr uint32_t SEVERITY_WARNING = 3;
constexpr uint32_t SEVERITY_ERROR = 4;

// The node store of this process, or null where it cannot be opened (said once, with the reason). The first call opens
// the existing store of nodeDirectory(): a program of the node needs no start-up of its own. Only the daemon that
// starts the node makes a store: see claimNode.
NodeStore *nodeStore();

// The store where it is open already, else null: for what must not open it, the log above all.
NodeStore *openNodeStore();

// Makes this process the one that runs the node: takes the lock of the node directory, held until the process ends, and
// opens or makes the store. Fails with EBUSY where another process runs the node; this process then has no store, so
// that it cannot disturb that node.
Status claimNode();

// Whether this process is the one that runs the node.
bool runsNode();

// Succeeds where this process belongs to a node, else fails with ENODEV: messages are a matter of a node, and a process
// without one has nobody to talk to and must not disturb another node.
Status requireNode();

// Writes one line to the node's log (journal or syslog, and the events).
void platformLog(uint32_t severity, const std::string &text);

// The same, and on standard error: what the person who starts the node has to see at once.
void platformComplain(uint32_t severity, const std::string &text);

}  // namespace orv

#endif
