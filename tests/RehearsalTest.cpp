// orvctl rehearse as a whole: every option, every exit status, and what it complains about, to the letter.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <string>
#include <vector>

#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "ScenarioFile.h"
#include "SimulationLibraries.h"
#include "TextLines.h"

namespace {

using Lines = std::vector<std::string>;

constexpr int WHOLE = 0;
constexpr int FAILURES = 1;
constexpr int RESET = 2;
constexpr int FAILED = 3;
constexpr int BAD_USE = 64;

constexpr const char *DEFINITIONS =
    "#name;path;args;reserved;flags;tag\n"
    "radio;/opt/radio;-b 7;0;1;radio.online\n"
    "pump;/opt/pump;;0;3;pump.online\n"
    "recorder;/opt/recorder;;0;0;\n";

// With single blanks: how wide a column is depends on what else stands in it.
std::string squeezed(const std::string &text) {
  std::string result;
  for (const char character : text) {
    if (character != ' ' || result.empty() || result.back() != ' ') result += character;
  }
  return result;
}

bool shows(const std::string &whole, const std::string &part) {
  return contains(squeezed(whole), squeezed(part));
}

class Rehearse : public testing::Test {
 protected:
  void SetUp() override {
    // Skipped under one sanitizer: see SimulationLibraries.h.
    if (!CAN_LOAD_SIMULATION) GTEST_SKIP() << CANNOT_LOAD_SIMULATION;
  }

  CommandResult run(const Lines &arguments, const Lines &environment = {},
                    const std::string &tool = ORVCTL_PATH) const {
    ProcessStart start;
    start.arguments = {tool, "rehearse"};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = environment;
    start.directory = directory_.path();
    return runCommand(start);
  }

  // Runs the tool and expects that exit status and nothing on standard error.
  std::string output(int exitStatus, const Lines &arguments, const Lines &environment = {}) const {
    const CommandResult result = run(arguments, environment);
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitStatus) << joined(arguments) << joined(result.output);
    EXPECT_EQ(result.errors, Lines());
    return joined(result.output);
  }

  // The same of what it complains about: one line, and nothing on standard output.
  std::string complaint(int exitStatus, const Lines &arguments, const std::string &tool = ORVCTL_PATH) const {
    const CommandResult result = run(arguments, {}, tool);
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitStatus) << joined(arguments);
    EXPECT_EQ(result.output, Lines());
    EXPECT_EQ(result.errors.size(), 1U) << joined(result.errors);
    return result.errors.empty() ? "" : result.errors[0];
  }

  // With the definition file above, and `more` behind it.
  std::string rehearsed(int exitStatus, const Lines &more) const {
    directory_.write("AppDef.txt", DEFINITIONS);
    Lines arguments = {"--definitions", "AppDef.txt"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return output(exitStatus, arguments);
  }
  std::string refused(const Lines &more) const {
    directory_.write("AppDef.txt", DEFINITIONS);
    Lines arguments = {"--definitions", "AppDef.txt"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return complaint(BAD_USE, arguments);
  }

  orv::sim::Scenario written(const Lines &more) const {
    Lines arguments = {"--write-scenario", "made.toml"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(rehearsed(0, arguments), "");
    orv::sim::ScenarioError error;
    const auto scenario = orv::sim::readScenario(directory_.path("made.toml"), error);
    EXPECT_TRUE(scenario.has_value()) << error.text();
    return scenario.value_or(orv::sim::Scenario{});
  }

  FreshDirectory directory_;
};

using RehearseDefinitions = Rehearse;
using RehearseUsage = Rehearse;
using RehearseSystem = Rehearse;

}  // namespace

// --- a scenario -----------------------------------------------------------------------------------------------------

TEST_F(Rehearse, ScenarioIsToldAsATimeLine) {
  const std::string file =
      directory_.write("s.toml",
                       "name = \"one program\"\n"
                       "[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"a;/opt/a;;0;0;a.online\"\n"
                       "[[program]]\npath = \"/opt/a\"\nsets = [{tag = \"a.online\", after = \"250ms\"}]\n");
  EXPECT_EQ(output(WHOLE, {file}),
            "one program\n"
            "\n"
            "       0 s  daemon  starts the CE of node 0x1011\n"
            "       0 s  daemon  reads the applications from /rom/AppDef.txt\n"
            "       0 s  a       started: /opt/a\n"
            "    250 ms  a       online after 250 ms (a.online)\n"
            "    250 ms  daemon  sends message 0xfd28 (applications started) to 0xff004e7\n"
            "    250 ms  daemon  CE start-up complete\n"
            "    250 ms  daemon  gets SIGTERM: nothing more is going to happen, the operator ends it\n"
            "    250 ms  a       ended with the shutdown\n"
            "    250 ms  daemon  ends with exit status 0\n"
            "\n"
            "The node comes up whole after 250 ms: 1 program started, 1 waited for and online in time.\n");
}

TEST_F(Rehearse, RelativeNamesAreThoseOfTheCallersFolder) {
  directory_.write("s.toml", "[[file]]\nname = \"/rom/AppDef.txt\"\nsource = \"a.txt\"\n");
  directory_.write("a.txt", "a;/opt/a;;0;0;\n");
  EXPECT_TRUE(shows(output(WHOLE, {"s.toml"}), "a started: /opt/a\n"));
}

TEST_F(Rehearse, SignalBeforeTheNodeIsUpIsAFailure) {
  directory_.write("s.toml",
                   "[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"a;/opt/a;;0;0;a.online\"\n"
                   "[[signal]]\nname = \"SIGTERM\"\nat = \"3s\"\n");
  const std::string text = output(FAILURES, {"s.toml"});
  EXPECT_TRUE(shows(text, "!!  3 s  daemon  is not prepared for SIGTERM\n")) << text;
  EXPECT_TRUE(shows(text, "!!  3 s  a       still not online (a.online)\n")) << text;
  EXPECT_TRUE(shows(text, "!!  3 s  daemon  is killed by SIGTERM\n")) << text;
  EXPECT_TRUE(shows(text, "The node does not come up: a was not online yet; the daemon is killed by SIGTERM.\n"))
      << text;
}

TEST_F(Rehearse, MessageThatIsExpectedAndNotSentIsAFailure) {
  directory_.write("s.toml", "[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"\"\n[[expect_message]]\nid = 5\n");
  EXPECT_TRUE(shows(output(FAILURES, {"s.toml"}), "but not whole: message 0x5 is not sent.\n"));
}

TEST_F(Rehearse, NodeThatIsLeftAsItIsIsWhole) {
  directory_.write("s.toml", "end_signal = \"none\"\n[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"\"\n");
  EXPECT_TRUE(shows(output(WHOLE, {"s.toml"}), "daemon  runs on, and nothing more is going to happen\n"));
}

TEST_F(Rehearse, DaemonCaughtInALoopIsAFailure) {
  directory_.write("s.toml", "max_operations = 20\n[[file]]\nname = \"/rom/AppDef.txt\"\ntext = \"\"\n");
  EXPECT_TRUE(
      shows(output(FAILURES, {"s.toml"}), "The node does not come up: the daemon makes more than 20 operations"));
}

TEST_F(Rehearse, ResetOfTheBoardHasAnExitStatusOfItsOwn) {
  const std::string text = rehearsed(RESET, {"--late", "pump=never", "--watchdog"});
  EXPECT_TRUE(shows(text, "!!  4 min 1 s   daemon  a board reset is asked for, in 30 s\n")) << text;
  EXPECT_TRUE(shows(text,
                    "The node does not come up: the board is reset after 4 min 31 s: "
                    "pump does not come online in time.\n"))
      << text;
}

// --- the daemon's arguments -----------------------------------------------------------------------------------------

TEST_F(Rehearse, DaemonGetsWhatStandsBehindTheDashes) {
  const std::string text = rehearsed(
      WHOLE, {"--", "--startup=nid=0x2011,executable=/opt/x -v#x.online,notifreceiver=0xf011315", "-c", "x.online=1"});
  EXPECT_TRUE(shows(text, "starts the CE of node 0x2011\n")) << text;
  EXPECT_TRUE(shows(text, "/opt/x    started: /opt/x -v\n")) << text;
  EXPECT_TRUE(shows(text, "/opt/x    online at once (x.online)\n")) << text;
  EXPECT_TRUE(shows(text, "sends message 0x1b9d (initialisation finished) to 0xf011315\n")) << text;
}

TEST_F(Rehearse, NothingBehindTheDashesIsNoArgument) {
  EXPECT_EQ(rehearsed(FAILURES, {"--"}),
            "!!  0 s  daemon  Command line parsing failed\n"
            "!!  0 s  daemon  ends with exit status 1\n"
            "\n"
            "The node does not come up: Command line parsing failed; the daemon ends with exit status 1.\n");
}

TEST_F(Rehearse, ComplaintsOfTheDaemonAreToldWithoutItsPlace) {
  const std::string text = rehearsed(FAILURES, {"--", "--startup=nidd=5", "--bogus"});
  EXPECT_TRUE(shows(text, "!!  0 s  daemon    says: Unknown option 'nidd=5'\n")) << text;
  EXPECT_TRUE(shows(text, "!!  0 s  daemon    says: ORVDaemonExe: unrecognized option '--bogus'\n")) << text;
}

TEST_F(Rehearse, CallersEnvironmentMakesNoDifference) {
  const Lines arguments = {"--definitions", "AppDef.txt", "--trace"};
  const std::string plain = rehearsed(WHOLE, {"--trace"});
  EXPECT_EQ(
      output(WHOLE, arguments,
             {"ORV_CE_NAME=x", "ORV_SIM_SEED=7", "ORV_SIM_SCENARIO=/absent", "POSIXLY_CORRECT=1", "NOTIFY_SOCKET=@x"}),
      plain);
}

// --- output ---------------------------------------------------------------------------------------------------------

TEST_F(Rehearse, TraceIsPrintedWhole) {
  const std::string text = rehearsed(WHOLE, {"--trace"});
  EXPECT_TRUE(text.starts_with("0.000 main err: RT-ORV build ")) << text;
  EXPECT_TRUE(shows(text, "0.000 1:ceInternalStartupEu AaConfigTagIsSet(\"radio.online\") = 0\n"));
  EXPECT_TRUE(text.ends_with("2.000 node end: exit status 0\n"));
  rehearsed(FAILURES, {"--trace", "--fail", "radio"});
}

TEST_F(Rehearse, JsonTellsTheSame) {
  const std::string text = rehearsed(RESET, {"--json", "--seed", "0xff", "--crash=pump=5", "--watchdog"});
  EXPECT_TRUE(text.starts_with("{\n  \"scenario\": \"\",\n  \"seed\": 255,\n  \"verdict\": \"reset\",\n")) << text;
  EXPECT_TRUE(shows(text, "\"complete_ms\": 2000,\n")) << text;
  EXPECT_TRUE(shows(text,
                    "{\"at_ms\": 6000, \"event\": \"program-ended\", \"mark\": \"failure\", \"who\": \"pump\", "
                    "\"text\": \"exited with 1 after 5 s\", \"eu\": 3, \"ran_ms\": 5000, \"result\": 5, "
                    "\"wait_status\": 256},\n"))
      << text;
  EXPECT_TRUE(text.ends_with("\"text\": \"the board is reset\"}\n  ]\n}\n")) << text;
}

TEST_F(Rehearse, OneSeedIsOneStory) {
  const std::string first = rehearsed(WHOLE, {"--trace", "--seed", "18446744073709551615"});
  EXPECT_EQ(rehearsed(WHOLE, {"--trace", "--seed", "18446744073709551615"}), first);
  EXPECT_NE(rehearsed(WHOLE, {"--trace", "--seed", "0"}), first);
}

TEST_F(Rehearse, SeedReplacesTheScenarios) {
  const std::string file = directory_.write("s.toml", "seed = 5\n");
  EXPECT_TRUE(shows(output(FAILURES, {file, "--json"}), "\"seed\": 5,\n"));
  EXPECT_TRUE(shows(output(FAILURES, {file, "--json", "--seed=6"}), "\"seed\": 6,\n"));
}

TEST_F(Rehearse, NoColoursInAPipe) {
  EXPECT_FALSE(shows(rehearsed(FAILURES, {"--fail", "radio"}), "\x1b"));
}

TEST_F(Rehearse, HelpTellsTheExitCodesAndTheDefaultArguments) {
  const std::string text = output(0, {"--help"});
  for (const char *part : {"--definitions", "--fail", "--late", "--crash", "--watchdog", "--write-scenario", "--seed",
                           "--daemon", "--trace", "--json", "--startup=nid=0x1011", "  64 "})
    EXPECT_TRUE(shows(text, part)) << part;
}

// --- definitions ----------------------------------------------------------------------------------------------------

TEST_F(RehearseDefinitions, EveryApplicationComesOnline) {
  EXPECT_TRUE(rehearsed(WHOLE, {}).ends_with(
      "The node comes up whole after 2 s: 3 programs started, 2 waited for and online in time.\n"));
}

TEST_F(RehearseDefinitions, ApplicationThatFailsCannotBeStarted) {
  const std::string text = rehearsed(FAILURES, {"--fail", "radio", "--fail", "recorder"});
  EXPECT_TRUE(shows(text, "radio could not be started: No such file or directory (/opt/radio)\n")) << text;
  EXPECT_TRUE(shows(text, "recorder could not be started: No such file or directory (/opt/recorder)\n")) << text;
}

TEST_F(RehearseDefinitions, LateApplicationComesThatLate) {
  EXPECT_TRUE(shows(rehearsed(WHOLE, {"--late", "radio=239.5"}), "radio online after 3 min 59.5 s (radio.online)\n"));
  EXPECT_TRUE(shows(rehearsed(WHOLE, {"--late", "radio=2min"}), "radio online after 2 min (radio.online)\n"));
  const std::string tooLate = rehearsed(FAILURES, {"--late", "radio=300"});
  EXPECT_TRUE(shows(tooLate, "radio not online after 4 min (radio.online): given up\n")) << tooLate;
  EXPECT_TRUE(shows(tooLate, " ! 5 min radio sets tag radio.online, too late\n")) << tooLate;
}

TEST_F(RehearseDefinitions, CrashComesAfterTheTagOrBeforeIt) {
  const std::string after = rehearsed(FAILURES, {"--crash", "radio=1.001"});
  EXPECT_TRUE(shows(after, "radio online after 1 s (radio.online)\n")) << after;
  EXPECT_TRUE(shows(after, "radio exited with 1 after 1.001 s\n")) << after;
  const std::string before = rehearsed(FAILURES, {"--crash", "radio=1"});
  EXPECT_TRUE(shows(before, "radio exited with 1 after 1 s\n")) << before;
  EXPECT_TRUE(shows(before, "radio not online after 4 min (radio.online): given up\n")) << before;
}

TEST_F(RehearseDefinitions, LateApplicationMayCrashAsWell) {
  EXPECT_TRUE(shows(rehearsed(FAILURES, {"--late", "radio=5", "--crash", "radio=9"}),
                    "The node comes up after 6 s, but not whole: radio exited with 1.\n"));
}

TEST_F(RehearseDefinitions, SameCommandsAreToldApart) {
  directory_.write("same.txt", "a;/bin/x;1;0;0;a.on\nb;/bin/x;1;0;0;b.on\nc;/bin/x;2;0;0;c.on\n");
  const std::string text = output(FAILURES, {"--definitions", "same.txt", "--crash", "b=5"});
  EXPECT_TRUE(shows(text, "!!  6 s  b           exited with 1 after 5 s\n")) << text;
  EXPECT_TRUE(shows(text, "3 s  c           online after 1 s (c.on)\n")) << text;
}

TEST_F(RehearseDefinitions, WrittenScenarioIsTheOneThatIsRun) {
  const orv::sim::Scenario scenario =
      written({"--fail=radio", "--late=pump=never", "--crash=recorder=2", "--watchdog", "--seed=7"});
  EXPECT_EQ(scenario.seed, 7U);
  EXPECT_EQ(scenario.files.at("/rom/AppDef.txt"), DEFINITIONS);
  EXPECT_TRUE(scenario.tags.contains("orv.service.aapro.watchdog_enabled"));
  ASSERT_EQ(scenario.programs.size(), 3U);
  EXPECT_EQ(scenario.programs[0].launchFailure, 2);
  EXPECT_EQ(scenario.programs[0].args, "-b 7");
  EXPECT_TRUE(scenario.programs[1].sets.empty());
  EXPECT_EQ(scenario.programs[2].runsForMs, 2000U);
  EXPECT_EQ(scenario.programs[2].waitStatus, 256);
  const std::string run =
      rehearsed(RESET, {"--fail=radio", "--late=pump=never", "--crash=recorder=2", "--watchdog", "--seed=7"});
  EXPECT_EQ(output(RESET, {"made.toml"}), run);
}

TEST_F(RehearseDefinitions, ScenarioGoesToStandardOutputWhereItIsAskedFor) {
  written({});
  EXPECT_EQ(rehearsed(0, {"--write-scenario", "-"}), directory_.read("made.toml"));
}

// --- bad use --------------------------------------------------------------------------------------------------------

TEST_F(RehearseUsage, SomethingHasToBeRehearsed) {
  EXPECT_EQ(complaint(BAD_USE, {}),
            "orvctl: nothing to rehearse: name a scenario file, or a definition file with --definitions (see orvctl "
            "rehearse --help)");
  EXPECT_EQ(refused({"s.toml"}),
            "orvctl: two things to rehearse: name a scenario file, or a definition file with --definitions (see orvctl "
            "rehearse --help)");
}

TEST_F(RehearseUsage, FilesThatCannotBeReadAreBadUse) {
  EXPECT_EQ(complaint(BAD_USE, {"absent.toml"}), "orvctl: absent.toml: No such file or directory");
  EXPECT_EQ(complaint(BAD_USE, {"--definitions", "absent.txt"}), "orvctl: absent.txt: No such file or directory");
  EXPECT_EQ(complaint(BAD_USE, {"--definitions", "/dev/null"}),
            "orvctl: /dev/null: it is a device, a FIFO or a socket (name a regular file)");
}

TEST_F(RehearseUsage, MistakeInAScenarioHasItsPlace) {
  directory_.write("s.toml", "name = \"x\"\nsead = 5\n");
  EXPECT_TRUE(complaint(BAD_USE, {"s.toml"}).starts_with("orvctl: s.toml:2:1: ")) << complaint(BAD_USE, {"s.toml"});
}

TEST_F(RehearseUsage, UnknownApplicationIsAnsweredWithTheNearest) {
  EXPECT_EQ(refused({"--fail", "pmup"}),
            "orvctl: there is no application \"pmup\" in AppDef.txt (did you mean \"pump\"?)");
  EXPECT_EQ(refused({"--crash", "nothing-like-it=1"}),
            "orvctl: there is no application \"nothing-like-it\" in AppDef.txt");
}

TEST_F(RehearseUsage, FaultsThatMakeNoSenseAreRefused) {
  const struct {
    Lines arguments;
    const char *problem;
  } cases[] = {
      {{"--late", "pump"}, "--late \"pump\" has no time (write NAME=SECONDS or NAME=never)"},
      {{"--crash", "pump"}, "--crash \"pump\" has no time (write NAME=SECONDS)"},
      {{"--late", "recorder=5"}, "--late names application \"recorder\", which has no online tag to be late with"},
      {{"--fail", "pump", "--fail", "pump"}, "--fail names application \"pump\" twice"},
      {{"--late", "pump=1", "--late", "pump=2"}, "--late names application \"pump\" twice"},
      {{"--crash", "pump=1", "--crash", "pump=2"}, "--crash names application \"pump\" twice"},
      {{"--fail", "pump", "--crash", "pump=2"},
       "application \"pump\" cannot be started with --fail and crash as well (name one of the two)"},
      {{"--fail", "pump", "--late", "pump=2"},
       "application \"pump\" cannot be started with --fail and be late as well (name one of the two)"},
  };
  for (const auto &each : cases)
    EXPECT_EQ(refused(each.arguments), std::string("orvctl: ") + each.problem);
  for (const char *time : {"", "-1", "1.2.3", "soon", "1y", "0.0001", "never"})
    EXPECT_TRUE(refused({std::string("--crash=pump=") + time})
                    .starts_with("orvctl: --crash \"pump=" + std::string(time) + "\" has a time that "))
        << time;
}

TEST_F(RehearseUsage, ApplicationsThatAreNeverStartedCannotFail) {
  directory_.write("odd.txt", "nothing;;;0;0;tag\nodd;/opt/\xff;;0;0;\n");
  EXPECT_EQ(complaint(BAD_USE, {"--definitions", "odd.txt", "--fail", "nothing"}),
            "orvctl: --fail names application \"nothing\", which has no path and is never started");
  EXPECT_EQ(complaint(BAD_USE, {"--definitions", "odd.txt"}),
            "orvctl: odd.txt: application \"odd\" has a path, arguments or a tag that is not UTF-8 (a scenario cannot "
            "hold it)");
}

TEST_F(RehearseUsage, OptionsThatDoNotBelongTogetherAreRefused) {
  directory_.write("s.toml", "");
  for (const Lines &faults : {Lines{"--fail", "a"}, Lines{"--late", "a=1"}, Lines{"--crash", "a=1"},
                              Lines{"--watchdog"}, Lines{"--write-scenario", "x"}}) {
    Lines arguments = faults;
    arguments.insert(arguments.begin(), "s.toml");
    EXPECT_EQ(complaint(BAD_USE, arguments),
              "orvctl: " + faults[0] + " requires --definitions (see orvctl rehearse --help)");
  }
  EXPECT_EQ(complaint(BAD_USE, {"s.toml", "--trace", "--json"}),
            "orvctl: --trace excludes --json (see orvctl rehearse --help)");
}

TEST_F(RehearseUsage, SeedIsANumber) {
  for (const char *seed : {"-1", "x", "1x", "18446744073709551616", "0x"}) {
    EXPECT_EQ(complaint(BAD_USE, {"s.toml", std::string("--seed=") + seed}),
              "orvctl: --seed: \"" + std::string(seed) +
                  "\" is not a number from 0 to 18446744073709551615 (see orvctl rehearse --help)");
  }
}

TEST_F(RehearseUsage, UnknownOptionIsRefused) {
  EXPECT_EQ(complaint(BAD_USE, {"s.toml", "--bogus"}),
            "orvctl: orvctl rehearse has no option \"--bogus\" (an argument that begins with - goes behind --; see "
            "orvctl rehearse --help)");
}

// --- a system that fails --------------------------------------------------------------------------------------------

TEST_F(RehearseSystem, DaemonHasToBeThere) {
  directory_.write("s.toml", "");
  EXPECT_EQ(complaint(FAILED, {"s.toml", "--daemon", "absent"}),
            "orvctl: cannot run the daemon absent: No such file or directory (name its executable with --daemon)");
  EXPECT_EQ(complaint(FAILED, {"s.toml", "--daemon", "/"}),
            "orvctl: / is a directory (name the daemon's executable with --daemon)");
}

TEST_F(RehearseSystem, DaemonCanBeNamed) {
  directory_.write("AppDef.txt", DEFINITIONS);
  std::filesystem::copy_file(ORV_DAEMON_EXE, directory_.path("another"));
  output(WHOLE, {"--definitions", "AppDef.txt", "--daemon", "./another"});
}

TEST_F(RehearseSystem, ProgramThatIsNoDaemonLeavesNoTrace) {
  directory_.write("s.toml", "");
  const std::string file = directory_.write("talker", "#!/bin/sh\necho I am a program\nexit 5\n");
  chmod(file.c_str(), 0755);
  EXPECT_EQ(complaint(FAILED, {"s.toml", "--daemon", "./talker"}),
            "orvctl: the daemon ./talker left no trace: I am a program");
  const std::string silent = directory_.write("silent", "#!/bin/sh\nkill -9 $$\n");
  chmod(silent.c_str(), 0755);
  EXPECT_EQ(complaint(FAILED, {"s.toml", "--daemon", "./silent"}),
            "orvctl: the daemon ./silent left no trace: killed by signal 9 (SIGKILL)");
}

TEST_F(RehearseSystem, NothingIsRunWithoutTheSimulatedPlatform) {
  directory_.write("s.toml", "");
  std::filesystem::create_directory(directory_.path("bin"));
  std::filesystem::copy_file(ORVCTL_PATH, directory_.path("bin/orvctl"));
  const std::string file = directory_.write("witness", "#!/bin/sh\ntouch was-run\n");
  chmod(file.c_str(), 0755);
  EXPECT_EQ(complaint(FAILED, {"s.toml", "--daemon", "./witness"}, directory_.path("bin/orvctl")),
            "orvctl: there is no simulated platform in " + directory_.path("lib/simulated") +
                " (it is built and installed together with orvctl)");
  EXPECT_FALSE(std::filesystem::exists(directory_.path("was-run")));
}

TEST_F(RehearseSystem, ScenarioThatCannotBeWrittenIsAFailure) {
  directory_.write("AppDef.txt", DEFINITIONS);
  EXPECT_EQ(complaint(FAILED, {"--definitions", "AppDef.txt", "--write-scenario", "absent/s.toml"}),
            "orvctl: cannot write the scenario to absent/s.toml: No such file or directory");
}

TEST_F(RehearseSystem, NothingIsLeftBehind) {
  rehearsed(WHOLE, {});
  size_t files = 0;
  for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(directory_.path()))
    ++files;
  EXPECT_EQ(files, 1U);
}
