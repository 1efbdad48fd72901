// Boots the nodes of a range of seeds in several processes and judges each boot.
#ifndef ORV_BOOTS_SEARCH_H
#define ORV_BOOTS_SEARCH_H

#include <cstdint>
#include <string>

namespace boots {

struct SearchRange {
  uint64_t first = 1;
  uint64_t count = 20000;
  uint32_t jobs = 1;
  bool verbose = false;  // a line for each boot
  std::string program;   // as it was called, for the command that replays a boot
};

// Reports on the standard output. Returns whether every rule held in every boot. A process that is caught in a boot, or
// dies of one, breaks the search as a rule would.
bool search(const SearchRange &range);

}  // namespace boots

#endif
