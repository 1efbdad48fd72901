// What orvctl rehearse makes of a trace: its lines, the time line, the verdict, and both in print.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Json.h"
#include "Timeline.h"
#include "TimelineJson.h"
#include "TimelineText.h"
#include "TraceLines.h"

using namespace orv::rehearsal;

namespace {

constexpr const char *CREATED =
    "0.000 1:ceInternalStartupEu AaProEuCreateAndStart(\"pump\", 4132, 31, context + 808 bytes) = 0, EU 2\n";
constexpr const char *STARTED = "0.000 2:pump AaProCmdExec(\"/opt/pump\", \"-v\", 0x3)\n";
constexpr const char *COMPLETE =
    "1.000 1:ceInternalStartupEu AaSysLogPrint(2, \"ORV/OrvDaemon, %s\") = 0: "
    "\"ORV/OrvDaemon, ceInternalStartup: CE start-up complete\"\n";
constexpr const char *ENDED = "9.000 node end: exit status 0\n";

// A line of the daemon's log.
std::string logged(const std::string &time, int severity, const std::string &message,
                   const std::string &actor = "1:ceInternalStartupEu") {
  return time + " " + actor + " AaSysLogPrint(" + std::to_string(severity) +
         ", \"ORV/OrvDaemon, %s\") = 0: \"ORV/OrvDaemon, " + message + "\"\n";
}

Timeline told(const std::string &trace) {
  std::string problem;
  const std::optional<Timeline> timeline = timelineOf(trace, problem);
  EXPECT_TRUE(timeline.has_value()) << problem;
  return timeline.value_or(Timeline{});
}

// The events, each as "MARK KIND WHO: TEXT".
std::vector<std::string> eventsOf(const std::string &trace) {
  constexpr const char *MARKS[] = {"", "! ", "!! "};
  std::vector<std::string> events;
  for (const Event &event : told(trace).events)
    events.push_back(MARKS[static_cast<size_t>(event.mark)] + std::string(eventName(event.kind)) + " " + event.who +
                     ": " + event.text);
  return events;
}

// The one event of `lines` in a start-up that is otherwise as it should be.
std::string eventOf(const std::string &lines) {
  const std::vector<std::string> events = eventsOf(std::string(CREATED) + lines + COMPLETE + ENDED);
  EXPECT_EQ(events.size(), 3U);
  return events.size() == 3 ? events[0] : "";
}

// What is left of a start-up that is otherwise as it should be.
std::vector<std::string> eventsBeside(const std::string &lines) {
  std::vector<std::string> events = eventsOf(CREATED + lines + COMPLETE + ENDED);
  EXPECT_GE(events.size(), 2U);
  events.resize(events.size() - 2);
  return events;
}

using Events = std::vector<std::string>;

}  // namespace

// --- lines of a trace -----------------------------------------------------------------------------------------------

TEST(TraceLine, HasATimeAnActorAndAText) {
  const auto line = parseTraceLine("240.050 2:pump AaSysTimeSleep(50, 3) = 0");
  ASSERT_TRUE(line.has_value());
  EXPECT_EQ(line->atMs, 240050U);
  EXPECT_EQ(line->actor, TraceLine::Actor::EU);
  EXPECT_EQ(line->eu, 2U);
  EXPECT_EQ(line->euName, "pump");
  EXPECT_EQ(line->text, "AaSysTimeSleep(50, 3) = 0");
}

TEST(TraceLine, KnowsActorsThatAreNoEu) {
  EXPECT_EQ(parseTraceLine("0.000 node x")->actor, TraceLine::Actor::NODE);
  EXPECT_EQ(parseTraceLine("0.000 handler x")->actor, TraceLine::Actor::HANDLER);
  EXPECT_EQ(parseTraceLine("0.000 main x")->actor, TraceLine::Actor::MAIN);
}

TEST(TraceLine, NameInQuotesMayHaveBlanks) {
  const auto line = parseTraceLine(R"(0.000 7:"a \"b\" c" ends)");
  ASSERT_TRUE(line.has_value());
  EXPECT_EQ(line->euName, R"("a \"b\" c")");
  EXPECT_EQ(line->text, "ends");
}

TEST(TraceLine, AnythingElseIsNone) {
  for (const char *text : {"", "x", "1 main x", "1.00 main x", "1.0000 main x", "1.000 mainx", "1.000 pump x",
                           "1.000 2:\"a x", "-1.000 main x", "18446744073709551615.000 main x"})
    EXPECT_FALSE(parseTraceLine(text).has_value()) << text;
}

TEST(TraceCall, HasANameArgumentsAndAnOutcome) {
  const auto call = parseTraceCall(R"(AaFileOpen("/rom/a, \"b\")\n\x1b", null, 5) = file 1)");
  ASSERT_TRUE(call.has_value());
  EXPECT_EQ(call->name, "AaFileOpen");
  EXPECT_EQ(call->arguments, (std::vector<std::string>{"/rom/a, \"b\")\n\x1b", "null", "5"}));
  EXPECT_EQ(call->outcome, "file 1");
}

TEST(TraceCall, MayHaveNoArgumentsAndNoOutcome) {
  const auto call = parseTraceCall("AaStartupCeShutdown()");
  ASSERT_TRUE(call.has_value());
  EXPECT_TRUE(call->arguments.empty());
  EXPECT_EQ(call->outcome, "");
}

TEST(TraceCall, AnythingElseIsNone) {
  for (const char *text : {"", "ends", "err: f(x", "AaFileOpen(", "AaFileOpen(\"a", "AaFileOpen(\"\\x0g\")", "a b()"})
    EXPECT_FALSE(parseTraceCall(text).has_value()) << text;
}

// --- the time line --------------------------------------------------------------------------------------------------

TEST(Timeline, EveryTraceTellsHowItEnded) {
  std::string problem;
  EXPECT_FALSE(timelineOf("", problem).has_value());
  EXPECT_EQ(problem, "the trace does not tell how the boot ended");
  EXPECT_FALSE(timelineOf("0.000 main x\nnonsense\n", problem).has_value());
  EXPECT_EQ(problem, "line 2 of the trace is no line of a trace");
  EXPECT_FALSE(timelineOf("0.000 main x\n0.000 node end: exit sta", problem).has_value());
  EXPECT_EQ(problem, "line 2 of the trace is cut off");
}

TEST(Timeline, PollsAndAcknowledgementsAreNoEvents) {
  EXPECT_EQ(eventsBeside("0.000 main err: NID set to 0x1011\n"
                         "0.000 main err: Info/ORV/OrvDaemon, readyWait: waiting 240000 ms for t to be set\n"
                         "0.000 1:ceInternalStartupEu AaConfigTagIsSet(\"t\") = 0\n"
                         "0.000 1:ceInternalStartupEu AaSysTimeSleep(50, 3) = 0\n"
                         "0.000 1:ceInternalStartupEu AaFileRead(1, 1, file 1) = 1, \"(\"\n"
                         "0.000 2:pump ends\n"),
            Events());
}

TEST(Timeline, CeStartTellsTheNodeId) {
  EXPECT_EQ(eventOf("0.000 main AaStartupCeStartup() = 0\n"
                    "0.000 node start-up record: nid=0x1011 masterNid=0x0000\n"),
            "ce-started daemon: starts the CE of node 0x1011");
  EXPECT_EQ(eventsBeside("0.000 main AaStartupCeStartup() = 5\n"
                         "0.000 node start-up record: nid=0x1011 masterNid=0x0000\n"),
            Events());
}

TEST(Timeline, ProgramThatExitsWithZeroIsNoFailure) {
  EXPECT_EQ(eventsBeside(STARTED + std::string("0.500 node program \"/opt/pump\" under EU 2 ends: exit code 0\n"
                                               "0.500 2:pump AaProCmdExec(\"/opt/pump\") = 0, status 0\n")),
            (Events{"program-started pump: started: /opt/pump -v", "program-ended pump: exited with 0 after 500 ms"}));
}

TEST(Timeline, ProgramThatEndsOtherwiseFails) {
  const struct {
    const char *status;
    const char *how;
  } cases[] = {
      {"1792", "exited with 7"}, {"9", "killed by signal 9 (SIGKILL)"}, {"4991", "ended with wait status 4991"}};
  for (const auto &each : cases) {
    EXPECT_EQ(
        eventsBeside(STARTED + std::string("2.000 2:pump AaProCmdExec(\"/opt/pump\") = 5, status ") + each.status +
                     "\n" + logged("2.000", 4, "exeRun: executable '/opt/pump' failed with status 7", "2:pump"))[1],
        std::string("!! program-ended pump: ") + each.how + " after 2 s");
  }
}

TEST(Timeline, ProgramThatCannotBeStartedIsNotStarted) {
  EXPECT_EQ(eventOf(STARTED + std::string("0.000 2:pump AaProCmdExec(\"/opt/pump\") = 2, status 0\n")),
            "!! program-not-started pump: could not be started: No such file or directory (/opt/pump)");
  EXPECT_EQ(eventOf("0.000 2:pump AaProCmdExec(\"/opt/pump\", \"\", 0x3) = 13\n"),
            "!! program-not-started pump: could not be started: Permission denied (/opt/pump)");
}

TEST(Timeline, EndWithoutABeginningIsNoEvent) {
  EXPECT_EQ(eventsBeside("0.000 5:x AaProCmdExec(\"/opt/x\") = 2, status 0\n"), Events());
}

TEST(Timeline, EuThatCannotBeCreatedIsAFailure) {
  EXPECT_EQ(
      eventOf("0.000 1:ceInternalStartupEu AaProEuCreateAndStart(\"radio\", 4132, 31, context + 808 bytes) = 12\n"),
      "!! eu-failed radio: its EU cannot be started: Cannot allocate memory (12)");
  EXPECT_EQ(eventOf("0.000 main AaProEuCreateAndStartJoinable(\"x\", 4096, 10, context + 0 bytes, 1) = 12\n"),
            "!! eu-failed daemon: the start-up EU cannot be started: Cannot allocate memory (12)");
}

TEST(Timeline, ApplicationIsOnlineAfterItsWait) {
  EXPECT_EQ(eventOf(logged("0.000", 2, "appStart: application start-up") +
                    logged("0.000", 2, "readyWait: waiting 240000 ms for t to be set") +
                    "1.000 node program \"/opt/pump\" under EU 2 sets tag \"t\" = u32 1\n" +
                    logged("1.050", 2, "readyWait: t tag set in time")),
            "online pump: online after 1.05 s (t)");
}

TEST(Timeline, TagThatComesTooLateIsNoted) {
  EXPECT_EQ(
      eventsBeside(logged("0.000", 2, "appStart: application start-up") +
                   logged("0.000", 2, "readyWait: waiting 240000 ms for t to be set") +
                   logged("240.000", 4, "readyWait: t tag not set in time") +
                   logged("240.000", 4, "appStartAll: timed out waiting for application pump to go online, resetting") +
                   "250.000 node program \"/opt/pump\" under EU 2 sets tag \"t\" = u16 7\n"),
      (Events{"!! timed-out pump: not online after 4 min (t): given up",
              "! tag-set pump: sets tag t = u16 7, too late"}));
}

TEST(Timeline, OtherTagsAreTold) {
  EXPECT_EQ(eventOf("0.000 node program \"/opt/pump\" under EU 2 sets tag \"t\" = \"a b\"\n"),
            "tag-set pump: sets tag t = \"a b\"");
  EXPECT_EQ(eventOf("0.000 node tag \"t\" = u32 1 is set from outside\n"), "tag-set node: tag t is set from outside");
}

TEST(Timeline, ExecutablesAreWaitedForInTheirOrder) {
  EXPECT_EQ(
      eventsBeside(
          logged("0.000", 2, "parseExeDefs: Executable '/opt/a' has arguments '/opt/a' and online tag to wait 'a'") +
          logged("0.000", 2, "parseExeDefs: Executable '/opt/b' has arguments '/opt/b' and online tag to wait ''") +
          logged("0.000", 2, "parseExeDefs: Executable '/opt/c' has arguments '/opt/c' and online tag to wait 'c'") +
          logged("0.000", 2, "readyWait: waiting 240000 ms for a to be set") +
          logged("1.000", 2, "readyWait: a tag set in time") +
          logged("1.000", 2, "readyWait: waiting 239000 ms for c to be set") +
          logged("1.000", 2, "readyWait: c tag set in time")),
      (Events{"online /opt/a: online after 1 s (a)", "online /opt/c: online at once (c)"}));
}

TEST(Timeline, WaitThatNeverEndsIsAFailure) {
  const std::string wait = logged("0.000", 2, "appStart: application start-up") +
                           logged("0.000", 2, "readyWait: waiting 240000 ms for t to be set");
  EXPECT_EQ(eventsOf(CREATED + wait + "5.000 node the end\n5.000 node end: the time is up\n"),
            (Events{"!! still-waiting pump: still not online (t)", "!! end daemon: is not up when the time is"}));
  EXPECT_EQ(eventsOf(CREATED + wait + "5.000 node end: board reset\n"), (Events{"!! reset node: the board is reset"}));
}

TEST(Timeline, RaisedErrorIsTheProgramsOrTheDaemons) {
  const std::string raise = "AaErrorExceptionRaise(0, 0x12345678, 0, 0, \"failure of application pump\", \"f\", 900)\n";
  EXPECT_EQ(eventOf("0.000 2:pump " + raise), "!! error-raised pump: raises an error: failure of application pump");
  EXPECT_EQ(eventOf("0.000 1:ceInternalStartupEu " + raise),
            "!! error-raised daemon: raises an error: failure of application pump");
}

TEST(Timeline, ResetThatIsNotMadeSaysWhy) {
  const std::string disabled = logged("0.000", 2, "boardReset: hardware reset requested, but disabled", "2:pump");
  EXPECT_EQ(eventOf(disabled),
            "!! reset-disabled pump: a board reset is asked for and not made: the watchdog is not enabled");
  EXPECT_EQ(eventOf("0.000 2:pump AaConfigRadGetValue(0x10077) = 1\n" + disabled),
            "!! reset-disabled pump: a board reset is asked for and not made: RAD parameter 0x10077 forbids it");
  EXPECT_EQ(eventsBeside(logged("0.000", 2, "boardReset: adding 30 s delay before reset", "2:pump") +
                         "30.000 2:pump ddal_watchdog_reboot() = -95\n" +
                         logged("30.000", 2, "boardReset: reset failed (-95)", "2:pump")),
            (Events{"!! reset-announced pump: a board reset is asked for, in 30 s",
                    "!! reset-failed pump: the board cannot be reset: Operation not supported (-95)"}));
}

TEST(Timeline, ResetWithoutEffectIsToldAsARequest) {
  EXPECT_EQ(eventOf("30.000 2:pump ddal_watchdog_reboot() = 0\n"), "!! reset-requested pump: resets the board");
}

TEST(Timeline, MessagesThatAreKnownHaveANameToThem) {
  EXPECT_EQ(
      eventOf("0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0xfd28, receiver 0xff004e7, "
              "sender 0x1011fffe, payload 4 bytes) = 0\n"),
      "message-sent daemon: sends message 0xfd28 (applications started) to 0xff004e7");
  EXPECT_EQ(eventOf("0.000 1:ceInternalStartupEu AaSysComMsgSendWithPriority(message 1, 0: id 0x5, receiver 0x7, "
                    "sender 0x8, payload 4 bytes) = 2\n"),
            "!! message-failed daemon: cannot send message 0x5 to 0x7: No such file or directory (2)");
  EXPECT_EQ(eventOf("0.000 1:ceInternalStartupEu AaSysComMsgCreate(0x1b9d, 0, 0x7) = null\n" +
                    logged("0.000", 4, "initFinishNotify: ORVDAEMON_INIT_FINISH_NOTIF_MSG creation failed")),
            "!! message-failed daemon: cannot make message 0x1b9d (initialisation finished)");
  EXPECT_EQ(eventOf("0.000 node expected message 0x5 to 0x7 was not sent\n"),
            "!! message-missing node: message 0x5 to 0x7 was expected and not sent");
}

TEST(Timeline, DefinitionFileIsReadOrMissing) {
  const std::string absent = "0.000 1:ceInternalStartupEu AaFileOpen(\"/rom/a\", \"r\") = null\n";
  const std::string inaccessible = "parseAppExeDefFile: application definition file inaccessible";
  EXPECT_EQ(eventOf("0.000 1:ceInternalStartupEu AaFileOpen(\"/rom/a\", \"r\") = file 1\n"),
            "definitions-read daemon: reads the applications from /rom/a");
  EXPECT_EQ(eventOf(absent + logged("0.000", 4, inaccessible)),
            "!! definitions-missing daemon: cannot open the application definition file /rom/a");
  EXPECT_EQ(eventOf(absent + logged("0.000", 3, inaccessible + ", but not required due to RAD tag 0x10063")),
            "! definitions-missing daemon: cannot open the application definition file /rom/a, which is optional");
}

TEST(Timeline, ApplicationsThatAreNotStartedAreAFailure) {
  EXPECT_EQ(eventOf(logged("0.000", 2, "appStart: repair/reset tag set, application start-up disabled")),
            "!! applications-skipped daemon: repair/reset tag set, application start-up disabled");
  EXPECT_EQ(eventOf(logged("0.000", 2, "ceInternalStartup: ungraceful shutdown, application start-up disabled")),
            "!! applications-skipped daemon: ungraceful shutdown, application start-up disabled");
  EXPECT_EQ(eventOf(logged("0.000", 4, "ceInternalStartup: executable start-up failed, application start-up skipped")),
            "!! applications-skipped daemon: executable start-up failed, application start-up skipped");
  EXPECT_EQ(eventOf(logged("0.000", 2, "exeStart: ungraceful shutdown, not waiting for any online tags")),
            "! log daemon: ungraceful shutdown, not waiting for any online tags");
}

TEST(Timeline, NoWarningAndNoErrorIsLost) {
  EXPECT_EQ(eventOf(logged("0.000", 3, "somewhere: something odd")), "! log daemon: something odd");
  EXPECT_EQ(eventOf(logged("0.000", 4, "somewhere: something bad", "2:pump")), "!! log pump: something bad");
  EXPECT_EQ(eventOf(logged("0.000", 4, "no function")), "!! log daemon: no function");
  EXPECT_EQ(eventsBeside(logged("0.000", 2, "somewhere: something")), Events());
}

TEST(Timeline, PlatformThatSaysNoIsNoted) {
  EXPECT_EQ(eventOf("0.000 main ddal_system_notify_ready() = 5\n"),
            "! notice-failed daemon: cannot tell systemd that it is ready: Input/output error (5)");
  EXPECT_EQ(eventOf("0.000 main AaConfigTagReadFile(\"a.xml\") = 2\n"),
            "! configuration-failed daemon: cannot read the configuration file a.xml: No such file or directory (2)");
  EXPECT_EQ(eventOf("0.000 main AaConfigTagSetU16(\"t\", 5) = 28\n"),
            "! configuration-failed daemon: cannot set tag t: No space left on device (28)");
}

TEST(Timeline, ComplaintsAboutTheCommandLineAreFailures) {
  EXPECT_EQ(eventOf("0.000 main err: Unknown option 'nidd=1'\n"),
            "!! option-refused daemon: says: Unknown option 'nidd=1'");
  EXPECT_EQ(eventOf("0.000 main err: ORVDaemonExe: unrecognized option '--x'\n"),
            "!! option-refused daemon: says: ORVDaemonExe: unrecognized option '--x'");
  EXPECT_EQ(eventOf("0.000 main out: AddSlave/ Failed to get GW IP for slave 1\n"),
            "!! option-refused daemon: says: AddSlave/ Failed to get GW IP for slave 1");
}

TEST(Timeline, SignalsAreToldWithWhatTheyDo) {
  EXPECT_EQ(eventOf("0.000 node SIGTERM\n"), "signal daemon: gets SIGTERM");
  EXPECT_EQ(eventOf("0.000 node SIGHUP is ignored\n"), "signal daemon: ignores SIGHUP");
  EXPECT_EQ(eventOf("0.000 node signal 40 ends the daemon\n"), "!! signal daemon: is not prepared for signal 40");
  EXPECT_EQ(eventOf("0.000 node nothing more is going to happen: the operator ends the daemon\n0.000 node SIGTERM\n"),
            "signal daemon: gets SIGTERM: nothing more is going to happen, the operator ends it");
}

TEST(Timeline, ShutdownEndsProgramsOrKillsThem) {
  EXPECT_EQ(eventOf("0.000 node program \"/opt/pump\" under EU 2 ends with the shutdown\n"),
            "program-shut-down pump: ended with the shutdown");
  EXPECT_EQ(eventOf("0.000 node program \"/opt/pump\" under EU 2 is killed by the shutdown\n"),
            "! program-killed pump: did not end with the shutdown and is killed");
}

TEST(Timeline, EndIsAFailureUnlessTheDaemonWasUp) {
  const struct {
    const char *end;
    const char *up;
    const char *down;
  } cases[] = {
      {"exit status 0", "end daemon: ends with exit status 0",
       "!! end daemon: ends before it is up, with exit status 0"},
      {"exit status 1", "!! end daemon: ends with exit status 1", "!! end daemon: ends with exit status 1"},
      {"killed by SIGTERM", "!! end daemon: is killed by SIGTERM", "!! end daemon: is killed by SIGTERM"},
      {"nothing can happen any more", "end daemon: runs on, and nothing more is going to happen",
       "!! end daemon: is stuck before it is up: nothing can happen any more"},
      {"the time is up", "end daemon: runs on when the time is up", "!! end daemon: is not up when the time is"},
      {"more than 5 operations, caught in a loop", "!! end daemon: makes more than 5 operations, caught in a loop",
       "!! end daemon: makes more than 5 operations, caught in a loop"},
      {"board reset", "!! reset node: the board is reset", "!! reset node: the board is reset"},
  };
  for (const auto &each : cases) {
    const std::string end = std::string("9.000 node end: ") + each.end + "\n";
    EXPECT_EQ(eventsOf(COMPLETE + end).back(), each.up);
    EXPECT_EQ(eventsOf(end).back(), each.down);
  }
}

// --- the verdict ----------------------------------------------------------------------------------------------------

TEST(Verdict, NodeWithoutFailuresIsWhole) {
  EXPECT_EQ(told(std::string(COMPLETE) + ENDED).verdict, Verdict::WHOLE);
  EXPECT_EQ(told(std::string(COMPLETE) + ENDED).sentence, "The node comes up whole after 1 s: no program is started.");
  EXPECT_EQ(told(std::string(CREATED) + STARTED + COMPLETE + ENDED).sentence,
            "The node comes up whole after 1 s: 1 program started, none waited for.");
}

TEST(Verdict, NotesAreNoFailures) {
  EXPECT_EQ(told(logged("0.000", 3, "f: odd") + COMPLETE + ENDED).verdict, Verdict::WHOLE);
}

TEST(Verdict, ProblemsAreNamedOnceAndThreeAtMost) {
  std::string lines = std::string(COMPLETE);
  for (const char *message : {"f: a", "f: a", "f: b"})
    lines += logged("2.000", 4, message);
  EXPECT_EQ(told(lines + ENDED).verdict, Verdict::FAILURES);
  EXPECT_EQ(told(lines + ENDED).sentence, "The node comes up after 1 s, but not whole: a; b.");
  for (const char *message : {"f: c", "f: d", "f: e"})
    lines += logged("2.000", 4, message);
  EXPECT_EQ(told(lines + ENDED).sentence, "The node comes up after 1 s, but not whole: a; b; c and 2 more.");
}

TEST(Verdict, NodeThatDoesNotComeUpSaysWhy) {
  EXPECT_EQ(told("9.000 node SIGTERM ends the daemon\n9.000 node end: killed by SIGTERM\n").sentence,
            "The node does not come up: the daemon is killed by SIGTERM.");
}

TEST(Verdict, ResetNamesItsReason) {
  const std::string failure = std::string(CREATED) + STARTED +
                              "2.000 2:pump AaProCmdExec(\"/opt/pump\") = 5, status 9\n" +
                              "32.000 2:pump ddal_watchdog_reboot() = 0\n32.000 node end: board reset\n";
  EXPECT_EQ(told(failure).verdict, Verdict::RESET);
  EXPECT_EQ(told(failure).sentence,
            "The node does not come up: the board is reset after 32 s: pump was killed by signal 9 (SIGKILL).");
  EXPECT_EQ(told(COMPLETE + failure).sentence,
            "The node comes up after 1 s, but the board is reset after 32 s: pump was killed by signal 9 (SIGKILL).");
  EXPECT_EQ(told(CREATED + logged("0.000", 2, "readyWait: waiting 240000 ms for t to be set") +
                 logged("240.000", 4, "readyWait: t tag not set in time") +
                 "270.000 1:ceInternalStartupEu ddal_watchdog_reboot() = 0\n270.000 node end: board reset\n")
                .sentence,
            "The node does not come up: the board is reset after 4 min 30 s: pump does not come online in time.");
}

// --- in print -------------------------------------------------------------------------------------------------------

TEST(TimelineText, IsAlignedWithMarksInTheMargin) {
  const Timeline timeline =
      told(CREATED + std::string(STARTED) + COMPLETE + logged("1.250", 3, "f: odd") +
           "62.000 2:pump AaProCmdExec(\"/opt/pump\") = 5, status 256\n62.000 node end: exit status 0\n");
  EXPECT_EQ(timelineText(timeline, "a title", false),
            "a title\n\n"
            "          0 s  pump    started: /opt/pump -v\n"
            "          1 s  daemon  CE start-up complete\n"
            " !     1.25 s  daemon  odd\n"
            "!!  1 min 2 s  pump    exited with 1 after 1 min 2 s\n"
            "    1 min 2 s  daemon  ends with exit status 0\n"
            "\n"
            "The node comes up after 1 s, but not whole: pump exited with 1.\n");
}

TEST(TimelineText, ColoursFailuresNotesAndTheVerdict) {
  const Timeline failed = told(logged("0.000", 3, "f: odd") + logged("0.000", 4, "f: bad") + COMPLETE + ENDED);
  const std::string text = timelineText(failed, "", true);
  EXPECT_NE(text.find("\x1b[33m !  0 s  daemon  odd\x1b[0m\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\x1b[1;31m!!  0 s  daemon  bad\x1b[0m\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n\x1b[1;31mThe node comes up after 1 s, but not whole: bad.\x1b[0m\n"), std::string::npos)
      << text;
  const std::string whole = timelineText(told(std::string(COMPLETE) + ENDED), "", true);
  EXPECT_NE(whole.find("\n\x1b[1;32mThe node comes up whole"), std::string::npos) << whole;
}

TEST(TimelineText, ProgramsThatEndTogetherShareALine) {
  const std::string ends = "2.000 node program \"/opt/pump\" under EU 2 ends with the shutdown\n";
  EXPECT_NE(timelineText(told(CREATED + ends + COMPLETE + ENDED), "", false).find("pump    ended with the shutdown\n"),
            std::string::npos);
  const std::string text =
      timelineText(told(std::string(CREATED) + COMPLETE + ends + ends + "3.000" + ends.substr(5) + ENDED), "", false);
  EXPECT_NE(text.find("    2 s  2 programs  ended with the shutdown\n    3 s  pump        ended with the shutdown\n"),
            std::string::npos)
      << text;
}

TEST(TimelineText, HasNoControlCharacters) {
  const Timeline timeline = told(logged("0.000", 3, R"(f: a\nb\x1b[0m)") + COMPLETE + ENDED);
  EXPECT_NE(timelineText(timeline, "x\x07", false).find(R"(a\nb\x1b[0m)"), std::string::npos);
  EXPECT_TRUE(timelineText(timeline, "x\x07", false).starts_with("x\\x07\n"));
}

TEST(TimelineJson, HasAnEventALine) {
  const Timeline timeline = told(CREATED + std::string(STARTED) + COMPLETE +
                                 "2.000 2:pump AaProCmdExec(\"/opt/pump\") = 5, status 256\n" + ENDED);
  EXPECT_EQ(timelineJson(timeline, "a \"name\"", 18446744073709551615U),
            R"({
  "scenario": "a \"name\"",
  "seed": 18446744073709551615,
  "verdict": "failures",
  "sentence": "The node comes up after 1 s, but not whole: pump exited with 1.",
  "complete_ms": 1000,
  "events": [
    {"at_ms": 0, "event": "program-started", "mark": "none", "who": "pump", "text": "started: /opt/pump -v", "eu": 2, "path": "/opt/pump", "arguments": "-v"},
    {"at_ms": 1000, "event": "complete", "mark": "none", "who": "daemon", "text": "CE start-up complete"},
    {"at_ms": 2000, "event": "program-ended", "mark": "failure", "who": "pump", "text": "exited with 1 after 2 s", "eu": 2, "ran_ms": 2000, "result": 5, "wait_status": 256},
    {"at_ms": 9000, "event": "end", "mark": "none", "who": "daemon", "text": "ends with exit status 0", "how": "exit", "end": "exit status 0"}
  ]
}
)");
}

TEST(TimelineJson, NodeThatNeverWasUpHasNoTimeOfIt) {
  EXPECT_NE(timelineJson(told(ENDED), "", 0).find("\"complete_ms\": null,\n"), std::string::npos);
}

TEST(TimelineJson, StringsAreWellFormed) {
  EXPECT_EQ(orv::jsonString("a\"b\\c\n\t\x01\x7f"), "\"a\\\"b\\\\c\\n\\t\\u0001\x7f\"");
  EXPECT_EQ(orv::jsonString("\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"), "\"\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80\"");
  EXPECT_EQ(orv::jsonString("\xff\xc3(\xed\xa0\x80"), "\"\\ufffd\\ufffd(\\ufffd\\ufffd\\ufffd\"");
}
