// What counts as an ungraceful shutdown, and that the record survives whatever is in its file. A boot id that is not
// the machine's makes a record one of an earlier boot.
#include "RunRecord.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sstream>
#include <vector>

#include "FreshDirectory.h"

namespace {

using orv::ResetLimits;
using orv::RunRecord;
using orv::Status;

constexpr const char *EARLIER_BOOT = "00000000-0000-0000-0000-000000000000";
constexpr const char *FILE_NAME = "run-record";
constexpr const char *GARBAGE = "ungracefulCount=7\n\x01\x02";

class RunRecordTest : public testing::Test {
 protected:
  const std::string &state() const {
    return directory_.path();
  }

  RunRecord read() const {
    RunRecord record;
    EXPECT_TRUE(orv::readRunRecord(state(), record).ok());
    return record;
  }

  RunRecord start(const ResetLimits &limits = {}) const {
    RunRecord record;
    const Status status = orv::recordStart(state(), limits, record);
    EXPECT_TRUE(status.ok()) << status.message;
    return record;
  }

  void requestReset(const ResetLimits &limits = {}) const {
    const Status status = orv::recordResetRequest(state(), limits);
    EXPECT_TRUE(status.ok()) << status.message;
  }

  // Replaces one field of the file.
  void edit(const std::string &key, const std::string &value) const {
    std::istringstream lines(directory_.read(FILE_NAME));
    std::string text;
    for (std::string line; std::getline(lines, line);)
      text += (line.starts_with(key + "=") ? key + "=" + value : line) + "\n";
    directory_.write(FILE_NAME, text);
  }

  // What a power cut and a board reset have in common: the machine boots anew.
  void boot() const {
    edit("bootId", EARLIER_BOOT);
  }

  FreshDirectory directory_;
};

using RunRecordCounts = RunRecordTest;
using RunRecordResets = RunRecordTest;
using RunRecordFile = RunRecordTest;

TEST_F(RunRecordCounts, MissingFileIsAFreshRecord) {
  const RunRecord record = read();
  EXPECT_EQ(record.bootId, "");
  EXPECT_FALSE(record.up);
  EXPECT_EQ(record.ungracefulCount, 0U);
}

TEST_F(RunRecordCounts, FirstStartCountsNothingAndMarksUp) {
  const RunRecord started = start();
  EXPECT_EQ(started.ungracefulCount, 0U);
  const RunRecord record = read();
  EXPECT_TRUE(record.up);
  EXPECT_EQ(record.bootId, orv::currentBootId());
  EXPECT_NE(record.bootId, "");
  EXPECT_GT(record.startedBoottimeNs, 0U);
}

TEST_F(RunRecordCounts, DaemonThatDiedInThisBootCounts) {
  start();
  EXPECT_EQ(start().ungracefulCount, 1U);
  EXPECT_EQ(start().ungracefulCount, 2U);
  EXPECT_EQ(read().ungracefulCount, 2U);
}

TEST_F(RunRecordCounts, PowerCutDoesNotCount) {
  start();
  boot();
  EXPECT_EQ(start().ungracefulCount, 0U);
}

TEST_F(RunRecordCounts, PowerCutKeepsWhatWasCountedBefore) {
  start();
  ASSERT_EQ(start().ungracefulCount, 1U);
  boot();
  EXPECT_EQ(start().ungracefulCount, 1U);
}

TEST_F(RunRecordCounts, GracefulShutdownClears) {
  start();
  ASSERT_EQ(start().ungracefulCount, 1U);
  EXPECT_TRUE(orv::recordGracefulShutdown(state()).ok());
  const RunRecord record = read();
  EXPECT_FALSE(record.up);
  EXPECT_EQ(record.ungracefulCount, 0U);
  EXPECT_EQ(start().ungracefulCount, 0U);
}

TEST_F(RunRecordCounts, ClearingLeavesTheRunUp) {
  start();
  ASSERT_EQ(start().ungracefulCount, 1U);
  EXPECT_TRUE(orv::clearUngraceful(state()).ok());
  EXPECT_EQ(read().ungracefulCount, 0U);
  EXPECT_TRUE(read().up);
  EXPECT_EQ(start().ungracefulCount, 1U) << "the run that was up when it was cleared died all the same";
}

TEST_F(RunRecordCounts, ClearingForgetsTheResetsInARow) {
  start();
  requestReset();
  boot();
  ASSERT_EQ(start().resetsInARow, 1U);
  EXPECT_TRUE(orv::clearUngraceful(state()).ok());
  EXPECT_EQ(read().resetsInARow, 0U);
}

TEST_F(RunRecordCounts, ClearingWhereNothingIsRecordedMakesNothing) {
  const std::string absent = directory_.path("absent");
  EXPECT_TRUE(orv::clearUngraceful(absent).ok());
  EXPECT_FALSE(std::filesystem::exists(absent));
}

TEST_F(RunRecordCounts, CountStopsAtItsLargestValue) {
  start();
  edit("ungracefulCount", "4294967295");
  EXPECT_EQ(start().ungracefulCount, 4294967295U);
}

TEST_F(RunRecordResets, FourthInARowCounts) {
  start();
  for (uint32_t reset = 1; reset <= 3; ++reset) {
    requestReset();
    boot();
    const RunRecord record = start();
    EXPECT_EQ(record.resetsInARow, reset);
    EXPECT_EQ(record.ungracefulCount, 0U) << "after reset " << reset;
  }
  requestReset();
  boot();
  const RunRecord record = start();
  EXPECT_EQ(record.resetsInARow, 4U);
  EXPECT_EQ(record.ungracefulCount, 1U);
}

TEST_F(RunRecordResets, BudgetIsTheCallers) {
  const ResetLimits none{.resetBudget = 0, .resetWindowS = 600};
  start(none);
  requestReset(none);
  boot();
  EXPECT_EQ(start(none).ungracefulCount, 1U);
}

TEST_F(RunRecordResets, PowerCutInBetweenBreaksTheRow) {
  start();
  for (int reset = 0; reset < 3; ++reset) {
    requestReset();
    boot();
    start();
  }
  boot();
  EXPECT_EQ(start().resetsInARow, 0U);
  requestReset();
  boot();
  const RunRecord record = start();
  EXPECT_EQ(record.resetsInARow, 1U);
  EXPECT_EQ(record.ungracefulCount, 0U);
}

TEST_F(RunRecordResets, DeathInBetweenBreaksTheRowAndCounts) {
  start();
  requestReset();
  boot();
  ASSERT_EQ(start().resetsInARow, 1U);
  const RunRecord record = start();
  EXPECT_EQ(record.resetsInARow, 0U);
  EXPECT_EQ(record.ungracefulCount, 1U);
}

TEST_F(RunRecordResets, GracefulShutdownBreaksTheRow) {
  start();
  requestReset();
  boot();
  ASSERT_EQ(start().resetsInARow, 1U);
  ASSERT_TRUE(orv::recordGracefulShutdown(state()).ok());
  EXPECT_EQ(start().resetsInARow, 0U);
}

TEST_F(RunRecordResets, ResetThatNeverCameCountsAsADeath) {
  start();
  requestReset();
  const RunRecord record = start();
  EXPECT_EQ(record.ungracefulCount, 1U);
  EXPECT_EQ(record.resetsInARow, 0U);
  EXPECT_FALSE(record.resetRequested);
}

TEST_F(RunRecordResets, RequestAfterTheWindowIsNotRemembered) {
  start();
  edit("startedBoottimeNs", "0");  // the machine is up for longer than the window of 0 s
  requestReset({.resetBudget = 3, .resetWindowS = 0});
  EXPECT_FALSE(read().resetRequested);
}

TEST_F(RunRecordResets, RequestWithinTheWindowIsRemembered) {
  start();
  requestReset({.resetBudget = 3, .resetWindowS = 600});
  EXPECT_TRUE(read().resetRequested);
}

TEST_F(RunRecordResets, LongestWindowDoesNotOverflow) {
  start();
  edit("startedBoottimeNs", "0");
  requestReset({.resetBudget = 3, .resetWindowS = 4294967295U});
  EXPECT_TRUE(read().resetRequested);
}

TEST_F(RunRecordResets, RequestWithoutARunIsNotRemembered) {
  requestReset();
  EXPECT_FALSE(read().resetRequested);
  start();
  ASSERT_TRUE(orv::recordGracefulShutdown(state()).ok());
  requestReset();
  EXPECT_FALSE(read().resetRequested);
}

TEST_F(RunRecordResets, WithdrawnRequestIsAsNone) {
  start();
  requestReset();
  EXPECT_TRUE(orv::withdrawResetRequest(state()).ok());
  EXPECT_FALSE(read().resetRequested);
  boot();
  EXPECT_EQ(start().resetsInARow, 0U);
}

// A state directory that cannot be written at the shutdown: something is in the new file's place.
class RunRecordNotes : public RunRecordTest {
 protected:
  void makeUnwritable() const {
    std::filesystem::create_directories(directory_.path(std::string(FILE_NAME) + ".new/in-use"));
    ASSERT_FALSE(orv::recordGracefulShutdown(state()).ok());
  }
  std::string nodeDirectory() const {
    return node_.path();
  }
  // The count of a start that takes the note.
  uint32_t countOfNextStart() const {
    RunRecord before;
    RunRecord record;
    static_cast<void>(orv::readRunRecord(state(), before));
    static_cast<void>(orv::recordStart(state(), {}, record, orv::takeShutdownNote(nodeDirectory(), before)));
    return record.ungracefulCount;
  }

  FreshDirectory node_;
};

TEST_F(RunRecordNotes, ShutdownThatCannotBeRecordedIsNoDeath) {
  start();
  makeUnwritable();
  EXPECT_TRUE(orv::noteGracefulShutdown(state(), nodeDirectory()).ok());
  EXPECT_EQ(countOfNextStart(), 0U);
}

TEST_F(RunRecordNotes, WithoutANoteItIsADeath) {
  start();
  makeUnwritable();
  EXPECT_EQ(countOfNextStart(), 1U);
}

TEST_F(RunRecordNotes, NoteIsOfOneRunAlone) {
  start();
  makeUnwritable();
  EXPECT_TRUE(orv::noteGracefulShutdown(state(), nodeDirectory()).ok());
  EXPECT_EQ(countOfNextStart(), 0U);
  EXPECT_EQ(countOfNextStart(), 1U);  // that run has died
}

TEST_F(RunRecordNotes, EachShutdownOfAStateThatStaysUnwritableIsNoted) {
  start();
  makeUnwritable();
  for (int run = 0; run < 3; ++run) {
    EXPECT_TRUE(orv::noteGracefulShutdown(state(), nodeDirectory()).ok());
    EXPECT_EQ(countOfNextStart(), 0U);
  }
}

TEST_F(RunRecordNotes, NoteForgivesAsAShutdownDoes) {
  start();
  start();
  ASSERT_EQ(start().ungracefulCount, 2U);
  makeUnwritable();
  EXPECT_TRUE(orv::noteGracefulShutdown(state(), nodeDirectory()).ok());
  EXPECT_EQ(countOfNextStart(), 0U);
}

TEST_F(RunRecordNotes, NoteOfAnotherRunOrBootIsNone) {
  for (const char *key : {"bootId", "startedBoottimeNs"}) {
    start();
    EXPECT_TRUE(orv::noteGracefulShutdown(state(), nodeDirectory()).ok());
    edit(key, "1");
    const RunRecord record = read();
    ASSERT_TRUE(record.up);
    EXPECT_FALSE(orv::takeShutdownNote(nodeDirectory(), record)) << key;
    ASSERT_TRUE(orv::recordGracefulShutdown(state()).ok());
  }
}

TEST_F(RunRecordNotes, GarbageIsNoNoteAndIsTakenAway) {
  start();
  node_.write("run-shut-down", GARBAGE);
  EXPECT_FALSE(orv::takeShutdownNote(nodeDirectory(), read()));
  EXPECT_TRUE(std::filesystem::is_empty(nodeDirectory()));
}

TEST_F(RunRecordNotes, ARunThatIsNotUpNeedsNone) {
  EXPECT_TRUE(orv::noteGracefulShutdown(state(), nodeDirectory()).ok());
  EXPECT_TRUE(std::filesystem::is_empty(nodeDirectory()));
}

TEST_F(RunRecordFile, IsReadableByTheOwnerAndTheGroupAlone) {
  umask(022);
  start();
  struct stat file {};
  ASSERT_EQ(stat(directory_.path(FILE_NAME).c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0640U);
}

TEST_F(RunRecordFile, DirectoryIsMadeWhereItIsMissing) {
  RunRecord record;
  EXPECT_TRUE(orv::recordStart(directory_.path("a/state"), {}, record).ok());
  EXPECT_TRUE(orv::readRunRecord(directory_.path("a/state"), record).ok());
  EXPECT_TRUE(record.up);
}

TEST_F(RunRecordFile, NothingIsLeftBesideTheRecordAndItsLock) {
  start();
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(state()))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"run-record", "run-record.lock"}));
}

TEST_F(RunRecordFile, HalfWrittenNewRecordOfAPowerCutIsNoHindrance) {
  start();
  directory_.write("run-record.new", std::string(100000, 'x'));
  EXPECT_EQ(start().ungracefulCount, 1U);
  EXPECT_EQ(read().ungracefulCount, 1U);
}

TEST_F(RunRecordFile, GarbageIsReportedAndReadAsFresh) {
  start();
  const std::string good = directory_.read(FILE_NAME);
  const std::string bad[] = {
      GARBAGE,
      std::string(),
      std::string(1000, '\0'),
      std::string(100000, '\n'),
      good.substr(0, good.size() - 1),   // cut off
      good.substr(good.find('\n') + 1),  // a field is missing
      good + good,                       // each stands twice
      good + "colour=red\n",             // an unknown one
      good + "\n",                       // an empty line
      "bootId=x\nup=2\nungracefulCount=0\nresetsInARow=0\nresetRequested=0\nstartedBoottimeNs=0\n",
      "bootId=x\nup=1\nungracefulCount=-1\nresetsInARow=0\nresetRequested=0\nstartedBoottimeNs=0\n",
      "bootId=x\nup=1\nungracefulCount=4294967296\nresetsInARow=0\nresetRequested=0\nstartedBoottimeNs=0\n",
      "bootId=x\nup=1\nungracefulCount=1 \nresetsInARow=0\nresetRequested=0\nstartedBoottimeNs=0\n",
      "bootId=x\nup=1\nungracefulCount=1\nresetsInARow=0\nresetRequested=0\nstartedBoottimeNs=\n",
  };
  for (const std::string &text : bad) {
    directory_.write(FILE_NAME, text);
    RunRecord record;
    record.ungracefulCount = 5;
    const Status status = orv::readRunRecord(state(), record);
    EXPECT_EQ(status.code, EBADMSG) << text;
    EXPECT_NE(status.message.find(directory_.path(FILE_NAME)), std::string::npos) << status.message;
    EXPECT_EQ(record.ungracefulCount, 0U) << text;
    EXPECT_EQ(record.bootId, "") << text;
    EXPECT_FALSE(record.up) << text;
  }
}

TEST_F(RunRecordFile, StartReportsGarbageOnceAndReplacesIt) {
  directory_.write(FILE_NAME, GARBAGE);
  RunRecord record;
  EXPECT_EQ(orv::recordStart(state(), {}, record).code, EBADMSG);
  EXPECT_TRUE(record.up);
  EXPECT_EQ(record.ungracefulCount, 0U);
  EXPECT_TRUE(read().up);
}

TEST_F(RunRecordFile, GracefulShutdownAndClearingReplaceGarbage) {
  directory_.write(FILE_NAME, GARBAGE);
  EXPECT_TRUE(orv::recordGracefulShutdown(state()).ok());
  EXPECT_FALSE(read().up);
  directory_.write(FILE_NAME, GARBAGE);
  EXPECT_TRUE(orv::clearUngraceful(state()).ok());
  EXPECT_EQ(read().ungracefulCount, 0U);
}

TEST_F(RunRecordFile, DirectoryInItsPlaceIsReported) {
  std::filesystem::create_directory(directory_.path(FILE_NAME));
  RunRecord record;
  EXPECT_EQ(orv::readRunRecord(state(), record).code, EISDIR);
}

TEST_F(RunRecordFile, FifoInItsPlaceDoesNotBlock) {
  ASSERT_EQ(mkfifo(directory_.path(FILE_NAME).c_str(), 0600), 0);
  RunRecord record;
  EXPECT_EQ(orv::readRunRecord(state(), record).code, EBADMSG);
}

TEST_F(RunRecordFile, StartWithoutAStateDirectoryStillSaysWhatItWouldHaveWritten) {
  directory_.write("file", "");
  RunRecord record;
  const Status status = orv::recordStart(directory_.path("file"), {}, record);
  EXPECT_EQ(status.code, ENOTDIR);
  EXPECT_TRUE(record.up);
  EXPECT_EQ(record.bootId, orv::currentBootId());
}

TEST_F(RunRecordFile, ChangeWaitsForTheLock) {
  start();
  const int lock = open(directory_.path("run-record.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  // The child's change must not come before the parent's, which holds the lock: the parent's would then overwrite it.
  const pid_t child = fork();
  if (child == 0) {
    close(lock);  // shares the lock while it is open
    _exit(orv::clearUngraceful(state()).ok() ? 0 : 1);
  }
  edit("ungracefulCount", "9");
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
  close(lock);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(read().ungracefulCount, 0U);
}

TEST_F(RunRecordFile, ProcessesKilledWhileWritingLeaveAWholeRecord) {
  start();
  for (int round = 0; round < 20; ++round) {
    int progress[2];
    ASSERT_EQ(pipe2(progress, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      for (RunRecord record;;) {
        if (!orv::recordStart(state(), {}, record).ok() || write(progress[1], "x", 1) != 1) _exit(1);
      }
    }
    close(progress[1]);
    // After a few changes, somewhere in the next one.
    char changes[3];
    for (char &change : changes)
      ASSERT_EQ(::read(progress[0], &change, 1), 1);
    kill(child, SIGKILL);
    close(progress[0]);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_TRUE(read().up);
  }
  EXPECT_GE(start().ungracefulCount, 60U);
}

}  // namespace
