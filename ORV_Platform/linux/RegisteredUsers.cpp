#include "RegisteredUsers.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "HexText.h"
#include "NodePaths.h"
#include "Platform.h"
#include "SysComDelivery.h"
#include "SysComReception.h"

namespace orv {
namespace {

// The range of CPIDs that are given out; the others are left to users with a fixed CPID.
constexpr uint16_t FIRST_CPID = 0x1000;
constexpr uint16_t LAST_CPID = 0x7fff;

// Never destroyed: EUs may still send and receive while the process exits. The mutex is never held while a file is
// waited for: another process may hold the message directory's lock for long.
struct Users {
  std::mutex mutex;
  std::map<uint32_t, std::shared_ptr<RegisteredUser>> byCpid;
};

Users &users() {
  static auto *instance = new Users;
  return *instance;
}

Status bindUser(MessageDirectory &directory, uint16_t cpid) {
  // A name can be gone while its user lives: anybody may delete a file.
  if (findUser(cpid) != nullptr) {
    return Status::failure(EADDRINUSE, "this process has registered CPID " + hexText(cpid, 4) + " already");
  }
  MessageSocket socket;
  if (Status status = directory.bind(cpid, socket); !status.ok()) return status;
  auto user = std::make_shared<RegisteredUser>(cpid, std::move(socket));
  Users &all = users();
  const std::lock_guard lock(all.mutex);
  all.byCpid.emplace(cpid, std::move(user));
  return Status::success();
}

Status openDirectory(MessageDirectory &directory) {
  if (Status status = requireNode(); !status.ok()) return status;
  return directory.makeAndLock(nodeDirectory());
}

}  // namespace

RegisteredUser::~RegisteredUser() {
  close(socket_.descriptor);
}

void RegisteredUser::deregister() {
  deregistered_.store(true, std::memory_order_release);
  shutdown(socket_.descriptor, SHUT_RDWR);  // wakes who waits; a sender that found the name meanwhile is told
  removeMessageSocketName(socket_);
  const uint32_t lost = discardMessages(socket_.descriptor);
  if (lost == 0) return;
  platformLog(SEVERITY_WARNING, "the user with CPID " + hexText(cpid_, 4) + " was deregistered before it took " +
                                    std::to_string(lost) + (lost == 1 ? " message" : " messages") +
                                    " from its queue, now lost");
}

Status registerAnyUser(uint16_t &cpid) {
  MessageDirectory directory;
  if (Status status = openDirectory(directory); !status.ok()) return status;
  for (uint16_t candidate = FIRST_CPID; candidate <= LAST_CPID; ++candidate) {
    Status status = bindUser(directory, candidate);
    if (status.code == EADDRINUSE) continue;
    if (status.ok()) cpid = candidate;
    return status;
  }
  return Status::failure(ENOSPC,
                         "all CPIDs from " + hexText(FIRST_CPID, 4) + " to " + hexText(LAST_CPID, 4) + " are in use");
}

Status registerUser(uint16_t cpid) {
  MessageDirectory directory;
  if (Status status = openDirectory(directory); !status.ok()) return status;
  return bindUser(directory, cpid);
}

int32_t deregisterUser(uint32_t cpid) {
  std::shared_ptr<RegisteredUser> user;
  {
    Users &all = users();
    const std::lock_guard lock(all.mutex);
    const auto found = all.byCpid.find(cpid);
    if (found == all.byCpid.end()) return ENOENT;
    user = std::move(found->second);
    all.byCpid.erase(found);
  }
  user->deregister();
  return 0;
}

std::shared_ptr<const RegisteredUser> findUser(uint32_t cpid) {
  Users &all = users();
  const std::lock_guard lock(all.mutex);
  const auto found = all.byCpid.find(cpid);
  return found == all.byCpid.end() ? nullptr : found->second;
}

}  // namespace orv
