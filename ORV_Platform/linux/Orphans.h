// Processes that programs leave behind: whose parent has ended, so that they have become this process's children.
#ifndef ORV_LINUX_ORPHANS_H
#define ORV_LINUX_ORPHANS_H

namespace orv {

// Collects the ends of those that have ended. Children of this process's own process group are left alone: they are
// somebody else's in this process. A guard that has ended by itself is started again. Returns whether one of them was
// on the guard's list: what it leaves behind in turn is not there yet.
bool collectOrphans();

// Puts those that live on the guard's list. To be called some time after a program, or one of these, has ended.
void guardOrphans();

}  // namespace orv

#endif
