#include "StartupSources.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include "RegularFile.h"

namespace orv {
namespace {

// A thousand programs have not half of it.
constexpr size_t MAX_FILE_LENGTH = size_t{16} * 1024 * 1024;

std::string runsText(const std::vector<uint64_t> &runs) {
  if (runs.empty()) return "no run";
  if (runs.size() == 1) return "run " + std::to_string(runs.front());
  return "runs " + std::to_string(runs.front()) + " to " + std::to_string(runs.back());
}

}  // namespace

std::optional<StartupModel> startupOfNode(const Arguments &arguments, std::optional<uint64_t> run, int &exitCode) {
  exitCode = EXIT_FAILED;
  const std::unique_ptr<NodeStore> store = openNode(arguments);
  if (!store) return std::nullopt;
  std::optional<StartupModel> model = readStartup(*store, run);
  if (model) return model;
  exitCode = EXIT_NO;
  complain(run ? "run " + std::to_string(*run) + " is not there: the node's events are of " +
                     runsText(recordedRuns(*store))
               : "no run of this node has begun yet");
  return std::nullopt;
}

std::optional<StartupModel> startupOfFile(const std::string &path, int &exitCode) {
  std::string text;
  exitCode = EXIT_FAILED;
  if (const Status read = readRegularFile(path, MAX_FILE_LENGTH, text); !read.ok()) {
    complain(read.message);
    return std::nullopt;
  }
  std::string problem;
  std::optional<StartupModel> model = startupFromJson(text, problem);
  if (model) return model;
  exitCode = EXIT_USAGE;
  complain(path + ": no start-up as orvctl chart --json writes it: " + problem);
  return std::nullopt;
}

std::optional<StartupModel> startupNamed(const Arguments &arguments, const std::string &name, int &exitCode) {
  uint64_t run = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), run);
  const bool isRun = error == std::errc() && end == name.data() + name.size();
  return isRun ? startupOfNode(arguments, run, exitCode) : startupOfFile(name, exitCode);
}

}  // namespace orv
