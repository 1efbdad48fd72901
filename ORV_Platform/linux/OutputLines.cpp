#include "OutputLines.h"

#include <algorithm>
#include <utility>

namespace orv {

void OutputLines::feed(std::string_view bytes, uint64_t nowNs, std::vector<OutputLine> &lines) {
  while (!bytes.empty()) {
    const size_t lineEnd = bytes.find('\n');
    const size_t room = MAX_OUTPUT_LINE_LENGTH - unfinished_.size();
    const size_t length = lineEnd == std::string_view::npos ? bytes.size() : lineEnd;
    if (length > room) {
      unfinished_.append(bytes.substr(0, room));
      bytes.remove_prefix(room);
      complete(nowNs, true, lines);
      continue;
    }
    unfinished_.append(bytes.substr(0, length));
    if (lineEnd == std::string_view::npos) return;
    bytes.remove_prefix(length + 1);
    complete(nowNs, false, lines);
  }
}

void OutputLines::flush(uint64_t nowNs, std::vector<OutputLine> &lines) {
  if (!unfinished_.empty()) complete(nowNs, true, lines);
}

std::vector<std::string> OutputLines::lastWords() const {
  std::vector<std::string> lines = lastWords_;
  if (lines.size() == LAST_WORDS_LINES) {
    std::rotate(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(lineCount_ % LAST_WORDS_LINES), lines.end());
  }
  return lines;
}

void OutputLines::complete(uint64_t nowNs, bool partial, std::vector<OutputLine> &lines) {
  OutputLine line;
  line.number = ++lineCount_;
  line.monotonicNs = nowNs;
  line.partial = partial;
  line.text = std::exchange(unfinished_, {});
  if (lastWords_.size() < LAST_WORDS_LINES) {
    lastWords_.push_back(line.text);
  } else {
    lastWords_[static_cast<size_t>((lineCount_ - 1) % LAST_WORDS_LINES)] = line.text;
  }
  lines.push_back(std::move(line));
}

}  // namespace orv
