// docs/definition-file.md shows definition files and what orvctl check says about them. Here its files are written,
// each of its commands is run, and what is shown compared.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "DaemonProcess.h"
#include "DefinitionTable.h"
#include "FreshDirectory.h"

namespace {

using Lines = std::vector<std::string>;

// A command of the guide, and the lines that are shown below it.
struct Shown {
  size_t lineNumber = 0;
  std::string command;
  Lines output;
};

struct DefinitionFile {
  std::string name;
  std::string text;
};

struct Guide {
  std::vector<DefinitionFile> files;
  std::vector<Shown> commands;
};

constexpr const char *CONSOLE_BEGIN = "```console";
constexpr const char *FILE_BEGIN = "```appdef ";
constexpr const char *BLOCK_END = "```";
constexpr const char *PROMPT = "$ ";
constexpr const char *EXIT_STATUS_COMMAND = "echo $?";

Guide readGuide(const std::string &fileName) {
  enum class Block { NONE, CONSOLE, FILE };
  Guide guide;
  std::ifstream file(fileName);
  Block block = Block::NONE;
  std::string line;
  for (size_t number = 1; std::getline(file, line); ++number) {
    if (line == CONSOLE_BEGIN) {
      block = Block::CONSOLE;
    } else if (line.starts_with(FILE_BEGIN)) {
      block = Block::FILE;
      guide.files.push_back({line.substr(std::string_view(FILE_BEGIN).size()), ""});
    } else if (line == BLOCK_END) {
      block = Block::NONE;
    } else if (block == Block::FILE) {
      guide.files.back().text += line + "\n";
    } else if (block == Block::CONSOLE && line.starts_with(PROMPT)) {
      guide.commands.push_back({number, line.substr(2), {}});
    } else if (block == Block::CONSOLE && !guide.commands.empty()) {
      guide.commands.back().output.push_back(line);
    }
  }
  return guide;
}

// Standard output and, behind it, standard error.
Lines run(const std::string &command, const std::string &directory, int &exitStatus) {
  const char *const path = std::getenv("PATH");
  ProcessStart start;
  start.arguments = {"/bin/sh", "-c", command};
  start.environment = {std::string("PATH=") + ORV_BIN_DIR + ":" + (path == nullptr ? "" : path)};
  start.directory = directory;
  CommandResult result = runCommand(start);
  exitStatus = WIFEXITED(result.waitStatus) ? WEXITSTATUS(result.waitStatus) : 128 + WTERMSIG(result.waitStatus);
  result.output.insert(result.output.end(), result.errors.begin(), result.errors.end());
  return result.output;
}

unsigned definitionsIn(std::string_view text) {
  return orv::readDefinitions(text)->count;
}

// The text of the literal display of a manual page.
std::string literalOf(const std::string &fileName) {
  std::ifstream file(fileName);
  std::string text;
  std::string line;
  bool isLiteral = false;
  while (std::getline(file, line)) {
    if (line == ".Ed") isLiteral = false;
    if (isLiteral) text += line + "\n";
    if (line == ".Bd -literal") isLiteral = true;
  }
  return text;
}

}  // namespace

TEST(DefinitionGuide, EveryCommandPrintsWhatIsShown) {
  const Guide guide = readGuide(ORV_DEFINITION_GUIDE);
  const FreshDirectory directory;
  for (const DefinitionFile &file : guide.files)
    directory.write(file.name, file.text);
  int exitStatus = 0;
  size_t checks = 0;
  for (const Shown &shown : guide.commands) {
    SCOPED_TRACE(std::string(ORV_DEFINITION_GUIDE) + ":" + std::to_string(shown.lineNumber) + ": " + shown.command);
    if (shown.command == EXIT_STATUS_COMMAND) {
      EXPECT_EQ(shown.output, Lines{std::to_string(exitStatus)});
      continue;
    }
    if (shown.command.starts_with("orvctl check ")) ++checks;
    EXPECT_EQ(shown.output, run(shown.command, directory.path(), exitStatus));
  }
  EXPECT_GE(checks, 5U) << "the guide shows a good file, mistakes, the strings of the command line, and programs";
}

TEST(DefinitionGuide, EveryFileHasDefinitionsAndIsChecked) {
  const Guide guide = readGuide(ORV_DEFINITION_GUIDE);
  EXPECT_GE(guide.files.size(), 3U);
  for (const DefinitionFile &file : guide.files) {
    SCOPED_TRACE(file.name);
    EXPECT_GE(definitionsIn(file.text), 3U);
    bool isChecked = false;
    for (const Shown &shown : guide.commands)
      isChecked = isChecked || shown.command.find(" " + file.name) != std::string::npos;
    EXPECT_TRUE(isChecked);
  }
}

TEST(DefinitionGuide, TheManualPageShowsAFileWithoutMistakes) {
  const std::string text = literalOf(ORV_DEFINITION_MANUAL);
  EXPECT_EQ(definitionsIn(text), 3U);
  const FreshDirectory directory;
  directory.write("AppDef.txt", text);
  int exitStatus = 0;
  EXPECT_EQ(run("orvctl check --strict --no-programs AppDef.txt", directory.path(), exitStatus).back(),
            "Nothing to complain about.");
  EXPECT_EQ(exitStatus, 0);
}

// The limits that both name are the daemon's.
TEST(DefinitionGuide, NamesTheLimitsOfTheDaemon) {
  for (const char *document : {ORV_DEFINITION_GUIDE, ORV_DEFINITION_MANUAL}) {
    std::ifstream file(document);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    SCOPED_TRACE(document);
    EXPECT_NE(text.find(" " + std::to_string(MAX_APP_EXE_DEFS) + " "), std::string::npos);
    EXPECT_NE(text.find(" " + std::to_string(MAX_APP_DEF_LINE) + " bytes"), std::string::npos);
    EXPECT_NE(text.find(std::to_string(sizeof AppExeDef::name - 1) + " bytes"), std::string::npos);
    EXPECT_NE(text.find(std::to_string(sizeof AppExeDef::path - 1) + " bytes"), std::string::npos);
  }
}
