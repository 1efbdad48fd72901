// The node store: tags, RAD parameters, EUs and events of one node, shared by all of its processes.
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
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Status.h"

namespace orv {

constexpr size_t MAX_TAG_NAME_LENGTH = 255;     // bytes; fits LMDB's key limit of 511
constexpr size_t MAX_TAG_TEXT_LENGTH = 4095;    // bytes; a path name of the longest kind
constexpr size_t MAX_EVENT_TEXT_LENGTH = 1000;  // bytes; longer texts are cut
constexpr uint32_t DEFAULT_EVENT_LIMIT = 10000;

// The numbers of the three enumerations stand in the store: append, never renumber.
enum class TagType : uint8_t { STRING = 1, U16 = 2, U32 = 3 };

struct TagValue {
  TagType type = TagType::STRING;
  uint32_t number = 0;  // of U16 and U32
  std::string text;     // of STRING
};

// A tag as it is set, and who set it.
struct Tag {
  std::string name;
  TagValue value;
  uint32_t setterPid = 0;
  uint64_t setNs = 0;  // CLOCK_MONOTONIC
};

enum class RadOrigin : uint8_t { OPERATOR = 1, CONFIGURATION = 2 };

struct RadParameter {
  uint32_t number = 0;
  uint32_t value = 0;
  RadOrigin origin = RadOrigin::OPERATOR;
};

enum class EuState : uint8_t {
  CREATED = 1,        // the EU exists and runs no program
  RUNNING = 2,        // its program runs
  PROGRAM_ENDED = 3,  // its program ended; waitStatus tells how
  LAUNCH_FAILED = 4,  // its program could not be started; result tells why
  SHUT_DOWN = 5,      // its program was ended by the CE shutdown
};

// One EU of the current run and, where it runs one, its program.
struct EuRecord {
  uint32_t id = 0;
  EuState state = EuState::CREATED;
  bool finished = false;  // the EU's body has returned
  std::string name;
  std::string path;
  std::string args;
  uint32_t supervisionFlags = 0;
  uint32_t pid = 0;        // of the program; kept after its end
  int32_t result = 0;      // of the command: see AaProCmdExec
  int32_t waitStatus = 0;  // POSIX wait status
  uint64_t createdNs = 0;  // CLOCK_MONOTONIC, as the two below; 0: not yet
  uint64_t startedNs = 0;
  uint64_t endedNs = 0;
};

enum class EventKind : uint8_t {
  RUN_STARTED = 1,
  CE_STARTED = 2,
  CE_STOPPED = 3,
  EU_CREATED = 4,
  EU_FINISHED = 5,
  PROGRAM_STARTED = 6,
  PROGRAM_ENDED = 7,
  LAUNCH_FAILED = 8,
  TAG_SET = 9,
  LOG = 10,
  ERROR_RAISED = 11,
  MESSAGE_SENT = 12,
  MESSAGE_UNDELIVERED = 13,
  RESET_REQUESTED = 14,
  LAST_WORDS = 15,     // one of the last lines that a program wrote before it failed; follows PROGRAM_ENDED
  PROGRAM_READY = 16,  // a program said READY=1
  GATEWAY = 17,        // a connection of the gateway: made, lost, refused
  RESET_HELD = 18,     // a reset was asked for and is held off
};

// One thing that happened. Sequence numbers have no gaps and outlive a run of the node, within one boot of the machine.
struct Event {
  uint64_t sequence = 0;     // given by the store
  uint64_t monotonicNs = 0;  // given by the store: CLOCK_MONOTONIC
  uint32_t pid = 0;          // given by the store: the writing process
  uint32_t euId = 0;         // 0: none
  EventKind kind = EventKind::LOG;
  uint32_t code = 0;  // severity of LOG, error code of ERROR_RAISED, message id of MESSAGE_*, else 0
  std::string text;
};

enum class RunState : uint8_t { EARLY = 1, UP = 2, DOWN = 3 };

// The run of the node that the store tells of: its daemon and what the daemon said of itself.
struct RunInfo {
  RunState state = RunState::EARLY;
  uint32_t daemonPid = 0;
  uint64_t startedNs = 0;          // CLOCK_MONOTONIC of the early start-up
  uint64_t startedRealtimeNs = 0;  // CLOCK_REALTIME of the same moment
  uint16_t nid = 0;                // from the CE start-up on
  std::string ceName;
};

class NodeStore {
 public:
  enum class Access {
    CREATE,    // make the store where there is none; set a damaged or foreign one aside (see `setAside`)
    EXISTING,  // fail with ENOENT where there is none
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

  // Begins a run: forgets all tags, all EUs and the RAD parameters that came from a configuration, records `run`, and
  // appends a RUN_STARTED event. Events and RAD parameters set by an operator stay.
  Status beginRun(const RunInfo &run);
  Status updateRun(const RunInfo &run);
  std::optional<RunInfo> run() const;  // nothing when no run ever began

  // Tags. A name of 0 bytes, over MAX_TAG_NAME_LENGTH, or a text over MAX_TAG_TEXT_LENGTH is refused with EINVAL.
  // Setting appends a TAG_SET event.
  Status setTag(std::string_view name, const TagValue &value);
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

  // Writes the record of EU `record.id`, and in the same transaction `event` where it is not null.
  Status putEu(const EuRecord &record, const Event *event);
  std::vector<EuRecord> eus() const;  // by id

  // Appends to the ring; the oldest go where more than the event limit are kept, and the older half of them where the
  // store is full (whatever is written then).
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

// CLOCK_MONOTONIC in nanoseconds.
uint64_t monotonicNs();

}  // namespace orv

#endif
