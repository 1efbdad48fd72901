#include "GuardTargets.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

// The daemon's own group and session, and the guard.
constexpr orv::Spared SPARED = {500, 100, 50};

struct Process {
  pid_t pid;
  pid_t parent;
  pid_t group;
  pid_t session;
  bool target = false;
};

std::vector<pid_t> spread(const std::vector<Process> &processes) {
  std::vector<orv::GuardCandidate> candidates;
  for (const Process &process : processes) {
    candidates.push_back({{process.pid, process.parent, process.group, process.session, false, 0}, process.target});
  }
  orv::spreadTargets(candidates.data(), candidates.size(), SPARED);
  std::vector<pid_t> targets;
  for (const orv::GuardCandidate &candidate : candidates) {
    if (candidate.target) targets.push_back(candidate.facts.pid);
  }
  return targets;
}

}  // namespace

TEST(GuardTargets, AreTheChildrenOfTargetsDownToTheLast) {
  EXPECT_EQ(spread({{9, 8, 9, 9}, {8, 7, 8, 8}, {7, 1, 7, 50, true}, {10, 1, 10, 50}}), (std::vector<pid_t>{9, 8, 7}));
}

TEST(GuardTargets, AreTheMembersOfATargetsGroupAndSession) {
  EXPECT_EQ(spread({{7, 1, 7, 70, true}, {8, 1, 7, 50}, {9, 1, 9, 70}}), (std::vector<pid_t>{7, 8, 9}));
}

TEST(GuardTargets, AreNotThoseWhoShareTheDaemonsGroupOrSession) {
  EXPECT_EQ(spread({{7, 1, 100, 50, true}, {8, 1, 100, 50}, {9, 1, 9, 50}, {50, 1, 50, 50}}), (std::vector<pid_t>{7}));
}

TEST(GuardTargets, AreNeverTheFirstProcessNorTheGuard) {
  EXPECT_EQ(spread({{7, 1, 7, 70, true}, {1, 7, 7, 70}, {500, 7, 7, 70}}), (std::vector<pid_t>{7}));
}

TEST(ProcessScan, StatIsReadWhateverTheNameHolds) {
  const std::string text =
      "42 (a) S 1 (b) R 7 8 9 0 -1 4194304 1 2 3 4 5 6 7 8 20 0 1 0 123456 0 0 18446744073709551615";
  orv::ProcessFacts facts;
  ASSERT_TRUE(orv::parseProcessStat(text.data(), text.size(), facts));
  EXPECT_EQ(facts.pid, 42);
  EXPECT_EQ(facts.parent, 7);
  EXPECT_EQ(facts.group, 8);
  EXPECT_EQ(facts.session, 9);
  EXPECT_FALSE(facts.ended);
  EXPECT_EQ(facts.startTicks, 123456U);
}

TEST(ProcessScan, WhatIsNoStatIsRefused) {
  orv::ProcessFacts facts;
  for (const char *text : {"", "42", "42 (name", "42 (name) S 1", "x (name) S 7 8 9"}) {
    EXPECT_FALSE(orv::parseProcessStat(text, std::strlen(text), facts)) << text;
  }
}
