// The sockets that messages inside a node go through: <node directory>/syscom/<CPID as 4 hexadecimal digits>.
//
// Each user receives at a Unix-domain datagram socket of its own, which keeps the boundaries of messages, is bounded by
// the kernel's queue and tells the receiver the sender's credentials. A socket whose process has died leaves its name
// behind; the name is reused by the next registration that meets it.
//
// A socket address holds 107 bytes of a path. Where a node directory is longer, its sockets are reached through
// /proc/self/fd, so that every node directory works.
#ifndef ORV_LINUX_SYSCOMUSERS_H
#define ORV_LINUX_SYSCOMUSERS_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "Status.h"

namespace orv {

// The socket at which a user receives. A plain record: its owner closes the descriptor.
struct MessageSocket {
  int descriptor = -1;
  std::string nodeDirectory;
  std::string path;
  dev_t device = 0;  // with `inode`: tells the socket's own name from a later one at the same path
  ino_t inode = 0;
};

// The message directory of a node, locked against every other registration, in this process or another one, for as long
// as the object lives.
class MessageDirectory {
 public:
  MessageDirectory() = default;
  ~MessageDirectory();
  MessageDirectory(const MessageDirectory &) = delete;
  MessageDirectory &operator=(const MessageDirectory &) = delete;

  // Makes the directory of `nodeDirectory` (mode 0750) where it is missing, and locks it. Waits for whoever has it.
  Status makeAndLock(const std::string &nodeDirectory);

  // The same for a directory that has to be there.
  Status lock(const std::string &nodeDirectory);

  // Makes the socket of `cpid`. Fails with EADDRINUSE where a living user has that CPID. `socket` becomes the caller's.
  Status bind(uint16_t cpid, MessageSocket &socket);

  // The same under a name of its own, for who is no user: see gatewaySocketName.
  Status bind(const std::string &name, MessageSocket &socket);

  // Removes the names that dead processes left.
  void removeDead();

 private:
  Status bindName(int socket, const std::string &name) const;

  std::string nodeDirectory_;
  std::string path_;
  int descriptor_ = -1;
};

// Removes the name of `socket`, unless the name has come to belong to another one meanwhile.
void removeMessageSocketName(const MessageSocket &socket);

// The same, and closes the socket.
void removeMessageSocket(const MessageSocket &socket);

// Hands `size` bytes at `data` to the user `cpid` of the node and never waits. Returns 0 or the errno: ENOENT (no such
// user, or none any more), ECONNREFUSED (the user's process has died), EAGAIN (the user's queue is full), or another
// one of the kernel.
int sendToMessageSocket(const std::string &nodeDirectory, uint16_t cpid, const void *data, size_t size);

// Opens a socket that sends to the user `cpid` of the node, and never waits: poll tells when the user's queue has room.
// Returns 0 and sets `descriptor`, which becomes the caller's, or the errno: ENOENT and ECONNREFUSED as above.
int connectToMessageSocket(const std::string &nodeDirectory, uint16_t cpid, int &descriptor);

// The name of the socket at which the gateway takes messages to node `nid`.
std::string gatewaySocketName(uint16_t nid);

// sendToMessageSocket for the gateway's socket of node `nid`.
int sendToGatewaySocket(const std::string &nodeDirectory, uint16_t nid, const void *data, size_t size);

// Removes what a run of the node that died left of message sockets. Those of living processes stay. For the early
// start-up; what cannot be removed is no harm, since a registration reuses it.
void clearMessageSockets(const std::string &nodeDirectory);

}  // namespace orv

#endif
