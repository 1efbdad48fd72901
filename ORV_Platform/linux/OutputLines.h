// The output of one program, cut into lines.
#ifndef ORV_LINUX_OUTPUTLINES_H
#define ORV_LINUX_OUTPUTLINES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "NodeStore.h"

namespace orv {

// How many of the last lines of a program stand with its failure in the events.
constexpr size_t LAST_WORDS_LINES = 20;

// For one thread. Holds one line under way and the last words, whatever the program writes.
class OutputLines {
 public:
  // Takes bytes that were read at `nowNs` (CLOCK_MONOTONIC) and appends to `lines` what they complete. A line of more
  // than MAX_OUTPUT_LINE_LENGTH bytes comes in pieces, of which all but the last are marked as partial.
  void feed(std::string_view bytes, uint64_t nowNs, std::vector<OutputLine> &lines);

  // Appends the line under way, if there is one, as a partial line: the output has ended or paused in the middle of it.
  void flush(uint64_t nowNs, std::vector<OutputLine> &lines);

  bool hasUnfinishedLine() const {
    return !unfinished_.empty();
  }

  // The last LAST_WORDS_LINES lines, oldest first.
  std::vector<std::string> lastWords() const;

 private:
  void complete(uint64_t nowNs, bool partial, std::vector<OutputLine> &lines);

  std::string unfinished_;
  uint64_t lineCount_ = 0;
  std::vector<std::string> lastWords_;  // a ring from LAST_WORDS_LINES lines on
};

}  // namespace orv

#endif
