// What the gateway has to say of its peers, without saying it too often: things are counted for each peer, and a peer
// has one line a second at most, with all that was counted since its last one. Nothing is left out of a count.
//
// A peer is a node ("node 0x2011") or an address that was refused ("address 10.0.0.1"). Of the latter a bounded number
// is told apart; the rest is counted together. Times are handed in, in milliseconds.
#ifndef ORV_GATEWAY_REPORTS_H
#define ORV_GATEWAY_REPORTS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orv::gateway {

enum class Cause {
  CONNECTED,
  CONNECTION_LOST,
  NOT_REACHED,
  KEY_REFUSED,
  TIMED_OUT,
  NO_USER,
  USER_BUSY,
  WRONG_SENDER,
  WRONG_NODE,
  FAILED,
  MALFORMED,
  ENDED,
  FALSE_NODE,
  NOT_TRUSTED_ANY_MORE,
  UNTRUSTED_KEY,
  BAD_HANDSHAKE,
  COUNT_OF_CAUSES,
};

struct ReportLine {
  bool isWarning = false;
  std::string text;
};

class Reports {
 public:
  // `detail`, where it is not empty, is told of the last time: which message, for example.
  void count(const std::string &peer, Cause cause, const std::string &detail = "");

  // The lines whose time has come.
  std::vector<ReportLine> due(uint64_t nowMs);
  // When the next one comes.
  std::optional<uint64_t> nextMs() const;
  // All that has been counted and not told, whatever the time.
  std::vector<ReportLine> rest();

 private:
  static constexpr size_t CAUSES = static_cast<size_t>(Cause::COUNT_OF_CAUSES);
  struct Entry {
    std::array<uint64_t, CAUSES> since{};  // the last line
    std::array<uint64_t, CAUSES> total{};
    bool pending = false;
    std::string detail;
    uint64_t nextLineMs = 0;
  };
  Entry &entryOf(const std::string &peer);
  static ReportLine tell(const std::string &peer, Entry &entry);

  std::map<std::string, Entry> entries_;
  size_t pending_ = 0;  // entries with something to tell
};

}  // namespace orv::gateway

#endif
