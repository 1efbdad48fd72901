// Application start-up against the platform: the definition file and the wait for an online tag.
#include "Applications.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "AaConfig.h"
#include "NodeFixture.h"

using orvtest::Lines;

namespace {

class ParseAppExeDefFile : public orvtest::NodeTest {
 protected:
  ParseAppExeDefFile() {
    std::memset(table_.get(), 0x5a, sizeof *table_);
    // RAD parameters outlive a test of this process.
    setDefinitionFileOptional(0);
  }

  // Reads `fileName`; returns what the console gets.
  std::string parse(const std::string &fileName, bool opened) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(parseAppExeDefFile(fileName, *table_), opened);
    return testing::internal::GetCapturedStderr();
  }

  void setDefinitionFileOptional(uint32_t value) const {
    const std::string file = directory_.write(
        "rad.xml", "<orv><rad><parameter number=\"0x10063\" value=\"" + std::to_string(value) + "\"/></rad></orv>");
    ASSERT_EQ(AaConfigTagReadFile(file.c_str()), 0);
  }

  FreshDirectory directory_;
  std::unique_ptr<AppExeDefTable> table_ = std::make_unique<AppExeDefTable>();
};

class ReadyWait : public orvtest::NodeTest {
 protected:
  struct Outcome {
    int result;
    uint32_t remainingMs;
    std::string console;

    bool operator==(const Outcome &) const = default;
    friend std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
      return stream << outcome.result << ", " << outcome.remainingMs << " ms left, console:\n" << outcome.console;
    }
  };

  Outcome wait(const std::string &tag, uint32_t budgetMs) {
    uint32_t remainingMs = budgetMs;
    testing::internal::CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    const int result = readyWait(0, tag, remainingMs);
    took_ = std::chrono::steady_clock::now() - start;
    return {result, remainingMs, testing::internal::GetCapturedStderr()};
  }

  static std::string waiting(const std::string &tag, uint32_t budgetMs) {
    return "Info/ORV/OrvDaemon, readyWait: waiting " + std::to_string(budgetMs) + " ms for " + tag + " to be set\n";
  }
  static std::string set(const std::string &tag) {
    return "Info/ORV/OrvDaemon, readyWait: " + tag + " tag set in time\n";
  }
  static std::string notSet(const std::string &tag) {
    return "Error/ORV/OrvDaemon, readyWait: " + tag + " tag not set in time\n";
  }

  // Returns when thread `id` of this process is in the system call that sleeps.
  static void waitUntilAsleep(pid_t id) {
    const std::string file = "/proc/self/task/" + std::to_string(id) + "/syscall";
    for (;;) {
      std::string call;
      if (!(std::ifstream(file) >> call) || call == std::to_string(SYS_clock_nanosleep)) return;
#ifdef SYS_clock_nanosleep_time64
      if (call == std::to_string(SYS_clock_nanosleep_time64)) return;
#endif
      std::this_thread::yield();
    }
  }

  // Of the last wait.
  std::chrono::nanoseconds took_{};
};

}  // namespace

TEST_F(ParseAppExeDefFile, FileIsReadIntoTheTable) {
  const std::string file = directory_.write("AppDef.txt",
                                            "#comment\nlogger;/opt/logger;\"-q -v\";7;3;logger.online\r\n\r\nbad line\n"
                                            "tail;/opt/tail;x;;");
  EXPECT_EQ(parse(file, true), "");
  ASSERT_EQ(table_->count, 3u);
  const AppExeDef &logger = table_->definitions[0];
  EXPECT_STREQ(logger.name, "logger");
  EXPECT_STREQ(logger.path, "/opt/logger");
  EXPECT_STREQ(logger.args, "-q -v");
  EXPECT_EQ(logger.reserved, 7);
  EXPECT_EQ(logger.supervisionFlags, 3);
  EXPECT_STREQ(logger.onlineTag, "logger.online");
  EXPECT_STREQ(table_->definitions[1].name, "");
  EXPECT_STREQ(table_->definitions[1].path, "");
  EXPECT_STREQ(table_->definitions[2].path, "/opt/tail");
  EXPECT_STREQ(table_->definitions[2].args, "x");
}

TEST_F(ParseAppExeDefFile, EveryByteOfTheFileCounts) {
  std::string text;
  for (int byte = 1; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    if (character != '\n' && character != '\r' && character != ';') text += character;
  }
  // Too long for a field, so in two.
  const std::string low = text.substr(0, 100);
  const std::string high = text.substr(100);
  const std::string file = directory_.write("AppDef.txt", "n;" + low + ";" + high + ";;;t\n");
  EXPECT_EQ(parse(file, true), "");
  ASSERT_EQ(table_->count, 1u);
  EXPECT_EQ(table_->definitions[0].path, low);
  EXPECT_EQ(table_->definitions[0].args, high);
}

TEST_F(ParseAppExeDefFile, NulEndsTheTextOfItsLine) {
  const std::string file = directory_.write("AppDef.txt", std::string("a;/a;x\0y;1;2;t\nb;/b;;;;\n", 25));
  EXPECT_EQ(parse(file, true), "");
  ASSERT_EQ(table_->count, 2u);
  EXPECT_STREQ(table_->definitions[0].path, "/a");
  EXPECT_STREQ(table_->definitions[0].args, "");
  EXPECT_STREQ(table_->definitions[1].path, "/b");
}

TEST_F(ParseAppExeDefFile, EmptyFileIsOpenedAndGivesNone) {
  EXPECT_EQ(parse(directory_.write("AppDef.txt", ""), true), "");
  EXPECT_EQ(table_->count, 0u);
}

TEST_F(ParseAppExeDefFile, SixtyFourDefinitionsAreKeptOfSeventy) {
  std::string text;
  for (int i = 1; i <= 70; ++i)
    text += std::to_string(i) + ";/p;;;;\n";
  EXPECT_EQ(parse(directory_.write("AppDef.txt", text), true), "");
  ASSERT_EQ(table_->count, 64u);
  EXPECT_STREQ(table_->definitions[63].name, "64");
}

TEST_F(ParseAppExeDefFile, AbsentFileIsAnError) {
  EXPECT_EQ(parse(directory_.path() + "/absent", false),
            "Error/ORV/OrvDaemon, parseAppExeDefFile: application definition file inaccessible\n");
  EXPECT_EQ(table_->count, 0u);
}

TEST_F(ParseAppExeDefFile, EmptyNameIsAnAbsentFile) {
  EXPECT_EQ(parse("", false), "Error/ORV/OrvDaemon, parseAppExeDefFile: application definition file inaccessible\n");
  EXPECT_EQ(table_->count, 0u);
}

TEST_F(ParseAppExeDefFile, AbsentFileThatIsOptionalIsAWarning) {
  setDefinitionFileOptional(1);
  EXPECT_EQ(parse(directory_.path() + "/absent", false),
            "Warning/ORV/OrvDaemon, parseAppExeDefFile: application definition file inaccessible, but not required due "
            "to RAD tag 0x10063\n");
  EXPECT_EQ(table_->count, 0u);
}

TEST_F(ParseAppExeDefFile, AbsentFileReachesTheSystemLog) {
  gEarlyStartupDone = 1;
  setDefinitionFileOptional(0xffffffff);
  parse(directory_.path() + "/absent", false);
  const Lines lines = systemLog();
  ASSERT_FALSE(lines.empty());
  // Before it the platform says why.
  EXPECT_EQ(lines.back(),
            "3 ORV/OrvDaemon, parseAppExeDefFile: application definition file inaccessible, but not required due to "
            "RAD tag 0x10063");
}

TEST_F(ReadyWait, TagAlreadySetLeavesTheBudgetAlone) {
  ASSERT_EQ(AaConfigTagSetU16("x.online", 0), 0);
  EXPECT_EQ(wait("x.online", 240000), (Outcome{1, 240000, waiting("x.online", 240000) + set("x.online")}));
}

TEST_F(ReadyWait, TagOfAnyTypeCounts) {
  ASSERT_EQ(AaConfigTagSetString("text.online", ""), 0);
  ASSERT_EQ(AaConfigTagSetU32("number.online", 0), 0);
  EXPECT_EQ(wait("text.online", 0).result, 1);
  EXPECT_EQ(wait("number.online", 0).result, 1);
}

TEST_F(ReadyWait, TagIsTestedBeforeTheBudget) {
  ASSERT_EQ(AaConfigTagSetString("x.online", "yes"), 0);
  EXPECT_EQ(wait("x.online", 0), (Outcome{1, 0, waiting("x.online", 0) + set("x.online")}));
}

TEST_F(ReadyWait, NoBudgetAndNoTagIsATimeOut) {
  EXPECT_EQ(wait("x.online", 0), (Outcome{0, 0, waiting("x.online", 0) + notSet("x.online")}));
}

TEST_F(ReadyWait, BudgetOf120AllowsThreeSleeps) {
  EXPECT_EQ(wait("x.online", 120), (Outcome{0, 0, waiting("x.online", 120) + notSet("x.online")}));
  EXPECT_GE(took_, std::chrono::milliseconds(150));
}

TEST_F(ReadyWait, BudgetsAreCountedInWholeSleeps) {
  EXPECT_EQ(wait("x.online", 1).remainingMs, 0u);
  EXPECT_GE(took_, std::chrono::milliseconds(50));
  EXPECT_EQ(wait("x.online", 50).remainingMs, 0u);
  EXPECT_GE(took_, std::chrono::milliseconds(50));
  EXPECT_EQ(wait("x.online", 51).remainingMs, 0u);
  EXPECT_GE(took_, std::chrono::milliseconds(100));
}

TEST_F(ReadyWait, EachSleepTakes50OffTheBudget) {
  const pid_t waiter = gettid();
  std::thread setter([waiter] {
    waitUntilAsleep(waiter);
    AaConfigTagSetU32("x.online", 1);
  });
  const Outcome outcome = wait("x.online", 240000);
  setter.join();
  EXPECT_EQ(outcome.result, 1);
  EXPECT_EQ(outcome.console, waiting("x.online", 240000) + set("x.online"));
  EXPECT_LE(outcome.remainingMs, 240000u - 50);
  EXPECT_EQ(outcome.remainingMs % 50, 0u);
  EXPECT_GE(took_, std::chrono::milliseconds(240000 - outcome.remainingMs));
}

TEST_F(ReadyWait, TwoWaitsShareABudget) {
  ASSERT_EQ(AaConfigTagSetU32("set.online", 1), 0);
  uint32_t remainingMs = 100;
  testing::internal::CaptureStderr();
  EXPECT_EQ(readyWait(0, "unset.online", remainingMs), 0);
  EXPECT_EQ(remainingMs, 0u);
  EXPECT_EQ(readyWait(0, "set.online", remainingMs), 1);
  EXPECT_EQ(readyWait(0, "other.online", remainingMs), 0);
  EXPECT_EQ(remainingMs, 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), waiting("unset.online", 100) + notSet("unset.online") +
                                                        waiting("set.online", 0) + set("set.online") +
                                                        waiting("other.online", 0) + notSet("other.online"));
}

TEST_F(ReadyWait, LinesReachTheSystemLog) {
  gEarlyStartupDone = 1;
  wait("x.online", 0);
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, readyWait: waiting 0 ms for x.online to be set",
                                "4 ORV/OrvDaemon, readyWait: x.online tag not set in time"}));
}
