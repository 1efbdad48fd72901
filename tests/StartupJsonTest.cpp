// A start-up as JSON: what is written is read again, and what is none is refused with the place.
#include <gtest/gtest.h>

#include "StartupFixture.h"

using namespace startuptest;

namespace {

std::string problemOf(const std::string &json) {
  std::string problem;
  EXPECT_FALSE(orv::startupFromJson(json, problem)) << json;
  return problem;
}

// The JSON of an eventful run with one piece replaced.
std::string changed(const std::string &piece, const std::string &by) {
  std::string json = orv::startupJson(eventfulRun().model());
  const size_t at = json.find(piece);
  if (at == std::string::npos) throw std::runtime_error("there is no " + piece);
  return json.replace(at, piece.size(), by);
}

TEST(StartupJson, IsAnInterface) {
  Recorded node;
  node.begin().created(2, 2, "a \"b\"\n\xff").waits(3, 2, "a \"b\"\n\xff", "t").waited(5, 2, "a \"b\"\n\xff", "t");
  node.event(6, orv::EventKind::ERROR_RAISED, 2, "no", 7).complete(7);
  EXPECT_EQ(
      orv::startupJson(node.model()),
      "{\"format\": \"orv-start-up\", \"version\": 1, \"run\": 1, \"daemon_pid\": 400, \"nid\": 4113, "
      "\"ce_name\": \"CE-1\", \"started_realtime_ns\": 1700000000000000000, \"state\": \"complete\", "
      "\"beginning_is_lost\": false, \"length_ns\": 7000000, \"daemon_ended_ns\": null, \"programs\": [\n"
      "    {\"eu_id\": 2, \"name\": \"a \\\"b\\\"\\n\\ufffd\", \"path\": \"\", \"args\": \"\", \"supervision_flags\": "
      "0, "
      "\"pid\": 0, \"state\": \"created\", \"wait_status\": 0, \"failure\": \"\", \"created_ns\": 2000000, "
      "\"started_ns\": null, \"ready_ns\": null, \"ended_ns\": null, \"wait\": {\"tag\": \"t\", \"began_ns\": 3000000, "
      "\"ended_ns\": 5000000, \"state\": \"online\", \"budget_ms\": 240000}, \"delay_ns\": 2000000}\n"
      "  ], \"marks\": [\n"
      "    {\"kind\": \"error_raised\", \"at_ns\": 6000000, \"program\": 0, \"code\": 7, \"text\": \"no\"}\n"
      "  ], \"critical_path\": [\n"
      "    {\"program\": null, \"began_ns\": 0, \"ended_ns\": 3000000},\n"
      "    {\"program\": 0, \"began_ns\": 3000000, \"ended_ns\": 5000000},\n"
      "    {\"program\": null, \"began_ns\": 5000000, \"ended_ns\": 7000000}\n"
      "  ]}\n");
}

TEST(StartupJson, ComesBackAsItWas) {
  for (const bool alive : {true, false}) {
    Recorded eventful = eventfulRun();
    Recorded waiting;
    waiting.begin().created(10, 2, "radio").waits(10, 2, "radio", "radio.on");
    waiting.source.nowNs += 7 * S;
    waiting.source.daemonIsAlive = alive;
    Recorded lost = eventfulRun();
    lost.source.events.erase(lost.source.events.begin());
    for (const Recorded &node : {eventful, waiting, lost, Recorded().begin()}) {
      const std::string json = orv::startupJson(node.model());
      std::string problem;
      const std::optional<orv::StartupModel> model = orv::startupFromJson(json, problem);
      ASSERT_TRUE(model) << problem << "\n" << json;
      EXPECT_EQ(problem, "");
      EXPECT_EQ(orv::startupJson(*model), json);
    }
  }
}

TEST(StartupJson, WhatIsNoneIsRefused) {
  EXPECT_EQ(problemOf(""), "it is not JSON");
  EXPECT_EQ(problemOf("{"), "it is not JSON");
  EXPECT_EQ(problemOf(std::string(100'000, '[')), "it is not JSON");
  EXPECT_EQ(problemOf("[1]"), "it is not a JSON object");
  EXPECT_EQ(problemOf("{}"), "format is not there");
  EXPECT_EQ(problemOf(changed("orv-start-up", "other")), "format is not \"orv-start-up\"");
  EXPECT_EQ(problemOf(changed("\"version\": 1", "\"version\": 2")),
            "version is not 1, which is all that is known here");
}

TEST(StartupJson, AFieldThatIsWrongIsNamed) {
  EXPECT_EQ(problemOf(changed("\"run\": 1, ", "")), "run is not there");
  EXPECT_EQ(problemOf(changed("\"run\": 1", "\"run\": -1")), "run is not a number in its range");
  EXPECT_EQ(problemOf(changed("\"nid\": 4113", "\"nid\": 65536")), "nid is not a number in its range");
  EXPECT_EQ(problemOf(changed("\"nid\": 4113", "\"nid\": 1.5")), "nid is not a number in its range");
  EXPECT_EQ(problemOf(changed("\"CE-1\"", "1")), "ce_name is not a text");
  EXPECT_EQ(problemOf(changed("false", "0")), "beginning_is_lost is not true or false");
  EXPECT_EQ(problemOf(changed("\"complete\"", "\"done\"")), "state is not one of the words that are known");
  EXPECT_EQ(problemOf(changed("\"programs\": [", "\"programs\": 1, \"other\": [")),
            "programs is not a list of up to 1000");
  EXPECT_EQ(problemOf(changed("\"programs\": [", "\"programs\": [1, ")), "programs[0]. is not an object");
  EXPECT_EQ(problemOf(changed("\"name\": \"recorder\"", "\"name\": null")), "programs[1].name is not a text");
  EXPECT_EQ(problemOf(changed("\"wait_status\": 768", "\"wait_status\": 2147483648")),
            "programs[3].wait_status is not a number in its range");
  EXPECT_EQ(problemOf(changed("\"created_ns\": 10000000", "\"created_ns\": 4611686018427387905")),
            "programs[0].created_ns is not a number in its range");
}

TEST(StartupJson, WhatContradictsItselfIsRefused) {
  EXPECT_EQ(problemOf(changed("{\"program\": null, \"began_ns\": 0", "{\"program\": null, \"began_ns\": 1")),
            "critical_path[0].began_ns is not where the step before it ended");
  EXPECT_EQ(problemOf(changed("\"ended_ns\": 10000000}", "\"ended_ns\": 0}")),
            "critical_path[1].began_ns is not where the step before it ended");
  EXPECT_EQ(problemOf(changed("\"length_ns\": 2000000000", "\"length_ns\": 1")),
            "critical_path is not as long as length_ns says");
  EXPECT_EQ(problemOf(changed("{\"program\": 0", "{\"program\": 7")),
            "critical_path[1].program is not the place of a program");
  EXPECT_EQ(problemOf(changed("\"at_ns\": 701000000, \"program\": 3", "\"at_ns\": 701000000, \"program\": 7")),
            "marks[0].program is not the place of a program");
  EXPECT_EQ(problemOf(changed("\"delay_ns\": 490000000", "\"delay_ns\": 1")),
            "programs[0].delay_ns is not the sum of its steps in critical_path");
  EXPECT_EQ(problemOf(changed("\"state\": \"online\"", "\"state\": \"still_waiting\"")),
            "programs[0].wait.ended_ns is not as its state says");
  EXPECT_EQ(problemOf(changed("\"began_ns\": 10000000, \"ended_ns\": 500000000, \"state\"",
                              "\"began_ns\": 600000000, \"ended_ns\": 500000000, \"state\"")),
            "programs[0].wait.ended_ns is not behind began_ns");
}

TEST(StartupJson, FieldsThatAreNotKnownAreLeftAlone) {
  std::string problem;
  EXPECT_TRUE(orv::startupFromJson(changed("\"run\": 1", "\"more\": [{}], \"run\": 1"), problem)) << problem;
}

}  // namespace
