// The flight record: what a person wants to know after a board reset, written before it and there after it.
//
// One file of a fixed size, <state directory>/flight-record, made with all its space at the first start so that a full
// disk cannot keep a last entry out. It is a ring of slots, one entry each: a mark, a version, the length, a checksum
// (CRC-32) and the entry, big-endian on every machine. An entry is written with one write and synced before
// appendFlightEntry returns. A slot whose checksum is wrong (a power cut in the middle of a write, a worn-out flash) is
// counted and otherwise passed over; it is written anew when its turn comes.
//
// The daemon writes, the operator's tool reads; a lock on the file keeps the two apart. Entries outlive everything but
// newer entries: each start, stop and reset request makes one.
#ifndef ORV_LINUX_FLIGHTRECORD_H
#define ORV_LINUX_FLIGHTRECORD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Status.h"

namespace orv {

constexpr size_t FLIGHT_SLOT_COUNT = 16;
constexpr size_t FLIGHT_SLOT_SIZE = 8192;     // bytes
constexpr size_t MAX_FLIGHT_EVENTS = 50;      // of one entry; the oldest go first where they do not fit
constexpr size_t MAX_FLIGHT_LAST_WORDS = 10;  // lines of one entry, as above
constexpr const char *FLIGHT_RECORD_NAME = "flight-record";

// The numbers of the enumerations stand in the file: append, never renumber.

enum class FlightKind : uint8_t {
  STARTED = 1,          // the CE was started; says how the run before it ended
  RESET_REQUESTED = 2,  // a board reset is about to be made
  RESET_FAILED = 3,     // it could not be made
  RESET_HELD = 4,       // it would have been made, but resets are held off
  STOPPED = 5,          // the CE was shut down
};

// Why a reset was asked for.
enum class ResetCause : uint8_t {
  UNKNOWN = 1,
  PROGRAM_ENDED = 2,  // `waitStatus` tells how
  LAUNCH_FAILED = 3,  // `result` tells why
  NOT_ONLINE = 4,     // `tag` was not set in time
};

// How the run before a start ended.
enum class LastEnd : uint8_t {
  UNKNOWN = 1,         // nothing is known of a run before
  STOPPED = 2,         // it was shut down
  DAEMON_DIED = 3,     // the daemon ended without a shutdown while the machine stayed up
  RESET_MADE = 4,      // it requested a board reset, and the board was reset
  RESET_NOT_MADE = 5,  // it requested a board reset, which never came; then the daemon died
  PANIC = 6,           // the kernel panicked
  WATCHDOG = 7,        // a watchdog that nobody of this node had asked reset the board
  OUTSIDE = 8,         // a power cut or a reset from outside
};

struct FlightEvent {
  uint64_t monotonicNs = 0;
  uint32_t euId = 0;
  uint8_t kind = 0;  // the number of an EventKind
  uint32_t code = 0;
  std::string text;
};

struct FlightEntry {
  uint64_t sequence = 0;  // given by appendFlightEntry
  FlightKind kind = FlightKind::STARTED;
  std::string bootId;
  uint64_t realtimeNs = 0;
  uint64_t boottimeNs = 0;  // CLOCK_BOOTTIME
  std::string stage;        // of the start-up: "waiting for pump (tag pump.online)", "running"

  // Of RESET_*.
  std::string means;  // what was to reset the board; of RESET_FAILED what failed and why
  ResetCause cause = ResetCause::UNKNOWN;
  std::string euName;
  std::string path;
  std::string args;
  std::string tag;
  int32_t result = 0;
  int32_t waitStatus = 0;
  std::vector<std::string> lastWords;  // the last lines that the program wrote, oldest first
  std::vector<FlightEvent> events;     // oldest first

  // Of STARTED.
  LastEnd lastEnd = LastEnd::UNKNOWN;
  std::vector<std::string> boardWords;     // what the board says of its last reset, a sentence each
  std::vector<std::string> kernelRecords;  // what pstore holds, to be told from what it will hold at the next start
  uint32_t resetsInARow = 0;
  uint32_t ungracefulCount = 0;
  uint32_t damagedEntries = 0;  // found at that start
};

struct FlightRecord {
  std::vector<FlightEntry> entries;  // oldest first
  uint32_t damagedEntries = 0;
};

// Reads the record of `stateDirectory`; a missing file is an empty record. Fails with the errno.
Status readFlightRecord(const std::string &stateDirectory, FlightRecord &record);

// Writes `entry` in place of the oldest and syncs it; `entry.sequence` becomes its number. Texts that are too long are
// cut. Where the file is missing or too short it is made with all its space first. Safe from any thread and process.
// Fails with the errno.
Status appendFlightEntry(const std::string &stateDirectory, FlightEntry &entry);

}  // namespace orv

#endif
