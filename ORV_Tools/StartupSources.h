// Where commands get their start-ups from: a run that the node's store still has, or a file that `orvctl chart --json`
// has written.
#ifndef ORV_TOOLS_STARTUPSOURCES_H
#define ORV_TOOLS_STARTUPSOURCES_H

#include <optional>
#include <string>

#include "Commands.h"
#include "StartupModel.h"

namespace orv {

// The start-up of `run`, else of the latest run, of the node that the arguments name. Nothing after having said why
// not; `exitCode` then is that of the command: EXIT_NO where there is no such run.
std::optional<StartupModel> startupOfNode(const Arguments &arguments, std::optional<uint64_t> run, int &exitCode);

// The start-up in a file. Nothing after having said why not; `exitCode` then is EXIT_FAILED where
// the file cannot be read, and EXIT_USAGE where something else is in it.
std::optional<StartupModel> startupOfFile(const std::string &path, int &exitCode);

// A number of the node's runs, or a file: what has another character than digits in it is a file.
std::optional<StartupModel> startupNamed(const Arguments &arguments, const std::string &name, int &exitCode);

}  // namespace orv

#endif
