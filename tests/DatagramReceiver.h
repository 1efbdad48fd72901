// A Unix-domain socket that takes datagrams: a service manager, a journal, a syslog daemon, played by the test.
#ifndef ORV_TESTS_DATAGRAMRECEIVER_H
#define ORV_TESTS_DATAGRAMRECEIVER_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

class DatagramReceiver {
 public:
  // A path, or "@name" for an abstract address.
  explicit DatagramReceiver(const std::string &address) : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, address.data(), address.size());
    if (address[0] == '@') name.sun_path[0] = '\0';
    const size_t length = offsetof(sockaddr_un, sun_path) + address.size();
    if (bind(descriptor_, reinterpret_cast<const sockaddr *>(&name), static_cast<socklen_t>(length)) != 0) {
      throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
    }
    constexpr timeval LIMIT = {30, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &LIMIT, sizeof LIMIT);
  }
  ~DatagramReceiver() {
    close(descriptor_);
  }
  DatagramReceiver(const DatagramReceiver &) = delete;
  DatagramReceiver &operator=(const DatagramReceiver &) = delete;

  // The next datagram; waits for it.
  std::string next() const {
    char text[65536];
    const ssize_t length = recv(descriptor_, text, sizeof text, 0);
    return length < 0 ? std::string("nothing: ") + std::strerror(errno)
                      : std::string(text, static_cast<size_t>(length));
  }
  // Sends datagrams to `path`, this socket's own, until it takes no more.
  static void fill(const std::string &path) {
    const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, path.data(), path.size());
    while (sendto(sender, "fill", 4, 0, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 4) {
    }
    EXPECT_EQ(errno, EAGAIN);
    close(sender);
  }
  // True when nothing waits to be read.
  bool isEmpty() const {
    char text[1];
    return recv(descriptor_, text, sizeof text, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
  }

 private:
  int descriptor_;
};

#endif
