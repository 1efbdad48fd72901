#include "Texts.h"

#include <cstdio>

namespace orv::gateway {

std::string hexText(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, static_cast<unsigned>(value));
  return text;
}

std::string nodeText(uint16_t nid) {
  return "node " + hexText(nid, 4);
}

std::string messageText(const MessageHeader &header) {
  return "message " + hexText(header.messageId, 4) + " from " + hexText(header.sender, 8) + " to " +
         hexText(header.receiver, 8);
}

}  // namespace orv::gateway
