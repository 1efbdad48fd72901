// Batches, program output, statuses of EUs, and the numbers of runs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "NodeStoreFixture.h"

using namespace storetest;

namespace {

using orv::OutputLine;
using orv::ProgramOutput;
using orv::StoreEntry;
using NodeStoreBatch = NodeStoreTest;
using NodeStoreOutput = NodeStoreTest;
using NodeStoreEuStatus = NodeStoreTest;
using NodeStoreRunNumber = NodeStoreTest;

StoreEntry entryOf(uint32_t euId, orv::EuState state, const std::string &words) {
  orv::EuRecord eu;
  eu.id = euId;
  eu.state = state;
  return {eu, logEvent(words)};
}

std::vector<OutputLine> lines(uint64_t first, uint64_t last) {
  std::vector<OutputLine> made;
  for (uint64_t number = first; number <= last; ++number)
    made.push_back({number, number * 10, false, "line " + std::to_string(number)});
  return made;
}

// "first-last" of each part and what is dropped between them, as "1-50 ...700... 751-950".
std::string outline(const ProgramOutput &output) {
  const auto range = [](const std::vector<OutputLine> &part) {
    for (size_t i = 1; i < part.size(); ++i)
      EXPECT_EQ(part[i].number, part[i - 1].number + 1);
    return part.empty() ? std::string("-")
                        : std::to_string(part.front().number) + "-" + std::to_string(part.back().number);
  };
  return range(output.first) + " ..." + std::to_string(output.dropped) + "... " + range(output.last);
}

// --- Batches --------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreBatch, WritesAllInItsOrder) {
  const auto store = create();
  ASSERT_TRUE(store->appendEvent(logEvent("before")).ok());
  StoreEntry eventAlone;
  eventAlone.event = logEvent("alone");
  StoreEntry euAlone;
  euAlone.eu = orv::EuRecord{};
  euAlone.eu->id = 9;
  const std::vector<StoreEntry> batch = {entryOf(1, orv::EuState::CREATED, "one"), eventAlone,
                                         entryOf(1, orv::EuState::RUNNING, "two"), euAlone};
  ASSERT_TRUE(store->write(batch).ok());
  std::vector<std::string> texts;
  for (const Event &event : store->events())
    texts.push_back(std::to_string(event.sequence) + " " + event.text);
  EXPECT_EQ(texts, (std::vector<std::string>{"1 before", "2 one", "3 alone", "4 two"}));
  ASSERT_EQ(store->eus().size(), 2U);
  EXPECT_EQ(store->eus()[0].state, orv::EuState::RUNNING);
  EXPECT_EQ(store->eus()[1].id, 9U);
}

TEST_F(NodeStoreBatch, OfNothingChangesNothing) {
  const auto store = create();
  EXPECT_TRUE(store->write({}).ok());
  EXPECT_TRUE(store->write(std::vector<StoreEntry>(3)).ok());
  EXPECT_TRUE(store->events().empty());
  EXPECT_TRUE(store->eus().empty());
}

TEST_F(NodeStoreBatch, LongerThanTheRingKeepsTheNewest) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100).ok());
  std::vector<StoreEntry> batch(250);
  for (StoreEntry &entry : batch)
    entry.event = logEvent("x");
  ASSERT_TRUE(store->write(batch).ok());
  EXPECT_EQ(store->events().size(), 100U);
  EXPECT_EQ(store->events().front().sequence, 151U);
}

TEST_F(NodeStoreBatch, ThatDoesNotFitIsNotWrittenAtAll) {
  const auto store = create();
  ASSERT_TRUE(store->appendEvent(logEvent("before")).ok());
  std::vector<StoreEntry> batch(70, entryOf(1, orv::EuState::CREATED, "x"));
  for (uint32_t id = 1; id <= batch.size(); ++id) {
    batch[id - 1].eu->id = id;
    batch[id - 1].eu->args = std::string(1024UL * 1024, 'a');
  }
  EXPECT_EQ(store->write(batch).code, MDB_MAP_FULL);
  EXPECT_TRUE(store->eus().empty());
  EXPECT_EQ(store->events().size(), 1U);
  EXPECT_TRUE(store->setTag("a", u32(1)).ok());
}

// --- Output ---------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreOutput, NothingIsThereAtFirst) {
  const auto store = create();
  ASSERT_TRUE(store->appendOutput(1, {}).ok());
  EXPECT_EQ(outline(store->output(1)), "- ...0... -");
}

TEST_F(NodeStoreOutput, LinesKeepAllThatIsKnownOfThem) {
  const auto store = create();
  const std::vector<OutputLine> written = {{1, 77, false, std::string("\0\x1b\xff", 3)}, {2, 78, true, ""}};
  ASSERT_TRUE(store->appendOutput(5, written).ok());
  const ProgramOutput output = store->output(5);
  ASSERT_EQ(output.first.size(), 2U);
  EXPECT_EQ(output.first[0].number, 1U);
  EXPECT_EQ(output.first[0].monotonicNs, 77U);
  EXPECT_FALSE(output.first[0].partial);
  EXPECT_EQ(output.first[0].text, std::string("\0\x1b\xff", 3));
  EXPECT_TRUE(output.first[1].partial);
  EXPECT_EQ(output.first[1].text, "");
}

TEST_F(NodeStoreOutput, FirstAndLastAreKeptAndTheRestCounted) {
  const struct {
    uint64_t count;
    const char *expected;
  } cases[] = {{50, "1-50 ...0... -"},
               {51, "1-50 ...0... 51-51"},
               {250, "1-50 ...0... 51-250"},
               {251, "1-50 ...1... 52-251"},
               {950, "1-50 ...700... 751-950"}};
  const auto store = create();
  uint32_t euId = 0;
  for (const auto &each : cases) {
    // At once, one by one, and in pieces.
    for (const uint64_t step : {each.count, uint64_t{1}, uint64_t{33}}) {
      ++euId;
      for (uint64_t first = 1; first <= each.count; first += step)
        ASSERT_TRUE(store->appendOutput(euId, lines(first, std::min(each.count, first + step - 1))).ok());
      EXPECT_EQ(outline(store->output(euId)), each.expected) << "by " << step;
    }
  }
}

TEST_F(NodeStoreOutput, IsEachEusOwn) {
  const auto store = create();
  ASSERT_TRUE(store->appendOutput(2, lines(1, 300)).ok());
  ASSERT_TRUE(store->appendOutput(1, lines(1, 260)).ok());
  ASSERT_TRUE(store->appendOutput(3, lines(1, 1)).ok());
  ASSERT_TRUE(store->appendOutput(2, lines(301, 400)).ok());
  EXPECT_EQ(outline(store->output(1)), "1-50 ...10... 61-260");
  EXPECT_EQ(outline(store->output(2)), "1-50 ...150... 201-400");
  EXPECT_EQ(outline(store->output(3)), "1-1 ...0... -");
  EXPECT_EQ(outline(store->output(4)), "- ...0... -");
}

TEST_F(NodeStoreOutput, LinesThatNeverCameCountAsDropped) {
  const auto store = create();
  ASSERT_TRUE(store->appendOutput(1, lines(1, 10)).ok());
  ASSERT_TRUE(store->appendOutput(1, lines(1000, 1009)).ok());
  EXPECT_EQ(outline(store->output(1)), "1-10 ...989... 1000-1009");
}

TEST_F(NodeStoreOutput, LineOfTheSameNumberIsReplaced) {
  const auto store = create();
  ASSERT_TRUE(store->appendOutput(1, std::vector<OutputLine>{{1, 5, true, "begin"}}).ok());
  ASSERT_TRUE(store->appendOutput(1, std::vector<OutputLine>{{1, 5, false, "begin and end"}}).ok());
  ASSERT_EQ(store->output(1).first.size(), 1U);
  EXPECT_EQ(store->output(1).first[0].text, "begin and end");
  EXPECT_FALSE(store->output(1).first[0].partial);
}

TEST_F(NodeStoreOutput, LongLineIsCut) {
  const auto store = create();
  ASSERT_TRUE(store->appendOutput(1, std::vector<OutputLine>{{1, 0, false, std::string(1001, 'x')}}).ok());
  EXPECT_EQ(store->output(1).first[0].text, std::string(1000, 'x'));
}

TEST_F(NodeStoreOutput, PushesNoEventOut) {
  const auto store = create();
  ASSERT_TRUE(store->setEventLimit(100).ok());
  ASSERT_TRUE(store->appendEvent(logEvent("start-up")).ok());
  for (uint64_t first = 1; first < 100000; first += 500)
    ASSERT_TRUE(store->appendOutput(1, lines(first, first + 499)).ok());
  ASSERT_EQ(store->events().size(), 1U);
  EXPECT_EQ(store->events()[0].text, "start-up");
  EXPECT_EQ(outline(store->output(1)), "1-50 ...99750... 99801-100000");
}

TEST_F(NodeStoreOutput, OfEveryProgramThereCanBeFitsBesideTheEvents) {
  const auto store = create();
  constexpr uint32_t PROGRAMS = 67;  // three executables and 64 applications
  std::vector<OutputLine> longest = lines(1, 250);
  for (OutputLine &line : longest)
    line.text = std::string(orv::MAX_OUTPUT_LINE_LENGTH, 'x');
  for (uint32_t euId = 1; euId <= PROGRAMS; ++euId)
    ASSERT_TRUE(store->appendOutput(euId, longest).ok()) << euId;
  const Event event = logEvent(std::string(orv::MAX_EVENT_TEXT_LENGTH, 'x'));
  for (uint32_t count = 0; count < orv::DEFAULT_EVENT_LIMIT; ++count)
    ASSERT_TRUE(store->appendEvent(event).ok()) << count;
  EXPECT_EQ(store->events().size(), orv::DEFAULT_EVENT_LIMIT);
}

// --- Statuses -------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreEuStatus, LaterOneReplacesTheEarlierAndTheEmptyOneIsNone) {
  const auto store = create();
  EXPECT_TRUE(store->euStatuses().empty());
  ASSERT_TRUE(store->setEuStatus(3, "loading").ok());
  ASSERT_TRUE(store->setEuStatus(3, "12 links up").ok());
  ASSERT_TRUE(store->setEuStatus(1, "idle").ok());
  EXPECT_EQ(store->euStatuses(), (std::map<uint32_t, std::string>{{1, "idle"}, {3, "12 links up"}}));
  ASSERT_TRUE(store->setEuStatus(3, "").ok());
  ASSERT_TRUE(store->setEuStatus(4, "").ok());
  EXPECT_EQ(store->euStatuses(), (std::map<uint32_t, std::string>{{1, "idle"}}));
}

TEST_F(NodeStoreEuStatus, LongTextIsCutBetweenCharacters) {
  const auto store = create();
  const std::string head(orv::MAX_EU_STATUS_LENGTH - 1, 'x');
  ASSERT_TRUE(store->setEuStatus(1, head + "\xc3\xbc").ok());
  ASSERT_TRUE(store->setEuStatus(2, head + "yz").ok());
  EXPECT_EQ(store->euStatuses(), (std::map<uint32_t, std::string>{{1, head}, {2, head + "y"}}));
}

// --- Runs -----------------------------------------------------------------------------------------------------------

TEST_F(NodeStoreRunNumber, IsRaisedByEachRunAndByNothingElse) {
  const auto store = create();
  ASSERT_TRUE(store->setTag("before", u32(1)).ok());
  EXPECT_EQ(store->tag("before")->run, 0U);
  for (const uint64_t number : {1U, 2U, 3U}) {
    ASSERT_TRUE(store->beginRun(someRun()).ok());
    orv::RunInfo run = store->run().value();
    EXPECT_EQ(run.number, number);
    run.number = 99;
    run.state = orv::RunState::UP;
    ASSERT_TRUE(store->updateRun(run).ok());
    EXPECT_EQ(store->run()->number, number);
    ASSERT_TRUE(store->setTag("in", u32(1)).ok());
    EXPECT_EQ(store->tag("in")->run, number);
  }
}

TEST_F(NodeStoreRunNumber, NextRunForgetsOutputAndStatuses) {
  const auto store = create();
  ASSERT_TRUE(store->appendOutput(1, lines(1, 60)).ok());
  ASSERT_TRUE(store->setEuStatus(1, "idle").ok());
  ASSERT_TRUE(store->beginRun(someRun()).ok());
  EXPECT_EQ(outline(store->output(1)), "- ...0... -");
  EXPECT_TRUE(store->euStatuses().empty());
}

}  // namespace
