// A mount namespace for the calling process: what it mounts from then on, no other process sees.
#ifndef ORV_TESTS_MOUNTNAMESPACE_H
#define ORV_TESTS_MOUNTNAMESPACE_H

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <fstream>
#include <string>

// Root can mount in a namespace of its own; anybody else becomes root in a user namespace first. Returns false, with
// errno, where kernel, container or chroot forbids it.
inline bool enterMountNamespace() {
  const std::string uid = std::to_string(getuid());
  const std::string gid = std::to_string(getgid());
  const bool isRoot = getuid() == 0;
  if (unshare(CLONE_NEWNS | (isRoot ? 0 : CLONE_NEWUSER)) != 0) return false;
  if (!isRoot) {
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " + uid + " 1";
    std::ofstream("/proc/self/gid_map") << "0 " + gid + " 1";
  }
  return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

#endif
