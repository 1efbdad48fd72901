// Where in a list of tags the names and values stand.
#ifndef ORV_TOOLS_CHECK_TAGSWALK_H
#define ORV_TOOLS_CHECK_TAGSWALK_H

#include <string_view>
#include <vector>

#include "check/SourceText.h"

namespace orv::checking {

struct WalkedTag {
  Span name;
  Span value;
  bool hasValue = false;  // false of the last one at most, which the daemon does not set
};

std::vector<WalkedTag> walkTags(std::string_view text);

}  // namespace orv::checking

#endif
