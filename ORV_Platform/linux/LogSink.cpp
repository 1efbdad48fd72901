#include "LogSink.h"

#include <cerrno>
#include <utility>

#include "Clock.h"

namespace orv {
namespace {

constexpr uint32_t WARNING = 3;

// The errors with which a receiver that is there does not take a datagram; with any other there is none.
bool isThere(int error) {
  for (const int known : {EAGAIN, ENOBUFS, ENOMEM, EMSGSIZE, EMFILE}) {
    if (error == known) return true;
  }
  return false;
}

}  // namespace

LogSink::LogSink(std::string name, Format format, Send send, Clock now)
    : name_(std::move(name)), format_(std::move(format)), send_(std::move(send)), now_(std::move(now)) {}

bool LogSink::write(const LogLine &line) {
  const int error = send_(format_(line));
  if (error == 0) {
    if (lost_ != 0) tellLoss(line);
    return true;
  }
  if (!isThere(error)) return false;
  ++lost_;
  return true;
}

void LogSink::tellLoss(const LogLine &line) {
  const uint64_t now = now_();
  uint64_t told = toldNs_;
  if (told != 0 && now - told < NS_PER_S) return;
  if (!toldNs_.compare_exchange_strong(told, now)) return;  // another thread tells it
  const uint64_t count = lost_.exchange(0);
  LogLine report = line;
  report.severity = WARNING;
  report.text = "ORV/platform, " + name_ + " did not take " + std::to_string(count) +
                (count == 1 ? " line" : " lines") + " of this process in time";
  if (send_(format_(report)) != 0) lost_ += count;
}

}  // namespace orv
