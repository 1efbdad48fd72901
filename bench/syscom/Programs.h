// The programs that send and receive: one on each node, a second one on the first, and the two of a bare pair.
#ifndef ORV_BENCH_PROGRAMS_H
#define ORV_BENCH_PROGRAMS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Board.h"

namespace syscombench {

// What the worker `self` does that belongs to the node in `nodeDirectory`: receives under a CPID of its own, and sends
// when the board says so, until it says that all end. Of a process of its own, which has not used libORV.so before.
// Returns the exit status.
int runWorker(Board &board, uint32_t self, const std::string &nodeDirectory);

// The two processes of a bare pair, sender and receiver. They play the workers 0 and 1 of the board and end by
// themselves when all end.
enum class BarePair { ZEROMQ_PUSH_PULL, UNIX_SOCKET_PAIR };
std::vector<pid_t> startBarePair(Board &board, BarePair kind);

// Waits for the board's next run that has worker `self` send, and returns it; Board::QUIT when all end.
uint32_t waitForRun(Board &board, uint32_t self);

}  // namespace syscombench

#endif
