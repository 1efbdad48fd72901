// Raised errors: failures that the platform acts on by its own rules.
#ifndef ORV_PLATFORM_AAERROR_H
#define ORV_PLATFORM_AAERROR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Raises an error and returns.
//   kind, code            what happened, in the platform's numbering
//   reserved1, reserved2  0
//   text                  description; need only be valid during the call
//   file, line            source position that identifies the raising statement; field tools match on it
void AaErrorExceptionRaise(uint32_t kind, uint32_t code, uint32_t reserved1, uint32_t reserved2, const char *text,
                           const char *file, uint32_t line);

#ifdef __cplusplus
}
#endif

#endif
