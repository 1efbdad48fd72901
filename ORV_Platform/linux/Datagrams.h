// Datagrams that never make their sender wait: for a log and for notices, whose loss is better than a daemon that
// stands still because somebody does not read.
#ifndef ORV_LINUX_DATAGRAMS_H
#define ORV_LINUX_DATAGRAMS_H

#include <cstdint>
#include <string>
#include <string_view>

namespace orv {

// Sends `bytes` to the Unix-domain socket at `path`; a path that begins with "@" names one of the abstract kind.
// Returns 0 or the errno: ENOENT and ECONNREFUSED when nobody listens, EAGAIN when he has too much unread.
// Safe from any thread.
int sendToPath(const std::string &path, std::string_view bytes);

// The same to a UDP port. `address` is in host byte order.
int sendToPort(uint32_t address, uint16_t port, std::string_view bytes);

}  // namespace orv

#endif
