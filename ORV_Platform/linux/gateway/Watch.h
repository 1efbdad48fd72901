// What the gateway's thread waits for, and for whom something has happened: with many peers nobody but these is asked.
//
// A ZeroMQ socket is waited for through its descriptor, which says no more than that something may have changed since
// the socket was last used. So a socket that has been used is asked whether it has anything left before anybody waits.
#ifndef ORV_GATEWAY_WATCH_H
#define ORV_GATEWAY_WATCH_H

#include <poll.h>
#include <zmq.h>

#include <cstddef>
#include <vector>

namespace orv::gateway {

class Watch {
 public:
  // Begins anew, for owners that are numbered from 0. Nobody is ready.
  void begin(size_t ownerCount);

  // Adds what `owner` waits for. `wasUsed`: its ZeroMQ sockets may have been used since the last wait.
  void add(size_t owner, const std::vector<zmq_pollitem_t> &items, bool wasUsed);

  // Waits for `timeoutMs` at most, -1: for ever; not at all where somebody is ready already.
  void wait(int timeoutMs);

  // True when something may have happened for `owner`.
  bool isReady(size_t owner) const {
    return ready_[owner];
  }

 private:
  std::vector<pollfd> polled_;
  std::vector<size_t> owners_;  // of `polled_`
  std::vector<bool> ready_;
  bool isAnyReady_ = false;
};

}  // namespace orv::gateway

#endif
