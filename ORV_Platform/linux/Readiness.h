// What programs say of themselves by the readiness protocol of systemd: a datagram of lines NAME=VALUE to the socket
// that NOTIFY_SOCKET names.
//
//   READY=1        sets the tag eu.<EU name>.ready, a string "1", for a definition to name as its online tag
//   STATUS=text    is shown by `orvctl status`
//   BARRIER=1      with a descriptor, which is closed once everything before it has been dealt with
//
// Anything else is for systemd and passed over. The sender, which the kernel names, has to be a program of the node or
// a descendant of one; a message of anybody else's, and of a process that is gone before it could be looked at, is
// refused with a Warning. A sender that ends at once therefore waits by BARRIER=1, as systemd-notify does.
#ifndef ORV_LINUX_READINESS_H
#define ORV_LINUX_READINESS_H

#include <string>

#include "Status.h"

namespace orv {

// Makes the socket of this process's node; one for all of its programs. `descriptor` becomes the caller's.
Status openReadinessSocket(int &descriptor);

// What NOTIFY_SOCKET is for the node's programs: a path, or "@name" where the node directory's path is too long for a
// socket. Empty before openReadinessSocket.
const std::string &readinessAddress();

// Takes messages that wait at `descriptor`, never waiting for one, and does what they say; so many at once that a
// program which goes on sending them leaves time for everything else.
void takeReadinessMessages(int descriptor);

// Removes the socket's name.
void removeReadinessSocket();

}  // namespace orv

#endif
