// Reads the trace of a simulated boot: a line for each thing that happened, "SECONDS.mmm ACTOR TEXT".
//
// A trace can have millions of lines, most of them polls, so the lines are looked at where they stand and nothing is
// copied before somebody asks for it.
#ifndef ORV_TOOLS_TRACELINES_H
#define ORV_TOOLS_TRACELINES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orv::rehearsal {

struct TraceLine {
  enum class Actor { NODE, HANDLER, MAIN, EU };
  uint64_t atMs = 0;
  Actor actor = Actor::NODE;
  uint32_t eu = 0;          // of an EU: its number
  std::string_view euName;  // as it stands there, in quotes where it is not plain
  std::string_view text;
};

// A call of the platform, "NAME(ARGUMENT, ...) = OUTCOME".
struct TraceCall {
  std::string_view name;
  std::vector<std::string> arguments;  // those in quotes without these and their escapes
  std::string_view outcome;            // empty where the line has none: what it will come to is a later line
};

// The line in `text`, which has no end any more. Nothing where it is no line of a trace.
std::optional<TraceLine> parseTraceLine(std::string_view text);

// The name of the function where `text` of a line begins like a call, else empty. Cheap.
std::string_view calledFunction(std::string_view text);

// The call that `text` of a line describes, nothing where it is none.
std::optional<TraceCall> parseTraceCall(std::string_view text);

// The text in quotes that `text` begins with, without these and their escapes; taken from its front. Nothing where
// there is none.
std::optional<std::string> takeQuoted(std::string_view &text);

// Takes `prefix` from the front of `text`; false where it does not begin so.
bool take(std::string_view &text, std::string_view prefix);

// Takes a number, decimal or with 0x, from the front of `text`; nothing where there is none.
std::optional<int64_t> takeNumber(std::string_view &text);

}  // namespace orv::rehearsal

#endif
