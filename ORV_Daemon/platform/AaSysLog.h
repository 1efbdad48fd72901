// The node's system log.
#ifndef ORV_PLATFORM_AASYSLOG_H
#define ORV_PLATFORM_AASYSLOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ORV_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define ORV_PRINTF_LIKE(text, first)
#endif

// Writes one line, formatted as printf does. Severities: 2 information, 3 warning, 4 error. 0 is success.
int32_t AaSysLogPrint(uint32_t severity, const char *format, ...) ORV_PRINTF_LIKE(2, 3);

#ifdef __cplusplus
}
#endif

#endif
