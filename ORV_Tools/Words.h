// What the store knows, in words for people.
#ifndef ORV_TOOLS_WORDS_H
#define ORV_TOOLS_WORDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "NodeStore.h"

namespace orv {

// `text` without anything that would break a line or command a terminal: such bytes become \n, \t, \x1b and the like.
std::string printable(std::string_view text);

// "string", "u16", "u32".
const char *typeText(TagType type);

// The value alone, as it was set.
std::string valueText(const TagValue &value);

// "exited with 3", "killed by signal 9 (SIGKILL)".
std::string endText(int32_t waitStatus);

// What has become of the EU's program. A dead daemon took its EUs and programs with it, whatever they did last.
std::string euStateText(const EuRecord &record, bool daemonIsAlive);

// "58 s", "3 min 4 s", "2 h 5 min", "4 d 3 h".
std::string durationText(uint64_t seconds);

// Local time with its distance from UTC.
std::string timeText(uint64_t realtimeNs);

// Lines with the cells of each row below each other, two blanks between columns.
std::string tableText(const std::vector<std::vector<std::string>> &rows);

}  // namespace orv

#endif
