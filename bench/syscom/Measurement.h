// One row of the result: how messages go from one end to the other, at both ends of what a sender can do.
#ifndef ORV_BENCH_MEASUREMENT_H
#define ORV_BENCH_MEASUREMENT_H

#include <cstdint>
#include <functional>
#include <string>

#include "Board.h"

namespace syscombench {

// Of one load.
struct Figures {
  double messagesPerS = 0;
  uint64_t p50Ns = 0;
  uint64_t p99Ns = 0;
  uint64_t messages = 0;  // that were measured
  uint64_t refused = 0;   // attempts that were refused and made again
  uint64_t lost = 0;      // messages that were taken and have not come
};

struct Row {
  std::string name;
  Figures oneAtATime;  // each sender waits until its message has come
  Figures atFullSpeed;
};

struct Load {
  Pattern pattern = Pattern::EACH_TO_ALL;
  uint32_t window = 1;  // see Board
  double seconds = 1;
};

// Begins a run on the board and ends it after a short time to get going and `load.seconds`. Everything is still before
// and after. `check` is called every now and then, for it to throw when the run cannot go on.
Figures measure(Board &board, const Load &load, const std::function<void()> &check);

// Lets each worker of a node send `count` messages to the others and waits until all have come. Throws
// std::runtime_error where that takes longer than a minute: every connection of the nodes is made for the first time.
void exchange(Board &board, uint32_t count, const std::function<void()> &check);

// Ends all workers.
void quit(Board &board);

}  // namespace syscombench

#endif
