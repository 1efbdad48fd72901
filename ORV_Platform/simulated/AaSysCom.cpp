#include "AaSysCom.h"

#include <cerrno>
#include <cstdlib>

#include "AaStartup.h"
#include "HexText.h"
#include "Operation.h"

using namespace orv::sim;
using orv::hexText;

namespace {

constexpr uint32_t FIRST_CPID = 0x1000;

struct Header {
  uint32_t id;
  uint32_t receiver;
  uint32_t sender;
  uint32_t payloadSize;
};
static_assert(offsetof(Header, sender) == 8, "where the interface has the sender's address");

}  // namespace

extern "C" {

uint32_t AaSysComEuUserRegister(uint32_t options) {
  Simulation &simulation = beginOperation();
  const auto next = FIRST_CPID + simulation.usersMade;
  const auto cpid = static_cast<uint32_t>(simulation.answers().answer(Call::USER_REGISTER).value_or(next));
  ++simulation.usersMade;
  if (cpid != 0) simulation.users.insert(cpid);
  simulation.record("AaSysComEuUserRegister(" + std::to_string(options) + ") = " + hexText(cpid));
  return cpid;
}

int32_t AaSysComUserDeregister(uint32_t cpid) {
  Simulation &simulation = beginOperation();
  const int32_t known = simulation.users.erase(cpid) == 1 ? 0 : ENOENT;
  const auto result = static_cast<int32_t>(simulation.answers().answer(Call::USER_DEREGISTER, cpid).value_or(known));
  recordCall(simulation, Call::USER_DEREGISTER, hexText(cpid), result);
  return result;
}

void *AaSysComMsgCreate(uint32_t messageId, uint32_t payloadSize, uint32_t receiver) {
  Simulation &simulation = beginOperation();
  const std::string arguments = hexText(messageId) + ", " + std::to_string(payloadSize) + ", " + hexText(receiver);
  const bool refused = simulation.answers().answer(Call::MSG_CREATE, messageId) == 0;
  void *message = refused ? nullptr : std::calloc(1, sizeof(Header) + payloadSize);
  if (message == nullptr) {
    simulation.record("AaSysComMsgCreate(" + arguments + ") = null");
    return nullptr;
  }
  *static_cast<Header *>(message) = {messageId, receiver, 0, payloadSize};
  simulation.messages[message] = ++simulation.messagesCreated;
  simulation.record("AaSysComMsgCreate(" + arguments + ") = message " + std::to_string(simulation.messagesCreated));
  return message;
}

int32_t AaSysComMsgSendWithPriority(void **message, uint32_t priority) {
  Simulation &simulation = beginOperation();
  const auto found = simulation.messages.find(*message);
  if (found == simulation.messages.end()) {
    simulation.record("AaSysComMsgSendWithPriority(no message, " + std::to_string(priority) +
                      ") = " + std::to_string(EINVAL));
    return EINVAL;
  }
  const Header header = *static_cast<const Header *>(*message);
  const auto result = static_cast<int32_t>(simulation.answers().answer(Call::MSG_SEND, header.id).value_or(0));
  recordCall(simulation, Call::MSG_SEND,
             "message " + std::to_string(found->second) + ", " + std::to_string(priority) + ": id " +
                 hexText(header.id) + ", receiver " + hexText(header.receiver) + ", sender " + hexText(header.sender) +
                 ", payload " + std::to_string(header.payloadSize) + " bytes",
             result);
  if (result == 0) simulation.sentMessages.push_back({header.id, header.receiver, header.sender});
  simulation.messages.erase(found);
  std::free(*message);
  *message = nullptr;
  return result;
}

uint16_t AaSysComGetOwnNid(void) {
  Simulation &simulation = beginOperation();
  const auto nid = static_cast<uint16_t>(simulation.answers().answer(Call::OWN_NID).value_or(gOrvStartupConfig.nid));
  simulation.record("AaSysComGetOwnNid() = " + hexText(nid));
  return nid;
}

}  // extern "C"
