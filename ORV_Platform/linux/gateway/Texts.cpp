#include "Texts.h"

#include "HexText.h"

namespace orv::gateway {

std::string nodeText(uint16_t nid) {
  return "node " + nidText(nid);
}

std::string messageText(const MessageHeader &header) {
  return "message " + hexText(header.messageId, 4) + " from " + hexText(header.sender, 8) + " to " +
         hexText(header.receiver, 8);
}

}  // namespace orv::gateway
