// What a list of tags warns of, for processes and runs of any kind.
#include "TagList.h"

#include <gtest/gtest.h>

#include "Clock.h"

namespace {

using orv::ProcessStat;
using orv::SetterState;
using orv::Tag;
using orv::TagListing;
using Warnings = std::vector<std::string>;

using orv::NS_PER_S;
constexpr uint32_t SETTER = 50;
constexpr uint64_t SETTER_TICKS = 4000;  // 40 s after the boot

// A node in its third run, since 30 s after the boot, where process SETTER is there.
TagListing someListing() {
  TagListing listing;
  listing.run = orv::RunInfo{};
  listing.run->number = 3;
  listing.run->daemonPid = 7;
  listing.run->startedNs = 30 * NS_PER_S;
  listing.processes = [](uint32_t pid) {
    ProcessStat stat;
    stat.state = 'S';
    stat.startTicks = SETTER_TICKS;
    return pid == SETTER ? std::optional(stat) : std::nullopt;
  };
  return listing;
}

Tag someTag(uint64_t run, uint32_t pid, uint64_t startTicks) {
  Tag tag;
  tag.name = "a";
  tag.run = run;
  tag.setNs = 41 * NS_PER_S;
  tag.setter.pid = pid;
  tag.setter.startTicks = startTicks;
  return tag;
}

TEST(TagList, NothingIsWrongWithATagOfThisRunWhoseSetterLives) {
  EXPECT_EQ(orv::tagWarnings(someListing(), someTag(3, SETTER, SETTER_TICKS)), Warnings());
}

TEST(TagList, TellsHowLongAfterTheStartOfTheRunATagWasSet) {
  TagListing listing = someListing();
  listing.tags = {someTag(3, SETTER, SETTER_TICKS)};
  EXPECT_NE(orv::longTagList(listing).find("a     string  3    11 s   -   50   0    -           -       \n"),
            std::string::npos)
      << orv::longTagList(listing);
}

TEST(TagList, TagOfAnEarlierRunIsMarkedAndHasNoTimeInThisOne) {
  const Tag tag = someTag(2, SETTER, SETTER_TICKS);
  TagListing listing = someListing();
  EXPECT_EQ(orv::tagWarnings(listing, tag), Warnings{"earlier run"});
  EXPECT_EQ(orv::tagWarnings(listing, someTag(0, SETTER, SETTER_TICKS)), Warnings{"earlier run"}) << "before any run";
  listing.tags = {tag};
  EXPECT_NE(orv::longTagList(listing).find("a     string  2    -      -"), std::string::npos)
      << orv::longTagList(listing);
  const std::string json = orv::tagListJson(listing);
  EXPECT_NE(json.find("\"after_start_ms\": null, \"run\": 2, \"this_run\": false"), std::string::npos) << json;
}

TEST(TagList, SetterThatIsOlderThanTheRunIsMarkedUnlessItIsTheDaemon) {
  const uint64_t olderTicks = 2900;
  EXPECT_EQ(orv::tagWarnings(someListing(), someTag(3, 60, olderTicks)),
            (Warnings{"set by a process older than this run", "process gone"}));
  EXPECT_EQ(orv::tagWarnings(someListing(), someTag(3, 7, olderTicks)), Warnings{"process gone"});
  // The kernel's figure is up to a tick early, which must not make a process of the run's first moment an older one.
  EXPECT_EQ(orv::tagWarnings(someListing(), someTag(3, 60, 2999)), Warnings{"process gone"});
}

TEST(TagList, SetterIsTheProcessOfItsNumberAndItsStart) {
  TagListing listing = someListing();
  const auto stateOf = [&listing](uint32_t pid, uint64_t ticks) {
    return orv::setterState(listing, someTag(3, pid, ticks).setter);
  };
  EXPECT_EQ(stateOf(SETTER, SETTER_TICKS), SetterState::ALIVE);
  EXPECT_EQ(stateOf(SETTER, SETTER_TICKS - 1), SetterState::REUSED);
  EXPECT_EQ(stateOf(SETTER + 1, SETTER_TICKS), SetterState::GONE);
  EXPECT_EQ(stateOf(0, SETTER_TICKS), SetterState::UNKNOWN);
  EXPECT_EQ(stateOf(SETTER, 0), SetterState::UNKNOWN);
  listing.processes = [](uint32_t) {
    ProcessStat zombie;
    zombie.state = 'Z';
    zombie.startTicks = SETTER_TICKS;
    return std::optional(zombie);
  };
  EXPECT_EQ(stateOf(SETTER, SETTER_TICKS), SetterState::GONE) << "dead, and not waited for yet";
}

}  // namespace
