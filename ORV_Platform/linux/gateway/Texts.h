// How the gateway names nodes and messages in what it says.
#ifndef ORV_GATEWAY_TEXTS_H
#define ORV_GATEWAY_TEXTS_H

#include <cstdint>
#include <string>

#include "SysComMessage.h"

namespace orv::gateway {

// "node 0x2011"
std::string nodeText(uint16_t nid);

// "message 0x1b9d from 0x0f011000 to 0x20111000"
std::string messageText(const MessageHeader &header);

}  // namespace orv::gateway

#endif
