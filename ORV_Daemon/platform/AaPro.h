// Execution units (EUs) and the programs that they run.
//
// An EU is a named thread of execution inside a process of the node, known to the platform by a 32-bit id.
// int32_t results: 0 is success, any other value is a failure code of the platform, unless said otherwise.
#ifndef ORV_PLATFORM_AAPRO_H
#define ORV_PLATFORM_AAPRO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The body of an EU. `argument` is the address of the EU's own copy of the argument block, valid until the body
// returns. The result is the EU's exit value.
typedef void *(*AaProEuEntry)(void *argument);

// Creates an EU that nobody waits for and starts it.
//   euId           out: the new EU's id
//   name           copied
//   stackSize      requested stack in bytes; the platform may give more
//   priority       the EU's priority in the platform's own numbering
//   argument       argument block, copied bytewise before the call returns; may be null when argumentSize is 0
//   argumentSize   size of that block in bytes
int32_t AaProEuCreateAndStart(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                              uint32_t priority, const void *argument, uint32_t argumentSize);

// The same for an EU that the CE shutdown waits for when `joinable` is not 0.
int32_t AaProEuCreateAndStartJoinable(uint32_t *euId, const char *name, AaProEuEntry entry, uint32_t stackSize,
                                      uint32_t priority, const void *argument, uint32_t argumentSize,
                                      uint32_t joinable);

// The id of the calling EU.
uint32_t AaProEuCurrent(void);

// Runs a program to its end and blocks the calling EU meanwhile.
//   path               the program
//   args               all its arguments as one text, possibly empty
//   supervisionFlags   what the caller does about a failure: bit 0 raises an error, bit 1 resets the board
//   waitStatus         out: how the program ended, in the POSIX wait-status layout; left alone when it was not started
// Returns 0 or 5 when the program ran (*waitStatus tells how it ended), any other value when it could not be started.
int32_t AaProCmdExec(const char *path, const char *args, uint32_t supervisionFlags, int32_t *waitStatus);

#ifdef __cplusplus
}
#endif

#endif
