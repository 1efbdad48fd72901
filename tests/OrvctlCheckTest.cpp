// orvctl check as a whole: what it reads, its exit codes, and what it complains about.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "TextLines.h"

namespace {

using nlohmann::json;
using Lines = std::vector<std::string>;

constexpr int CLEAN = 0;
constexpr int WARNINGS = 1;
constexpr int ERRORS = 2;
constexpr int UNREADABLE = 3;
constexpr int BAD_USE = 64;

constexpr const char *GOOD = "radio;/bin/sh;;0;1;radio.online\n";
constexpr const char *DOUBTFUL = "radio;/bin/sh;;0;5;radio.online\n";
constexpr const char *WRONG = "radio;;;0;1;radio.online\n";

class OrvctlCheck : public testing::Test {
 protected:
  CommandResult run(const Lines &arguments) const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH, "check"};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    return runCommand(start);
  }
  // The exit code, and above it what was complained about.
  std::string outcome(const Lines &arguments) const {
    const CommandResult result = run(arguments);
    EXPECT_TRUE(WIFEXITED(result.waitStatus));
    return joined(result.errors) + std::to_string(WEXITSTATUS(result.waitStatus));
  }
  int exitCode(const Lines &arguments) const {
    const CommandResult result = run(arguments);
    EXPECT_EQ(result.errors, Lines{});
    return WEXITSTATUS(result.waitStatus);
  }
  std::string write(const std::string &text) const {
    return directory_.write("AppDef.txt", text);
  }

  FreshDirectory directory_;
};

}  // namespace

TEST_F(OrvctlCheck, ExitsByWhatItHasFound) {
  EXPECT_EQ(exitCode({write(GOOD)}), CLEAN);
  EXPECT_EQ(exitCode({"--strict", write(GOOD)}), CLEAN);
  EXPECT_EQ(exitCode({write(DOUBTFUL)}), CLEAN);
  EXPECT_EQ(exitCode({"--strict", write(DOUBTFUL)}), WARNINGS);
  EXPECT_EQ(exitCode({write(WRONG)}), ERRORS);
  EXPECT_EQ(exitCode({"--strict", write(WRONG)}), ERRORS);
}

TEST_F(OrvctlCheck, AFileThatIsNotThere) {
  const std::string path = directory_.path("none");
  EXPECT_EQ(outcome({path}), "orvctl: " + path + ": No such file or directory\n3");
  EXPECT_EQ(outcome({directory_.path()}),
            "orvctl: " + directory_.path() + ": it is a directory (name a regular file)\n3");
}

TEST_F(OrvctlCheck, WhatIsReadIsShownThoughAnotherFileIsNot) {
  const CommandResult result = run({directory_.path("none"), write(GOOD)});
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), UNREADABLE);
  ASSERT_FALSE(result.output.empty());
  EXPECT_EQ(result.output[0], directory_.path("AppDef.txt") + ": 1 record");
}

TEST_F(OrvctlCheck, AFileThatIsTooLarge) {
  const std::string path = write(std::string((1 << 18) + 1, '#'));
  EXPECT_EQ(outcome({path}), "orvctl: " + path + ": it has more than 262144 bytes\n3");
}

TEST_F(OrvctlCheck, APlatformConfigurationIsNoDefinitionFile) {
  const std::string path = write("<orv>\n</orv>\n");
  EXPECT_EQ(outcome({path}), "orvctl: " + path +
                                 ": it is a platform configuration (XML), no application definition file; the platform "
                                 "reads it without complaint\n3");
  write("<?xml version=\"1.0\"?>\n<orv><tgs/></orv>\n");
  const std::string text = outcome({path});
  EXPECT_NE(text.find("no application definition file; the platform says: " + path + ":2:7: "), std::string::npos)
      << text;
}

TEST_F(OrvctlCheck, StandardInput) {
  ProcessStart start;
  write(DOUBTFUL);
  start.arguments = {"/bin/sh", "-c", std::string(ORVCTL_PATH) + " check --json - < " + directory_.path("AppDef.txt")};
  const CommandResult result = runCommand(start);
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), CLEAN);
  const json answer = json::parse(joined(result.output));
  EXPECT_EQ(answer["inputs"][0]["name"], "<standard input>");
  EXPECT_EQ(answer["findings"][0]["kind"], "unknown-flags");
}

TEST_F(OrvctlCheck, AllInputsInOneAnswer) {
  const std::string path = write(GOOD);
  const CommandResult result = run(
      {"--json", path, "--executable", "/bin/sh -c x#x.on", "--startup", "nid=1", "--tags", "a=1", "--tags", "b=2"});
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), CLEAN) << joined(result.output);
  const json answer = json::parse(joined(result.output));
  std::vector<std::string> names;
  for (const json &input : answer["inputs"])
    names.push_back(input["name"].get<std::string>() + " " + input["kind"].get<std::string>());
  EXPECT_EQ(names, (std::vector<std::string>{"--tags (1) tags", "--tags (2) tags", "--startup startup",
                                             "--executable executables", path + " definitions"}));
  EXPECT_EQ(answer["awaited_tags"], 2);
}

TEST_F(OrvctlCheck, ProgramsAreLookedForBelowARoot) {
  const std::string path = write("agent;/opt/agent;;0;1;\n");
  std::filesystem::create_directories(directory_.path("root/opt"));
  EXPECT_EQ(exitCode({path, "--root", directory_.path("root")}), ERRORS);
  directory_.write("root/opt/agent", "#!/opt/agent.sh\n");
  std::filesystem::permissions(directory_.path("root/opt/agent"), std::filesystem::perms(0755));
  const json answer = json::parse(joined(run({"--json", path, "--root", directory_.path("root")}).output));
  EXPECT_EQ(answer["findings"][0]["kind"], "interpreter-missing");
  EXPECT_EQ(exitCode({path}), ERRORS);
  EXPECT_EQ(exitCode({path, "--no-programs"}), CLEAN);
}

TEST_F(OrvctlCheck, AProgramWithoutASlashIsLookedUp) {
  EXPECT_EQ(exitCode({"--strict", write("shell;sh;;0;1;\n")}), CLEAN);
  std::filesystem::create_directories(directory_.path("root"));
  const json answer =
      json::parse(joined(run({"--json", write("a;sh;;0;1;\n"), "--root", directory_.path("root")}).output));
  EXPECT_EQ(answer["findings"][0]["kind"], "not-in-path");
}

TEST_F(OrvctlCheck, NothingToCheck) {
  EXPECT_EQ(outcome({}),
            "orvctl: nothing to check: name an application definition file (orvctl check /rom/AppDef.txt), or a string "
            "with --executable, --startup or --tags (see orvctl check --help)\n64");
}

TEST_F(OrvctlCheck, BadUse) {
  EXPECT_EQ(outcome({"--bogus"}),
            "orvctl: orvctl check has no option \"--bogus\" (an argument that begins with - goes behind --; see "
            "orvctl check --help)\n64");
  EXPECT_EQ(outcome({"-", "-"}), "orvctl: standard input can be read once: - stands there twice\n64");
  EXPECT_EQ(outcome({"--root", "/none", "x"}),
            "orvctl: --root /none is no folder (name the folder that is / on the board)\n64");
  EXPECT_EQ(outcome({"--root", "/", "--no-programs", "x"}),
            "orvctl: --root excludes --no-programs (see orvctl check --help)\n64");
}

TEST_F(OrvctlCheck, HelpTellsTheExitCodes) {
  const CommandResult result = run({"--help"});
  EXPECT_EQ(WEXITSTATUS(result.waitStatus), 0);
  const std::string text = joined(result.output);
  for (const char *line :
       {"  0  clean; or warnings, without --strict\n", "  1  warnings, with --strict\n",
        "  2  errors: something will not start, or will not come online\n",
        "  3  a file cannot be read, or is none that can be checked\n", "  64 the command makes no sense\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << text;
  }
}
