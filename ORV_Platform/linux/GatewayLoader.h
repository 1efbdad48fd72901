// The node's gateway as libORV.so sees it: the daemon loads libORVGateway.so from beside this library where the node
// has a gateway port, and any process of the node hands it messages for other nodes.
#ifndef ORV_LINUX_GATEWAYLOADER_H
#define ORV_LINUX_GATEWAYLOADER_H

#include <cstdint>

#include "NodeStore.h"
#include "Status.h"
#include "SysComMessage.h"

namespace orv {

// Starts the gateway that the record and the tags of this process's node ask for. What stands in its way is said, and
// is no reason for a node not to start. For the CE start-up, once.
void startGateway(NodeStore &store);

// Ends it: messages that are on their way have up to 2 s to arrive.
void stopGateway(NodeStore *store);

// Hands a message for another node to the gateway and never waits. Fails with EHOSTUNREACH where there is no way to the
// node, and with EAGAIN where more is sent to it than it takes.
//
// The message of a failure with EAGAIN is empty where one was given less than a second ago for the same node; the next
// one counts them all, and the end of the process tells the rest.
Status sendThroughGateway(const MessageHeader &header);

}  // namespace orv

#endif
