#include "Reports.h"

#include <algorithm>
#include <iterator>

namespace orv::gateway {
namespace {

constexpr uint64_t LINE_INTERVAL_MS = 1000;
constexpr size_t MAX_ENTRIES = 512;
constexpr const char *EVERYBODY_ELSE = "further addresses";

// By Cause. What is no state of a connection is said with a count before it.
constexpr const char *TEXTS[] = {
    "connected",
    "connection lost",
    "not reached yet",
    "refuses the connection: this node's key is not trusted there",
    "not delivered in time",
    "for users that are not there",
    "for users that did not take them in time",
    "refused there: their sender claims to be on another node",
    "refused there: their receiver is on another node",
    "not delivered there",
    "that cannot be understood",
    "undelivered at the end of the gateway",
    "claiming to come from another node",
    "from a node that is not trusted any more",
    "refused: the key is not trusted",
    "failed: it was none of a gateway",
};
static_assert(std::size(TEXTS) == static_cast<size_t>(Cause::COUNT_OF_CAUSES), "a text for each cause");

bool isState(Cause cause) {
  return cause == Cause::CONNECTED || cause == Cause::CONNECTION_LOST || cause == Cause::NOT_REACHED ||
         cause == Cause::KEY_REFUSED;
}

bool isHandshake(Cause cause) {
  return cause == Cause::UNTRUSTED_KEY || cause == Cause::BAD_HANDSHAKE;
}

std::string textOf(Cause cause, uint64_t since, uint64_t total) {
  const std::string text = TEXTS[static_cast<size_t>(cause)];
  if (isState(cause)) return since == 1 ? text : text + " " + std::to_string(since) + " times";
  const std::string noun = (isHandshake(cause) ? " handshake" : " message") + std::string(since == 1 ? " " : "s ");
  return std::to_string(since) + noun + text + " (" + std::to_string(total) + " in all)";
}

}  // namespace

Reports::Entry &Reports::entryOf(const std::string &peer) {
  const auto found = entries_.find(peer);
  if (found != entries_.end()) return found->second;
  if (entries_.size() >= MAX_ENTRIES && peer.starts_with("address ")) return entries_[EVERYBODY_ELSE];
  return entries_[peer];
}

void Reports::count(const std::string &peer, Cause cause, const std::string &detail) {
  Entry &entry = entryOf(peer);
  ++entry.since[static_cast<size_t>(cause)];
  ++entry.total[static_cast<size_t>(cause)];
  if (!entry.pending) ++pending_;
  entry.pending = true;
  if (!detail.empty()) entry.detail = detail;
}

ReportLine Reports::tell(const std::string &peer, Entry &entry) {
  ReportLine line;
  std::string text;
  for (size_t i = 0; i < CAUSES; ++i) {
    if (entry.since[i] == 0) continue;
    const auto cause = static_cast<Cause>(i);
    if (!text.empty()) text += ", ";
    text += textOf(cause, entry.since[i], entry.total[i]);
    if (cause != Cause::CONNECTED && cause != Cause::NOT_REACHED) line.isWarning = true;
  }
  line.text = "gateway: " + peer + ": " + text + (entry.detail.empty() ? "" : "; the last: " + entry.detail);
  entry.since.fill(0);
  entry.pending = false;
  entry.detail.clear();
  return line;
}

std::vector<ReportLine> Reports::due(uint64_t nowMs) {
  std::vector<ReportLine> lines;
  if (pending_ == 0) return lines;
  for (auto &[peer, entry] : entries_) {
    if (!entry.pending || nowMs < entry.nextLineMs) continue;
    lines.push_back(tell(peer, entry));
    entry.nextLineMs = nowMs + LINE_INTERVAL_MS;
    --pending_;
  }
  return lines;
}

std::optional<uint64_t> Reports::nextMs() const {
  std::optional<uint64_t> next;
  if (pending_ == 0) return next;
  for (const auto &[peer, entry] : entries_) {
    if (entry.pending) next = std::min(next.value_or(UINT64_MAX), entry.nextLineMs);
  }
  return next;
}

std::vector<ReportLine> Reports::rest() {
  std::vector<ReportLine> lines;
  for (auto &[peer, entry] : entries_) {
    if (entry.pending) lines.push_back(tell(peer, entry));
  }
  pending_ = 0;
  return lines;
}

}  // namespace orv::gateway
