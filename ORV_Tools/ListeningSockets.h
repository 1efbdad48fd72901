// What a process listens to.
#ifndef ORV_TOOLS_LISTENINGSOCKETS_H
#define ORV_TOOLS_LISTENINGSOCKETS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace orv {

// "tcp 0.0.0.0:80", "tcp [::]:80", "unix /run/x", sorted; empty where the caller may not see the descriptors.
std::vector<std::string> listeningSockets(uint32_t pid);

// The listening sockets in the text of /proc/PID/net/tcp, tcp6 or unix, by inode.
std::map<uint64_t, std::string> listenersInTcp(const std::string &text);
std::map<uint64_t, std::string> listenersInUnix(const std::string &text);

}  // namespace orv

#endif
