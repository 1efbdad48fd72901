// The status of a node for people and for programs. No effects.
#ifndef ORV_TOOLS_STATUSVIEW_H
#define ORV_TOOLS_STATUSVIEW_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "NodeStatus.h"

namespace orv {

// What passes by itself, such as how long ago something was, is told or left out. Left out, the text changes only when
// something has happened.
enum class PassingTimes : uint8_t { SHOWN, LEFT_OUT };

// Some lines on the node and a table of its programs, in colours where standard output has them.
std::string statusText(const NodeStatus &status, PassingTimes times);

// The same for a screen of that size, a line each: with a bar for the start-up, cut to the width; where the programs
// are more than the lines, those that work as they should are the first to go.
std::vector<std::string> statusScreen(const NodeStatus &status, unsigned columns, unsigned lines);

// One object, on one line. The fields are described in docs/orvctl-json.md.
std::string statusJson(const NodeStatus &status);

// "awaiting tag pump.online", "exited with 3", "online: full": what has become of a program, and what it says itself.
std::string programStateText(const ProgramStatus &program);

// "awaiting_tag", "failed" and the like.
const char *programStateName(ProgramState state);

// Local time of day of a moment of CLOCK_MONOTONIC, with the date where it is another day than that of now; "-" for
// none.
std::string momentText(const NodeStatus &status, std::optional<uint64_t> monotonicNs);

// "raises an error, resets the board"; empty where a failure has no consequences.
std::string consequenceText(const ProgramStatus &program);

// "waiting for pump (tag pump.online) for 12 s, another 3 min 48 s at most", "complete after 1.05 s" and so on.
std::string startupText(const NodeStatus &status, PassingTimes times);

}  // namespace orv

#endif
