// The node store: tags, RAD parameters, EUs, program output and events of one node, shared by all of its processes.
//
// One LMDB environment, <node directory>/node.mdb, with one table for each kind. Any process of the node may open it
// and read or write at any time; a write is one transaction, so readers see all of it or nothing, and a process that is
// killed in the middle of one harms nobody. The store lives in memory or on a volatile file system and is not synced:
// it tells of this boot of the machine only.
//
// Only this module knows the layout; the layout has a version number, and a store of another version is refused.
//
// A process holds at most one NodeStore of a node directory open (LMDB's file locks are per process). All operations
// may be called from any thread. A child process must not use a store that its parent opened.
#ifndef ORV_LINUX_NODESTORE_H
#define ORV_LINUX_NODESTORE_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Status.h"
#include "StoreRecords.h"

namespace orv {

class NodeStore {
 public:
  enum class Access {
    CREATE,    // make the store where there is none; set a damaged or foreign one aside (see `setAside`)
    EXISTING,  // fail with ENOENT where there is none
    EXAMINED,  // the same, for who can wait for some milliseconds: a store that is damaged inside is found out and
               // refused
  };

  // Opens the store of `directory`. On success `store` owns it. A store of an earlier boot of the machine counts as
  // none: Access::CREATE replaces it without a word. With Access::CREATE a store that cannot be read (damaged, or not
  // one at all) is renamed to node.mdb.damaged and a new one is made; `*setAside` (may be null) then becomes the
  // sentence that reports it. A store of another layout version is refused with EPROTO.
  static Status open(const std::string &directory, Access access, std::unique_ptr<NodeStore> &store,
                     std::string *setAside = nullptr);
  ~NodeStore();
  NodeStore(const NodeStore &) = delete;
  NodeStore &operator=(const NodeStore &) = delete;

  // Begins a run: forgets all tags, all EUs with their output and status, and the RAD parameters that came from a
  // configuration, records `run` under the next number, and appends a RUN_STARTED event. Events and RAD parameters set
  // by an operator stay.
  Status beginRun(const RunInfo &run);
  // Replaces what is recorded of the run, but for its number.
  Status updateRun(const RunInfo &run);
  std::optional<RunInfo> run() const;  // nothing when no run ever began

  // Tags. A name of 0 bytes, over MAX_TAG_NAME_LENGTH, or a text over MAX_TAG_TEXT_LENGTH is refused with EINVAL.
  // Setting appends a TAG_SET event. The setter is this process, about which the kernel is asked at the first tag only;
  // or `setter`, on whose behalf this process does it.
  Status setTag(std::string_view name, const TagValue &value);
  Status setTag(std::string_view name, const TagValue &value, const Setter &setter);
  Status unsetTag(std::string_view name, bool &wasSet);
  // The hot path: no lock that a writer holds, no allocation of ours. False as well when the store cannot be read.
  bool tagIsSet(std::string_view name) const;
  std::optional<Tag> tag(std::string_view name) const;
  std::vector<Tag> tags() const;  // by name

  // A value of origin CONFIGURATION does not replace one of origin OPERATOR, and setting it succeeds all the same: what
  // an operator sets is meant for the starts to come.
  Status setRad(uint32_t number, uint32_t value, RadOrigin origin);
  uint32_t rad(uint32_t number) const;     // 0 when not set
  std::vector<RadParameter> rads() const;  // by number

  // All of a configuration at once, in one transaction. One tag that is refused is enough for nothing to be set. A RAD
  // parameter that an operator has set keeps its value.
  struct Settings {
    std::vector<std::pair<std::string, TagValue>> tags;
    std::vector<RadParameter> rads;
  };
  Status apply(const Settings &settings);

  // Writes all of a batch in one transaction: the records of EUs (of several of one id the last stays) and the events,
  // which keep their order. For up to some hundred entries: a batch has to fit into the space that the store keeps
  // free.
  Status write(std::span<const StoreEntry> batch);
  // A batch of one: the record of EU `record.id`, and `event` where it is not null.
  Status putEu(const EuRecord &record, const Event *event);
  std::vector<EuRecord> eus() const;  // by id

  // What an EU's program says of itself, in one line; the empty text is none.
  Status setEuStatus(uint32_t euId, std::string_view text);
  std::map<uint32_t, std::string> euStatuses() const;

  // Adds lines, by ascending number, to the output of an EU's program, and drops what no longer belongs to the first or
  // the last. A line that is there already is replaced. Fails where the store is full, since no event goes for it.
  Status appendOutput(uint32_t euId, std::span<const OutputLine> lines);
  ProgramOutput output(uint32_t euId) const;

  // Appends to the ring, a batch of one; the oldest go where more than the event limit are kept, and the older half of
  // them where the store is full (whatever is written then).
  Status appendEvent(const Event &event);
  // Events with a sequence number above `afterSequence`, oldest first.
  std::vector<Event> events(uint64_t afterSequence = 0) const;
  // How many events the ring keeps, from 100 to 100,000 (anything else is refused with EINVAL); shared by all processes
  // of the node.
  Status setEventLimit(uint32_t limit);

 private:
  struct Impl;
  explicit NodeStore(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace orv

#endif
