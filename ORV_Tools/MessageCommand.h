// orvctl msg: sends a message to a program of the node, or receives in the place of one.
//
// It uses the node's message sockets directly, as every program of the node does through libORV.so, and the outcome of
// what it sends stands in the node's events as theirs does.
#ifndef ORV_TOOLS_MESSAGECOMMAND_H
#define ORV_TOOLS_MESSAGECOMMAND_H

#include <cstdint>
#include <optional>
#include <string>

#include "Commands.h"

namespace orv {

// What the options say; each command looks at its own.
struct MessageArguments {
  uint32_t receiver = 0;
  uint32_t sender = 0;
  uint32_t messageId = 0;
  std::string payload;
  std::optional<std::string> payloadFile;  // counts instead of `payload`
  uint32_t cpid = 0;
  std::optional<uint32_t> count;
  std::optional<double> timeoutS;
  bool json = false;
};

// Both return an exit code and say on standard error what is wrong. `msgListen` prints each message as it comes.
int msgSend(const Arguments &arguments, const MessageArguments &message);
int msgListen(const Arguments &arguments, const MessageArguments &message);

}  // namespace orv

#endif
