// orvctl log: what the store tells of the node and of one EU, in the order of time, for people and for programs.
#include <gtest/gtest.h>

#include "Clock.h"
#include "OrvctlFixture.h"

using namespace orvctltest;

namespace {

using orv::Event;
using orv::EventKind;
using orv::OutputLine;

using orv::NS_PER_MS;
using orv::NS_PER_S;
constexpr uint64_t START_NS = 1000 * NS_PER_S;
constexpr uint32_t INFO = 2;
constexpr uint32_t WARNING = 3;
constexpr uint32_t ERROR = 4;

class OrvctlLog : public Orvctl {
 protected:
  // A run that began at 22:13:20 UTC.
  void begin() const {
    orv::RunInfo run;
    run.state = RunState::UP;
    run.daemonPid = 42;
    run.startedNs = START_NS;
    run.startedRealtimeNs = 1700000000 * NS_PER_S;
    ASSERT_TRUE(store()->beginRun(run).ok());
  }
  void add(uint64_t afterMs, EventKind kind, const std::string &text, uint32_t euId = 0, uint32_t code = 0) const {
    Event event;
    event.monotonicNs = START_NS + afterMs * NS_PER_MS;
    event.pid = 42;
    event.kind = kind;
    event.code = code;
    event.euId = euId;
    event.text = text;
    ASSERT_TRUE(store()->appendEvent(event).ok());
  }
  void addEu(uint32_t id, const std::string &name, EuState euState = EuState::RUNNING) const {
    EuRecord eu;
    eu.id = id;
    eu.name = name;
    eu.state = euState;
    ASSERT_TRUE(store()->putEu(eu, nullptr).ok());
  }
};

TEST_F(OrvctlLog, IsInTheOrderOfTimeWithTheEuOfEachLine) {
  begin();
  addEu(1, "radioCtrl");
  // As the daemon writes them, some later than they happened.
  add(1500, EventKind::LOG, "the program failed", 1, WARNING);
  add(250, EventKind::LOG, "starting", 0, INFO);
  add(1000, EventKind::PROGRAM_ENDED, "pid 50: wait status 256", 1);
  add(500, EventKind::PROGRAM_STARTED, "pid 50: /usr/bin/radio", 1);
  add(61001, EventKind::ERROR_RAISED, "kind 0, code 0x1: failure", 1);
  EXPECT_EQ(output(DONE, {"log"}),
            "2023-11-14 22:13:20.000       +0.000  info     -          run started: pid 42\n"
            "2023-11-14 22:13:20.250       +0.250  info     -          starting\n"
            "2023-11-14 22:13:20.500       +0.500  info     radioCtrl  program started: pid 50: /usr/bin/radio\n"
            "2023-11-14 22:13:21.000       +1.000  warning  radioCtrl  program ended: pid 50: exited with 1\n"
            "2023-11-14 22:13:21.500       +1.500  warning  radioCtrl  the program failed\n"
            "2023-11-14 22:14:21.001      +61.001  error    radioCtrl  error raised: kind 0, code 0x1: failure\n");
}

TEST_F(OrvctlLog, ShowsEveryKindThatConcernsTheNode) {
  begin();
  addEu(1, "radio");
  const struct {
    EventKind kind;
    const char *text;
    const char *expected;
  } cases[] = {
      {EventKind::CE_STARTED, "node id 4", "info     radio  CE started: node id 4"},
      {EventKind::CE_STOPPED, "", "info     radio  CE stopped"},
      {EventKind::PROGRAM_ENDED, "pid 5: wait status 0", "info     radio  program ended: pid 5: exited with 0"},
      {EventKind::PROGRAM_ENDED, "pid 5: wait status 9",
       "warning  radio  program ended: pid 5: killed by signal 9 (SIGKILL)"},
      {EventKind::PROGRAM_ENDED, "in other words", "info     radio  program ended: in other words"},
      {EventKind::LAUNCH_FAILED, "no such file", "error    radio  program not started: no such file"},
      {EventKind::MESSAGE_UNDELIVERED, "x", "warning  radio  message not delivered: x"},
      {EventKind::RESET_REQUESTED, "by watchdog", "warning  radio  reset: by watchdog"},
      {EventKind::RESET_HELD, "budget", "warning  radio  reset held off: budget"},
      {EventKind::LAST_WORDS, "Segmentation fault", "warning  radio  last words: Segmentation fault"},
      {EventKind::PROGRAM_READY, "pid 5", "info     radio  program ready: pid 5"},
      {EventKind::GATEWAY, "connected", "info     radio  gateway: connected"}};
  std::string expected;
  uint64_t afterMs = 1;
  for (const auto &each : cases) {
    add(afterMs, each.kind, each.text, 1);
    expected += "2023-11-14 22:13:20.0" + std::string(afterMs < 10 ? "0" : "") + std::to_string(afterMs) +
                "       +0.0" + (afterMs < 10 ? "0" : "") + std::to_string(afterMs) + "  " + each.expected + "\n";
    ++afterMs;
  }
  for (const EventKind kind :
       {EventKind::EU_CREATED, EventKind::EU_FINISHED, EventKind::TAG_SET, EventKind::MESSAGE_SENT,
        EventKind::WAIT_BEGAN, EventKind::WAIT_ENDED, EventKind::STARTUP_COMPLETE})
    add(afterMs, kind, "of an EU alone", 1);
  const std::string text = output(DONE, {"log"});
  EXPECT_EQ(text.substr(text.find('\n') + 1), expected);
}

TEST_F(OrvctlLog, TellsOfTheWaitsForAnEu) {
  begin();
  addEu(1, "radio");
  add(1, EventKind::WAIT_BEGAN, "radio (tag radio.on)", 1);
  add(2, EventKind::WAIT_ENDED, "radio (tag radio.on)", 1, static_cast<uint32_t>(orv::WaitOutcome::ONLINE));
  add(3, EventKind::WAIT_ENDED, "radio (tag radio.on)", 1, static_cast<uint32_t>(orv::WaitOutcome::TIMED_OUT));
  add(4, EventKind::STARTUP_COMPLETE, "", 1);
  const std::string waits = "radio  the start-up waits for radio (tag radio.on)\n";
  EXPECT_EQ(output(DONE, {"log", "--eu", "radio"}),
            "2023-11-14 22:13:20.001       +0.001  info   " + waits +
                "2023-11-14 22:13:20.002       +0.002  info   radio  the start-up no longer waits for radio (tag "
                "radio.on): online\n"
                "2023-11-14 22:13:20.003       +0.003  error  radio  the start-up no longer waits for radio (tag "
                "radio.on): not online in time\n"
                "2023-11-14 22:13:20.004       +0.004  info   radio  start-up complete\n");
}

TEST_F(OrvctlLog, SeverityIsTheLeastThatIsShown) {
  begin();
  for (const uint32_t severity : {1U, INFO, WARNING, ERROR, 5U})
    add(severity, EventKind::LOG, "severity " + std::to_string(severity), 0, severity);
  EXPECT_EQ(output(DONE, {"log", "--severity", "warning"}),
            "2023-11-14 22:13:20.003       +0.003  warning  -  severity 3\n"
            "2023-11-14 22:13:20.004       +0.004  error    -  severity 4\n"
            "2023-11-14 22:13:20.005       +0.005  error    -  severity 5\n");
  EXPECT_EQ(output(DONE, {"log", "--severity=error"}),
            "2023-11-14 22:13:20.004       +0.004  error  -  severity 4\n"
            "2023-11-14 22:13:20.005       +0.005  error  -  severity 5\n");
  EXPECT_TRUE(contains(complaint(USAGE, {"log", "--severity", "loud"}), "loud"));
}

TEST_F(OrvctlLog, SinceIsALocalTimeOrAnAge) {
  begin();
  add(1000, EventKind::LOG, "one", 0, INFO);
  add(60000, EventKind::LOG, "two", 0, INFO);
  const std::string two = "2023-11-14 22:14:20.000      +60.000  info  -  two\n";
  for (const char *since : {"2023-11-14 22:14", "2023-11-14 22:14:20", "2023-11-14T22:13:22", "2023-11-14T22:14"})
    EXPECT_EQ(output(DONE, {"log", "--since", since}), two) << since;
  EXPECT_EQ(output(DONE, {"log", "--since", "2023-11-14 22:14:21"}), "");
  // Of today: long after.
  EXPECT_EQ(output(DONE, {"log", "--since", "00:00"}), "");
  EXPECT_EQ(output(DONE, {"log", "--since", "00:00:00"}), "");
  Event now;
  now.text = "now";
  ASSERT_TRUE(store()->appendEvent(now).ok());
  EXPECT_TRUE(output(DONE, {"log", "--since", "300"}).ends_with("  now\n"));
  EXPECT_TRUE(output(DONE, {"log", "--since", "1e300"}).ends_with("  now\n"));
  EXPECT_EQ(output(DONE, {"log", "--since", "0"}), "");
  for (const char *since : {"", "soon", "-1", "25:00", "2023-11-14", "nan", "12:00x"})
    EXPECT_TRUE(contains(complaint(USAGE, {"log", std::string("--since=") + since}), "--since")) << since;
}

TEST_F(OrvctlLog, OfAnEuHasAllOfItsEventsAndItsOutput) {
  begin();
  addEu(1, "radio");
  addEu(2, "pump");
  add(1, EventKind::EU_CREATED, "radio", 1);
  add(2, EventKind::LOG, "of nobody", 0, INFO);
  add(3, EventKind::LOG, "of pump", 2, ERROR);
  add(20, EventKind::TAG_SET, "radio.online = 1 (u32)", 1);
  const std::vector<OutputLine> lines = {{1, START_NS + 10 * NS_PER_MS, false, "hello"},
                                         {2, START_NS + 30 * NS_PER_MS, true, "unfinished"}};
  ASSERT_TRUE(store()->appendOutput(1, lines).ok());
  ASSERT_TRUE(store()->appendOutput(2, lines).ok());
  EXPECT_EQ(output(DONE, {"log", "--eu", "radio"}),
            "2023-11-14 22:13:20.001       +0.001  info    radio  EU created: radio\n"
            "2023-11-14 22:13:20.010       +0.010  output  radio  hello\n"
            "2023-11-14 22:13:20.020       +0.020  info    radio  tag set: radio.online = 1 (u32)\n"
            "2023-11-14 22:13:20.030       +0.030  output  radio  unfinished [no line end]\n");
  EXPECT_EQ(output(DONE, {"log", "--eu", "radio", "--severity", "warning"}), "");
}

TEST_F(OrvctlLog, TellsHowManyLinesOfOutputWereDropped) {
  begin();
  addEu(1, "radio");
  std::vector<OutputLine> lines;
  for (uint64_t number = 1; number <= 1000; ++number)
    lines.push_back({number, START_NS + number * NS_PER_MS, false, "line " + std::to_string(number)});
  ASSERT_TRUE(store()->appendOutput(1, lines).ok());
  const std::string text = output(DONE, {"log", "--eu=radio"});
  EXPECT_TRUE(contains(text,
                       "2023-11-14 22:13:20.050       +0.050  output  radio  line 50\n"
                       "2023-11-14 22:13:20.801       +0.801  output  radio  ... 750 lines dropped ...\n"
                       "2023-11-14 22:13:20.801       +0.801  output  radio  line 801\n"))
      << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 251);
}

TEST_F(OrvctlLog, NothingInItCommandsTheTerminal) {
  begin();
  addEu(1, "ra\x1b[2Jdio");
  add(1, EventKind::LOG,
      "clear\x1b[2J\r\n\x07\xc2\x9b"
      "2J\xff\xe2\x80\xae \xc3\xa9",
      1, INFO);
  const std::vector<OutputLine> lines = {{1, START_NS + 2 * NS_PER_MS, false, std::string("\0\xfe\x1b]0;x\x07", 8)}};
  ASSERT_TRUE(store()->appendOutput(1, lines).ok());
  EXPECT_EQ(output(DONE, {"log", "--eu", "ra\x1b[2Jdio"}),
            "2023-11-14 22:13:20.001       +0.001  info    ra\\x1b[2Jdio  "
            "clear\\x1b[2J\\r\\n\\x07\\xc2\\x9b"
            "2J\\xff\\xe2\\x80\\xae \xc3\xa9\n"
            "2023-11-14 22:13:20.002       +0.002  output  ra\\x1b[2Jdio  \\x00\\xfe\\x1b]0;x\\x07\n");
}

TEST_F(OrvctlLog, UnknownEuIsANoThatNamesThoseThereAre) {
  store();
  EXPECT_EQ(complaint(NO, {"log", "--eu", "radio"}), "orvctl: there is no EU \"radio\": the node has none yet");
  begin();
  addEu(1, "radio");
  addEu(2, "pump");
  EXPECT_EQ(complaint(NO, {"log", "--eu", "radoi"}),
            "orvctl: there is no EU \"radoi\" (did you mean \"radio\"? there are: pump, radio)");
  EXPECT_EQ(complaint(NO, {"log", "--eu", "turbine"}), "orvctl: there is no EU \"turbine\" (there are: pump, radio)");
}

TEST_F(OrvctlLog, EusOfAnEarlierRunKeepTheirNames) {
  begin();
  add(1, EventKind::EU_CREATED, "old", 1);
  add(2, EventKind::LOG, "of old", 1, INFO);
  begin();
  addEu(1, "new");
  add(3, EventKind::LOG, "of new", 1, INFO);
  EXPECT_EQ(output(DONE, {"log", "--eu", "new"}), "2023-11-14 22:13:20.003       +0.003  info  new  of new\n");
  const std::string old = output(DONE, {"log", "--eu", "old"});
  EXPECT_TRUE(old.ends_with("  of old\n")) << old;
  EXPECT_FALSE(contains(old, "of new")) << old;
}

TEST_F(OrvctlLog, ProgramThatTheShutdownEndedIsNoWarning) {
  begin();
  addEu(1, "radio", EuState::SHUT_DOWN);
  add(1, EventKind::PROGRAM_ENDED, "pid 5: wait status 15", 1);
  EXPECT_TRUE(contains(output(DONE, {"log"}), "info  radio  program ended: pid 5: killed by signal 15 (SIGTERM)\n"));
}

TEST_F(OrvctlLog, JsonIsAnObjectALine) {
  begin();
  addEu(1, "radio");
  add(20, EventKind::LOG, "a \"word\"\n", 1, ERROR);
  std::vector<OutputLine> lines = {{1, START_NS + 30 * NS_PER_MS, true, "\xff"}};
  ASSERT_TRUE(store()->appendOutput(1, lines).ok());
  lines = {{251, START_NS + 40 * NS_PER_MS, false, "last"}};
  ASSERT_TRUE(store()->appendOutput(1, lines).ok());
  EXPECT_EQ(
      output(DONE, {"log", "--json", "--eu", "radio"}),
      "{\"kind\": \"log\", \"severity\": \"error\", \"monotonic_ns\": 1000020000000, \"realtime_ns\": "
      "1700000000020000000, \"since_start_ms\": 20, \"eu\": \"radio\", \"sequence\": 2, \"pid\": 42, \"code\": 4, "
      "\"text\": \"a \\\"word\\\"\\n\"}\n"
      "{\"kind\": \"output\", \"severity\": \"info\", \"monotonic_ns\": 1000030000000, \"realtime_ns\": "
      "1700000000030000000, \"since_start_ms\": 30, \"eu\": \"radio\", \"line\": 1, \"partial\": true, \"text\": "
      "\"\\ufffd\"}\n"
      "{\"kind\": \"dropped\", \"severity\": \"info\", \"monotonic_ns\": 1000040000000, \"realtime_ns\": "
      "1700000000040000000, \"since_start_ms\": 40, \"eu\": \"radio\", \"lines\": 249, \"text\": \"... 249 lines "
      "dropped ...\"}\n"
      "{\"kind\": \"output\", \"severity\": \"info\", \"monotonic_ns\": 1000040000000, \"realtime_ns\": "
      "1700000000040000000, \"since_start_ms\": 40, \"eu\": \"radio\", \"line\": 251, \"partial\": false, \"text\": "
      "\"last\"}\n");
  EXPECT_TRUE(output(DONE, {"log", "--json"}).starts_with("{\"kind\": \"run_started\", \"severity\": \"info\", "));
  EXPECT_TRUE(contains(output(DONE, {"log", "--json"}), "\"eu\": null"));
}

}  // namespace
