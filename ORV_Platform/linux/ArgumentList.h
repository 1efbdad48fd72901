// A program's arguments, given as one text, taken apart as a shell would: quoting, but no expansion of any kind.
//
// Blanks (space, tab, line feed) separate. 'single quotes' keep everything as it is; in "double quotes" a backslash
// makes a double quote, a backslash, "$" or "`" ordinary, before anything else it stands for itself; outside quotes it
// makes any character ordinary. Quotes inside a word belong to it, and '' is an empty argument. "$", "*", "~", ";",
// "|", "#" and the like mean nothing.
#ifndef ORV_LINUX_ARGUMENTLIST_H
#define ORV_LINUX_ARGUMENTLIST_H

#include <string>
#include <string_view>
#include <vector>

#include "Status.h"

namespace orv {

// Fails with EINVAL for a quote without its pair and for a backslash at the end; `arguments` is then left alone.
Status splitArguments(std::string_view text, std::vector<std::string> &arguments);

}  // namespace orv

#endif
