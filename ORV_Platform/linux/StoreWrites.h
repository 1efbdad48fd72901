// The parts of a change of the node store, each within a transaction that the caller has begun and commits. Results are
// LMDB's codes, as in StoreEnvironment.h; after any but 0 the transaction is to be given up.
#ifndef ORV_LINUX_STOREWRITES_H
#define ORV_LINUX_STOREWRITES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "StoreEnvironment.h"
#include "StoreRecords.h"

namespace orv {

// In the table `node`, beside the layout and the boot.
constexpr const char *RUN_KEY = "run";
constexpr const char *EVENT_LIMIT_KEY = "eventLimit";

constexpr uint32_t MIN_EVENT_LIMIT = 100;
constexpr uint32_t MAX_EVENT_LIMIT = 100000;

// Removes the oldest `count` events.
int dropOldestEvents(const WriteTransaction &transaction, size_t count);
// Removes the oldest events beyond `limit`.
int trimEvents(const WriteTransaction &transaction, uint32_t limit);
int putEvent(WriteTransaction &transaction, const Event &event);
// The records of EUs and the events of `batch`, in its order.
int putBatch(WriteTransaction &transaction, std::span<const StoreEntry> batch);

// A tag, its provenance and its event. What belongs to another type of value is not kept.
int putTag(WriteTransaction &transaction, std::string_view name, const TagValue &value, const Setter &setter);

// A configuration never replaces what an operator set.
int putRad(WriteTransaction &transaction, const RadParameter &parameter);
// What cannot be understood goes as well.
int removeConfiguredRads(const WriteTransaction &transaction);

// The number of the run that is recorded; 0 where none is.
int runNumber(const WriteTransaction &transaction, uint64_t &number);

// Writes those of `lines` that are kept, and removes the kept ones that no longer belong to the first or the last.
int putOutput(WriteTransaction &transaction, uint32_t euId, std::span<const OutputLine> lines);

}  // namespace orv

#endif
