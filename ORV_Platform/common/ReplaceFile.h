// Replacing a small file as a whole.
#ifndef ORV_LINUX_REPLACEFILE_H
#define ORV_LINUX_REPLACEFILE_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "Status.h"

namespace orv {

// Writes `content` to a new file beside `path` (its name with ".new"), syncs it and renames it to `path`: after a power
// cut there is either the old file or the new one, whole. `what` is what messages call the file ("the run record"), if
// anything. Fails with the errno and what could not be done; the old file then stays. One caller at a time.
Status replaceFile(const std::string &path, mode_t mode, std::string_view content, const std::string &what = "");

}  // namespace orv

#endif
