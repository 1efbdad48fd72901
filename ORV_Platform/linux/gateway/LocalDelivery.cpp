#include "LocalDelivery.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "SysComUsers.h"

namespace orv::gateway {
namespace {

// Users come and go; this many connections are kept for those that have nothing waiting.
constexpr size_t MAX_CONNECTIONS = 64;

void closeConnection(int &descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

bool isGone(int error) {
  return error == ENOENT || error == ECONNREFUSED || error == ENOTCONN || error == ECONNRESET ||
         error == EPIPE;  // it is being deregistered at this moment
}

}  // namespace

LocalDelivery::~LocalDelivery() {
  for (auto &[cpid, user] : users_)
    closeConnection(user.descriptor);
}

std::optional<Verdict> LocalDelivery::connect(uint16_t cpid, User &user) const {
  const int error = connectToMessageSocket(nodeDirectory_, cpid, user.descriptor);
  if (error == 0) return std::nullopt;
  return isGone(error) ? Verdict::NO_USER : Verdict::FAILED;
}

std::optional<Verdict> LocalDelivery::send(uint16_t cpid, User &user, const std::string &bytes) const {
  const bool wasConnected = user.descriptor >= 0;
  if (!wasConnected) {
    if (const auto failed = connect(cpid, user)) return failed;
  }
  const auto trySend = [&] {
    return ::send(user.descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0 ? errno : 0;
  };
  int error = trySend();
  if (isGone(error) && wasConnected) {
    // A new user may have the CPID by now.
    closeConnection(user.descriptor);
    if (const auto failed = connect(cpid, user)) return failed;
    error = trySend();
  }
  if (error == 0) return Verdict::DELIVERED;
  if (error == EAGAIN || error == ENOBUFS) return std::nullopt;
  closeConnection(user.descriptor);
  return isGone(error) ? Verdict::NO_USER : Verdict::FAILED;
}

std::optional<Verdict> LocalDelivery::deliver(uint16_t cpid, std::string bytes, const Ticket &ticket,
                                              uint64_t deadlineMs) {
  if (users_.size() > MAX_CONNECTIONS) forgetIdle();
  User &user = users_[cpid];
  if (user.held.empty()) {
    if (const auto verdict = send(cpid, user, bytes)) return verdict;
  }
  size_t &held = heldOfPeer_[ticket.nid];
  if (held >= holdLimit_) return Verdict::USER_BUSY;
  ++held;
  user.held.push_back({std::move(bytes), ticket, deadlineMs});
  return std::nullopt;
}

std::vector<int> LocalDelivery::waiting() const {
  std::vector<int> descriptors;
  for (const auto &[cpid, user] : users_) {
    if (!user.held.empty() && user.descriptor >= 0) descriptors.push_back(user.descriptor);
  }
  return descriptors;
}

void LocalDelivery::settle(const Held &held, Verdict verdict, std::vector<Settled> &settled) {
  settled.push_back({held.ticket, verdict});
  --heldOfPeer_[held.ticket.nid];
}

void LocalDelivery::proceed(std::vector<Settled> &settled) {
  for (auto &[cpid, user] : users_) {
    while (!user.held.empty()) {
      const auto verdict = send(cpid, user, user.held.front().bytes);
      if (!verdict) break;
      settle(user.held.front(), *verdict, settled);
      user.held.pop_front();
    }
  }
}

void LocalDelivery::expire(uint64_t nowMs, std::vector<Settled> &settled) {
  for (auto &[cpid, user] : users_) {
    std::erase_if(user.held, [&](const Held &held) {
      if (nowMs < held.deadlineMs) return false;
      settle(held, Verdict::USER_BUSY, settled);
      return true;
    });
  }
}

std::optional<uint64_t> LocalDelivery::nextDeadlineMs() const {
  std::optional<uint64_t> next;
  for (const auto &[cpid, user] : users_) {
    for (const Held &held : user.held)
      next = std::min(next.value_or(UINT64_MAX), held.deadlineMs);
  }
  return next;
}

void LocalDelivery::forgetIdle() {
  for (auto user = users_.begin(); user != users_.end();) {
    if (!user->second.held.empty()) {
      ++user;
      continue;
    }
    closeConnection(user->second.descriptor);
    user = users_.erase(user);
  }
}

}  // namespace orv::gateway
