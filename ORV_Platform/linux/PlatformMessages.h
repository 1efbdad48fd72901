// This platform's extension for programs that receive messages: where a user's messages arrive.
#ifndef ORV_LINUX_PLATFORMMESSAGES_H
#define ORV_LINUX_PLATFORMMESSAGES_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The descriptor at which user `cpid` of this process receives, -1 when this process has no such user. It can be
// waited for with poll and the like; each recvmsg takes one whole message: a header of four native 32-bit words
// (message id, receiver, sender, payload size in bytes), then the payload. The sender's process, user and group, as the
// kernel knows them, come with it as SCM_CREDENTIALS. The descriptor stays the platform's and ends with the
// registration.
int orvPlatformMessageSocket(uint32_t cpid);

#ifdef __cplusplus
}
#endif

#endif
