// Configuration tags and RAD parameters of the node.
//
// Tags are named, typed values shared by every process of the node: whoever sets one is seen by all others at their
// next test. RAD parameters are numbered values for research and development, 0 when not set.
// int32_t results: 0 is success, any other value is a failure code of the platform, unless said otherwise.
#ifndef ORV_PLATFORM_AACONFIG_H
#define ORV_PLATFORM_AACONFIG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Sets tag `name` to a value, replacing whatever value and type it had. Name and text are copied.
int32_t AaConfigTagSetString(const char *name, const char *text);
int32_t AaConfigTagSetU16(const char *name, uint16_t value);
int32_t AaConfigTagSetU32(const char *name, uint32_t value);

// Sets the tags (and what else the platform configures so) that the XML file at `path` names.
int32_t AaConfigTagReadFile(const char *path);

// Non-zero when tag `name` is set, whatever its type and value.
int32_t AaConfigTagIsSet(const char *name);

// Hands out the text of string tag `name`: *text becomes the address of a reference-counted platform buffer with a
// NUL-terminated text, to be released with AaMemUnRefDbg (AaMem.h); *length its length in bytes without the NUL.
// Where there is no such text, *text and *length stay as they were.
int32_t AaConfigTagGetString(const char *name, char **text, uint32_t *length);

// The value of RAD parameter `number`, 0 when it is not set.
uint32_t AaConfigRadGetValue(uint32_t number);

#ifdef __cplusplus
}
#endif

#endif
