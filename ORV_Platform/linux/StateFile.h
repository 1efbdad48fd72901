// Small files of the state directory, replaced as a whole: after a power cut there is the old text or the new one.
#ifndef ORV_LINUX_STATEFILE_H
#define ORV_LINUX_STATEFILE_H

#include <cstddef>
#include <optional>
#include <string>

#include "Status.h"

namespace orv {

// Reads <directory>/<name>; `what` is what messages call it ("the run record"). Whatever has taken the file's place
// (a FIFO, a symbolic link), reading neither waits nor follows it. `text` becomes nothing where there is no such file,
// and at most `maxLength` + 1 bytes otherwise, so that a longer file can be told. Fails with the errno.
Status readStateFile(const std::string &directory, const std::string &name, const std::string &what, size_t maxLength,
                     std::optional<std::string> &text);

// Replaces <directory>/<name>; see ReplaceFile.h. The caller keeps two writers apart.
Status replaceStateFile(const std::string &directory, const std::string &name, const std::string &what,
                        const std::string &text);

// A failure that ends with the system's word for `error`.
Status systemFailure(int error, const std::string &what);

}  // namespace orv

#endif
