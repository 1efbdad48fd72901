#include "AaSysCom.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "AaStartup.h"
#include "ExecutionUnits.h"
#include "GatewayLoader.h"
#include "HexText.h"
#include "NoThrow.h"
#include "NodePaths.h"
#include "Platform.h"
#include "RegisteredUsers.h"
#include "StoreWriter.h"
#include "SysComDelivery.h"
#include "SysComMessage.h"

namespace {

using orv::hexText;
using orv::MessageHeader;
using orv::Status;

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
    orv::platformLog(orv::SEVERITY_WARNING, "message " + hexText(messageId, 4) + " to " + hexText(receiver, 8) +
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

Status deliver(const MessageHeader &header) {
  const std::string what = orv::messageText(header);
  if (Status status = orv::requireNode(); !status.ok()) {
    return Status::failure(status.code, what + " refused: " + status.message);
  }
  const uint16_t node = orv::nodeOf(header.receiver);
  if (!orv::isOwnNode(node, ownNid())) return orv::sendThroughGateway(header);
  return orv::deliverInNode(orv::nodeDirectory(), header);
}

void recordOutcome(const MessageHeader &header, const Status &outcome) {
  // Without a message where it would say the same too often.
  if (!outcome.message.empty()) orv::platformLog(orv::SEVERITY_WARNING, outcome.message);
  orv::nodeStore();  // a program that only sends is one of the node as well
  orv::Event event = orv::outcomeEvent(header, outcome.ok());
  event.euId = orv::currentEu();
  orv::recordEvent(std::move(event));
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
    const Status status = orv::registerAnyUser(cpid);
    if (!status.ok()) orv::platformLog(orv::SEVERITY_WARNING, "no SysCom user registered: " + status.message);
    return cpid;
  });
}

int32_t AaSysComUserDeregister(uint32_t cpid) {
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return orv::deregisterUser(cpid); });
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

}  // extern "C"
