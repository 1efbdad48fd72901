// What happened in a rehearsal, told from its trace: the events that a person wants to know of, in order, and what it
// all came to.
//
// Polls, option acknowledgements and the like are left out. What the daemon logs is told once: a time-out, say, is one
// event, though the daemon writes two lines about it.
#ifndef ORV_TOOLS_TIMELINE_H
#define ORV_TOOLS_TIMELINE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace orv::rehearsal {

// What an event is about; eventName has the names that the JSON output uses.
enum class EventKind {
  CE_STARTED,
  NOTICE_FAILED,
  CONFIGURATION_FAILED,
  OPTION_REFUSED,
  DEFINITIONS_READ,
  DEFINITIONS_MISSING,
  APPLICATIONS_SKIPPED,
  EU_FAILED,
  PROGRAM_STARTED,
  PROGRAM_NOT_STARTED,
  PROGRAM_ENDED,
  PROGRAM_SHUT_DOWN,
  PROGRAM_KILLED,
  TAG_SET,
  ONLINE,
  TIMED_OUT,
  STILL_WAITING,
  ERROR_RAISED,
  RESET_DISABLED,
  RESET_ANNOUNCED,
  RESET_REQUESTED,
  RESET_FAILED,
  MESSAGE_SENT,
  MESSAGE_FAILED,
  MESSAGE_MISSING,
  LOG,
  COMPLETE,
  SIGNAL,
  RESET_DONE,
  END
};

const char *eventName(EventKind kind);

enum class Mark {
  NONE,
  NOTE,    // to be looked at, though nothing has failed
  FAILURE  // one is enough for the node not to be whole
};

struct Detail {
  std::string name;
  std::variant<int64_t, std::string> value;
};

struct Event {
  uint64_t atMs = 0;
  EventKind kind = EventKind::LOG;
  Mark mark = Mark::NONE;
  std::string who;  // the program, by the name of its EU; "daemon", "node"
  std::string text;
  std::string problem;  // what is wrong, for the verdict; empty: nothing, or only what follows from an earlier problem
  std::vector<Detail> details;
};

enum class Verdict {
  WHOLE,     // the node came up and nothing failed
  FAILURES,  // it came up with failures, or not at all
  RESET      // the board was reset
};

const char *verdictName(Verdict verdict);

struct Timeline {
  std::vector<Event> events;
  std::optional<uint64_t> completeMs;  // when the CE start-up was complete
  std::string resetReason;             // where the board was reset: the problem behind it
  Verdict verdict = Verdict::WHOLE;
  std::string sentence;  // the verdict in words
};

// The time line of a whole trace. Nothing, and what is wrong in `problem`, where that is none: every trace ends with
// the line that tells how the boot ended.
std::optional<Timeline> timelineOf(std::string_view trace, std::string &problem);

}  // namespace orv::rehearsal

#endif
