// Taking messages from the socket of a user, as every program of a node does it, the operator's tool included.
#ifndef ORV_LINUX_SYSCOMRECEPTION_H
#define ORV_LINUX_SYSCOMRECEPTION_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

#include "SysComMessage.h"

// A received message as the C interface hands it out (see SysComReceive.h): the sender's credentials, the header, and
// the payload right behind it. One block of malloc.
struct OrvSysComMessage {
  int32_t senderPid;
  uint32_t senderUid;
  uint32_t senderGid;
  uint32_t reserved;  // keeps the payload aligned for any type
  orv::MessageHeader header;

  const unsigned char *payload() const {
    return reinterpret_cast<const unsigned char *>(this + 1);
  }
};
static_assert(sizeof(OrvSysComMessage) == 32);

namespace orv {

struct FreeReceived {
  void operator()(OrvSysComMessage *message) const {
    std::free(message);
  }
};
using Received = std::unique_ptr<OrvSysComMessage, FreeReceived>;

// Takes one datagram from `descriptor`, never waiting. Returns 0, with `message` set; EAGAIN where none is there;
// EBADMSG where it is no message of SysCom: it is gone, and `message` has nothing but its sender's credentials and, as
// the payload size, its length; ENOMEM, with the datagram left where it is; or another errno of the kernel.
int takeMessage(int descriptor, Received &message);

// Takes and forgets all that is there. Returns how many messages there were among it.
uint32_t discardMessages(int descriptor);

// What is left until CLOCK_MONOTONIC reaches `deadlineNs`, as poll wants it: milliseconds, rounded up, and no more than
// poll can wait for at once; -1, for ever, where there is no deadline. (Not ppoll: with a hardened C library and 64-bit
// time on a 32-bit machine it reads its time-out wrongly.)
int pollTimeoutMs(std::optional<uint64_t> deadlineNs);

// Waits until `descriptor` is readable or shut down, or until `deadlineNs` (nothing: for ever). Returns 0, ETIMEDOUT,
// EINTR, which can come without a signal too, or another errno of the kernel.
int waitReadable(int descriptor, std::optional<uint64_t> deadlineNs);

}  // namespace orv

#endif
