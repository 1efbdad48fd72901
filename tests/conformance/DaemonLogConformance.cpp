// The log: which of its two outputs a line reaches, to the letter.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>

#include "DaemonLog.h"
#include "ExpectedTrace.h"
#include "OptionBoots.h"
#include "OrvDaemon.h"

using namespace orv::sim;

namespace {

const std::string CONSOLE = "err: Info/ORV/OrvDaemon, text\n";
const std::string SYSTEM_LOG = "AaSysLogPrint(2, \"ORV/OrvDaemon, %s\") = 0: \"ORV/OrvDaemon, text\"\n";

// All that one call writes; `done` is the early start-up's flag.
testing::AssertionResult writes(uint8_t done, uint32_t severity, const std::string &label, int mode,
                                const std::string &message, const std::string &lines) {
  const SimulatedBoot result = simulate({}, [&] {
    gEarlyStartupDone = done;
    daemonLog(severity, label, mode, message);
  });
  return isTrace(result.trace, byMain(lines) + "0.000 node end: exit status 0");
}

// What is written out of a stream each time that it is flushed.
class FlushRecorder : public std::stringbuf {
 public:
  int sync() override {
    flushed = str();
    return 0;
  }
  std::string flushed;
};

}  // namespace

TEST(DaemonLogConformance, ModeAndAvailabilityChooseTheOutputs) {
  struct Case {
    int mode;
    uint8_t earlyStartupDone;
    std::string lines;
  };
  const Case cases[] = {
      {0, 0, CONSOLE},
      {0, 1, SYSTEM_LOG},
      {1, 0, CONSOLE},
      {1, 1, CONSOLE},
      {2, 0, CONSOLE},
      {2, 1, CONSOLE + SYSTEM_LOG},
      // Any other mode is as 2.
      {3, 0, CONSOLE},
      {3, 1, CONSOLE + SYSTEM_LOG},
      {-1, 0, CONSOLE},
      {-1, 1, CONSOLE + SYSTEM_LOG},
      {INT_MAX, 1, CONSOLE + SYSTEM_LOG},
      {INT_MIN, 1, CONSOLE + SYSTEM_LOG},
      // Any other flag than 1 is no early start-up.
      {0, 2, CONSOLE},
      {2, 2, CONSOLE},
      {2, 0xff, CONSOLE},
  };
  for (const Case &row : cases) {
    EXPECT_TRUE(writes(row.earlyStartupDone, 2, "Info", row.mode, "text", row.lines))
        << "mode " << row.mode << ", flag " << int{row.earlyStartupDone};
  }
}

TEST(DaemonLogConformance, SeverityGoesToTheSystemLogAndTheLabelToTheConsole) {
  struct Case {
    uint32_t severity;
    std::string label;
  };
  const Case cases[] = {{2, "Info"}, {3, "Warning"}, {4, "Error"}, {0, ""}, {4, "Info"}, {UINT32_MAX, "An other"}};
  for (const Case &row : cases) {
    EXPECT_TRUE(writes(1, row.severity, row.label, 2, "text",
                       "err: " + row.label + "/ORV/OrvDaemon, text\nAaSysLogPrint(" + std::to_string(row.severity) +
                           ", \"ORV/OrvDaemon, %s\") = 0: \"ORV/OrvDaemon, text\""));
  }
}

TEST(DaemonLogConformance, EmptyMessageIsALineAndAnEntry) {
  EXPECT_TRUE(writes(1, 2, "Info", 2, "",
                     "err: Info/ORV/OrvDaemon, \n"
                     "AaSysLogPrint(2, \"ORV/OrvDaemon, %s\") = 0: \"ORV/OrvDaemon, \""));
}

TEST(DaemonLogConformance, MessageIsNeverAFormat) {
  EXPECT_TRUE(writes(1, 4, "Error", 2, "100 %s %d %n %",
                     "err: Error/ORV/OrvDaemon, 100 %s %d %n %\n"
                     "AaSysLogPrint(4, \"ORV/OrvDaemon, %s\") = 0: \"ORV/OrvDaemon, 100 %s %d %n %\""));
}

TEST(DaemonLogConformance, LongMessageIsWrittenWhole) {
  const std::string message(5000, 'x');
  EXPECT_TRUE(writes(1, 2, "Info", 2, message,
                     "err: Info/ORV/OrvDaemon, " + message + "\nAaSysLogPrint(2, \"ORV/OrvDaemon, %s\") = 0: \"" +
                         "ORV/OrvDaemon, " + message + "\""));
}

TEST(DaemonLogConformance, FlagIsReadAtEachCall) {
  const SimulatedBoot result = simulate({}, [] {
    for (const uint8_t done : {uint8_t{0}, uint8_t{1}, uint8_t{0}}) {
      gEarlyStartupDone = done;
      daemonLog(2, "Info", 0, "text");
    }
  });
  EXPECT_TRUE(isTrace(linesOf(result.trace, "main"), byMain(CONSOLE + SYSTEM_LOG + CONSOLE)));
}

TEST(DaemonLogConformance, FailingSystemLogIsNotReported) {
  Scenario scenario;
  scenario.calls.push_back({"AaSysLogPrint", 0, {}, 7});
  const SimulatedBoot result = simulate(scenario, [] {
    logError("one", "text");
    logInfo("two", "text");
  });
  EXPECT_TRUE(isTrace(result.trace, R"(
    0.000 main err: Error/ORV/OrvDaemon, one: text
    0.000 main AaSysLogPrint(4, "ORV/OrvDaemon, %s") = 7: "ORV/OrvDaemon, one: text"
    0.000 main err: Info/ORV/OrvDaemon, two: text
    0.000 main AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 7: "ORV/OrvDaemon, two: text"
    0.000 node end: exit status 0
  )"));
}

TEST(DaemonLogConformance, ConsoleLineGoesThroughTheErrorStreamAndIsFlushed) {
  FlushRecorder recorder;
  const SimulatedBoot result = simulate({}, [&] {
    std::streambuf *const own = std::cerr.rdbuf(&recorder);
    std::cerr << std::nounitbuf;
    daemonLog(2, "Info", 1, "text");
    std::cerr << std::unitbuf;
    std::cerr.rdbuf(own);
  });
  EXPECT_EQ(recorder.flushed, "Info/ORV/OrvDaemon, text\n");
  EXPECT_TRUE(isTrace(result.trace, "0.000 node end: exit status 0"));
}

TEST(DaemonLogConformance, MessagesAreTheFunctionAndThePiecesInOrder) {
  EXPECT_EQ(logMessage("one"), "one: ");
  EXPECT_EQ(logMessage("one", "text ", -5, " ", 4294967295U, std::string(", end")), "one: text -5 4294967295, end");
  EXPECT_EQ(logMessage("one", 10, std::hex, std::showbase, " ", 255, " ", 16), "one: 10 0xff 0x10");
  EXPECT_EQ(logMessage("one", 255), "one: 255") << "formatting of the message before";
}

TEST(DaemonLogConformance, EachLabelHasItsSeverityAndBothOutputs) {
  const SimulatedBoot result = simulate({}, [] {
    logInfo("one", "a ", 1);
    logWarning("two", "b ", 2);
    logError("three", "c ", 3);
  });
  EXPECT_TRUE(isTrace(result.trace, R"(
    0.000 main err: Info/ORV/OrvDaemon, one: a 1
    0.000 main AaSysLogPrint(2, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, one: a 1"
    0.000 main err: Warning/ORV/OrvDaemon, two: b 2
    0.000 main AaSysLogPrint(3, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, two: b 2"
    0.000 main err: Error/ORV/OrvDaemon, three: c 3
    0.000 main AaSysLogPrint(4, "ORV/OrvDaemon, %s") = 0: "ORV/OrvDaemon, three: c 3"
    0.000 node end: exit status 0
  )"));
}
