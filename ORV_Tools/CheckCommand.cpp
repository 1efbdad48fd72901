#include "CheckCommand.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>

#include "Commands.h"

namespace orv {
namespace {

constexpr const char *FOOTER =
    "A FILE of - is standard input. The strings are as the daemon gets them: --startup what stands behind its own\n"
    "--startup=, --executable what stands behind executable= in that, --tags what follows its option -c, --short-tags\n"
    "what follows -s.\n"
    "docs/definition-file.md describes the file and what is said about it.\n"
    "\n"
    "Exit codes:\n"
    "  0  clean; or warnings, without --strict\n"
    "  1  warnings, with --strict\n"
    "  2  errors: something will not start, or will not come online\n"
    "  3  a file cannot be read, or is none that can be checked\n"
    "  64 the command makes no sense";

constexpr const char *USUAL_SEARCH_PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

void addRepeated(CLI::App &command, const std::string &name, const std::string &type, const std::string &description,
                 std::vector<std::string> &values) {
  command.add_option(name, values, description)->allow_extra_args(false)->type_name(type);
}

int refuse(const std::string &problem) {
  complain(problem);
  return EXIT_CHECK_BAD_USE;
}

bool isDirectory(const std::string &path) {
  struct stat file = {};
  return stat(path.c_str(), &file) == 0 && S_ISDIR(file.st_mode);
}

}  // namespace

void addCheckOptions(CLI::App &command, CheckArguments &arguments) {
  command.footer(FOOTER);
  command.add_option("FILE", arguments.request.files, "Application definition files")->type_name("");
  addRepeated(command, "--executable", "STRING", "Executables, as in the start-up key of that name",
              arguments.request.executables);
  addRepeated(command, "--startup", "STRING", "A start-up string: key=value,key=value", arguments.request.startups);
  addRepeated(command, "--tags", "LIST", "A list of tags: tag=value,tag=value", arguments.request.tagLists);
  addRepeated(command, "--short-tags", "LIST", "The same with numbers of 16 bits, as for the daemon's option -s",
              arguments.request.shortTagLists);
  command.add_flag("--strict", arguments.strict, "Warnings count");
  command.add_flag("--json", arguments.json, "For programs: one JSON object");
  CLI::Option *root =
      command.add_option("--root", arguments.options.root, "Look for the programs below this folder, a target's root");
  root->type_name("DIR");
  command
      .add_flag_callback(
          "--no-programs", [&arguments] { arguments.options.programs = false; },
          "Do not look at the programs: they are elsewhere")
      ->excludes(root);
}

int checkCommand(const CheckArguments &arguments, std::string &output) {
  const CheckRequest &request = arguments.request;
  if (request.files.empty() && request.executables.empty() && request.startups.empty() && request.tagLists.empty() &&
      request.shortTagLists.empty()) {
    return refuse(
        "nothing to check: name an application definition file (orvctl check /rom/AppDef.txt), or a string with "
        "--executable, --startup or --tags (see orvctl check --help)");
  }
  if (std::count(request.files.begin(), request.files.end(), "-") > 1) {
    return refuse("standard input can be read once: - stands there twice");
  }
  CheckOptions options = arguments.options;
  if (!options.root.empty() && !isDirectory(options.root)) {
    return refuse("--root " + options.root + " is no folder (name the folder that is / on the board)");
  }
  const char *path = std::getenv("PATH");
  options.searchPath = options.root.empty() && path != nullptr ? path : USUAL_SEARCH_PATH;
  const CheckResult result = check(request, options);
  for (const CheckedInput &input : result.inputs)
    if (!input.problem.empty()) complain(input.problem);
  output += arguments.json ? checkJson(result) : checkText(result);
  return checkExitCode(result, arguments.strict);
}

}  // namespace orv
