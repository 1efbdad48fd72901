// A Unix-domain socket that takes datagrams: a service manager, a journal, a syslog daemon, played by the test.
#ifndef ORV_TESTS_DATAGRAMRECEIVER_H
#define ORV_TESTS_DATAGRAMRECEIVER_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>

class DatagramReceiver {
 public:
  struct Datagram {
    std::string text;
    std::chrono::microseconds sent;  // by the real-time clock, when the kernel took it from its sender
  };

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
    constexpr int ON = 1;
    // In microseconds, since qemu-arm refuses those in nanoseconds.
    if (setsockopt(descriptor_, SOL_SOCKET, SO_TIMESTAMP, &ON, sizeof ON) != 0)
      throw std::runtime_error(std::string("no time stamps: ") + std::strerror(errno));
  }
  ~DatagramReceiver() {
    close(descriptor_);
  }
  DatagramReceiver(const DatagramReceiver &) = delete;
  DatagramReceiver &operator=(const DatagramReceiver &) = delete;

  // The next datagram; waits for it.
  Datagram nextDatagram() const {
    char text[65536];
    iovec part{text, sizeof text};
    // Room for two: with an old kernel or an emulator the C library adds the wide one to the narrow one.
    alignas(cmsghdr) char control[2 * CMSG_SPACE(sizeof(timeval))];
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t length = recvmsg(descriptor_, &message, 0);
    if (length < 0) return {std::string("nothing: ") + std::strerror(errno), {}};
    timeval sent{};
    for (cmsghdr *header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
      if (header->cmsg_type == SCM_TIMESTAMP) std::memcpy(&sent, CMSG_DATA(header), sizeof sent);
    }
    return {std::string(text, static_cast<size_t>(length)),
            std::chrono::seconds(sent.tv_sec) + std::chrono::microseconds(sent.tv_usec)};
  }
  // Its text alone.
  std::string next() const {
    return nextDatagram().text;
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
