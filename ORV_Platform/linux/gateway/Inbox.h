// What has come from one peer: tells a new message from one that was sent again, and keeps the order.
//
// A peer numbers the messages of one of its runs (an epoch) without gaps and names the oldest number that is still open
// to it; what lies below that it has given up. A message is taken when it is the next one, given that; one that was
// taken before gets its old verdict again; one that is ahead of its turn is left, for the peer sends it again.
#ifndef ORV_GATEWAY_INBOX_H
#define ORV_GATEWAY_INBOX_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "GatewayWire.h"

namespace orv::gateway {

class Inbox {
 public:
  enum class Answer {
    TAKE,      // new: deliver it, and say what became of it with `settle`
    REPEATED,  // taken before; the verdict, where there is one already, has to be said again
    LEAVE,     // not its turn, or of a run of the peer that is over
  };
  struct Arrival {
    Answer answer = Answer::LEAVE;
    std::optional<Verdict> verdict;
  };
  Arrival arrive(uint64_t epoch, uint64_t sequence, uint64_t oldestOpen);

  // The verdict on a message that was taken. True where the peer still waits for it.
  bool settle(uint64_t epoch, uint64_t sequence, Verdict verdict);

 private:
  struct Taken {
    uint64_t sequence = 0;
    std::optional<Verdict> verdict;
  };
  bool isOver(uint64_t epoch) const;
  void begin(uint64_t epoch);
  Taken &slot(uint64_t sequence) {
    return taken_[static_cast<size_t>(sequence % WINDOW)];
  }

  uint64_t epoch_ = 0;
  uint64_t last_ = 0;  // the highest number that was taken or given up by the peer
  std::array<uint64_t, 8> over_{};
  size_t nextOver_ = 0;
  std::array<Taken, WINDOW> taken_{};
};

}  // namespace orv::gateway

#endif
