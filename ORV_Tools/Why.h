// Why a program is not online, or was late: the likeliest cause in one sentence, by an ordered table of rules. No
// effects.
#ifndef ORV_TOOLS_WHY_H
#define ORV_TOOLS_WHY_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NodeStatus.h"
#include "ProcessDetails.h"

namespace orv {

// What is known of one program of a node.
struct WhyFacts {
  NodeStatus node;
  ProgramStatus program;
  std::optional<StartupWait> wait;        // the start-up's wait for its online tag, where there is one
  std::optional<Tag> onlineTag;           // as it is set
  std::optional<uint64_t> onlineAfterMs;  // from the start of the program to the setting of its tag
  std::vector<Tag> ownTags;               // what its processes have set in this run, without the online tag
  std::vector<Tag> nearMisses;            // tags of this run that read much like its online tag, whoever set them
  std::optional<ProcessDetails> process;  // the program's, while it is there
  std::string launchFailure;              // what the platform said of the attempt, with its advice
  std::vector<std::string> lastLines;     // of its output
};

struct Cause {
  const char *name = "";  // of the rule, for programs: "tag_of_another_name"
  std::string sentence;   // without a line end
  bool isWell = false;    // nothing is wrong with the program
};

// By the first rule that fits; the last fits always.
Cause causeOf(const WhyFacts &facts);

// Whether somebody who meant the one may have written the other.
bool isNearMiss(std::string_view tag, std::string_view wanted);

// The sentence, and what there is to know beside it.
std::string whyText(const WhyFacts &facts);

// The same and more as one object, on one line. The fields are described in docs/orvctl-json.md.
std::string whyJson(const WhyFacts &facts);

}  // namespace orv

#endif
