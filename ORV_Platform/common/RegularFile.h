// Reading files that somebody else named.
//
// A name can lead to anything: a FIFO blocks its reader, a device never ends and may act on being opened (a watchdog
// starts to count). Only regular files are opened here, so that no name can hang the node.
#ifndef ORV_LINUX_REGULARFILE_H
#define ORV_LINUX_REGULARFILE_H

#include <cstddef>
#include <string>

#include "Status.h"

namespace orv {

// Opens `path` for reading. `descriptor` becomes the caller's, closed on exec. Fails with the errno (EISDIR for a
// directory, EINVAL for what is no file at all) and "<path>: <why>".
Status openRegularFile(const std::string &path, int &descriptor);

// Reads all of `path`. Fails as openRegularFile does, and with EFBIG where the file has more than `maximumLength`
// bytes; `content` is then left alone.
Status readRegularFile(const std::string &path, size_t maximumLength, std::string &content);

}  // namespace orv

#endif
