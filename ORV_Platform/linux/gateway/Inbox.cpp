#include "Inbox.h"

#include <algorithm>

namespace orv::gateway {

bool Inbox::isOver(uint64_t epoch) const {
  return std::find(over_.begin(), over_.end(), epoch) != over_.end();
}

void Inbox::begin(uint64_t epoch) {
  over_[nextOver_] = epoch_;
  nextOver_ = (nextOver_ + 1) % over_.size();
  epoch_ = epoch;
  last_ = 0;
  taken_.fill({});
}

Inbox::Arrival Inbox::arrive(uint64_t epoch, uint64_t sequence, uint64_t oldestOpen) {
  if (epoch != epoch_) {
    // What an old connection still holds comes after the first words of the new run.
    if (isOver(epoch)) return {};
    begin(epoch);
  }
  if (sequence <= last_) {
    const Taken &taken = slot(sequence);
    if (taken.sequence != sequence) return {};
    return {Answer::REPEATED, taken.verdict};
  }
  if (sequence != std::max(last_ + 1, oldestOpen)) return {};
  last_ = sequence;
  slot(sequence) = {sequence, std::nullopt};
  return {Answer::TAKE, std::nullopt};
}

bool Inbox::settle(uint64_t epoch, uint64_t sequence, Verdict verdict) {
  Taken &taken = slot(sequence);
  if (epoch != epoch_ || taken.sequence != sequence) return false;
  taken.verdict = verdict;
  return true;
}

}  // namespace orv::gateway
