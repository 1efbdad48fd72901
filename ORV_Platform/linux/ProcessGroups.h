// Process groups, as the kernel shows them.
#ifndef ORV_LINUX_PROCESSGROUPS_H
#define ORV_LINUX_PROCESSGROUPS_H

#include <sys/types.h>

namespace orv {

// True when the group has a member of any kind, a process that has ended and was not waited for included.
bool groupExists(pid_t group);

// True when the group has a member that is not just waiting to be waited for. Reads /proc.
bool groupHasLivingMember(pid_t group);

}  // namespace orv

#endif
