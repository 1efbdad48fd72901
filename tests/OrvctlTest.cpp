// The operator's tool as a process, with a node that the test makes: what it prints, and how it ends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "DaemonProcess.h"
#include "FreshDirectory.h"
#include "NodeStore.h"
#include "RunRecord.h"

namespace {

using orv::EuRecord;
using orv::EuState;
using orv::NodeStore;
using orv::RunState;
using orv::TagType;
using Lines = std::vector<std::string>;

constexpr int DONE = 0;
constexpr int NO = 1;
constexpr int USAGE = 2;
constexpr int FAILED = 3;

bool contains(const std::string &whole, const std::string &part) {
  return whole.find(part) != std::string::npos;
}

std::string joined(const Lines &lines) {
  std::string text;
  for (const std::string &line : lines)
    text += line + "\n";
  return text;
}

// A process of no other use than to have been there: its id after its end, and the id of one that lives on.
class Stranger {
 public:
  Stranger() : pid_(fork()) {
    if (pid_ == 0) {
      for (;;)
        pause();
    }
  }
  ~Stranger() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Stranger(const Stranger &) = delete;
  Stranger &operator=(const Stranger &) = delete;
  uint32_t pid() const {
    return static_cast<uint32_t>(pid_);
  }
  // Dead, but not yet waited for.
  void makeZombie() const {
    kill(pid_, SIGKILL);
    siginfo_t ignored{};
    waitid(P_PID, static_cast<id_t>(pid_), &ignored, WEXITED | WNOWAIT);
  }

 private:
  pid_t pid_;
};

class Orvctl : public testing::Test {
 protected:
  Orvctl() {
    std::filesystem::create_directory(node());
    std::filesystem::permissions(node(), std::filesystem::perms(0750));
  }

  std::string node() const {
    return directory_.path("node");
  }
  std::string state() const {
    return directory_.path("state");
  }

  // The store of the node; made where there is none yet.
  std::unique_ptr<NodeStore> store() const {
    std::unique_ptr<NodeStore> store;
    const orv::Status status = NodeStore::open(node(), NodeStore::Access::CREATE, store);
    EXPECT_TRUE(status.ok()) << status.message;
    return store;
  }

  CommandResult run(const Lines &arguments) const {
    ProcessStart start;
    start.arguments = {ORVCTL_PATH};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    start.environment = {"ORV_NODE_DIR=" + node(), "ORV_STATE_DIR=" + state(), "TZ=UTC"};
    return runCommand(start);
  }

  // Runs the tool and expects that exit code; output on one stream alone.
  std::string output(int exitCode, const Lines &arguments) const {
    const CommandResult result = run(arguments);
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << joined(arguments) << joined(result.errors);
    EXPECT_EQ(result.errors, Lines());
    return joined(result.output);
  }
  // The same for what it has to complain about: one line, which begins with the name of the tool.
  std::string complaint(int exitCode, const Lines &arguments) const {
    const CommandResult result = run(arguments);
    EXPECT_TRUE(WIFEXITED(result.waitStatus)) << result.waitStatus;
    EXPECT_EQ(WEXITSTATUS(result.waitStatus), exitCode) << joined(arguments);
    EXPECT_EQ(result.output, Lines());
    EXPECT_EQ(result.errors.size(), 1U) << joined(result.errors);
    const std::string text = result.errors.empty() ? "" : result.errors[0];
    EXPECT_TRUE(text.starts_with("orvctl: ")) << text;
    return text;
  }

  // A run whose daemon is the process `pid`.
  void beginRun(uint32_t pid, RunState runState = RunState::UP) const {
    orv::RunInfo run;
    run.state = runState;
    run.daemonPid = pid;
    run.startedNs = orv::monotonicNs();
    run.startedRealtimeNs = 1700000000ULL * 1000000000;
    run.nid = 0x10;
    run.ceName = "CE-1";
    EXPECT_TRUE(store()->beginRun(run).ok());
  }

  FreshDirectory directory_;
};

using OrvctlTag = Orvctl;
using OrvctlRad = Orvctl;
using OrvctlStatus = Orvctl;
using OrvctlUngraceful = Orvctl;
using OrvctlUsage = Orvctl;
using OrvctlSystem = Orvctl;

// --- tag ------------------------------------------------------------------------------------------------------------

TEST_F(OrvctlTag, SetWithoutAValueIsANumberOne) {
  store();
  EXPECT_EQ(output(DONE, {"tag", "set", "a"}), "");
  const auto tag = store()->tag("a");
  ASSERT_TRUE(tag.has_value());
  EXPECT_EQ(tag->value.type, TagType::U32);
  EXPECT_EQ(tag->value.number, 1U);
}

TEST_F(OrvctlTag, PlainNumbersBecomeNumbersAndTheRestTexts) {
  store();
  const struct {
    const char *value;
    TagType type;
  } cases[] = {{"0", TagType::U32},           {"4294967295", TagType::U32}, {"4294967296", TagType::STRING},
               {"-5", TagType::STRING},       {"007", TagType::STRING},     {"0x10", TagType::STRING},
               {"1.5", TagType::STRING},      {"", TagType::STRING},        {"[a,b]", TagType::STRING},
               {"two words", TagType::STRING}};
  for (const auto &each : cases) {
    EXPECT_EQ(output(DONE, {"tag", "set", "a", each.value}), "");
    EXPECT_EQ(store()->tag("a")->value.type, each.type) << each.value;
    EXPECT_EQ(output(DONE, {"tag", "get", "a"}), std::string(each.value) + "\n");
  }
}

TEST_F(OrvctlTag, TypeCanBeChosen) {
  store();
  output(DONE, {"tag", "set", "--type", "u16", "a", "0xffff"});
  EXPECT_EQ(store()->tag("a")->value.type, TagType::U16);
  EXPECT_EQ(store()->tag("a")->value.number, 65535U);
  output(DONE, {"tag", "set", "a", "5", "--type=string"});
  EXPECT_EQ(store()->tag("a")->value.type, TagType::STRING);
  EXPECT_EQ(store()->tag("a")->value.text, "5");
  output(DONE, {"tag", "set", "a", "010", "--type", "u32"});
  EXPECT_EQ(store()->tag("a")->value.number, 8U);
}

TEST_F(OrvctlTag, ValueThatIsNotOfTheTypeIsRefused) {
  store();
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "65536", "--type", "u16"}), "0 to 65535"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "x", "--type", "u32"}), "\"x\""));
  complaint(USAGE, {"tag", "set", "a", "", "--type", "u32"});
  complaint(USAGE, {"tag", "set", "a", "0x", "--type", "u32"});
  complaint(USAGE, {"tag", "set", "a", "08", "--type", "u32"});
  EXPECT_FALSE(store()->tagIsSet("a"));
}

TEST_F(OrvctlTag, ValueAfterTwoDashesMayBeginWithOne) {
  store();
  output(DONE, {"tag", "set", "a", "--", "-v"});
  EXPECT_EQ(store()->tag("a")->value.text, "-v");
}

TEST_F(OrvctlTag, MayHaveTheNameOfACommand) {
  store();
  for (const char *name : {"status", "tag", "list", "set", "rad", "ungraceful"}) {
    output(DONE, {"tag", "set", name, "x"});
    EXPECT_EQ(output(DONE, {"tag", "get", name}), "x\n");
  }
}

TEST_F(OrvctlTag, NameAndTextThatAreTooLongAreRefused) {
  store();
  output(DONE, {"tag", "set", std::string(255, 'n'), std::string(4095, 't')});
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", std::string(256, 'n')}), "at most 255"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", std::string(4096, 't')}), "at most 4095"));
  complaint(USAGE, {"tag", "set", ""});
}

TEST_F(OrvctlTag, GettingOneThatIsNotSetIsANo) {
  store();
  EXPECT_EQ(complaint(NO, {"tag", "get", "absent"}), "orvctl: tag absent is not set");
}

TEST_F(OrvctlTag, UnsettingTellsWhetherItWasSet) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 1, {}}).ok());
  EXPECT_EQ(output(DONE, {"tag", "unset", "a"}), "");
  EXPECT_FALSE(store()->tagIsSet("a"));
  EXPECT_EQ(complaint(NO, {"tag", "unset", "a"}), "orvctl: tag a was not set");
}

TEST_F(OrvctlTag, ListIsATableByName) {
  const std::string pid = "pid " + std::to_string(getpid());
  {
    const auto own = store();
    ASSERT_TRUE(own->setTag("b", {TagType::STRING, 0, "x"}).ok());
    ASSERT_TRUE(own->setTag("a.long.name", {TagType::U16, 7, {}}).ok());
  }
  const std::string gap(pid.size() - std::string("SET BY").size() + 2, ' ');
  EXPECT_EQ(output(DONE, {"tag", "list"}), "NAME         TYPE    SET BY" + gap + "VALUE\n" + "a.long.name  u16     " +
                                               pid + "  7\n" + "b            string  " + pid + "  x\n");
}

TEST_F(OrvctlTag, ListShowsNoControlCharacters) {
  ASSERT_TRUE(store()->setTag("a\n", {TagType::STRING, 0, "\x1b[31m\tred\r\n\x7f"}).ok());
  EXPECT_TRUE(contains(output(DONE, {"tag", "list"}), "a\\n   string"));
  EXPECT_TRUE(contains(output(DONE, {"tag", "list"}), "\\x1b[31m\\tred\\r\\n\\x7f\n"));
  EXPECT_EQ(complaint(NO, {"tag", "get", "\x1b[31m"}), "orvctl: tag \\x1b[31m is not set");
}

TEST_F(OrvctlTag, WaitingForOneThatIsSetEndsAtOnce) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 1, {}}).ok());
  EXPECT_EQ(output(DONE, {"tag", "wait", "a"}), "");
  EXPECT_EQ(output(DONE, {"tag", "wait", "a", "--timeout", "0"}), "");
}

TEST_F(OrvctlTag, WaitingEndsWhenItIsSet) {
  const auto own = store();
  std::thread waiter([&] { EXPECT_EQ(output(DONE, {"tag", "wait", "a", "--timeout", "60"}), ""); });
  EXPECT_TRUE(own->setTag("a", {TagType::U32, 1, {}}).ok());
  waiter.join();
}

TEST_F(OrvctlTag, WaitingInVainIsANo) {
  store();
  EXPECT_EQ(complaint(NO, {"tag", "wait", "a", "--timeout", "0"}), "orvctl: tag a was not set in time");
  const uint64_t startNs = orv::monotonicNs();
  complaint(NO, {"tag", "wait", "a", "--timeout", "0.05"});
  EXPECT_GE(orv::monotonicNs() - startNs, 50'000'000U);
}

TEST_F(OrvctlTag, TimeoutIsANumberOfSeconds) {
  store();
  for (const char *timeout : {"soon", "", "-1", "nan", "inf", "1s"})
    EXPECT_TRUE(contains(complaint(USAGE, {"tag", "wait", "a", std::string("--timeout=") + timeout}), "--timeout"));
}

// --- rad ------------------------------------------------------------------------------------------------------------

TEST_F(OrvctlRad, SetIsTheOperators) {
  store();
  EXPECT_EQ(output(DONE, {"rad", "set", "0x10063", "0xffffffff"}), "");
  ASSERT_EQ(store()->rads().size(), 1U);
  EXPECT_EQ(store()->rads()[0].number, 0x10063U);
  EXPECT_EQ(store()->rads()[0].value, 0xffffffffU);
  EXPECT_EQ(store()->rads()[0].origin, orv::RadOrigin::OPERATOR);
  EXPECT_EQ(output(DONE, {"rad", "get", "65635"}), "4294967295\n");
}

TEST_F(OrvctlRad, GettingOneThatIsNotSetIsANo) {
  store();
  EXPECT_EQ(complaint(NO, {"rad", "get", "17"}), "orvctl: RAD parameter 0x11 is not set and reads as 0");
}

TEST_F(OrvctlRad, ListTellsWhoSetThem) {
  {
    const auto own = store();
    ASSERT_TRUE(own->setRad(0x10063, 1, orv::RadOrigin::CONFIGURATION).ok());
    ASSERT_TRUE(own->setRad(2, 30, orv::RadOrigin::OPERATOR).ok());
  }
  EXPECT_EQ(output(DONE, {"rad", "list"}),
            "NUMBER   SET BY         VALUE\n"
            "0x2      operator       30\n"
            "0x10063  configuration  1\n");
}

TEST_F(OrvctlRad, NumbersThatAreNoneAreRefused) {
  store();
  EXPECT_TRUE(contains(complaint(USAGE, {"rad", "set", "x", "1"}), "NUMBER"));
  EXPECT_TRUE(contains(complaint(USAGE, {"rad", "set", "1", "4294967296"}), "VALUE"));
  EXPECT_TRUE(contains(complaint(USAGE, {"rad", "set", "1"}), "VALUE"));
  complaint(USAGE, {"rad", "get", "-1"});
  EXPECT_TRUE(store()->rads().empty());
}

// --- status ---------------------------------------------------------------------------------------------------------

TEST_F(OrvctlStatus, SaysThatNoRunHasBegun) {
  store();
  EXPECT_EQ(output(DONE, {"status"}), "No run of this node has begun yet.\n");
}

TEST_F(OrvctlStatus, ShowsTheRunOfALivingDaemon) {
  const Stranger daemon;
  beginRun(daemon.pid());
  const std::string text = output(DONE, {"status"});
  EXPECT_TRUE(contains(text, "state    up\n")) << text;
  EXPECT_TRUE(contains(text, "daemon   pid " + std::to_string(daemon.pid()) + ", alive\n")) << text;
  EXPECT_TRUE(contains(text, "node id  0x0010\n")) << text;
  EXPECT_TRUE(contains(text, "CE name  CE-1\n")) << text;
  EXPECT_TRUE(contains(text, "since    2023-11-14 22:13:20 +0000 (")) << text;
}

TEST_F(OrvctlStatus, TellsHowEachProgramEnded) {
  const struct {
    EuState state;
    bool finished;
    int32_t result;
    int32_t waitStatus;
    const char *words;
  } cases[] = {
      {EuState::CREATED, false, 0, 0, "has no program"},
      {EuState::CREATED, true, 0, 0, "finished"},
      {EuState::RUNNING, false, 0, 0, "running"},
      {EuState::PROGRAM_ENDED, true, 0, 0, "exited with 0"},
      {EuState::PROGRAM_ENDED, true, 5, 3 << 8, "exited with 3"},
      {EuState::PROGRAM_ENDED, true, 5, 255 << 8, "exited with 255"},
      {EuState::PROGRAM_ENDED, true, 5, SIGKILL, "killed by signal 9 (SIGKILL)"},
      {EuState::PROGRAM_ENDED, true, 5, SIGSEGV | 0x80, "killed by signal 11 (SIGSEGV), core dumped"},
      {EuState::PROGRAM_ENDED, true, 5, 40, "killed by signal 40"},
      {EuState::PROGRAM_ENDED, true, 5, 0x137f, "ended with wait status 4991"},
      {EuState::LAUNCH_FAILED, true, ENOENT, 0, "could not be started: No such file or directory"},
      {EuState::LAUNCH_FAILED, true, -EIO, 0, "could not be started: Input/output error"},
      {EuState::SHUT_DOWN, true, 5, SIGTERM, "ended by the shutdown"},
  };
  const Stranger daemon;
  beginRun(daemon.pid());
  {
    const auto own = store();
    for (const auto &each : cases) {
      EuRecord eu;
      eu.id = static_cast<uint32_t>(&each - cases) + 1;
      eu.state = each.state;
      eu.finished = each.finished;
      eu.result = each.result;
      eu.waitStatus = each.waitStatus;
      ASSERT_TRUE(own->putEu(eu, nullptr).ok());
    }
  }
  const Lines lines = run({"status"}).output;
  ASSERT_GE(lines.size(), std::size(cases));
  for (size_t i = 0; i < std::size(cases); ++i) {
    const std::string &line = lines[lines.size() - std::size(cases) + i];
    EXPECT_TRUE(line.ends_with(std::string("  ") + cases[i].words)) << line;
  }
}

TEST_F(OrvctlStatus, ShowsProgramAndPidOfEachEu) {
  const Stranger daemon;
  beginRun(daemon.pid());
  EuRecord eu;
  eu.id = 3;
  eu.name = "radioCtrl";
  eu.path = "/usr/bin/radio";
  eu.args = "-v";
  eu.pid = 4711;
  eu.state = EuState::RUNNING;
  ASSERT_TRUE(store()->putEu(eu, nullptr).ok());
  const std::string text = output(DONE, {"status"});
  EXPECT_TRUE(
      text.ends_with("ID  EU         PROGRAM            PID   STATE\n"
                     "3   radioCtrl  /usr/bin/radio -v  4711  running\n"))
      << text;
}

TEST_F(OrvctlStatus, DeadDaemonIsSaidToBeDeadAndItsProgramsWithIt) {
  const Stranger daemon;
  daemon.makeZombie();
  beginRun(daemon.pid());
  EuRecord eu;
  eu.id = 1;
  eu.state = EuState::RUNNING;
  ASSERT_TRUE(store()->putEu(eu, nullptr).ok());
  const std::string text = output(DONE, {"status"});
  EXPECT_TRUE(contains(text, "state    down: the daemon died without a shutdown\n")) << text;
  EXPECT_TRUE(contains(text, ", dead\n")) << text;
  EXPECT_TRUE(contains(text, "ended with the daemon\n")) << text;
  EXPECT_FALSE(contains(text, "running")) << text;
}

TEST_F(OrvctlStatus, ProcessThatGotTheDaemonsIdLaterIsNotTheDaemon) {
  const Stranger stranger;
  orv::RunInfo run;
  run.state = RunState::UP;
  run.daemonPid = stranger.pid();
  run.startedNs = 1;  // long before the stranger's start
  ASSERT_TRUE(store()->beginRun(run).ok());
  const std::string text = output(DONE, {"status"});
  EXPECT_TRUE(contains(text, "pid " + std::to_string(stranger.pid()) + ", dead\n")) << text;
}

TEST_F(OrvctlStatus, NamesTheStatesOfTheRun) {
  const Stranger daemon;
  beginRun(daemon.pid(), RunState::EARLY);
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state    starting\n"));
  beginRun(daemon.pid(), RunState::DOWN);
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state    shut down, the daemon is about to end\n"));
  daemon.makeZombie();
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state    shut down\n"));
  beginRun(daemon.pid(), RunState::EARLY);
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state    down: the daemon ended during its start-up\n"));
}

TEST_F(OrvctlStatus, NonsensicalDaemonPidIsDead) {
  for (const uint32_t pid : {0U, 0xffffffffU}) {
    beginRun(pid);
    EXPECT_TRUE(contains(output(DONE, {"status"}), ", dead\n")) << pid;
  }
}

// --- ungraceful -----------------------------------------------------------------------------------------------------

TEST_F(OrvctlUngraceful, IsZeroWhereNothingIsRecorded) {
  EXPECT_EQ(output(DONE, {"ungraceful"}), "0\n");
  EXPECT_FALSE(std::filesystem::exists(state()));
}

TEST_F(OrvctlUngraceful, CountIsShownAndCleared) {
  orv::RunRecord record;
  ASSERT_TRUE(orv::recordStart(state(), {}, record).ok());
  ASSERT_TRUE(orv::recordStart(state(), {}, record).ok());
  EXPECT_EQ(output(DONE, {"ungraceful"}), "1\n");
  EXPECT_EQ(output(DONE, {"ungraceful", "--clear"}), "");
  EXPECT_EQ(output(DONE, {"ungraceful"}), "0\n");
}

TEST_F(OrvctlUngraceful, ResetsInARowAreShown) {
  std::filesystem::create_directory(state());
  directory_.write("state/run-record",
                   "bootId=x\nup=1\nungracefulCount=0\nresetsInARow=2\nresetRequested=0\nstartedBoottimeNs=0\n");
  EXPECT_EQ(output(DONE, {"ungraceful"}), "0\nboard resets in a row: 2\n");
}

TEST_F(OrvctlUngraceful, RecordThatCannotBeUnderstoodIsAFailure) {
  std::filesystem::create_directory(state());
  directory_.write("state/run-record", "nonsense");
  EXPECT_TRUE(contains(complaint(FAILED, {"ungraceful"}), state() + "/run-record"));
}

TEST_F(OrvctlUngraceful, StateDirectoryCanBeNamed) {
  orv::RunRecord record;
  const std::string other = directory_.path("other");
  ASSERT_TRUE(orv::recordStart(other, {}, record).ok());
  ASSERT_TRUE(orv::recordStart(other, {}, record).ok());
  EXPECT_EQ(output(DONE, {"ungraceful", "--state-dir", other}), "1\n");
  EXPECT_EQ(output(DONE, {"--state-dir", other, "ungraceful"}), "1\n");
}

// --- Use ------------------------------------------------------------------------------------------------------------

TEST_F(OrvctlUsage, NearestCommandIsNamed) {
  EXPECT_EQ(complaint(USAGE, {"statsu"}), "orvctl: there is no command \"statsu\" (did you mean \"status\"?)");
  EXPECT_EQ(complaint(USAGE, {"tag", "lst"}), "orvctl: there is no command \"tag lst\" (did you mean \"tag list\"?)");
  EXPECT_EQ(complaint(USAGE, {"wait", "a"}), "orvctl: there is no command \"wait\" (did you mean \"tag wait\"?)");
  EXPECT_EQ(complaint(USAGE, {"--node-dir", "tag", "rat"}),
            "orvctl: there is no command \"rat\" (did you mean \"rad\"?)");
  EXPECT_EQ(complaint(USAGE, {"frobnicate"}), "orvctl: there is no command \"frobnicate\" (see orvctl --help)");
  EXPECT_EQ(complaint(USAGE, {""}), "orvctl: there is no command \"\" (see orvctl --help)");
  complaint(USAGE, {std::string(100000, 'x')});
}

TEST_F(OrvctlUsage, MissingCommandIsSaidWithWhatThereIs) {
  EXPECT_EQ(complaint(USAGE, {}), "orvctl: a command is missing: orvctl tag|rad|status|ungraceful (see orvctl --help)");
  EXPECT_EQ(complaint(USAGE, {"--node-dir=x", "rad"}),
            "orvctl: a command is missing: orvctl rad set|get|list (see orvctl --help)");
}

TEST_F(OrvctlUsage, WrongArgumentsAreNamed) {
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "get"}), "NAME"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "get", "a", "b"}), "b"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "-v"}), "-v"));
  EXPECT_TRUE(contains(complaint(USAGE, {"--nodedir", "x", "status"}), "--nodedir"));
  EXPECT_TRUE(contains(complaint(USAGE, {"status", "--node-dir"}), "--node-dir"));
  EXPECT_TRUE(contains(complaint(USAGE, {"tag", "set", "a", "1", "--type", "bool"}), "bool"));
  complaint(USAGE, {"tag", "get", "a", "status"});
}

TEST_F(OrvctlUsage, HelpNamesEveryCommandAndExitCode) {
  const std::string text = output(DONE, {"--help"});
  for (const char *part : {"tag", "rad", "status", "ungraceful", "--node-dir", "--state-dir",
                           "Exit codes:", "  0  done", "  1  ", "  2  ", "  3  "})
    EXPECT_TRUE(contains(text, part)) << part;
  for (const char *command : {"set", "get", "unset", "list", "wait"})
    EXPECT_TRUE(contains(output(DONE, {"tag", "--help"}), command)) << command;
  EXPECT_TRUE(contains(output(DONE, {"tag", "wait", "-h"}), "--timeout"));
}

// --- The system -----------------------------------------------------------------------------------------------------

TEST_F(OrvctlSystem, NodeThatIsNotThereIsAFailureThatNamesTheDirectory) {
  const Lines commands[] = {{"tag", "set", "a"}, {"tag", "get", "a"},  {"tag", "unset", "a"},
                            {"tag", "list"},     {"tag", "wait", "a"}, {"rad", "set", "1", "2"},
                            {"rad", "get", "1"}, {"rad", "list"},      {"status"}};
  for (const Lines &command : commands) {
    EXPECT_EQ(complaint(FAILED, command), "orvctl: there is no node in " + node() +
                                              " (start it, or name its directory with --node-dir or ORV_NODE_DIR)");
  }
  EXPECT_TRUE(std::filesystem::is_empty(node())) << "looking makes nothing";
}

TEST_F(OrvctlSystem, NodeDirectoryCanBeNamedBeforeAndAfterTheCommand) {
  ASSERT_TRUE(store()->setTag("a", {TagType::U32, 5, {}}).ok());
  ProcessStart start;
  start.environment = {"ORV_NODE_DIR=" + directory_.path("absent")};
  const Lines variants[] = {{"--node-dir", node(), "tag", "get", "a"},
                            {"tag", "--node-dir", node(), "get", "a"},
                            {"tag", "get", "--node-dir=" + node(), "a"},
                            {"tag", "get", "a", "--node-dir", node()}};
  for (const Lines &arguments : variants) {
    start.arguments = {ORVCTL_PATH};
    start.arguments.insert(start.arguments.end(), arguments.begin(), arguments.end());
    EXPECT_EQ(runCommand(start).output, Lines{"5"});
  }
}

TEST_F(OrvctlSystem, DirectoryThatCannotBeTrustedIsRefused) {
  store();
  std::filesystem::permissions(node(), std::filesystem::perms(0777));
  EXPECT_TRUE(contains(complaint(FAILED, {"status"}), "everybody may write to it"));
}

TEST_F(OrvctlSystem, DamagedStoreIsAFailureAndLeftAlone) {
  directory_.write("node/node.mdb", std::string(20000, '\xa5'));
  EXPECT_TRUE(contains(complaint(FAILED, {"status"}), "damaged"));
  EXPECT_EQ(directory_.read("node/node.mdb"), std::string(20000, '\xa5'));
}

// Runs the tool with `descriptor` as its standard output.
int exitCodeWithOutput(const std::string &nodeDirectory, int descriptor) {
  const pid_t child = fork();
  if (child == 0) {
    dup2(descriptor, STDOUT_FILENO);
    execl(ORVCTL_PATH, ORVCTL_PATH, "--node-dir", nodeDirectory.c_str(), "tag", "list", nullptr);
    _exit(99);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST_F(OrvctlSystem, ReaderThatIsGoneIsNoFailure) {
  store();
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  EXPECT_EQ(exitCodeWithOutput(node(), ends[1]), DONE);
  close(ends[1]);
}

TEST_F(OrvctlSystem, OutputThatCannotBeWrittenIsAFailure) {
  store();
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  EXPECT_EQ(exitCodeWithOutput(node(), full), FAILED);
  close(full);
}

}  // namespace
