#include "AaSysCom.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <unordered_map>

#include "AaStartup.h"
#include "ExecutionUnits.h"
#include "GatewayLoader.h"
#include "NoThrow.h"
#include "NodePaths.h"
#include "Platform.h"
#include "PlatformMessages.h"
#include "SysComMessage.h"
#include "SysComUsers.h"

namespace {

using orv::MessageHeader;
using orv::Status;

// The range of CPIDs that are given out; those below it are left to users with a fixed CPID.
constexpr uint16_t FIRST_CPID = 0x1000;
constexpr uint16_t LAST_CPID = 0x7fff;

// The users of this process. Never destroyed: EUs may still send while the process exits.
struct Users {
  std::mutex mutex;
  std::map<uint32_t, orv::MessageSocket> sockets;  // by CPID
};

Users &users() {
  static auto *instance = new Users;
  return *instance;
}

// The messages that were created and not yet sent, with their payload sizes. Only what is in here is ever sent or
// freed, whatever address a caller hands in. Never destroyed either.
struct Messages {
  std::mutex mutex;
  std::unordered_map<const void *, uint32_t> payloadSizes;
};

Messages &messages() {
  static auto *instance = new Messages;
  return *instance;
}

struct FreeBlock {
  void operator()(void *block) const {
    std::free(block);
  }
};
using Block = std::unique_ptr<void, FreeBlock>;

std::string hex(uint32_t value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%0*x", digits, value);
  return text;
}

// Messages are a matter of a node: a process without one has nobody to talk to, and must not disturb another node.
Status requireNode() {
  if (orv::nodeStore() != nullptr) return Status::success();
  return Status::failure(ENODEV, "this process belongs to no node (start the node's daemon first)");
}

Status registerUser(uint16_t &cpid) {
  if (Status status = requireNode(); !status.ok()) return status;
  Users &all = users();
  const std::lock_guard lock(all.mutex);
  orv::MessageDirectory directory;
  if (Status status = directory.makeAndLock(orv::nodeDirectory()); !status.ok()) return status;
  for (uint16_t candidate = FIRST_CPID; candidate <= LAST_CPID; ++candidate) {
    // A name can be gone while its user lives: anybody may delete a file.
    if (all.sockets.contains(candidate)) continue;
    orv::MessageSocket socket;
    Status status = directory.bind(candidate, socket);
    if (status.code == EADDRINUSE) continue;
    if (!status.ok()) return status;
    all.sockets.emplace(candidate, socket);
    cpid = candidate;
    return Status::success();
  }
  return Status::failure(ENOSPC, "all CPIDs from " + hex(FIRST_CPID, 4) + " to " + hex(LAST_CPID, 4) + " are in use");
}

int32_t deregisterUser(uint32_t cpid) {
  Users &all = users();
  const std::lock_guard lock(all.mutex);
  const auto found = all.sockets.find(cpid);
  if (found == all.sockets.end()) return ENOENT;
  orv::removeMessageSocket(found->second);
  all.sockets.erase(found);
  return 0;
}

uint16_t ownNid() {
  // The record is filled in the daemon's process; every other process of the node finds what the daemon said in the
  // store.
  if (gOrvStartupConfig.nid != 0) return gOrvStartupConfig.nid;
  const orv::NodeStore *store = orv::nodeStore();
  if (store == nullptr) return 0;
  const std::optional<orv::RunInfo> run = store->run();
  return run ? run->nid : uint16_t{0};
}

void *createMessage(uint32_t messageId, uint32_t payloadSize, uint32_t receiver) {
  if (payloadSize > orv::MAX_PAYLOAD_SIZE) {
    orv::platformLog(orv::SEVERITY_WARNING, "message " + hex(messageId, 4) + " to " + hex(receiver, 8) +
                                                " not created: a payload of " + std::to_string(payloadSize) +
                                                " bytes is over the limit of " + std::to_string(orv::MAX_PAYLOAD_SIZE));
    return nullptr;
  }
  Block block(std::calloc(1, sizeof(MessageHeader) + payloadSize));
  if (block == nullptr) return nullptr;
  *static_cast<MessageHeader *>(block.get()) = {messageId, receiver, 0, payloadSize};
  Messages &all = messages();
  const std::lock_guard lock(all.mutex);
  all.payloadSizes.emplace(block.get(), payloadSize);
  return block.release();
}

// The message at `address`, now the platform's; null where there is none.
Block takeMessage(void *address) {
  Messages &all = messages();
  const std::lock_guard lock(all.mutex);
  const auto found = all.payloadSizes.find(address);
  if (found == all.payloadSizes.end()) return nullptr;
  // The sender's address is the only field that is the sender's: the size is the one that was allocated.
  static_cast<MessageHeader *>(address)->payloadSize = found->second;
  all.payloadSizes.erase(found);
  return Block(address);
}

std::string undeliveredReason(int error, uint16_t cpid) {
  const std::string user = "the user with CPID " + hex(cpid, 4);
  switch (error) {
    case ENOENT:
      return "no user is registered with CPID " + hex(cpid, 4);
    case ECONNREFUSED:
      return "the process of " + user + " has ended";
    case EAGAIN:
      return "the queue of " + user + " is full (its program does not take its messages)";
    default:
      return user + " cannot be reached: " + std::generic_category().message(error);
  }
}

Status deliver(const MessageHeader &header) {
  const std::string what = "message " + hex(header.messageId, 4) + " to " + hex(header.receiver, 8);
  if (Status status = requireNode(); !status.ok()) {
    return Status::failure(status.code, what + " refused: " + status.message);
  }
  const uint16_t node = orv::nodeOf(header.receiver);
  if (node != ownNid() && node != orv::OWN_NODE && node != orv::LOCAL_NODE) {
    return orv::sendThroughGateway(header);
  }
  const uint16_t cpid = orv::cpidOf(header.receiver);
  const int error = orv::sendToMessageSocket(orv::nodeDirectory(), cpid, &header, sizeof header + header.payloadSize);
  if (error == 0) return Status::success();
  return Status::failure(error, what + " not delivered: " + undeliveredReason(error, cpid));
}

void recordOutcome(const MessageHeader &header, const Status &outcome) {
  // Without a message where it would say the same too often.
  if (!outcome.message.empty()) orv::platformLog(orv::SEVERITY_WARNING, outcome.message);
  orv::NodeStore *store = orv::nodeStore();
  if (store == nullptr) return;
  orv::Event event;
  event.kind = outcome.ok() ? orv::EventKind::MESSAGE_SENT : orv::EventKind::MESSAGE_UNDELIVERED;
  event.euId = orv::currentEu();
  event.code = header.messageId;
  event.text =
      "message " + hex(header.messageId, 4) + " from " + hex(header.sender, 8) + " to " + hex(header.receiver, 8);
  const Status status = store->appendEvent(event);
  if (!status.ok()) orv::platformLog(orv::SEVERITY_WARNING, status.message);
}

int32_t sendMessage(void *address) {
  const Block message = takeMessage(address);
  if (message == nullptr) {
    orv::platformLog(orv::SEVERITY_ERROR,
                     "AaSysComMsgSendWithPriority was given what is no message, or one that was sent before; it is "
                     "left alone (create a message for each sending)");
    return EINVAL;
  }
  const MessageHeader &header = *static_cast<const MessageHeader *>(message.get());
  const Status outcome = deliver(header);
  recordOutcome(header, outcome);
  return outcome.code;
}

}  // namespace

extern "C" {

// No option is known: a user is registered in the same way whatever is asked for.
uint32_t AaSysComEuUserRegister(uint32_t) {
  return orv::withoutExceptions<uint32_t>(0, []() -> uint32_t {
    uint16_t cpid = 0;
    const Status status = registerUser(cpid);
    if (!status.ok()) orv::platformLog(orv::SEVERITY_WARNING, "no SysCom user registered: " + status.message);
    return cpid;
  });
}

int32_t AaSysComUserDeregister(uint32_t cpid) {
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return deregisterUser(cpid); });
}

void *AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver) {
  return orv::withoutExceptions<void *>(nullptr, [&] { return createMessage(messageId, payloadSize, receiver); });
}

// The priority has no effect: a datagram socket keeps the order of its messages.
int32_t AaSysComMsgSendWithPriority(void **message, uint32_t) {
  if (message == nullptr || *message == nullptr) return EINVAL;
  void *address = *message;
  *message = nullptr;
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return sendMessage(address); });
}

uint16_t AaSysComGetOwnNid(void) {
  return orv::withoutExceptions<uint16_t>(0, [] { return ownNid(); });
}

int orvPlatformMessageSocket(uint32_t cpid) {
  return orv::withoutExceptions(-1, [&] {
    Users &all = users();
    const std::lock_guard lock(all.mutex);
    const auto found = all.sockets.find(cpid);
    return found == all.sockets.end() ? -1 : found->second.descriptor;
  });
}

}  // extern "C"
