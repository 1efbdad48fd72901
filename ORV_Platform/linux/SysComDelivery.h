// Handing a message to a user of its own node, and what is said of it: shared by libORV.so and the operator's tool.
#ifndef ORV_LINUX_SYSCOMDELIVERY_H
#define ORV_LINUX_SYSCOMDELIVERY_H

#include <cstdint>
#include <string>

#include "NodeStore.h"
#include "Status.h"
#include "SysComMessage.h"

namespace orv {

// "message 0x1b9d to 0x0ff004e7".
std::string messageText(const MessageHeader &header);

// True for the node ids that mean the node `ownNid` to its own programs.
bool isOwnNode(uint16_t node, uint16_t ownNid);

// Hands the message that begins with `header` (its payload is right behind it) to the user whom its receiver's CPID
// names, in the node of `nodeDirectory`, whatever node the address names; never waits. Fails with the errno of
// sendToMessageSocket and a sentence that says what that means.
Status deliverInNode(const std::string &nodeDirectory, const MessageHeader &header);

// What has become of the node's gateway, for whoever wants to know why messages go nowhere: "up", or the reason why
// there is none. Not set on a node that is to have none.
constexpr const char *GATEWAY_STATE_TAG = "orv.gateway.state";  // string
constexpr const char *GATEWAY_STATE_UP = "up";

// The sentence for a message to another node that the node's gateway has no socket for. `store` may be null.
std::string noWayText(const MessageHeader &header, const NodeStore *store);

// What the node's events say of a message that was sent, or was not.
Event outcomeEvent(const MessageHeader &header, bool delivered);

}  // namespace orv

#endif
