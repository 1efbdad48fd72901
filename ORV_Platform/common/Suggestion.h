// The command that somebody meant who misspelt one.
#ifndef ORV_TOOLS_SUGGESTION_H
#define ORV_TOOLS_SUGGESTION_H

#include <string>
#include <vector>

namespace orv {

// The one of `names` that is nearest to `word`, counted in letters to add, to remove, to change or to swap with their
// neighbour; empty where none is near.
std::string nearestName(const std::string &word, const std::vector<std::string> &names);

}  // namespace orv

#endif
