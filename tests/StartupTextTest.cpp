// Start-ups for people, to the letter: durations, axes, the chart of characters, who held whom up.
#include <gtest/gtest.h>

#include <numeric>

#include "Blame.h"
#include "StartupFixture.h"
#include "StartupText.h"
#include "StartupView.h"
#include "Terminal.h"
#include "TimeAxis.h"
#include "Utf8.h"

using namespace startuptest;

namespace {

std::string labels(uint64_t lengthNs, size_t most) {
  std::string text;
  for (const orv::Tick &tick : orv::timeTicks(lengthNs, most))
    text += (text.empty() ? "" : ", ") + tick.label;
  return text;
}

TEST(ShortDuration, HasThreeFiguresOrSo) {
  EXPECT_EQ(orv::shortDuration(0), "0 ms");
  EXPECT_EQ(orv::shortDuration(1), "0.0 ms");
  EXPECT_EQ(orv::shortDuration(4'230'000), "4.2 ms");
  EXPECT_EQ(orv::shortDuration(9'949'999), "9.9 ms");
  EXPECT_EQ(orv::shortDuration(9'950'000), "10 ms");
  EXPECT_EQ(orv::shortDuration(250 * MS), "250 ms");
  EXPECT_EQ(orv::shortDuration(999'499'999), "999 ms");
  EXPECT_EQ(orv::shortDuration(999'500'000), "1.00 s");
  EXPECT_EQ(orv::shortDuration(2'410 * MS), "2.41 s");
  EXPECT_EQ(orv::shortDuration(99'994'999'999), "99.99 s");
  EXPECT_EQ(orv::shortDuration(99'995'000'000), "1 min 40 s");
  EXPECT_EQ(orv::shortDuration(240 * S), "4 min");
  EXPECT_EQ(orv::shortDuration(7205 * S), "2 h 5 s");
}

TEST(TimeTicks, AreWhatPeopleCountIn) {
  EXPECT_EQ(labels(0, 8), "0.0 ms");
  EXPECT_EQ(labels(MS, 8), "0.0 ms, 0.2 ms, 0.4 ms, 0.6 ms, 0.8 ms, 1.0 ms");
  EXPECT_EQ(labels(35 * MS, 8), "0 ms, 5 ms, 10 ms, 15 ms, 20 ms, 25 ms, 30 ms, 35 ms");
  EXPECT_EQ(labels(999 * MS, 5), "0 ms, 200 ms, 400 ms, 600 ms, 800 ms");
  EXPECT_EQ(labels(2 * S, 5), "0.0 s, 0.5 s, 1.0 s, 1.5 s, 2.0 s");
  EXPECT_EQ(labels(16 * S, 8), "0 s, 2 s, 4 s, 6 s, 8 s, 10 s, 12 s, 14 s, 16 s");
  EXPECT_EQ(labels(100 * S, 4), "0 s, 30 s, 1 min, 1 min 30 s");
  EXPECT_EQ(labels(245 * S, 5), "0 s, 1 min, 2 min, 3 min, 4 min");
  EXPECT_EQ(labels(3 * 3600 * S, 3), "0 s, 1 h, 2 h, 3 h");
  EXPECT_EQ(orv::timeTicks(uint64_t{1} << 62, 8).size(), 7U);
}

TEST(Shortened, CutsBetweenCharacters) {
  EXPECT_EQ(orv::shortened("pump", 4), "pump");
  EXPECT_EQ(orv::shortened("pumps", 4), "pum\u2026");
  EXPECT_EQ(orv::shortened("\u00fc\u00fc\u00fc\u00fc", 3), "\u00fc\u00fc\u2026");
  EXPECT_EQ(orv::utf8Characters("\u00fc\u2026a"), 3U);
}

TEST(StartupChartText, ShowsEverythingThatCanHappen) {
  EXPECT_EQ(orv::startupChartText(eventfulRun().model(), 100),
            "Start-up of node 0x1011 (CE-1), run 1: complete after 2.00 s\n"
            "\n"
            "                     0 s                1 s                2 s\n"
            "                     ┬──────────────────┬──────────────────┬──                        HELD UP\n"
            "(the daemon itself)                                                                     20 ms    1 %\n"
            "database             █████████░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░░  online 480 ms          490 ms   24 %\n"
            "recorder                      ································  running\n"
            "self-test                     ······                            exited with 0\n"
            "pump                          ····!                             exited with 3\n"
            "ghost                         !                                 could not be started\n"
            "radio                         ███████████████████████████!▒▒▒▒  not online in time     1.40 s   70 %\n"
            "web                                                      ██░░░  online 1.97 s           90 ms    4 %\n"
            "\n"
            "! error raised at 701 ms: kind 0, code 0x12345678: failure of application pump\n"
            "! reset held off at 1.90 s: would have reset the board by watchdog\n"
            "\n"
            "█ the start-up waits for it   ╌ not started yet   ▒ starting   ░ online   · running   ! failed\n");
}

TEST(StartupChartText, KeepsALeastWidth) {
  EXPECT_EQ(orv::startupChartText(Recorded().begin().application(10, 2, "database", 500).complete(520).model(), 10),
            "Start-up of node 0x1011 (CE-1), run 1: complete after 520 ms\n"
            "\n"
            "                     0 ms\n"
            "                     ┬─────────────────┬─                 HELD UP\n"
            "(the daemon itself)                    █                    30 ms    6 %\n"
            "database             ██████████████████░░  online 480 ms   490 ms   94 %\n"
            "\n"
            "█ the start-up waits for it   ╌ not started yet   ▒ starting   ░ online   · running   ! failed\n");
}

TEST(StartupChartText, SaysWhatAStartUpWaitsFor) {
  Recorded node;
  const std::string name = std::string("ra") + '\x1b' + "dio";
  node.begin().created(10, 2, name).waits(10, 2, name, "radio.on");
  node.source.nowNs = START_NS + 3 * S;
  const std::string text = orv::startupChartText(node.model(), 80);
  EXPECT_EQ(text.substr(0, text.find('\n')),
            "Start-up of node 0x1011 (CE-1), run 1: going on for 3.00 s, waiting for ra\\x1bdio");
  node.source.daemonIsAlive = false;
  const std::string dead = orv::startupChartText(node.model(), 80);
  EXPECT_EQ(dead.substr(0, dead.find('\n')),
            "Start-up of node 0x1011 (CE-1), run 1: broken off after 10 ms, waiting for ra\\x1bdio");
}

TEST(StartupChartText, HasColoursWhereTheyAreAskedFor) {
  const orv::StartupModel model = Recorded().begin().application(10, 2, "database", 500).complete(520).model();
  const std::string plain = orv::startupChartText(model, 80);
  orv::useColours(orv::ColourUse::ALWAYS);
  const std::string text = orv::startupChartText(model, 80);
  orv::useColours(orv::ColourUse::AUTO);
  EXPECT_NE(text.find("\x1b[33m\u2588"), std::string::npos);
  EXPECT_EQ(plain.find('\x1b'), std::string::npos);
}

TEST(ProgramDetails, TellsAllThatIsKnown) {
  const orv::StartupModel model = eventfulRun().model();
  EXPECT_EQ(orv::programDetails(model, model.programs[0]),
            "database\n"
            "/bin/database\n"
            "EU 2, pid 4002, supervision flags 0\n"
            "EU created at 10 ms\n"
            "program started at 15 ms\n"
            "online at 480 ms\n"
            "waited for tag database.online: 490 ms\n"
            "held the start-up up by 490 ms, 24 % of it");
  EXPECT_EQ(orv::programDetails(model, model.programs[5]),
            "radio\n"
            "/bin/radio\n"
            "EU 7, pid 4007, supervision flags 0\n"
            "EU created at 500 ms\n"
            "program started at 505 ms\n"
            "waited for tag radio.on, in vain: 1.00 s\n"
            "held the start-up up by 1.40 s, 70 % of it");
}

TEST(Blame, AddsUpAsItIsPrinted) {
  EXPECT_EQ(
      orv::blameText(eventfulRun().model()),
      "Start-up of node 0x1011 (CE-1), run 1: complete after 2.00 s\n"
      "\n"
      "HELD UP    SHARE  PROGRAM            WHERE THE TIME WENT\n"
      "1.400 s   70.0 %  radio              5.0 ms until it ran, 995 ms in vain, 400 ms for the board reset\n"
      "0.490 s   24.5 %  database           5.0 ms until it ran, 465 ms until it was online, 20 ms until that was "
      "seen\n"
      "0.090 s    4.5 %  web                5.0 ms until it ran, 65 ms until it was online, 20 ms until that was seen\n"
      "0.020 s    1.0 %  the daemon itself  what is no wait for a program\n"
      "2.000 s  100.0 %  in all\n"
      "\n"
      "4 programs held nothing up: recorder, self-test, pump, ghost\n");
}

TEST(Blame, IsTheWholeStartUp) {
  for (const orv::StartupModel &model : {eventfulRun().model(), Recorded().begin().complete(3).model(),
                                         Recorded().begin().application(1, 2, "a", 333).complete(1000).model()}) {
    const orv::Blame blame = orv::blameOf(model);
    uint64_t sum = blame.daemonNs;
    uint64_t last = UINT64_MAX;
    for (const orv::BlameRow &row : blame.rows) {
      EXPECT_EQ(row.launchNs + row.onlineNs + row.noticeNs + row.resetNs, row.delayNs);
      EXPECT_LE(row.delayNs, last);
      last = row.delayNs;
      sum += row.delayNs;
    }
    EXPECT_EQ(sum, model.lengthNs);
    EXPECT_EQ(blame.lengthNs, model.lengthNs);
  }
}

TEST(Blame, TellsWhereTheTimeWent) {
  const orv::Blame blame = orv::blameOf(eventfulRun().model());
  ASSERT_EQ(blame.rows.size(), 3U);
  const orv::BlameRow &radio = blame.rows[0];
  EXPECT_EQ(radio.launchNs, 5 * MS);
  EXPECT_EQ(radio.onlineNs, 995 * MS);
  EXPECT_EQ(radio.noticeNs, 0U);
  EXPECT_EQ(radio.resetNs, 400 * MS);
  const orv::BlameRow &database = blame.rows[1];
  EXPECT_EQ(database.launchNs, 5 * MS);
  EXPECT_EQ(database.onlineNs, 465 * MS);
  EXPECT_EQ(database.noticeNs, 20 * MS);
  EXPECT_EQ(database.resetNs, 0U);
}

TEST(Blame, OfTwoOfOneLengthTheEarlierComesFirst) {
  const orv::StartupModel model =
      Recorded().begin().application(10, 2, "b", 110).application(110, 3, "a", 210).complete(210).model();
  const orv::Blame blame = orv::blameOf(model);
  ASSERT_EQ(blame.rows.size(), 2U);
  EXPECT_EQ(model.programs[blame.rows[0].program].name, "b");
}

TEST(Blame, AsJson) {
  const orv::StartupModel model = Recorded().begin().application(10, 2, "database", 500).complete(520).model();
  EXPECT_EQ(orv::blameJson(model),
            "{\"run\": 1, \"length_ns\": 520000000, \"daemon_ns\": 30000000, \"programs\": [\n"
            "    {\"name\": \"database\", \"eu_id\": 2, \"delay_ns\": 490000000, \"launch_ns\": 5000000, "
            "\"online_ns\": 465000000, \"notice_ns\": 20000000, \"reset_ns\": 0}\n"
            "  ]}\n");
}

TEST(Apportioned, KeepsTheSum) {
  using Parts = std::vector<uint64_t>;
  EXPECT_EQ(orv::apportioned({}, 10), Parts());
  EXPECT_EQ(orv::apportioned({14, 14, 12}, 10), (Parts{2, 1, 1}));
  EXPECT_EQ(orv::apportioned({4, 4, 4}, 10), (Parts{1, 0, 0}));
  EXPECT_EQ(orv::apportioned({4}, 10), Parts{0});
  EXPECT_EQ(orv::apportioned({5}, 10), Parts{1});
  EXPECT_EQ(orv::apportioned({19, 19}, 10), (Parts{2, 2}));
}

}  // namespace
