#include "Suggestion.h"

#include <algorithm>
#include <cstddef>

namespace orv {
namespace {

size_t distance(const std::string &left, const std::string &right) {
  // edits[i][j]: from the first i letters of the one to the first j of the other.
  std::vector<std::vector<size_t>> edits(left.size() + 1, std::vector<size_t>(right.size() + 1));
  for (size_t i = 0; i <= left.size(); ++i) {
    for (size_t j = 0; j <= right.size(); ++j) {
      size_t &best = edits[i][j];
      if (i == 0 || j == 0) {
        best = i + j;
        continue;
      }
      const size_t changed = left[i - 1] == right[j - 1] ? 0 : 1;
      best = std::min({edits[i - 1][j] + 1, edits[i][j - 1] + 1, edits[i - 1][j - 1] + changed});
      const bool isSwapped = i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
      if (isSwapped) best = std::min(best, edits[i - 2][j - 2] + 1);
    }
  }
  return edits[left.size()][right.size()];
}

}  // namespace

std::string nearestName(const std::string &word, const std::vector<std::string> &names) {
  constexpr size_t LONGEST_WORD = 32;  // nobody misspells a command by that much
  if (word.size() > LONGEST_WORD) return "";
  std::string nearest;
  size_t least = 0;
  for (const std::string &name : names) {
    // Half of a name has to be right.
    const size_t edits = distance(word, name);
    if (edits * 2 > name.size() || (!nearest.empty() && edits >= least)) continue;
    nearest = name;
    least = edits;
  }
  return nearest;
}

}  // namespace orv
