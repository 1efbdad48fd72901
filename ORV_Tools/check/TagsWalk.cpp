#include "check/TagsWalk.h"

#include <algorithm>

namespace orv::checking {
namespace {

constexpr std::string_view SEPARATORS = "=,";

// The text from `begin` on up to a separator, without those in front; of no length at the end.
Span nextPart(std::string_view text, size_t begin) {
  const size_t first = std::min(text.find_first_not_of(SEPARATORS, begin), text.size());
  const size_t end = std::min(text.find_first_of(SEPARATORS, first), text.size());
  return {first, end - first};
}

}  // namespace

std::vector<WalkedTag> walkTags(std::string_view text) {
  std::vector<WalkedTag> tags;
  for (Span name = nextPart(text, 0); name.length != 0;) {
    WalkedTag tag;
    tag.name = name;
    tag.value = nextPart(text, name.end());
    tag.hasValue = tag.value.length != 0;
    tags.push_back(tag);
    name = nextPart(text, tag.value.end());
  }
  return tags;
}

}  // namespace orv::checking
