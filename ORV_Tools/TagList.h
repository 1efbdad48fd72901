// The tags of a node with their provenance: who set each, when, in which run, and what there is to beware of.
#ifndef ORV_TOOLS_TAGLIST_H
#define ORV_TOOLS_TAGLIST_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Json.h"
#include "NodeStore.h"
#include "ProcessTree.h"

namespace orv {

// What a list of tags is made of. `processes` tells of the processes that are there now, processStat on a machine.
struct TagListing {
  std::optional<RunInfo> run;
  bool daemonIsAlive = false;
  std::vector<Tag> tags;
  std::function<std::optional<ProcessStat>(uint32_t pid)> processes = processStat;
};

// What has become of a setter.
enum class SetterState : uint8_t {
  ALIVE,
  GONE,    // no such process any more
  REUSED,  // another process has the number now
  UNKNOWN,
};

// Milliseconds from the start of the run to the setting; nothing where the run is not the one that is recorded.
std::optional<uint64_t> afterStartMs(const TagListing &listing, const Tag &tag);

SetterState setterState(const TagListing &listing, const Setter &setter);

// Why the tag may not mean what it seems to mean, each in a few words.
std::vector<std::string> tagWarnings(const TagListing &listing, const Tag &tag);

// A line on the run, and a table.
std::string longTagList(const TagListing &listing);

// The fields of one tag as in tagListJson, for more to be added.
JsonObject tagFields(const TagListing &listing, const Tag &tag);

// One object: "run", and "tags", a tag a line. The fields are described in docs/orvctl-json.md.
std::string tagListJson(const TagListing &listing);

}  // namespace orv

#endif
