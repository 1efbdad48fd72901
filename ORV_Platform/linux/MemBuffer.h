// Reference-counted platform buffers: what AaMemUnRefDbg releases.
#ifndef ORV_LINUX_MEMBUFFER_H
#define ORV_LINUX_MEMBUFFER_H

#include <string_view>

namespace orv {

// A new buffer with one reference, which holds `text` and a NUL; null where memory has run out. The address is that of
// the text. The count lies hidden before it and is atomic: references may be released by different threads.
char *createMemBuffer(std::string_view text);

}  // namespace orv

#endif
