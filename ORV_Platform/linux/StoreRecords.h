// What the node store keeps, record by record. NodeStore.h says how it is written and read.
#ifndef ORV_LINUX_STORERECORDS_H
#define ORV_LINUX_STORERECORDS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orv {

// Limits in bytes. What is longer is refused for a tag and cut everywhere else.
constexpr size_t MAX_TAG_NAME_LENGTH = 255;   // fits LMDB's key limit of 511
constexpr size_t MAX_TAG_TEXT_LENGTH = 4095;  // a path name of the longest kind
constexpr size_t MAX_SETTER_TEXT_LENGTH = 1000;
constexpr size_t MAX_EVENT_TEXT_LENGTH = 1000;
constexpr size_t MAX_OUTPUT_LINE_LENGTH = 1000;
constexpr size_t MAX_EU_STATUS_LENGTH = 256;

constexpr uint32_t DEFAULT_EVENT_LIMIT = 10000;

// How many lines of an EU's program output are kept: so many from its beginning, and so many of the latest.
constexpr uint64_t FIRST_OUTPUT_LINES = 50;
constexpr uint64_t LAST_OUTPUT_LINES = 200;

// The numbers of the three enumerations stand in the store: append, never renumber.
enum class TagType : uint8_t { STRING = 1, U16 = 2, U32 = 3 };

struct TagValue {
  TagType type = TagType::STRING;
  uint32_t number = 0;  // of U16 and U32
  std::string text;     // of STRING
};

// The process that set a tag. A process id may be used again; with the start time it stands for one process alone.
struct Setter {
  uint32_t pid = 0;
  uint64_t startTicks = 0;  // field 22 of /proc/PID/stat: clock ticks since the boot; 0: not known
  uint32_t uid = 0;         // effective
  std::string executable;   // its path; "[name]" where the kernel does not tell it
  std::string euName;       // of the EU whose program it is or descends from; empty: none
  uint32_t euId = 0;        // 0: none, or not known yet
};

// A tag as it is set, and its provenance.
struct Tag {
  std::string name;
  TagValue value;
  Setter setter;
  uint64_t setNs = 0;  // CLOCK_MONOTONIC
  uint64_t run = 0;    // RunInfo::number of that moment; 0: before any run
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
  WAIT_BEGAN = 19,     // the start-up waits for the online tag of the EU that the event names
  WAIT_ENDED = 20,     // and no longer does; a WaitOutcome
  STARTUP_COMPLETE = 21,
};

// Why the start-up stopped waiting for an online tag.
enum class WaitOutcome : uint32_t { ONLINE = 1, TIMED_OUT = 2 };

// One thing that happened. Sequence numbers have no gaps and outlive a run of the node, within one boot of the machine.
struct Event {
  uint64_t sequence = 0;     // given by the store
  uint64_t monotonicNs = 0;  // CLOCK_MONOTONIC; 0: given by the store, the time of writing
  uint32_t pid = 0;          // of the process that it is about or from; 0: given by the store, the writing process
  uint32_t euId = 0;         // 0: none
  EventKind kind = EventKind::LOG;
  uint32_t code = 0;  // severity of LOG, error code of ERROR_RAISED, message id of MESSAGE_*, WaitOutcome, else 0
  std::string text;
};

enum class RunState : uint8_t { EARLY = 1, UP = 2, DOWN = 3 };

// The run of the node that the store tells of: its daemon and what the daemon said of itself.
struct RunInfo {
  uint64_t number = 0;  // given by the store: one more than the last run's, within one boot of the machine
  RunState state = RunState::EARLY;
  uint32_t daemonPid = 0;
  uint64_t startedNs = 0;          // CLOCK_MONOTONIC of the early start-up
  uint64_t startedRealtimeNs = 0;  // CLOCK_REALTIME of the same moment
  uint16_t nid = 0;                // from the CE start-up on, as the two below
  std::string ceName;
  uint16_t masterNid = 0;  // the node's own id where it is the master
};

// One line that an EU's program wrote.
struct OutputLine {
  uint64_t number = 0;  // 1, 2, 3 ... for each EU, given by who reads the program's output
  uint64_t monotonicNs = 0;
  bool partial = false;  // ended without a newline
  std::string text;      // raw bytes
};

// What is kept of a program's output: line numbers up to FIRST_OUTPUT_LINES, and the latest of the others.
struct ProgramOutput {
  std::vector<OutputLine> first;
  std::vector<OutputLine> last;
  uint64_t dropped = 0;  // lines in between that are not kept
};

// Part of a batch: the record of an EU, an event, or both.
struct StoreEntry {
  std::optional<EuRecord> eu;
  std::optional<Event> event;
};

}  // namespace orv

#endif
