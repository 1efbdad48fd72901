// docs/rehearsal.md shows what orvctl rehearse prints. Here each of its commands is run, and what is shown compared.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "DaemonProcess.h"
#include "SimulationLibraries.h"

namespace {

using Lines = std::vector<std::string>;

// A command of the guide, and the lines that are shown below it.
struct Shown {
  size_t lineNumber = 0;
  std::string command;
  Lines output;
};

constexpr const char *BLOCK_BEGIN = "```console";
constexpr const char *BLOCK_END = "```";
constexpr const char *PROMPT = "$ ";
constexpr const char *EXIT_STATUS_COMMAND = "echo $?";

std::vector<Shown> commandsOf(const std::string &fileName) {
  std::vector<Shown> commands;
  std::ifstream file(fileName);
  bool isInBlock = false;
  std::string line;
  for (size_t number = 1; std::getline(file, line); ++number) {
    if (line == BLOCK_BEGIN) {
      isInBlock = true;
    } else if (line == BLOCK_END) {
      isInBlock = false;
    } else if (isInBlock && line.starts_with(PROMPT)) {
      commands.push_back({number, line.substr(2), {}});
    } else if (isInBlock && !commands.empty()) {
      commands.back().output.push_back(line);
    }
  }
  return commands;
}

// Standard output and, behind it, standard error.
Lines run(const std::string &command, int &exitStatus) {
  const char *const path = std::getenv("PATH");
  ProcessStart start;
  start.arguments = {"/bin/sh", "-c", command};
  start.environment = {std::string("PATH=") + ORV_BIN_DIR + ":" + (path == nullptr ? "" : path)};
  start.directory = ORV_EXAMPLES_SOURCE_DIR;
  CommandResult result = runCommand(start);
  exitStatus = WIFEXITED(result.waitStatus) ? WEXITSTATUS(result.waitStatus) : 128 + WTERMSIG(result.waitStatus);
  result.output.insert(result.output.end(), result.errors.begin(), result.errors.end());
  return result.output;
}

}  // namespace

TEST(RehearsalGuide, EveryCommandPrintsWhatIsShown) {
  // Skipped under one sanitizer: see SimulationLibraries.h.
  if (!CAN_LOAD_SIMULATION) GTEST_SKIP() << CANNOT_LOAD_SIMULATION;
  const std::vector<Shown> commands = commandsOf(ORV_REHEARSAL_GUIDE);
  int exitStatus = 0;
  size_t rehearsals = 0;
  for (const Shown &shown : commands) {
    SCOPED_TRACE(std::string(ORV_REHEARSAL_GUIDE) + ":" + std::to_string(shown.lineNumber) + ": " + shown.command);
    if (shown.command == EXIT_STATUS_COMMAND) {
      EXPECT_EQ(shown.output, Lines{std::to_string(exitStatus)});
      continue;
    }
    ++rehearsals;
    EXPECT_TRUE(shown.command.starts_with("orvctl rehearse "));
    EXPECT_EQ(shown.output, run(shown.command, exitStatus));
  }
  EXPECT_GE(rehearsals, 3U) << "the guide shows a start-up that is whole, one that is not, and a reset";
}
