#include "SysComReceive.h"

#include <cerrno>
#include <optional>
#include <string>

#include "Clock.h"
#include "HexText.h"
#include "NoThrow.h"
#include "NodeStore.h"
#include "Platform.h"
#include "RegisteredUsers.h"
#include "SysComDelivery.h"
#include "SysComReception.h"

namespace {

using orv::Received;
using orv::RegisteredUser;
using orv::Status;

int32_t registerFixed(uint32_t cpid) {
  if (cpid == 0 || cpid > UINT16_MAX) return EINVAL;
  const Status status = orv::registerUser(static_cast<uint16_t>(cpid));
  if (!status.ok()) orv::platformLog(orv::SEVERITY_WARNING, "no SysCom user registered: " + status.message);
  return status.code;
}

void reportForeign(const RegisteredUser &user, const OrvSysComMessage &datagram) {
  orv::platformLog(orv::SEVERITY_WARNING, "the user with CPID " + orv::hexText(user.cpid(), 4) + " was sent " +
                                              std::to_string(datagram.header.payloadSize) + " bytes by process " +
                                              std::to_string(datagram.senderPid) +
                                              " that are no message; they are passed over");
}

int32_t receive(const RegisteredUser &user, uint32_t timeoutMs, Received &message) {
  // Nothing to look at a clock for where nobody waits.
  std::optional<uint64_t> deadlineNs;
  if (timeoutMs != ORV_SYSCOM_FOREVER)
    deadlineNs = timeoutMs == 0 ? 0 : orv::monotonicNs() + timeoutMs * orv::NS_PER_MS;
  for (;;) {
    const int taken = orv::takeMessage(user.descriptor(), message);
    if (user.isDeregistered()) return taken == 0 ? 0 : ECANCELED;
    if (taken == 0) return 0;
    if (taken == EBADMSG) reportForeign(user, *message);
    if (taken == EBADMSG || taken == EINTR) continue;
    if (taken != EAGAIN) return taken;
    if (timeoutMs == 0) return ETIMEDOUT;
    const int waited = orv::waitReadable(user.descriptor(), deadlineNs);
    if (waited != 0 && waited != EINTR) return waited;
  }
}

int32_t receiveFor(uint32_t cpid, uint32_t timeoutMs, OrvSysComMessage *&message) {
  const auto user = orv::findUser(cpid);
  if (user == nullptr) return ENOENT;
  Received received;
  const int32_t result = receive(*user, timeoutMs, received);
  if (result == 0) message = received.release();
  return result;
}

}  // namespace

extern "C" {

int32_t orvSysComUserRegister(uint32_t cpid) {
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return registerFixed(cpid); });
}

int32_t orvSysComMsgReceive(uint32_t cpid, uint32_t timeoutMs, OrvSysComMessage **message) {
  if (message == nullptr) return EINVAL;
  *message = nullptr;
  return orv::withoutExceptions<int32_t>(ENOMEM, [&] { return receiveFor(cpid, timeoutMs, *message); });
}

int orvSysComUserDescriptor(uint32_t cpid) {
  return orv::withoutExceptions(-1, [&] {
    const auto user = orv::findUser(cpid);
    return user == nullptr ? -1 : user->descriptor();
  });
}

uint32_t orvSysComMsgId(const OrvSysComMessage *message) {
  return message->header.messageId;
}

uint32_t orvSysComMsgReceiver(const OrvSysComMessage *message) {
  return message->header.receiver;
}

uint32_t orvSysComMsgSender(const OrvSysComMessage *message) {
  return message->header.sender;
}

const void *orvSysComMsgPayload(const OrvSysComMessage *message) {
  return message->payload();
}

uint32_t orvSysComMsgPayloadSize(const OrvSysComMessage *message) {
  return message->header.payloadSize;
}

int32_t orvSysComMsgSenderPid(const OrvSysComMessage *message) {
  return message->senderPid;
}

uint32_t orvSysComMsgSenderUid(const OrvSysComMessage *message) {
  return message->senderUid;
}

uint32_t orvSysComMsgSenderGid(const OrvSysComMessage *message) {
  return message->senderGid;
}

void orvSysComMsgFree(OrvSysComMessage *message) {
  const Received ended(message);
}

}  // extern "C"
