#include "Datagrams.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "Descriptor.h"

namespace orv {
namespace {

// One socket of each family for the whole process, never closed and never connected: each datagram names its receiver,
// so that one who went and came back is found again. Opened by the first datagram that finds a descriptor left.
int keptSocket(std::atomic<int> &kept, int family) {
  if (const int descriptor = kept.load(); descriptor >= 0) return descriptor;
  Descriptor opened(socket(family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  int none = -1;
  if (opened.get() >= 0 && kept.compare_exchange_strong(none, opened.get())) return opened.release();
  return none;
}

int sendFrom(int descriptor, const sockaddr *address, socklen_t length, std::string_view bytes) {
  if (descriptor < 0) return EMFILE;  // it could not be opened
  for (;;) {
    const ssize_t sent = sendto(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL, address, length);
    if (sent >= 0) return 0;
    if (errno != EINTR) return errno;
  }
}

}  // namespace

int sendToPath(const std::string &path, std::string_view bytes) {
  static std::atomic<int> kept{-1};
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return ENAMETOOLONG;
  std::memcpy(address.sun_path, path.data(), path.size());
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const size_t length = offsetof(sockaddr_un, sun_path) + path.size();
  return sendFrom(keptSocket(kept, AF_UNIX), reinterpret_cast<const sockaddr *>(&address),
                  static_cast<socklen_t>(length), bytes);
}

int sendToPort(uint32_t address, uint16_t port, std::string_view bytes) {
  static std::atomic<int> kept{-1};
  sockaddr_in receiver{};
  receiver.sin_family = AF_INET;
  receiver.sin_port = htons(port);
  receiver.sin_addr.s_addr = htonl(address);
  return sendFrom(keptSocket(kept, AF_INET), reinterpret_cast<const sockaddr *>(&receiver), sizeof receiver, bytes);
}

}  // namespace orv
