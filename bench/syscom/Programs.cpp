#include "Programs.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "AaSysCom.h"
#include "Nodes.h"
#include "SysComReceive.h"

namespace syscombench {
namespace {

constexpr uint32_t HEADER_BYTES = 16;
constexpr uint32_t MESSAGE_ID = 0x0B01;
constexpr uint32_t FIRST_CPID = 0x0100;

// Worker `nodeCount` is the second one of the first node.
uint32_t addressOf(const Board &board, uint32_t worker) {
  const uint32_t node = worker == board.nodeCount ? 0 : worker;
  return static_cast<uint32_t>(nidOf(node)) << 16 | (FIRST_CPID + worker);
}

bool sends(const Board &board, uint32_t self) {
  switch (board.pattern.load()) {
    case Pattern::EACH_TO_ALL:
      return self < board.nodeCount;
    case Pattern::NODE_TO_NODE:
    case Pattern::BARE_PAIR:
      return self == 0;
    case Pattern::WITHIN_NODE:
      return self == board.nodeCount;
  }
  return false;
}

// The receiver of message number `number` of worker `self`.
uint32_t receiverOf(const Board &board, uint32_t self, uint32_t number) {
  switch (board.pattern.load()) {
    case Pattern::EACH_TO_ALL:
      return (self + 1 + number % (board.nodeCount - 1)) % board.nodeCount;
    case Pattern::NODE_TO_NODE:
      return 1;
    default:
      return 0;
  }
}

bool sendMessage(const Board &board, uint32_t self, const Stamp &stamp) {
  const uint32_t number = board.workers.at(self).sent.load();
  void *message = AaSysComMsgCreate(MESSAGE_ID, board.payloadBytes, addressOf(board, receiverOf(board, self, number)));
  if (message == nullptr) throw std::runtime_error("a message could not be created");
  const uint32_t sender = addressOf(board, self);
  std::memcpy(static_cast<char *>(message) + 8, &sender, sizeof sender);
  std::memcpy(static_cast<char *>(message) + HEADER_BYTES, &stamp, sizeof stamp);
  return AaSysComMsgSendWithPriority(&message, 0) == 0;
}

void receiveAll(Board &board, uint32_t self) {
  OrvSysComMessage *message = nullptr;
  while (orvSysComMsgReceive(FIRST_CPID + self, ORV_SYSCOM_FOREVER, &message) == 0) {
    Stamp stamp{};
    const bool isOurs = orvSysComMsgPayloadSize(message) == board.payloadBytes;
    if (isOurs) std::memcpy(&stamp, orvSysComMsgPayload(message), sizeof stamp);
    orvSysComMsgFree(message);
    if (isOurs) takeArrival(board, board.workers.at(self), stamp);
  }
}

}  // namespace

uint32_t waitForRun(Board &board, uint32_t self) {
  static thread_local uint32_t last = 0;
  for (;;) {
    const uint32_t run = board.run.load();
    if (run == Board::QUIT) return run;
    if (run % 2 == 1 && run != last && sends(board, self)) return last = run;
    waitForChange(board.run, run);
  }
}

int runWorker(Board &board, uint32_t self, const std::string &nodeDirectory) {
  setenv("ORV_NODE_DIR", nodeDirectory.c_str(), 1);
  const int32_t result = orvSysComUserRegister(FIRST_CPID + self);
  if (result != 0) {
    std::fprintf(stderr, "SyscomBench: no CPID for worker %u: %s\n", self, std::strerror(result));
    board.failures.fetch_add(1);
    return 1;
  }
  std::thread receiver([&board, self] { receiveAll(board, self); });
  board.workers.at(self).isReady.store(1);
  for (uint32_t run = waitForRun(board, self); run != Board::QUIT; run = waitForRun(board, self))
    sendDuringRun(board, self, run, [&](const Stamp &stamp) { return sendMessage(board, self, stamp); });
  AaSysComUserDeregister(FIRST_CPID + self);
  receiver.join();
  return 0;
}

}  // namespace syscombench
