#include "GuardTargets.h"

namespace orv {
namespace {

bool belongsTo(const ProcessFacts &process, const ProcessFacts &target, const Spared &spared) {
  return process.parent == target.pid || (process.group == target.group && process.group != spared.group) ||
         (process.session == target.session && process.session != spared.session);
}

}  // namespace

void spreadTargets(GuardCandidate *candidates, size_t count, const Spared &spared) {
  for (bool changed = true; changed;) {
    changed = false;
    for (size_t i = 0; i < count; ++i) {
      GuardCandidate &candidate = candidates[i];
      if (candidate.target || candidate.facts.pid == 1 || candidate.facts.pid == spared.self) continue;
      for (size_t j = 0; j < count && !candidate.target; ++j) {
        candidate.target = candidates[j].target && belongsTo(candidate.facts, candidates[j].facts, spared);
      }
      changed = changed || candidate.target;
    }
  }
}

}  // namespace orv
