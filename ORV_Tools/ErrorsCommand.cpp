#include "ErrorsCommand.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <vector>

#include "ErrorList.h"

namespace orv {

void addErrorsOptions(CLI::App &command, ErrorsArguments &options) {
  addSinceOption(command, options.since);
  command.add_flag("--json", options.json, "As one JSON object");
}

int errors(const Arguments &arguments, const ErrorsArguments &options, std::string &output) {
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return EXIT_FAILED;
  LogSource source;
  source.events = store->events();
  source.run = store->run();
  source.eus = store->eus();
  const RunInfo run = source.run.value_or(RunInfo{});
  const std::vector<ListedError> listed = listErrors(source, options.since ? monotonicOf(*options.since, run) : 0);
  output += options.json ? errorsJson(run, listed) : errorsText(run, listed);
  return EXIT_DONE;
}

}  // namespace orv
