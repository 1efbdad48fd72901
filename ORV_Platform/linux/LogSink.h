// A receiver of the node's log that may not read for a while: who logs never waits for it. Lines that it does not take
// at once are lost to it and counted, and once it takes lines again it is told how many there were, once a second at
// most.
#ifndef ORV_LINUX_LOGSINK_H
#define ORV_LINUX_LOGSINK_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "LogLine.h"

namespace orv {

class LogSink {
 public:
  // `name` is what the lines about losses call the receiver: "the journal". `send` returns 0 or the errno and never
  // waits; `now` is a monotonic clock in nanoseconds.
  using Format = std::function<std::string(const LogLine &line)>;
  using Send = std::function<int(std::string_view datagram)>;
  using Clock = std::function<uint64_t()>;
  LogSink(std::string name, Format format, Send send, Clock now);

  // Hands one line over. Returns false where there is no receiver at all; a line that is lost counts as handed over.
  // Safe from any thread.
  bool write(const LogLine &line);

  // How many lines were lost and have not been told yet.
  uint64_t lost() const {
    return lost_;
  }

 private:
  void tellLoss(const LogLine &line);

  std::string name_;
  Format format_;
  Send send_;
  Clock now_;
  std::atomic<uint64_t> lost_{0};
  std::atomic<uint64_t> toldNs_{0};  // when the last loss was told; 0: never
};

}  // namespace orv

#endif
