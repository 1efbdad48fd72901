#include "SysComDelivery.h"

#include <cerrno>
#include <optional>
#include <system_error>

#include "HexText.h"
#include "SysComUsers.h"

namespace orv {
namespace {

std::string undeliveredReason(int error, uint16_t cpid) {
  const std::string user = "the user with CPID " + hexText(cpid, 4);
  switch (error) {
    case ENOENT:
      return "no user is registered with CPID " + hexText(cpid, 4);
    case ECONNREFUSED:
      return "the process of " + user + " has ended";
    case EAGAIN:
      return "the queue of " + user + " is full (its program does not take its messages)";
    default:
      return user + " cannot be reached: " + std::generic_category().message(error);
  }
}

}  // namespace

std::string messageText(const MessageHeader &header) {
  return "message " + hexText(header.messageId, 4) + " to " + hexText(header.receiver, 8);
}

bool isOwnNode(uint16_t node, uint16_t ownNid) {
  return node == ownNid || node == OWN_NODE || node == LOCAL_NODE;
}

Status deliverInNode(const std::string &nodeDirectory, const MessageHeader &header) {
  const uint16_t cpid = cpidOf(header.receiver);
  const int error = sendToMessageSocket(nodeDirectory, cpid, &header, sizeof header + header.payloadSize);
  if (error == 0) return Status::success();
  return Status::failure(error, messageText(header) + " not delivered: " + undeliveredReason(error, cpid));
}

std::string noWayText(const MessageHeader &header, const NodeStore *store) {
  const std::string what =
      messageText(header) + " refused: node " + nidText(nodeOf(header.receiver)) + " is another node and ";
  const std::optional<Tag> state = store == nullptr ? std::nullopt : store->tag(GATEWAY_STATE_TAG);
  if (!state) return what + "this node has no gateway: it has no gateway port";
  if (state->value.text == GATEWAY_STATE_UP) {
    return what + "this node's gateway has no way to it (it is no peer, or its lines in the log tell why)";
  }
  return what + "this node has no gateway: " + state->value.text;
}

Event outcomeEvent(const MessageHeader &header, bool delivered) {
  Event event;
  event.kind = delivered ? EventKind::MESSAGE_SENT : EventKind::MESSAGE_UNDELIVERED;
  event.code = header.messageId;
  event.text = "message " + hexText(header.messageId, 4) + " from " + hexText(header.sender, 8) + " to " +
               hexText(header.receiver, 8);
  return event;
}

}  // namespace orv
