// orvctl status and ungraceful: the node and its last runs in words, the daemon being alive, dead or somebody else by
// now.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

using OrvctlStatus = Orvctl;
using OrvctlUngraceful = Orvctl;

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

// --- status ---------------------------------------------------------------------------------------------------------

TEST_F(OrvctlStatus, SaysThatNoRunHasBegun) {
  store();
  EXPECT_EQ(output(DONE, {"status"}), "No run of this node has begun yet.\n");
}

TEST_F(OrvctlStatus, DefinitionFileThatIsNoFileHoldsNobodyUp) {
  const Stranger daemon;
  beginRun(daemon.pid());
  const std::string fifo = directory_.path("definitions");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  ASSERT_TRUE(store()->setTag("app.hwapi.appcfg.filename", {TagType::STRING, 0, fifo}).ok());
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state     up\n"));
}

TEST_F(OrvctlStatus, ShowsTheRunOfALivingDaemon) {
  const Stranger daemon;
  beginRun(daemon.pid());
  const std::string text = output(DONE, {"status"});
  EXPECT_TRUE(contains(text, "state     up\n")) << text;
  EXPECT_TRUE(contains(text, "daemon    pid " + std::to_string(daemon.pid()) + ", alive\n")) << text;
  EXPECT_TRUE(contains(text, "node id   0x0010\n")) << text;
  EXPECT_TRUE(contains(text, "CE name   CE-1\n")) << text;
  EXPECT_TRUE(contains(text, "since     2023-11-14 22:13:20 +0000 (")) << text;
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
    EXPECT_TRUE(contains(line, std::string("  ") + cases[i].words + "  ")) << line;
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
      text.ends_with("ID  EU         STATE    SINCE  PID   ON FAILURE  PROGRAM\n"
                     "3   radioCtrl  running  -      4711  -           /usr/bin/radio -v\n"))
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
  EXPECT_TRUE(contains(text, "state     down: the daemon died without a shutdown\n")) << text;
  EXPECT_TRUE(contains(text, ", dead\n")) << text;
  EXPECT_TRUE(contains(text, "ended with the daemon  ")) << text;
  EXPECT_FALSE(contains(text, "running ")) << text;
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
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state     starting\n"));
  beginRun(daemon.pid(), RunState::DOWN);
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state     shut down, the daemon is about to end\n"));
  daemon.makeZombie();
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state     shut down\n"));
  beginRun(daemon.pid(), RunState::EARLY);
  EXPECT_TRUE(contains(output(DONE, {"status"}), "state     down: the daemon ended during its start-up\n"));
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

}  // namespace
