// The memory that the processes of a measurement share: what is to be done, and what has come of it.
//
// Whoever receives a message says so here, which is how its sender knows that it may send the next one: the measured
// system is not asked to hold a sender back, and no acknowledgement is among the measured messages.
#ifndef ORV_BENCH_BOARD_H
#define ORV_BENCH_BOARD_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Clock.h"
#include "Histogram.h"

namespace syscombench {

constexpr size_t MAX_NODES = 99;               // the daemon's slave list has no more
constexpr size_t MAX_WORKERS = MAX_NODES + 1;  // one for each node, and a second one on the first node

// Who sends to whom.
enum class Pattern : uint32_t {
  EACH_TO_ALL,   // the worker of each node to those of all others, in turn
  NODE_TO_NODE,  // the first node's worker to the second node's
  WITHIN_NODE,   // the second worker of the first node to the first
  BARE_PAIR,     // the sender of a bare pair to its receiver, without a node
};

// The beginning of each payload.
struct Stamp {
  uint64_t sentNs;  // CLOCK_MONOTONIC
  uint32_t source;  // the worker that sent it
  uint32_t run;
};

// Of one worker. Written by it alone, but for `arrived` and `credits`.
struct Worker {
  std::atomic<uint32_t> isReady{0};
  std::atomic<uint32_t> isSending{0};
  std::atomic<uint32_t> sent{0};
  std::atomic<uint32_t> refused{0};    // attempts that the system did not take; they were made again
  std::atomic<uint32_t> arrived{0};    // how many of those that it sent have been received; a futex
  std::atomic<uint32_t> isWaiting{0};  // for `arrived` to change
  std::atomic<uint32_t> measured{0};   // how many of those that it received counted
  Histogram latencies;                 // of these
};

struct Board {
  std::atomic<uint32_t> run{0};  // odd: messages are sent; even: none are; QUIT: the workers end. A futex
  static constexpr uint32_t QUIT = 0xffffffff;
  std::atomic<Pattern> pattern{Pattern::EACH_TO_ALL};
  std::atomic<uint32_t> window{1};         // how many messages of a sender are under way at most; 0: no limit
  std::atomic<uint32_t> messageLimit{0};   // how many each sender sends; 0: no limit
  std::atomic<uint64_t> measureFromNs{0};  // messages that were sent before do not count
  std::atomic<uint64_t> measureToNs{0};    // messages that are received later do not count
  std::atomic<uint32_t> failures{0};       // workers that could not go on; they have said why
  uint32_t nodeCount = 0;
  uint32_t payloadBytes = 0;
  std::array<Worker, MAX_WORKERS> workers;
};

struct UnmapBoard {
  void operator()(Board *board) const;
};
using BoardMemory = std::unique_ptr<Board, UnmapBoard>;

// A board that child processes share. Throws std::system_error.
BoardMemory makeBoard();

// Waits until `word` is no longer `expected`, or is woken for another reason.
void waitForChange(std::atomic<uint32_t> &word, uint32_t expected);
void wakeAll(std::atomic<uint32_t> &word);

// Says that a message has come: counts it, measures it where it falls into the measured time, and lets its sender go
// on. `receiver` is the worker that calls.
void takeArrival(Board &board, Worker &receiver, const Stamp &stamp);

// Sends with `send` (a function of the stamp that tells whether the message was taken) for as long as the board's run
// is `run`, as the board says; a message that was not taken is sent again a moment later.
template <typename Send>
void sendDuringRun(Board &board, uint32_t self, uint32_t run, Send send);

// What keeps a sender back until it may send; false when the run is over.
bool waitForRoom(Board &board, Worker &self, uint32_t run);

// A moment for somebody else to make room.
void pauseAfterRefusal();

template <typename Send>
void sendDuringRun(Board &board, uint32_t self, uint32_t run, Send send) {
  Worker &worker = board.workers.at(self);
  worker.isSending.store(1);
  const uint32_t limit = board.messageLimit.load();
  while (board.run.load(std::memory_order_relaxed) == run && (limit == 0 || worker.sent.load() < limit)) {
    if (!waitForRoom(board, worker, run)) break;
    if (send(Stamp{orv::monotonicNs(), self, run})) {
      worker.sent.fetch_add(1);
    } else {
      worker.refused.fetch_add(1);
      pauseAfterRefusal();
    }
  }
  worker.isSending.store(0);
}

}  // namespace syscombench

#endif
