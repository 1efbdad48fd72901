// What the store knows, in words for people.
#ifndef ORV_TOOLS_WORDS_H
#define ORV_TOOLS_WORDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "NodeStore.h"

namespace orv {

// `text` without anything that would break a line or command a terminal, and without what is no UTF-8: such bytes
// become \n, \t, \x1b and the like.
std::string printable(std::string_view text);

// "string", "u16", "u32".
const char *typeText(TagType type);

// The value alone, as it was set.
std::string valueText(const TagValue &value);

// "exited with 3", "killed by signal 9 (SIGKILL)".
std::string endText(int32_t waitStatus);

// "could not be started: No such file or directory". `result` is that of the command.
std::string launchFailureText(int32_t result);

// "No such file or directory (2)", for the result of a call that failed.
std::string resultText(int32_t result);

// What has become of the EU's program. A dead daemon took its EUs and programs with it, whatever they did last.
std::string euStateText(const EuRecord &record, bool daemonIsAlive);

// "58 s", "3 min 4 s", "2 h 5 min", "4 d 3 h".
std::string durationText(uint64_t seconds);

// The same, to the millisecond: "0 s", "250 ms", "1.05 s", "4 min", "1 h 2.5 s".
std::string preciseDurationText(uint64_t milliseconds);

// Local time with its distance from UTC.
std::string timeText(uint64_t realtimeNs);

// The columns that `text` takes on a terminal: characters of UTF-8, one each, which is near enough for names and paths.
size_t shownWidth(std::string_view text);

// `text` with blanks behind it up to that width.
std::string padded(std::string_view text, size_t width);

// Makes the cells of a column of `rows` as wide as the widest, with blanks before them.
void alignRight(std::vector<std::vector<std::string>> &rows, size_t column);

// Lines with the cells of each row below each other, two blanks between columns.
std::string tableText(const std::vector<std::vector<std::string>> &rows);

}  // namespace orv

#endif
