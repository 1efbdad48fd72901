// A log that goes on: nothing twice, nothing missed, and what could not be had is said.
#include "LogFollow.h"

#include <gtest/gtest.h>

#include "Clock.h"
#include "ErrorList.h"

namespace {

using orv::Event;
using orv::EventKind;
using orv::LogCursor;
using orv::LogFilter;
using orv::LogPart;
using orv::LogSource;

using orv::NS_PER_S;

Event event(uint64_t sequence, EventKind kind, const std::string &text, uint32_t euId = 0) {
  Event made;
  made.sequence = sequence;
  made.monotonicNs = sequence * NS_PER_S;
  made.kind = kind;
  made.text = text;
  made.euId = euId;
  return made;
}

LogSource sourceOf(uint64_t run, std::vector<Event> events) {
  LogSource source;
  source.run = orv::RunInfo{};
  source.run->number = run;
  source.run->startedNs = run * NS_PER_S;
  source.events = std::move(events);
  return source;
}

std::vector<std::string> texts(const std::vector<LogPart> &parts) {
  std::vector<std::string> all;
  for (const LogPart &part : parts) {
    for (const orv::LogLine &line : part.lines)
      all.push_back(std::to_string(part.run.number) + " " + (line.euName.empty() ? "-" : line.euName) + " " +
                    line.text);
  }
  return all;
}

using Texts = std::vector<std::string>;

TEST(LogFollow, EachLineComesOnce) {
  LogCursor cursor;
  const LogSource first = sourceOf(1, {event(1, EventKind::LOG, "a"), event(2, EventKind::LOG, "b")});
  EXPECT_EQ(texts(takeNewLines(cursor, first, {})), (Texts{"1 - a", "1 - b"}));
  EXPECT_EQ(texts(takeNewLines(cursor, first, {})), Texts());
  EXPECT_EQ(
      texts(takeNewLines(cursor, sourceOf(1, {event(2, EventKind::LOG, "b"), event(3, EventKind::LOG, "c")}), {})),
      (Texts{"1 - c"}));
}

TEST(LogFollow, EventsThatTheRingNoLongerHadAreCounted) {
  LogCursor cursor;
  takeNewLines(cursor, sourceOf(1, {event(1, EventKind::LOG, "a")}), {});
  EXPECT_EQ(texts(takeNewLines(cursor, sourceOf(1, {event(5, EventKind::LOG, "e")}), {})),
            (Texts{"1 - ... 3 events dropped ...", "1 - e"}));
  EXPECT_EQ(texts(takeNewLines(cursor, sourceOf(1, {event(7, EventKind::LOG, "g")}), {})),
            (Texts{"1 - ... 1 event dropped ...", "1 - g"}));
}

TEST(LogFollow, NamesOfEusAreKnownFromEarlierLooks) {
  LogCursor cursor;
  takeNewLines(cursor, sourceOf(1, {event(1, EventKind::EU_CREATED, "radio", 4)}), {});
  EXPECT_EQ(texts(takeNewLines(cursor, sourceOf(1, {event(2, EventKind::LOG, "x", 4)}), {})), (Texts{"1 radio x"}));
}

TEST(LogFollow, LinesOfTheRunBeforeAreToldByItsOwnClockAndNames) {
  LogCursor cursor;
  takeNewLines(cursor, sourceOf(1, {event(1, EventKind::EU_CREATED, "radio", 4)}), {});
  LogSource source = sourceOf(2, {event(2, EventKind::LOG, "last", 4), event(3, EventKind::RUN_STARTED, "pid 5"),
                                  event(4, EventKind::EU_CREATED, "pump", 4), event(5, EventKind::LOG, "first", 4)});
  source.eus = {{}};
  source.eus[0].id = 4;
  source.eus[0].name = "pump";
  EXPECT_EQ(texts(takeNewLines(cursor, source, {})), (Texts{"1 radio last", "2 - run started: pid 5", "2 pump first"}));
}

constexpr uint32_t RADIO = 4;

LogSource sourceWithRadio() {
  LogSource source = sourceOf(1, {});
  source.eus = {{}};
  source.eus[0].id = RADIO;
  source.eus[0].name = "radio";
  return source;
}

LogFilter radioAlone() {
  LogFilter filter;
  filter.euName = "radio";
  return filter;
}

TEST(LogFollow, OutputGoesOnWhereItWasAndCountsWhatIsNotKept) {
  const auto line = [](uint64_t number) {
    return orv::OutputLine{number, number * NS_PER_S, false, "line " + std::to_string(number)};
  };
  LogSource source = sourceWithRadio();
  source.outputs[RADIO].first = {line(1), line(2)};
  LogCursor cursor;
  EXPECT_EQ(texts(takeNewLines(cursor, source, radioAlone())), (Texts{"1 radio line 1", "1 radio line 2"}));
  EXPECT_EQ(texts(takeNewLines(cursor, source, radioAlone())), Texts());
  source.outputs[RADIO].first.push_back(line(3));
  source.outputs[RADIO].last = {line(7), line(8)};
  EXPECT_EQ(texts(takeNewLines(cursor, source, radioAlone())),
            (Texts{"1 radio line 3", "1 radio ... 3 lines dropped ...", "1 radio line 7", "1 radio line 8"}));
  source.outputs[RADIO].last.push_back(line(9));
  EXPECT_EQ(texts(takeNewLines(cursor, source, radioAlone())), (Texts{"1 radio line 9"}));
}

TEST(LogFollow, OutputOfANewRunBeginsAnew) {
  LogSource source = sourceWithRadio();
  source.outputs[RADIO].first = {{1, NS_PER_S, false, "old"}};
  LogCursor cursor;
  takeNewLines(cursor, source, radioAlone());
  LogSource second = sourceOf(2, {event(3, EventKind::RUN_STARTED, "")});
  second.eus = source.eus;
  second.outputs[RADIO].first = {{1, 4 * NS_PER_S, false, "new"}};
  EXPECT_EQ(texts(takeNewLines(cursor, second, radioAlone())), (Texts{"2 radio new"}));
}

TEST(LogFollow, FilterHoldsForWhatComes) {
  LogCursor cursor;
  LogFilter filter;
  filter.least = orv::LogSeverity::WARNING;
  EXPECT_EQ(texts(takeNewLines(
                cursor, sourceOf(1, {event(1, EventKind::LOG, "a"), event(2, EventKind::LAUNCH_FAILED, "b")}), filter)),
            (Texts{"1 - program not started: b"}));
}

// --- Raised errors --------------------------------------------------------------------------------------------------

TEST(ErrorList, HasTheFieldsOfEachErrorAndItsRun) {
  LogSource source = sourceOf(2, {event(1, EventKind::ERROR_RAISED, "kind 1, code 0x2: lost [a.c:3]"),
                                  event(2, EventKind::RUN_STARTED, ""), event(3, EventKind::EU_CREATED, "pump", 4),
                                  event(5, EventKind::ERROR_RAISED, "kind 0, code 0x12345678: failure [b:900]", 4),
                                  event(6, EventKind::ERROR_RAISED, "of another form", 9)});
  source.events[4].code = 7;
  source.events[3].pid = 42;
  const std::vector<orv::ListedError> errors = orv::listErrors(source, 0);
  ASSERT_EQ(errors.size(), 3U);
  EXPECT_EQ(errors[0].run, 1U);
  EXPECT_FALSE(errors[0].afterStartMs);
  EXPECT_EQ(errors[1].run, 2U);
  EXPECT_EQ(errors[1].afterStartMs, 3000U);
  EXPECT_EQ(errors[1].euName, "pump");
  EXPECT_EQ(errors[1].error.file, "b");
  EXPECT_EQ(errors[2].error.code, 7U);
  EXPECT_EQ(errors[2].error.text, "of another form");
  EXPECT_EQ(orv::listErrors(source, 6 * NS_PER_S).size(), 1U);
  source.run->startedRealtimeNs = 1700000000 * NS_PER_S;
  EXPECT_EQ(orv::errorsJson(*source.run, {errors[1], errors[2]}),
            "{\"errors\": [\n"
            "{\"sequence\": 5, \"run\": 2, \"monotonic_ns\": 5000000000, \"realtime_ns\": 1700000003000000000, "
            "\"after_start_ms\": 3000, \"eu\": \"pump\", \"pid\": 42, \"kind\": 0, \"code\": 305419896, \"text\": "
            "\"failure\", \"file\": \"b\", \"line\": 900},\n"
            "{\"sequence\": 6, \"run\": 2, \"monotonic_ns\": 6000000000, \"realtime_ns\": 1700000004000000000, "
            "\"after_start_ms\": 4000, \"eu\": null, \"pid\": 0, \"kind\": null, \"code\": 7, \"text\": \"of another "
            "form\", \"file\": null, \"line\": null}\n"
            "]}\n");
  EXPECT_EQ(orv::errorsJson(*source.run, {}), "{\"errors\": []}\n");
  EXPECT_EQ(orv::errorsText(*source.run, {}), "No error was raised.\n");
}

}  // namespace
