// File access through the platform.
#ifndef ORV_PLATFORM_AAFILE_H
#define ORV_PLATFORM_AAFILE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Opens file `name` in the manner of the C library's fopen. Returns a handle, null on failure.
void *AaFileOpen(const char *name, const char *mode);

// Reads up to `itemCount` items of `itemSize` bytes into `buffer`; returns how many were read whole. Fewer than asked
// for means the end of the file or a read error.
uint32_t AaFileRead(void *buffer, uint32_t itemSize, uint32_t itemCount, void *file);

// Closes the file and invalidates the handle. 0 is success.
int32_t AaFileClose(void *file);

#ifdef __cplusplus
}
#endif

#endif
