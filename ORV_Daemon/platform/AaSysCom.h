// SysCom: messages between users inside a node and between nodes.
//
// A SysCom address is a 32-bit word: the node id in the upper 16 bits, the user's communication point id (CPID) in the
// lower 16. A message begins with a header in the platform's format, of which one field is open to the sender: the
// 32-bit word at byte offset 8 is the sender's address, in the byte order of the machine. The payload follows the
// header.
#ifndef ORV_PLATFORM_AASYSCOM_H
#define ORV_PLATFORM_AASYSCOM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Registers the calling EU as a user. `options` is the platform's own; 0 asks for nothing special. Returns the new
// user's CPID (1 to 0xffff), 0 on failure.
uint32_t AaSysComEuUserRegister(uint32_t options);

// Ends the registration of `cpid`. Returns 0, or a failure code when this process has no such user.
int32_t AaSysComUserDeregister(uint32_t cpid);

// Creates a message for `receiver` with a payload of `payloadSize` bytes, zeroed. Returns its address, null on failure.
// The message is the caller's until it is sent.
void *AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver);

// Sends *message and sets *message to null: the message belongs to the platform from here on, also when sending fails.
// Returns 0 when the message was handed over, else a failure code.
int32_t AaSysComMsgSendWithPriority(void **message, uint32_t priority);

// The node id of the own node.
uint16_t AaSysComGetOwnNid(void);

#ifdef __cplusplus
}
#endif

#endif
