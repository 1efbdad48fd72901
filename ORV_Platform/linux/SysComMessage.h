// What a message is in memory and on its way: a header of four native words, then the payload. Both ends are processes
// of one machine, so there is no byte order to agree on.
#ifndef ORV_LINUX_SYSCOMMESSAGE_H
#define ORV_LINUX_SYSCOMMESSAGE_H

#include <cstddef>
#include <cstdint>

namespace orv {

struct MessageHeader {
  uint32_t messageId;
  uint32_t receiver;     // SysCom address: node id in the upper half, CPID in the lower
  uint32_t sender;       // the same; 0 until the sender writes it
  uint32_t payloadSize;  // bytes
};

static_assert(offsetof(MessageHeader, messageId) == 0);
static_assert(offsetof(MessageHeader, receiver) == 4);
static_assert(offsetof(MessageHeader, sender) == 8, "senders write their address there themselves");
static_assert(offsetof(MessageHeader, payloadSize) == 12);
static_assert(sizeof(MessageHeader) == 16);

// A whole message. A datagram of this size fits the send buffer that Linux gives a socket by default.
constexpr size_t MAX_MESSAGE_SIZE = size_t{64} * 1024;
constexpr uint32_t MAX_PAYLOAD_SIZE = MAX_MESSAGE_SIZE - sizeof(MessageHeader);

// Node ids that mean the own node, whatever its id is.
constexpr uint16_t OWN_NODE = 0x0F01;
constexpr uint16_t LOCAL_NODE = 0x0FF0;

constexpr uint16_t nodeOf(uint32_t address) {
  return static_cast<uint16_t>(address >> 16);
}

constexpr uint16_t cpidOf(uint32_t address) {
  return static_cast<uint16_t>(address & 0xFFFF);
}

}  // namespace orv

#endif
