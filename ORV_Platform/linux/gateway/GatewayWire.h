// What gateways say to each other: frames, each one ZeroMQ message, all numbers with the highest byte first.
//
//   every frame   2 bytes "OG", 1 byte version (1), 1 byte type, 2 bytes node id of the sender, 8 bytes epoch
//   1, message    8 bytes sequence number, 8 bytes oldest open sequence number, 4 bytes time left in ms,
//                 4 x 4 bytes message id, receiver, sender, payload size; then the payload, to the end of the frame
//   2, verdicts   2 bytes count, then for each 8 bytes sequence number, 1 byte verdict; nothing behind them
//
// A sender numbers its messages to a peer from 1 and draws an epoch for each of its runs, so that what was sent twice
// is known for what it is. The frames come from outside: a parser takes a frame whole or not at all, and believes no
// size but the one that it was given.
#ifndef ORV_GATEWAY_GATEWAYWIRE_H
#define ORV_GATEWAY_GATEWAYWIRE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "SysComMessage.h"

namespace orv::gateway {

// What has become of a message at its receiver's node. The numbers stand on the wire: append, never renumber.
enum class Verdict : uint8_t {
  DELIVERED = 0,
  NO_USER = 1,       // nobody is registered with that CPID, or its process has ended
  USER_BUSY = 2,     // the user did not take its messages in time
  WRONG_SENDER = 3,  // the message claims to come from another node
  WRONG_NODE = 4,    // the receiver is on another node
  FAILED = 5,        // anything else
};
constexpr uint8_t LAST_VERDICT = 5;

// No more messages than these are under way to a peer, counted from the oldest that has no verdict yet.
constexpr uint64_t WINDOW = 1024;

enum class FrameType : uint8_t { NONE = 0, MESSAGE = 1, VERDICTS = 2 };

struct MessageFrame {
  uint16_t node = 0;
  uint64_t epoch = 0;
  uint64_t sequence = 0;    // from 1
  uint64_t oldestOpen = 0;  // from 1, at most `sequence` and less than WINDOW below it
  uint32_t timeLeftMs = 0;
  MessageHeader header{};    // payloadSize is the size of `payload`
  std::string_view payload;  // in the frame that was parsed
};

struct SequenceVerdict {
  uint64_t sequence = 0;
  Verdict verdict = Verdict::DELIVERED;
};

struct VerdictFrame {
  uint16_t node = 0;
  uint64_t epoch = 0;
  std::vector<SequenceVerdict> verdicts;  // at most WINDOW
};

// The largest frame there is.
constexpr size_t MAX_FRAME_SIZE = MAX_MESSAGE_SIZE + 64;

// The type of a frame, NONE for what is none of this version.
FrameType frameType(std::string_view frame);

// False where the frame is not a whole one of that type; `parsed` is then of no use.
bool parseMessage(std::string_view frame, MessageFrame &parsed);
bool parseVerdicts(std::string_view frame, VerdictFrame &parsed);

std::string encodeMessage(const MessageFrame &frame);
std::string encodeVerdicts(const VerdictFrame &frame);

}  // namespace orv::gateway

#endif
