// What the node store keeps: tags, RAD parameters, runs, EUs and events.
#include <gtest/gtest.h>

#include <vector>

#include "Clock.h"
#include "NodeStoreFixture.h"

using namespace storetest;

namespace {

using NodeStoreTags = NodeStoreTest;
using NodeStoreRads = NodeStoreTest;
using NodeStoreRuns = NodeStoreTest;
using NodeStoreEus = NodeStoreTest;
using NodeStoreEvents = NodeStoreTest;

// --- Tags -----------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreTags, NothingIsSetAtFirst) {
  const auto store = create();
  EXPECT_FALSE(store->tagIsSet("a"));
  EXPECT_FALSE(store->tag("a").has_value());
  EXPECT_TRUE(store->tags().empty());
}

TEST_F(NodeStoreTags, SetTagHasItsValueAndItsSetter) {
  const auto store = create();
  const uint64_t before = orv::monotonicNs();
  ASSERT_TRUE(store->setTag("text", text("hello")).ok());
  ASSERT_TRUE(store->setTag("small", u16(65535)).ok());
  ASSERT_TRUE(store->setTag("large", u32(4294967295U)).ok());
  EXPECT_TRUE(store->tagIsSet("text"));
  EXPECT_FALSE(store->tagIsSet("tex"));
  EXPECT_FALSE(store->tagIsSet("text2"));
  const auto tag = store->tag("text");
  ASSERT_TRUE(tag.has_value());
  EXPECT_EQ(tag->name, "text");
  EXPECT_EQ(tag->value.type, TagType::STRING);
  EXPECT_EQ(tag->value.text, "hello");
  EXPECT_EQ(tag->setter.pid, static_cast<uint32_t>(getpid()));
  EXPECT_GE(tag->setNs, before);
  EXPECT_LE(tag->setNs, orv::monotonicNs());
  EXPECT_EQ(store->tag("small")->value.type, TagType::U16);
  EXPECT_EQ(store->tag("small")->value.number, 65535U);
  EXPECT_EQ(store->tag("large")->value.type, TagType::U32);
  EXPECT_EQ(store->tag("large")->value.number, 4294967295U);
}

TEST_F(NodeStoreTags, LaterValueReplacesTheEarlier) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", text("one")).ok());
  ASSERT_TRUE(store->setTag("a", u16(2)).ok());
  ASSERT_EQ(store->tags().size(), 1U);
  EXPECT_EQ(store->tag("a")->value.type, TagType::U16);
  EXPECT_EQ(store->tag("a")->value.text, "");
}

TEST_F(NodeStoreTags, ListIsByName) {
  const auto store = create();
  for (const char *name : {"b", "a.z", "a", "c"})
    ASSERT_TRUE(store->setTag(name, u32(1)).ok());
  std::vector<std::string> names;
  for (const orv::Tag &tag : store->tags())
    names.push_back(tag.name);
  EXPECT_EQ(names, (std::vector<std::string>{"a", "a.z", "b", "c"}));
}

TEST_F(NodeStoreTags, AnyBytesMayBeInNameAndText) {
  const auto store = create();
  const std::string name("a\0\xff\n", 4);
  ASSERT_TRUE(store->setTag(name, text(name)).ok());
  EXPECT_TRUE(store->tagIsSet(name));
  EXPECT_FALSE(store->tagIsSet("a"));
  EXPECT_EQ(store->tag(name)->value.text, name);
}

TEST_F(NodeStoreTags, LongestNameAndTextAreAcceptedAndLongerOnesRefused) {
  const auto store = create();
  const std::string longest(orv::MAX_TAG_NAME_LENGTH, 'n');
  EXPECT_TRUE(store->setTag(longest, text(std::string(orv::MAX_TAG_TEXT_LENGTH, 't'))).ok());
  EXPECT_EQ(store->tag(longest)->value.text.size(), orv::MAX_TAG_TEXT_LENGTH);
  EXPECT_EQ(store->setTag(longest + "n", u32(1)).code, EINVAL);
  EXPECT_EQ(store->setTag("a", text(std::string(orv::MAX_TAG_TEXT_LENGTH + 1, 't'))).code, EINVAL);
  EXPECT_EQ(store->tags().size(), 1U);
}

TEST_F(NodeStoreTags, EmptyNameIsRefusedAndEmptyTextAccepted) {
  const auto store = create();
  EXPECT_EQ(store->setTag("", u32(1)).code, EINVAL);
  EXPECT_FALSE(store->tagIsSet(""));
  EXPECT_FALSE(store->tagIsSet(std::string(1000, 'n')));
  EXPECT_TRUE(store->setTag("a", text("")).ok());
  EXPECT_TRUE(store->tagIsSet("a"));
}

TEST_F(NodeStoreTags, NumberThatDoesNotFitItsTypeIsRefused) {
  const auto store = create();
  EXPECT_EQ(store->setTag("a", u16(65536)).code, EINVAL);
  EXPECT_FALSE(store->tagIsSet("a"));
}

TEST_F(NodeStoreTags, UnsettingTellsWhetherItWasSet) {
  const auto store = create();
  bool wasSet = true;
  EXPECT_TRUE(store->unsetTag("a", wasSet).ok());
  EXPECT_FALSE(wasSet);
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  EXPECT_TRUE(store->unsetTag("a", wasSet).ok());
  EXPECT_TRUE(wasSet);
  EXPECT_FALSE(store->tagIsSet("a"));
  EXPECT_EQ(store->unsetTag("", wasSet).code, EINVAL);
}

TEST_F(NodeStoreTags, SettingIsAnEvent) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("a", text("hello")).ok());
  ASSERT_TRUE(store->setTag("b", u16(7)).ok());
  const auto events = store->events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].kind, EventKind::TAG_SET);
  EXPECT_EQ(events[0].text, "a = \"hello\"");
  EXPECT_EQ(events[1].text, "b = 7 (u16)");
}

// --- RAD parameters and configurations ------------------------------------------------------------------------------

TEST_F(NodeStoreRads, UnsetParameterReadsAsZero) {
  EXPECT_EQ(create()->rad(0x10063), 0U);
}

TEST_F(NodeStoreRads, ListIsByNumber) {
  const auto store = create();
  ASSERT_TRUE(store->setRad(0xffffffff, 3, RadOrigin::OPERATOR).ok());
  ASSERT_TRUE(store->setRad(256, 2, RadOrigin::CONFIGURATION).ok());
  ASSERT_TRUE(store->setRad(1, 1, RadOrigin::OPERATOR).ok());
  const auto rads = store->rads();
  ASSERT_EQ(rads.size(), 3U);
  EXPECT_EQ(rads[0].number, 1U);
  EXPECT_EQ(rads[1].number, 256U);
  EXPECT_EQ(rads[1].value, 2U);
  EXPECT_EQ(rads[1].origin, RadOrigin::CONFIGURATION);
  EXPECT_EQ(rads[2].number, 0xffffffffU);
  EXPECT_EQ(store->rad(0xffffffff), 3U);
}

TEST_F(NodeStoreRads, ConfigurationDoesNotReplaceWhatAnOperatorSet) {
  const auto store = create();
  ASSERT_TRUE(store->setRad(1, 10, RadOrigin::OPERATOR).ok());
  NodeStore::Settings settings;
  settings.rads = {{1, 20, RadOrigin::CONFIGURATION}, {2, 30, RadOrigin::CONFIGURATION}};
  EXPECT_TRUE(store->apply(settings).ok());
  EXPECT_EQ(store->rad(1), 10U);
  EXPECT_EQ(store->rad(2), 30U);
  ASSERT_TRUE(store->setRad(2, 31, RadOrigin::OPERATOR).ok());
  EXPECT_EQ(store->rad(2), 31U);
}

TEST_F(NodeStoreRads, ConfigurationSetsAllOrNothing) {
  const auto store = create();
  NodeStore::Settings settings;
  settings.tags = {{"a", u32(1)}, {"b", text("two")}, {"a", u32(3)}};
  settings.rads = {{1, 2, RadOrigin::CONFIGURATION}};
  EXPECT_TRUE(store->apply(settings).ok());
  EXPECT_EQ(store->tag("a")->value.number, 3U);
  EXPECT_EQ(store->tag("b")->value.text, "two");
  EXPECT_EQ(store->rad(1), 2U);

  settings.tags = {{"c", u32(1)}, {"", u32(1)}};
  settings.rads = {{5, 6, RadOrigin::CONFIGURATION}};
  EXPECT_EQ(store->apply(settings).code, EINVAL);
  EXPECT_FALSE(store->tagIsSet("c"));
  EXPECT_EQ(store->rad(5), 0U);
}

// --- Runs -----------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreRuns, NoneAtFirst) {
  EXPECT_FALSE(create()->run().has_value());
}

TEST_F(NodeStoreRuns, BeginningForgetsTheLastRunsTagsEusAndConfiguration) {
  const auto store = create();
  orv::EuRecord eu;
  eu.id = 1;
  ASSERT_TRUE(store->setTag("a", u32(1)).ok());
  ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  ASSERT_TRUE(store->setRad(1, 10, RadOrigin::CONFIGURATION).ok());
  ASSERT_TRUE(store->setRad(2, 20, RadOrigin::OPERATOR).ok());
  ASSERT_TRUE(store->setRad(3, 30, RadOrigin::CONFIGURATION).ok());
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  EXPECT_TRUE(store->tags().empty());
  EXPECT_TRUE(store->eus().empty());
  ASSERT_EQ(store->rads().size(), 1U);
  EXPECT_EQ(store->rads()[0].number, 2U);
  const auto events = store->events();
  ASSERT_EQ(events.size(), 2U) << "events stay";
  EXPECT_EQ(events[1].kind, EventKind::RUN_STARTED);
}

TEST_F(NodeStoreRuns, InformationIsKeptAndUpdated) {
  const auto store = create();
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  orv::RunInfo run = store->run().value();
  EXPECT_EQ(run.state, orv::RunState::EARLY);
  EXPECT_EQ(run.daemonPid, 42U);
  EXPECT_EQ(run.startedNs, 1000U);
  EXPECT_EQ(run.startedRealtimeNs, 2000U);
  run.state = orv::RunState::UP;
  run.nid = 0x10;
  run.ceName = "CE-1";
  ASSERT_TRUE(store->updateRun(run).ok());
  EXPECT_EQ(store->run()->state, orv::RunState::UP);
  EXPECT_EQ(store->run()->nid, 0x10);
  EXPECT_EQ(store->run()->ceName, "CE-1");
}

// --- EUs ------------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreEus, LaterRecordOfAnIdReplacesTheEarlier) {
  const auto store = create();
  orv::EuRecord eu;
  for (const uint32_t id : {300U, 2U}) {
    eu.id = id;
    eu.name = "eu" + std::to_string(id);
    ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  }
  eu.state = orv::EuState::PROGRAM_ENDED;
  eu.waitStatus = 256;
  ASSERT_TRUE(store->putEu(eu, nullptr).ok());
  const auto eus = store->eus();
  ASSERT_EQ(eus.size(), 2U);
  EXPECT_EQ(eus[0].id, 2U);
  EXPECT_EQ(eus[0].state, orv::EuState::PROGRAM_ENDED);
  EXPECT_EQ(eus[0].waitStatus, 256);
  EXPECT_EQ(eus[1].id, 300U);
  EXPECT_EQ(eus[1].name, "eu300");
  EXPECT_TRUE(store->events().empty());
}

TEST_F(NodeStoreEus, EventGoesAlong) {
  const auto store = create();
  orv::EuRecord eu;
  eu.id = 1;
  Event event;
  event.kind = EventKind::EU_CREATED;
  event.euId = 1;
  event.text = "radioCtrl";
  ASSERT_TRUE(store->putEu(eu, &event).ok());
  ASSERT_EQ(store->events().size(), 1U);
  EXPECT_EQ(store->events()[0].kind, EventKind::EU_CREATED);
  EXPECT_EQ(store->events()[0].euId, 1U);
  EXPECT_EQ(store->events()[0].text, "radioCtrl");
}

// --- Events ---------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreEvents, StoreGivesNumberTimeAndPid) {
  const auto store = create();
  const uint64_t before = orv::monotonicNs();
  Event event = logEvent("hello");
  event.sequence = 77;
  event.euId = 5;
  event.code = 6;
  ASSERT_TRUE(store->appendEvent(event).ok());
  ASSERT_TRUE(store->appendEvent(event).ok());
  const auto events = store->events();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].sequence, 1U);
  EXPECT_EQ(events[1].sequence, 2U);
  EXPECT_EQ(events[0].pid, static_cast<uint32_t>(getpid()));
  EXPECT_GE(events[0].monotonicNs, before);
  EXPECT_GE(events[1].monotonicNs, events[0].monotonicNs);
  EXPECT_EQ(events[0].euId, 5U);
  EXPECT_EQ(events[0].code, 6U);
  EXPECT_EQ(events[0].kind, EventKind::LOG);
}

TEST_F(NodeStoreEvents, TimeAndPidThatAreGivenAreKept) {
  const auto store = create();
  Event event = logEvent("queued");
  event.monotonicNs = 79;
  event.pid = 78;
  ASSERT_TRUE(store->appendEvent(event).ok());
  ASSERT_EQ(store->events().size(), 1U);
  EXPECT_EQ(store->events()[0].monotonicNs, 79U);
  EXPECT_EQ(store->events()[0].pid, 78U);
}

TEST_F(NodeStoreEvents, NumbersGoOnInTheNextRunAndTheNextProcess) {
  ASSERT_TRUE(create()->appendEvent(logEvent("one")).ok());
  const auto store = create();
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  EXPECT_EQ(store->events().back().sequence, 2U);
}

TEST_F(NodeStoreEvents, OnlyLaterOnesAreReturned) {
  const auto store = create();
  for (int i = 0; i < 5; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  ASSERT_EQ(store->events(3).size(), 2U);
  EXPECT_EQ(store->events(3)[0].sequence, 4U);
  EXPECT_TRUE(store->events(5).empty());
  EXPECT_TRUE(store->events(UINT64_MAX).empty());
}

TEST_F(NodeStoreEvents, OldestGoWhereTheLimitIsReached) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100).ok());
  for (int i = 0; i < 100; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 1U);
  ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 2U);
  EXPECT_EQ(store->events().back().sequence, 101U);
}

TEST_F(NodeStoreEvents, LowerLimitDropsTheOldestAtOnce) {
  const auto store = create();
  for (int i = 0; i < 300; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  ASSERT_TRUE(store->setEventLimit(100).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 201U);
}

TEST_F(NodeStoreEvents, LimitIsBetweenAHundredAndAHundredThousand) {
  const auto store = create();
  EXPECT_EQ(store->setEventLimit(99).code, EINVAL);
  EXPECT_TRUE(store->setEventLimit(100).ok());
  EXPECT_TRUE(store->setEventLimit(100000).ok());
  EXPECT_EQ(store->setEventLimit(100001).code, EINVAL);
}

TEST_F(NodeStoreEvents, LimitIsTheNodesAndNotTheProcesss) {
  ASSERT_TRUE(create()->setEventLimit(100).ok());
  const auto store = existing();
  for (int i = 0; i < 150; ++i)
    ASSERT_TRUE(store->appendEvent(logEvent("x")).ok());
  EXPECT_EQ(store->events().size(), 100U);
}

TEST_F(NodeStoreEvents, LongTextIsCutBetweenCharacters) {
  const auto store = create();
  const std::string head(orv::MAX_EVENT_TEXT_LENGTH - 1, 'x');
  ASSERT_TRUE(store->appendEvent(logEvent(head + "yz")).ok());
  ASSERT_TRUE(store->appendEvent(logEvent(head + "\xc3\xbc!")).ok());
  ASSERT_TRUE(store->appendEvent(logEvent(std::string(2000, '\x80'))).ok());
  const auto events = store->events();
  EXPECT_EQ(events[0].text, head + "y");
  EXPECT_EQ(events[1].text, head);
  EXPECT_EQ(events[2].text.size(), orv::MAX_EVENT_TEXT_LENGTH) << "not UTF-8, so there are no characters to keep whole";
}

}  // namespace
