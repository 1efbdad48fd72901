// The program that the gateway's tests send and receive messages with: it does what its first argument says, as an
// application of the node that its environment names.
//
//   receive             registers, prints "user 0x<CPID>", then each message
//   count N             the same for N numbered messages and an end mark: prints what was lost, doubled or out of order
//   hold                registers and takes no message
//   send TO N [SIZE]    sends N numbered messages with a payload of SIZE bytes and an end mark; waits where told to
//   try TO N            sends N messages without waiting; prints how many were taken
//   claim TO FROM       sends one message whose sender is FROM
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "AaSysCom.h"
#include "SysComReceive.h"

namespace {

constexpr uint32_t NUMBERED = 0x0A10;
constexpr uint32_t END_MARK = 0x0A11;
constexpr size_t HEADER_WORDS = 4;

using Words = std::vector<uint32_t>;

// One message of a numbered series. The number is the payload's first word; the rest tells it from any other's.
int32_t sendNumbered(uint32_t id, uint32_t receiver, uint32_t number, size_t size) {
  void *message = AaSysComMsgCreate(id, static_cast<uint32_t>(size), receiver);
  if (message == nullptr) return ENOMEM;
  char *payload = static_cast<char *>(message) + HEADER_WORDS * sizeof(uint32_t);
  std::memset(payload, static_cast<int>(number & 0xff), size);
  std::memcpy(payload, &number, std::min(size, sizeof number));
  return AaSysComMsgSendWithPriority(&message, 0);
}

// The same, until it is taken.
bool sendPatiently(uint32_t id, uint32_t receiver, uint32_t number, size_t size) {
  for (;;) {
    const int32_t result = sendNumbered(id, receiver, number, size);
    if (result == 0) return true;
    if (result != EAGAIN) return false;
    poll(nullptr, 0, 1);
  }
}

uint32_t registerUser() {
  const uint32_t cpid = AaSysComEuUserRegister(0);
  if (cpid == 0) std::exit(1);
  std::printf("user 0x%04x\n", cpid);
  return cpid;
}

// The header's four words, and the payload behind them.
Words receiveMessage(uint32_t cpid) {
  OrvSysComMessage *message = nullptr;
  if (orvSysComMsgReceive(cpid, ORV_SYSCOM_FOREVER, &message) != 0) std::exit(1);
  const uint32_t size = orvSysComMsgPayloadSize(message);
  Words words = {orvSysComMsgId(message), orvSysComMsgReceiver(message), orvSysComMsgSender(message), size};
  words.resize(HEADER_WORDS + (size + sizeof(uint32_t) - 1) / sizeof(uint32_t));
  std::memcpy(words.data() + HEADER_WORDS, orvSysComMsgPayload(message), size);
  orvSysComMsgFree(message);
  return words;
}

int receiveAll() {
  const uint32_t cpid = registerUser();
  for (;;) {
    const Words words = receiveMessage(cpid);
    std::printf("message 0x%04x to 0x%08x from 0x%08x, payload %u\n", words[0], words[1], words[2], words[3]);
  }
}

int countNumbered(uint32_t expected) {
  const uint32_t cpid = registerUser();
  std::map<uint32_t, uint32_t> seen;
  uint32_t last = 0;
  uint32_t outOfOrder = 0;
  for (;;) {
    const Words words = receiveMessage(cpid);
    if (words[0] == END_MARK) break;
    const uint32_t number = words[HEADER_WORDS];
    ++seen[number];
    if (number <= last) ++outOfOrder;
    last = number;
  }
  uint32_t doubled = 0;
  for (const auto &[number, count] : seen)
    doubled += count - 1;
  std::printf("received %zu: %zu lost, %u doubled, %u out of order\n", seen.size(), expected - seen.size(), doubled,
              outOfOrder);
  return 0;
}

int sendMany(uint32_t receiver, uint32_t count, size_t size) {
  for (uint32_t number = 1; number <= count; ++number) {
    if (!sendPatiently(NUMBERED, receiver, number, size)) return 1;
    if (count >= 10 && number % (count / 10) == 0) std::printf("%u tenths sent\n", number / (count / 10));
  }
  if (!sendPatiently(END_MARK, receiver, 0, sizeof(uint32_t))) return 1;
  std::printf("sent %u\n", count);
  return 0;
}

int tryMany(uint32_t receiver, uint32_t count) {
  std::map<int32_t, uint32_t> results;
  for (uint32_t number = 1; number <= count; ++number)
    ++results[sendNumbered(NUMBERED, receiver, number, sizeof number)];
  for (const auto &[result, times] : results)
    std::printf("%u times %s\n", times, result == 0 ? "taken" : std::strerror(result));
  return 0;
}

int claim(uint32_t receiver, uint32_t sender) {
  void *message = AaSysComMsgCreate(NUMBERED, 0, receiver);
  if (message == nullptr) return 1;
  static_cast<uint32_t *>(message)[2] = sender;
  return AaSysComMsgSendWithPriority(&message, 0);
}

uint32_t numberOf(const char *text) {
  return static_cast<uint32_t>(std::strtoul(text, nullptr, 0));
}

}  // namespace

int main(int argc, char **argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "receive") return receiveAll();
  if (command == "hold") {
    registerUser();
    for (;;)
      pause();
  }
  if (command == "count" && argc == 3) return countNumbered(numberOf(argv[2]));
  if (command == "try" && argc == 4) return tryMany(numberOf(argv[2]), numberOf(argv[3]));
  if (command == "claim" && argc == 4) return claim(numberOf(argv[2]), numberOf(argv[3]));
  if (command == "send" && argc >= 4) {
    return sendMany(numberOf(argv[2]), numberOf(argv[3]), argc > 4 ? numberOf(argv[4]) : sizeof(uint32_t));
  }
  return 124;
}
