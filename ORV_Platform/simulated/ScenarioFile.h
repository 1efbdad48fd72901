// Reads a scenario from a TOML file. The format is described in docs/scenario.md, key by key.
//
// Nothing is passed over: a key that is not known, a value of another type or out of its range, and two keys that
// contradict each other are mistakes. The first in the file is reported, with its place and what to do about it.
#ifndef ORV_SIMULATED_SCENARIOFILE_H
#define ORV_SIMULATED_SCENARIOFILE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Scenario.h"

namespace orv::sim {

// Of a scenario file, and of a file that a scenario takes its content from.
constexpr size_t MAX_SCENARIO_FILE_BYTES = size_t{1024} * 1024;

struct ScenarioError {
  std::string file;
  uint32_t line = 0;    // from 1; 0: the file as a whole, which could not be read
  uint32_t column = 0;  // from 1, in characters
  std::string message;

  std::string text() const;  // "FILE:LINE:COLUMN: MESSAGE", "FILE: MESSAGE" where there is no line
};

// The scenario that `text` describes, nothing (and `error`) where it has a mistake. `fileName` is where the text comes
// from: for messages, and because a "source" is relative to its folder.
std::optional<Scenario> parseScenario(std::string_view text, const std::string &fileName, ScenarioError &error);

// The same of a file. Only regular files up to MAX_SCENARIO_FILE_BYTES are read.
std::optional<Scenario> readScenario(const std::string &fileName, ScenarioError &error);

// Every key of the format, those of a table behind its name: "seed", "program.path", "program.sets.tag".
const std::vector<std::string> &scenarioKeys();

}  // namespace orv::sim

#endif
