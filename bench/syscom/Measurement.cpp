#include "Measurement.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "Children.h"
#include "Clock.h"

namespace syscombench {
namespace {

constexpr uint64_t NEVER = std::numeric_limits<uint64_t>::max();
constexpr uint64_t GET_GOING_NS = 200 * orv::NS_PER_MS;
constexpr uint64_t LIMIT_NS = 60 * orv::NS_PER_S;

// Looks at the clock often enough to end a short measurement on time, and seldom enough to be no load.
void waitUntil(uint64_t timeNs, const std::function<void()> &check) {
  constexpr uint64_t LONGEST_MS = 100;
  for (uint64_t now = orv::monotonicNs(); now < timeNs; now = orv::monotonicNs()) {
    sleepMs(static_cast<unsigned>(std::min((timeNs - now) / orv::NS_PER_MS + 1, LONGEST_MS)));
    check();
  }
}

void clear(Board &board) {
  for (Worker &worker : board.workers) {
    worker.sent.store(0);
    worker.refused.store(0);
    worker.arrived.store(0);
    worker.measured.store(0);
    worker.latencies = {};
  }
}

void beginRun(Board &board) {
  board.run.fetch_add(1);
  wakeAll(board.run);
}

uint64_t sum(const Board &board, std::atomic<uint32_t> Worker::*counter) {
  uint64_t total = 0;
  for (const Worker &worker : board.workers)
    total += (worker.*counter).load();
  return total;
}

// Waits until `isDone`, for a minute at most.
bool waitFor(const std::function<bool()> &isDone, const std::function<void()> &check) {
  const uint64_t deadlineNs = orv::monotonicNs() + LIMIT_NS;
  while (!isDone()) {
    if (orv::monotonicNs() > deadlineNs) return false;
    sleepMs(1);
    check();
  }
  return true;
}

// Ends the run and waits until nobody sends any more and what was sent has come. Returns how many messages have not.
uint64_t endRun(Board &board, const std::function<void()> &check) {
  board.run.fetch_add(1);
  const auto isStill = [&] {
    // A sender may be about to wait for room that nobody will make.
    for (Worker &worker : board.workers)
      if (worker.isSending.load() != 0) wakeAll(worker.arrived);
    return sum(board, &Worker::isSending) == 0;
  };
  const auto allCame = [&] { return sum(board, &Worker::arrived) == sum(board, &Worker::sent); };
  if (!waitFor(isStill, check)) throw std::runtime_error("a sender does not come back from a call");
  waitFor(allCame, check);
  return sum(board, &Worker::sent) - sum(board, &Worker::arrived);
}

}  // namespace

Figures measure(Board &board, const Load &load, const std::function<void()> &check) {
  clear(board);
  board.pattern.store(load.pattern);
  board.window.store(load.window);
  board.messageLimit.store(0);
  const auto lengthNs = static_cast<uint64_t>(load.seconds * static_cast<double>(orv::NS_PER_S));
  const uint64_t fromNs = orv::monotonicNs() + GET_GOING_NS;
  uint64_t toNs = fromNs + lengthNs;
  board.measureFromNs.store(fromNs);
  board.measureToNs.store(toNs);
  beginRun(board);
  waitUntil(toNs, check);
  // A measurement is as long again where the machine has let nothing come yet.
  while (sum(board, &Worker::measured) == 0 && toNs - fromNs < LIMIT_NS) {
    toNs += lengthNs;
    board.measureToNs.store(toNs);
    waitUntil(toNs, check);
  }
  Figures figures;
  figures.lost = endRun(board, check);
  figures.refused = sum(board, &Worker::refused);
  Histogram latencies;
  for (const Worker &worker : board.workers)
    latencies.add(worker.latencies);
  figures.messages = latencies.count();
  figures.messagesPerS = static_cast<double>(figures.messages) * orv::NS_PER_S / static_cast<double>(toNs - fromNs);
  figures.p50Ns = latencies.quantile(0.5);
  figures.p99Ns = latencies.quantile(0.99);
  return figures;
}

void exchange(Board &board, uint32_t count, const std::function<void()> &check) {
  clear(board);
  board.pattern.store(Pattern::EACH_TO_ALL);
  board.window.store(1);
  board.messageLimit.store(count);
  board.measureFromNs.store(NEVER);
  beginRun(board);
  const uint64_t expected = static_cast<uint64_t>(count) * board.nodeCount;
  const bool allCame = waitFor([&] { return sum(board, &Worker::arrived) == expected; }, check);
  const uint64_t came = sum(board, &Worker::arrived);
  endRun(board, check);
  if (!allCame) {
    throw std::runtime_error("the nodes do not reach each other: " + std::to_string(came) + " of " +
                             std::to_string(expected) + " messages have come");
  }
}

void quit(Board &board) {
  board.run.store(Board::QUIT);
  wakeAll(board.run);
}

}  // namespace syscombench
