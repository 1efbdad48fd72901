// The users of messages that this process has registered.
//
// A user lives on, without its name, for as long as somebody still receives for it, so that a deregistration neither
// waits for the receiving threads nor takes their descriptor from under them: it wakes them.
#ifndef ORV_LINUX_REGISTEREDUSERS_H
#define ORV_LINUX_REGISTEREDUSERS_H

#include <atomic>
#include <cstdint>
#include <memory>

#include "Status.h"
#include "SysComUsers.h"

namespace orv {

class RegisteredUser {
 public:
  // Takes the socket over.
  RegisteredUser(uint16_t cpid, MessageSocket socket) : cpid_(cpid), socket_(std::move(socket)) {}
  ~RegisteredUser();
  RegisteredUser(const RegisteredUser &) = delete;
  RegisteredUser &operator=(const RegisteredUser &) = delete;

  uint16_t cpid() const {
    return cpid_;
  }
  int descriptor() const {
    return socket_.descriptor;
  }
  bool isDeregistered() const {
    return deregistered_.load(std::memory_order_acquire);
  }
  // Takes the user's name away, wakes who waits for its messages, and reports those that nobody took.
  void deregister();

 private:
  const uint16_t cpid_;
  const MessageSocket socket_;
  std::atomic<bool> deregistered_{false};
};

// Registers a user with the lowest CPID that is free among those that are given out, 0x1000 to 0x7fff; `cpid` becomes
// it. Fails with ENODEV where the process belongs to no node, ENOSPC where all are taken, or as the kernel has it.
Status registerAnyUser(uint16_t &cpid);

// Registers a user with the CPID `cpid`. Fails with EADDRINUSE where a living user of the node has it.
Status registerUser(uint16_t cpid);

// Returns 0, or ENOENT where this process has no such user.
int32_t deregisterUser(uint32_t cpid);

// The user `cpid` of this process, or null.
std::shared_ptr<const RegisteredUser> findUser(uint32_t cpid);

}  // namespace orv

#endif
