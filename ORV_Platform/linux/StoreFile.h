// The files of a node store, <node directory>/node.mdb and its lock, as far as they are files and no more.
#ifndef ORV_LINUX_STOREFILE_H
#define ORV_LINUX_STOREFILE_H

#include <sys/types.h>

#include <string>

#include "Status.h"

namespace orv {

constexpr mode_t STORE_FILE_MODE = 0640;

// Renames the file, whatever kind it is of, to <path>.damaged, where it replaces an earlier one that was set aside; to
// <path>.damaged.2 and so on where something that cannot be replaced has that name. `why` is the reason, `report`
// becomes the sentence that tells of it.
Status setStoreFileAside(const std::string &path, const std::string &why, std::string &report);

// Removes the store of an earlier boot.
Status removeStoreFile(const std::string &path);

// Makes the lock file and takes its space from the file system at once. LMDB writes to it through a mapping, where a
// file system that turns out to be full kills the process. Returns 0 or the errno.
int reserveStoreLock(const std::string &path, unsigned readers);

// Gives the store and its lock to the group of those who may look at a node: see giveToNodeGroup.
void giveStoreToGroup(const std::string &path);

}  // namespace orv

#endif
