// Reference-counted platform buffers, as AaConfigTagGetString hands them out.
#ifndef ORV_PLATFORM_AAMEM_H
#define ORV_PLATFORM_AAMEM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Releases one reference to *buffer, freeing the buffer with the last one, and sets *buffer to null. A null *buffer is
// left alone. `file` and `line` name the calling statement, for the platform's own search for lost buffers.
void AaMemUnRefDbg(char **buffer, const char *file, uint32_t line);

#ifdef __cplusplus
}
#endif

#endif
