// A boot's trace, its lines taken apart: when, who, what. The texts stay in the lines they were read from.
#ifndef ORV_BOOTS_TRACEREADER_H
#define ORV_BOOTS_TRACEREADER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace boots {

enum class Who { NODE, HANDLER, MAIN, EU };

struct TraceLine {
  uint64_t atMs = 0;
  Who who = Who::NODE;
  uint32_t eu = 0;        // of an EU: its number, from 1
  std::string_view name;  // of an EU: its name as the trace writes it
  std::string_view text;
};

using LineNumbers = std::vector<uint32_t>;

struct ReadTrace {
  std::vector<TraceLine> lines;
  LineNumbers main;
  std::vector<LineNumbers> eus;      // by number; [0] is nobody
  std::optional<size_t> unreadable;  // the first line that is none
};

// `lines` must outlive the result.
ReadTrace readTrace(const std::vector<std::string> &lines);

// Takes `prefix` off the front of `text`; false where it is not there.
bool takeOff(std::string_view &text, std::string_view prefix);

// A text in the trace's double quotes at the front of `text`, taken off and without its escapes.
std::optional<std::string> takeQuoted(std::string_view &text);

// The whole text as a decimal number with an optional minus.
std::optional<int64_t> wholeNumber(std::string_view text);
// The whole text as hexadecimal with its 0x.
std::optional<uint32_t> wholeHexadecimal(std::string_view text);

}  // namespace boots

#endif
