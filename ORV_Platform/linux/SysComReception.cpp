#include "SysComReception.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "Clock.h"
#include "NodeStore.h"

namespace orv {
namespace {

void readCredentials(msghdr &datagram, OrvSysComMessage &message) {
  const cmsghdr *first = CMSG_FIRSTHDR(&datagram);
  if (first == nullptr || first->cmsg_type != SCM_CREDENTIALS) return;  // not reached: the socket asks for them
  ucred credentials{};
  std::memcpy(&credentials, CMSG_DATA(first), sizeof credentials);
  message.senderPid = credentials.pid;
  message.senderUid = credentials.uid;
  message.senderGid = credentials.gid;
}

// Gives what the message does not need of its block back.
void shrink(Received &message, size_t length) {
  void *block = message.get();
  void *smaller = std::realloc(block, sizeof(OrvSysComMessage) - sizeof(MessageHeader) + length);
  if (smaller == nullptr) return;  // the block is as it was
  static_cast<void>(message.release());
  message.reset(static_cast<OrvSysComMessage *>(smaller));
}

}  // namespace

int takeMessage(int descriptor, Received &message) {
  // Room for the longest message: to look at its length first would cost a second call and, where several threads
  // receive, could be the length of another one.
  message.reset(static_cast<OrvSysComMessage *>(
      std::malloc(sizeof(OrvSysComMessage) - sizeof(MessageHeader) + MAX_MESSAGE_SIZE)));
  if (message == nullptr) return ENOMEM;
  *message = {};
  iovec part{&message->header, MAX_MESSAGE_SIZE};
  // No room for descriptors that somebody might send along: the kernel closes them.
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
  msghdr datagram{};
  datagram.msg_iov = &part;
  datagram.msg_iovlen = 1;
  datagram.msg_control = control;
  datagram.msg_controllen = sizeof control;
  const ssize_t received = recvmsg(descriptor, &datagram, MSG_DONTWAIT | MSG_TRUNC | MSG_CMSG_CLOEXEC);
  if (received < 0) {
    const int error = errno;
    message.reset();
    return error;
  }
  readCredentials(datagram, *message);
  const auto length = static_cast<size_t>(received);
  const bool isWhole = length >= sizeof(MessageHeader) && length <= MAX_MESSAGE_SIZE;
  if (!isWhole || message->header.payloadSize != length - sizeof(MessageHeader)) {
    message->header = {};
    message->header.payloadSize = static_cast<uint32_t>(length);
    return EBADMSG;
  }
  shrink(message, length);
  return 0;
}

uint32_t discardMessages(int descriptor) {
  uint32_t count = 0;
  Received message;
  for (int taken = 0; taken == 0 || taken == EBADMSG;) {
    taken = takeMessage(descriptor, message);
    if (taken == 0) ++count;
  }
  return count;
}

int pollTimeoutMs(std::optional<uint64_t> deadlineNs) {
  if (!deadlineNs) return -1;
  const uint64_t now = monotonicNs();
  if (*deadlineNs <= now) return 0;
  return static_cast<int>(std::min<uint64_t>((*deadlineNs - now + NS_PER_MS - 1) / NS_PER_MS, INT_MAX));
}

int waitReadable(int descriptor, std::optional<uint64_t> deadlineNs) {
  pollfd waited{descriptor, POLLIN, 0};
  const int count = poll(&waited, 1, pollTimeoutMs(deadlineNs));
  if (count < 0) return errno;
  if (count > 0) return 0;
  return monotonicNs() >= *deadlineNs ? ETIMEDOUT : EINTR;
}

}  // namespace orv
