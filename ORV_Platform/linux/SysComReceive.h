// SysCom's receiving side: how a program of a node gets the messages that are sent to it. An extension of this
// platform; another platform's libORV.so need not have it. Sending, and ending a registration, are those of AaSysCom.h.
//
// A user receives under a CPID: one that AaSysComEuUserRegister has given out, or a fixed one that its peers know,
// which orvSysComUserRegister registers. Messages wait in the user's queue, in the order of their sending, from the
// registration on; a message for which the queue has no room is refused, and its sender is told. They come whole or not
// at all: nothing is ever cut off.
//
//     if (orvSysComUserRegister(0x04E7) != 0) ...
//     OrvSysComMessage *message = NULL;
//     while (orvSysComMsgReceive(0x04E7, ORV_SYSCOM_FOREVER, &message) == 0) {
//       use(orvSysComMsgId(message), orvSysComMsgPayload(message), orvSysComMsgPayloadSize(message));
//       orvSysComMsgFree(message);
//     }
//
// A result is 0 or one of the errno values that are listed with the function. All functions may be called from any
// thread, several threads may receive for one user (each message goes to one of them), and none throws. A child process
// has no part in the registrations of its parent and must not receive for them.
#ifndef ORV_LINUX_SYSCOMRECEIVE_H
#define ORV_LINUX_SYSCOMRECEIVE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The time-out that never ends.
#define ORV_SYSCOM_FOREVER UINT32_MAX

// A message that has been received. It is the program's until it hands it to orvSysComMsgFree, and changes no more.
typedef struct OrvSysComMessage OrvSysComMessage;

// Registers a user with the CPID `cpid`, 1 to 0xffff, which AaSysComUserDeregister ends, and the end of the process at
// the latest. The CPIDs from 0x1000 to 0x7fff are those that AaSysComEuUserRegister gives out: a fixed one among them
// may be somebody else's already. What a dead process has left of a CPID is no hindrance.
//   EINVAL      `cpid` is 0 or above 0xffff
//   EADDRINUSE  a living user of the node, in this process or another one, has that CPID
//   ENODEV      this process belongs to no node, or its node has never been started
//   EACCES, EPERM, EROFS, ENOSPC, EMFILE, ENFILE, ENOMEM, ...  the socket cannot be made; the log says why
int32_t orvSysComUserRegister(uint32_t cpid);

// Waits for the next message to user `cpid` of this process, for `timeoutMs` milliseconds at most; with 0 it takes what
// is there, with ORV_SYSCOM_FOREVER it waits as long as it takes. *message becomes the message, and null where there is
// none. A datagram that is no message (its sender is no SysCom) is reported in the log and passed over. A signal
// handler that runs meanwhile ends no wait.
//   ETIMEDOUT   no message came in time
//   ENOENT      this process has no such user
//   ECANCELED   the user was deregistered while it waited
//   EINVAL      `message` is null
//   ENOMEM      there is no memory for the message, which stays in the queue
int32_t orvSysComMsgReceive(uint32_t cpid, uint32_t timeoutMs, OrvSysComMessage **message);

// The descriptor that becomes readable when there may be a message for user `cpid` of this process, for poll and the
// like beside other descriptors; -1 when this process has no such user. What is readable need not be a message, or may
// be taken by another thread: receive with the time-out 0. The descriptor stays the platform's, is for waiting alone,
// and ends with the registration.
int orvSysComUserDescriptor(uint32_t cpid);

// What the sender wrote: the message id, and both SysCom addresses (node id in the upper half, CPID in the lower). The
// sender's address is the one that the sender claims.
uint32_t orvSysComMsgId(const OrvSysComMessage *message);
uint32_t orvSysComMsgReceiver(const OrvSysComMessage *message);
uint32_t orvSysComMsgSender(const OrvSysComMessage *message);

// The payload, aligned for any type, and its size in bytes. The address is valid for as long as the message is, and not
// null for an empty payload either.
const void *orvSysComMsgPayload(const OrvSysComMessage *message);
uint32_t orvSysComMsgPayloadSize(const OrvSysComMessage *message);

// Who handed the message over on this machine, as the kernel knows it, whatever the sender claims: process, user and
// group. For a message from another node that is the process of this node that took it from the network. A process
// that this one cannot see (of another pid namespace) has the id 0.
int32_t orvSysComMsgSenderPid(const OrvSysComMessage *message);
uint32_t orvSysComMsgSenderUid(const OrvSysComMessage *message);
uint32_t orvSysComMsgSenderGid(const OrvSysComMessage *message);

// Ends the message. Null is allowed.
void orvSysComMsgFree(OrvSysComMessage *message);

#ifdef __cplusplus
}
#endif

#endif
