// One program run to its end: what is logged of it and what is said to the caller.
#include <cstdint>
#include <string>

#include "Executables.h"
#include "NodeFixture.h"

using orvtest::Lines;

namespace {

class ExeRun : public orvtest::NodeTest {
 protected:
  // Runs the shell with one argument text. Returns what the console gets.
  static std::string runShell(const std::string &args, int expected, uint32_t flags = 0) {
    return run("/bin/sh", args, expected, flags);
  }
  static std::string run(const std::string &path, const std::string &args, int expected, uint32_t flags = 0) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(exeRun(0, path, args, flags), expected);
    return testing::internal::GetCapturedStderr();
  }

  // The test's own thread is no EU of the platform, so its id is 0.
  static std::string starting(const std::string &path, const std::string &args, const std::string &flags = "0") {
    return "Info/ORV/OrvDaemon, exeRun: executable '" + path + "'(" + args +
           ") starting under sentinel EU 0 with supervision flags " + flags + "\n";
  }
};

}  // namespace

TEST_F(ExeRun, ExitCode0IsSuccess) {
  EXPECT_EQ(run("/bin/true", "", 1), starting("/bin/true", "") +
                                         "Info/ORV/OrvDaemon, exeRun: executable '/bin/true' terminated "
                                         "successfully\n");
}

TEST_F(ExeRun, EveryOtherExitCodeIsAFailure) {
  for (const int code : {1, 5, 127, 128, 255}) {
    const std::string args = "-c 'exit " + std::to_string(code) + "'";
    EXPECT_EQ(runShell(args, 0), starting("/bin/sh", args) +
                                     "Error/ORV/OrvDaemon, exeRun: executable '/bin/sh' failed with status " +
                                     std::to_string(code) + "\n");
  }
}

TEST_F(ExeRun, SignalIsAFailure) {
  for (const int number : {9, 15}) {
    const std::string args = "-c 'kill -" + std::to_string(number) + " $$'";
    EXPECT_EQ(runShell(args, 0), starting("/bin/sh", args) +
                                     "Error/ORV/OrvDaemon, exeRun: executable '/bin/sh' exited due to signal " +
                                     std::to_string(number) + "\n");
  }
}

TEST_F(ExeRun, ProgramThatCannotBeStartedIsAFailure) {
  EXPECT_EQ(run("/absent/program", "", 0), starting("/absent/program", "") +
                                               "Error/ORV/OrvDaemon, exeRun: executable '/absent/program' launch "
                                               "failed with status 2\n");
}

TEST_F(ExeRun, FlagsAreShownInHexadecimal) {
  EXPECT_TRUE(run("/bin/true", "", 1, 2).starts_with(starting("/bin/true", "", "0x2")));
  EXPECT_TRUE(run("/bin/true", "-x", 1, 0xffffffff).starts_with(starting("/bin/true", "-x", "0xffffffff")));
}

TEST_F(ExeRun, LinesReachTheSystemLog) {
  gEarlyStartupDone = 1;
  runShell("-c 'exit 3'", 0);
  EXPECT_EQ(systemLog(), (Lines{"2 ORV/OrvDaemon, exeRun: executable '/bin/sh'(-c 'exit 3') starting under sentinel EU "
                                "0 with supervision flags 0",
                                "4 ORV/OrvDaemon, exeRun: executable '/bin/sh' failed with status 3"}));
}
