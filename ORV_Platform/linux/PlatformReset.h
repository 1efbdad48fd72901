// What libTARNDDAL.so tells libORV.so of a board reset. The two are one implementation of the platform and replaced
// together; a library of another maker has no use for this.
#ifndef ORV_LINUX_PLATFORMRESET_H
#define ORV_LINUX_PLATFORMRESET_H

#ifdef __cplusplus
extern "C" {
#endif

// A board reset was asked for and is not made; `reason` says why not. Recorded in the node's events.
void orvPlatformResetRefused(const char *reason);

// A board reset is about to be made; `means` says how. Recorded in the node's events and, synced, in the run record, so
// that the next start knows of it.
void orvPlatformResetBegins(const char *means);

// The reset that began could not be made after all: takes back what the run record says of it.
void orvPlatformResetFailed(const char *reason);

#ifdef __cplusplus
}
#endif

#endif
